#include <gtest/gtest.h>

#include <cmath>

#include <unordered_set>

#include "KQFoundation/Foundation/Value.h"

using kq::Array;
using kq::Dictionary;
using kq::Value;

TEST(Value, NumbersCompareAndHashByNumericValue) {
    EXPECT_TRUE(Value(1) == Value(1.0) && Value(true) == Value(1));
    EXPECT_TRUE(Value(1) != Value(1.5) && Value(1) != Value("1") && Value() != Value(0));
    EXPECT_TRUE(Value(1).hash() == Value(1.0).hash() && Value(true).hash() == Value(1).hash());
}

TEST(Dictionary, KeepsInsertionOrderAndComparesWithoutIt) {
    Dictionary d;
    d.setObject("b", 1);
    d.setObject("a", 2);
    d.setObject("b", 3);
    ASSERT_EQ(d.keys(), (std::vector<std::string>{"b", "a"}));
    EXPECT_EQ(*d.objectForKey("b"), Value(3));
    EXPECT_TRUE(d.removeObjectForKey("b") && !d.removeObjectForKey("b"));
    EXPECT_EQ(d.keys(), std::vector<std::string>{"a"});

    // The knowledge base caches one predicate per equal filter dictionary, so
    // order must not matter to equality or hash, however large the dictionary.
    d = Dictionary{};
    for (int i = 0; i < 100; ++i) d.setObject("k" + std::to_string(i), i);
    Dictionary copy = d;
    ASSERT_TRUE(copy.removeObjectForKey("k10"));
    EXPECT_EQ(copy.objectForKey("k10"), nullptr);
    EXPECT_EQ(*d.objectForKey("k10"), Value(10));
    copy["k10"] = 10;
    EXPECT_EQ(copy, d);  // same pairs, other order
    const Dictionary other{{"Type", "Predicate"}}, reordered{{"b", 1}, {"a", 2}};
    EXPECT_EQ((std::unordered_set<Dictionary>{copy, d, other, Dictionary{{"a", 2}, {"b", 1}}, reordered}.size()), 3u);
    EXPECT_EQ(Value(Array{Value(copy)}), Value(Array{Value(d)}));
}

TEST(Value, DescriptionsQuoteStringsInsideCollections) {
    Dictionary d{{"name", "a b"}, {"n", 2}, {"list", Array{Value("x"), Value(0.5)}}};
    EXPECT_EQ(kq::describe(Value("a b")), "a b");
    EXPECT_EQ(kq::describe(d), "{\n    name = \"a b\";\n    n = 2;\n    list = (\n        x,\n        0.5\n    );\n}");
    EXPECT_EQ(kq::describe(Value(kq::dateWithTimeIntervalSinceReferenceDate(0))), "2001-01-01 00:00:00 +0000");
    // Dates read from files may hold any double.
    for (double odd : {std::nan(""), HUGE_VAL, -1e300})
        EXPECT_EQ(kq::describe(Value::dateWithTimeIntervalSinceReferenceDate(odd)), "(invalid date)");
}
