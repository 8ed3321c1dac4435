#include <gtest/gtest.h>

#include "KQFoundation/NSDictionary+KQValueTypeChecking.h"
#include "KQFoundation/NSMutableArray+KQFoundation.h"
#include "KQFoundation/NSObject+KQFoundation.h"

using kq::Dictionary;
using kq::Value;

TEST(DictionaryTypedGetters, ReturnValuesOnlyOfTheAskedType) {
    const Dictionary d{{"s", "12"},
                       {"n", 12},
                       {"a", kq::Array{}},
                       {"d", Dictionary{}},
                       {"t", kq::dateWithTimeIntervalSinceReferenceDate(0)}};
    EXPECT_EQ(d.stringValueForKey("n"), nullptr);
    ASSERT_NE(d.stringValueForKey("s"), nullptr);
    EXPECT_EQ(*d.stringValueForKey("s"), "12");
    EXPECT_NE(d.arrayValueForKey("a"), nullptr);
    EXPECT_EQ(d.arrayValueForKey("d"), nullptr);
    EXPECT_NE(d.dictioniaryValueForKey("d"), nullptr);
    EXPECT_EQ(d.dictioniaryValueForKey("missing"), nullptr);
    EXPECT_NE(d.numberValueForKey("n"), nullptr);
    EXPECT_EQ(d.numberValueForKey("s"), nullptr);
    EXPECT_NE(d.dateValueForKey("t"), nullptr);
    EXPECT_EQ(d.integerValueForKey("n", -1), 12);
    EXPECT_EQ(d.integerValueForKey("s", -1), -1);  // a numeric string is not a number
}

TEST(DictionaryTypedGetters, BoolValueReadsNumbersAndStringsLikeThePlatform) {
    const Dictionary d{{"TRUE", "TrUe"}, {"yes", "yes"},    {"t", "t"},      {"one", "1"},   {"signed", " -007"},
                       {"false", "false"}, {"no", "no"},    {"zero", "0"},   {"zeros", "000"}, {"num", 2},
                       {"numzero", 0.0},   {"array", kq::Array{Value(1)}}, {"empty", ""}};
    for (const char* key : {"TRUE", "yes", "t", "one", "signed", "num"})
        EXPECT_TRUE(d.boolValueForKey(key, false)) << key;
    for (const char* key : {"false", "no", "zero", "zeros", "numzero", "empty"})
        EXPECT_FALSE(d.boolValueForKey(key, true)) << key;
    EXPECT_TRUE(d.boolValueForKey("missing", true));
    EXPECT_FALSE(d.boolValueForKey("missing", false));
    EXPECT_TRUE(d.boolValueForKey("array", true));
    EXPECT_FALSE(d.boolValueForKey("array", false));
}

TEST(ObjectHelpers, NilSafeEqualityAndArrayAppends) {
    const Value one(1);
    EXPECT_TRUE(kq::isObject(nullptr, nullptr));
    EXPECT_FALSE(kq::isObject(nullptr, &one));
    EXPECT_FALSE(kq::isObject(&one, nullptr));
    const Value alsoOne(1.0);
    EXPECT_TRUE(kq::isObject(&one, &alsoOne));
    EXPECT_EQ(kq::inArray(one), kq::Array{one});

    kq::Array array;
    array.addObjectIfNotNil(nullptr);
    array.addObjectIfNotNil(&one);
    array.addObjectsFromArrayIfNotNil(static_cast<const kq::Array*>(nullptr));
    const kq::Array more{Value("a"), Value("b")};
    array.addObjectsFromArrayIfNotNil(&more);
    EXPECT_EQ(array, (kq::Array{one, Value("a"), Value("b")}));
}
