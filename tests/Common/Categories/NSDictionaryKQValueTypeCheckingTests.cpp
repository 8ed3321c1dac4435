#include <gtest/gtest.h>

#include "KQFoundation/NSDictionary+KQValueTypeChecking.h"
#include "KQFoundation/NSMutableArray+KQFoundation.h"
#include "KQFoundation/NSObject+KQFoundation.h"

using kq::Dictionary;
using kq::Value;

TEST(DictionaryTypedGetters, ReturnValuesOnlyOfTheAskedType) {
    const Dictionary d{{"s", "12"}, {"n", 12}, {"b", true}, {"a", kq::Array{}}, {"d", Dictionary{}},
                       {"t", kq::dateWithTimeIntervalSinceReferenceDate(0)}};
    // Each getter answers for its own kind only ("n" and "b" are both numbers).
    for (const char* key : {"s", "n", "b", "a", "d", "t", "missing"}) {
        const std::string k = key;
        EXPECT_EQ(d.stringValueForKey(key) != nullptr, k == "s") << key;
        EXPECT_EQ(d.numberValueForKey(key) != nullptr, k == "n" || k == "b") << key;
        EXPECT_EQ(d.arrayValueForKey(key) != nullptr, k == "a") << key;
        EXPECT_EQ(d.dictioniaryValueForKey(key) != nullptr, k == "d") << key;
        EXPECT_EQ(d.dateValueForKey(key) != nullptr, k == "t") << key;
    }
    EXPECT_EQ(*d.stringValueForKey("s"), "12");
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
    for (const char* key : {"missing", "array"}) {  // both give the default
        EXPECT_TRUE(d.boolValueForKey(key, true)) << key;
        EXPECT_FALSE(d.boolValueForKey(key, false)) << key;
    }
}

TEST(ObjectHelpers, NilSafeEqualityAndArrayAppends) {
    const Value one(1);
    const Value alsoOne(1.0);
    EXPECT_TRUE(kq::isObject(nullptr, nullptr) && kq::isObject(&one, &alsoOne));
    EXPECT_FALSE(kq::isObject(nullptr, &one) || kq::isObject(&one, nullptr));

    kq::Array array;
    array.addObjectIfNotNil(nullptr);
    array.addObjectIfNotNil(&one);
    array.addObjectsFromArrayIfNotNil(static_cast<const kq::Array*>(nullptr));
    const kq::Array more{Value("a"), Value("b")};
    array.addObjectsFromArrayIfNotNil(&more);
    EXPECT_EQ(array, (kq::Array{one, Value("a"), Value("b")}));
}
