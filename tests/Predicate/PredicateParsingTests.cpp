#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/Predicate/Predicate.h"

namespace {

using kq::Predicate;
using kq::Value;

std::string formatOf(std::string_view format, const std::vector<Value>& arguments = {}) {
    return Predicate::predicateWithFormat(format, arguments)->predicateFormat();
}

std::string parseError(std::string_view format, const std::vector<Value>& arguments = {}) {
    try {
        Predicate::predicateWithFormat(format, arguments);
    } catch (const kq::InvalidArgumentException& e) {
        EXPECT_EQ(e.name(), "NSInvalidArgumentException");
        return e.what();
    }
    ADD_FAILURE() << "parsed: " << format;
    return {};
}

TEST(PredicateParsing, MalformedFormatsThrowAndErrorsNameThePosition) {
    const std::pair<const char*, int> cases[] = {{"path ENDSWITH", 13}, {"", 0},           {"path ENDSWITH[x] 'a'", 14},
                                                 {"path == 'open", 8},  {"path == 1 extra", 10}, {"(a == 1", 7},
                                                 {"AND == 1", 0}};
    for (auto [format, position] : cases) {
        EXPECT_EQ(parseError(format), "Unable to parse the format string \"" + std::string(format) + "\" at position " +
                                          std::to_string(position));
    }

    for (const char* format : {"a == = 1", "a === 1", "$ == 1", "a == %z", "a == 0xZZ", "a == 12abc", "a & b",
                               "a == {1, 2", "a == 'x\\u12'", "NOT", "ANY", "a LIKE[] 'x'", "a. == 1",
                               "a == -b", "a == CAST(1, 'NSBanana')", "a == CAST(b, 'NSDate')", "a == 'x' AND",
                               "a == 'x' OR OR b == 1", "a == 1)", "a.#", "a == \"x\\", "a == 1e400",
                               "a == CAST(1e300, 'NSDate')", "a == CAST(8.5e9, 'NSDate')",
                               "a == CAST('nan', 'NSDate')", "#", "# == 1", "a == %@", "a MATCHES '(unclosed'",
                               // Cut-off formats (the fuzz target tries every cut).
                               "a ENDSWITH[cd", "a IN {1, -2.5e3, 0x1f", "CAST(\"file:///a%20b/\", \"NSURL"}) {
        SCOPED_TRACE(format);
        EXPECT_THROW(Predicate::predicateWithFormat(format), kq::InvalidArgumentException);
    }
}

TEST(PredicateParsing, ArgumentsAreConvertedAndMustBeSupplied) {
    EXPECT_THROW(Predicate::predicateWithFormat("a == %@ AND b == %@", {Value(1)}), kq::InvalidArgumentException);
    EXPECT_THROW(Predicate::predicateWithFormat("%K == 1", {Value(1)}), kq::InvalidArgumentException);
    // Extra arguments are ignored, as the platform does.
    EXPECT_NO_THROW(Predicate::predicateWithFormat("a == %@", {Value(1), Value(2)}));
    // A "%@" inside quotes is text, not a placeholder.
    EXPECT_EQ(formatOf("a == '%@'"), "a == \"%@\"");
    EXPECT_EQ(formatOf("a == %d AND b == %i AND c == %f AND d == %s", {Value(3.9), Value(true), Value(2), Value("s")}),
              "a == 3 AND b == 1 AND c == 2.0 AND d == \"s\"");
    EXPECT_EQ(formatOf("%K.name == %ld", {Value("owner.group"), Value(5)}), "owner.group.name == 5");
    EXPECT_EQ(formatOf("a == %@", {Value()}), "a == nil");
}

TEST(PredicateParsing, PrintsACanonicalFormatThatReadsBackToTheSamePredicate) {
    const std::pair<const char*, const char*> cases[] = {
        {"path endswith[C] '.app'", "path ENDSWITH[c] \".app\""},
        {"a = 1 && (b => 2 || c =< 3)", "a == 1 AND (b >= 2 OR c <= 3)"},
        {"a <> 1 and not b < 2", "a != 1 AND NOT b < 2"},
        {"!(a == 1 OR b == 2)", "NOT (a == 1 OR b == 2)"},
        {"#in == yes AND #self.#any == nil", "#in == YES AND #self.#any == nil"},
        {"any tags.name == 'x' OR all n > 1 OR none n < 0 OR some n == 2",
         "ANY tags.name == \"x\" OR ALL n > 1 OR NONE n < 0 OR ANY n == 2"},
        {"n BETWEEN {1, 0x10}", "n BETWEEN {1, 16}"},
        {"n == -2.5e3 OR n == -7", "n == -2500.0 OR n == -7"},
        {"$limit > size", "$limit > size"},
        {"TRUEPREDICATE or falsepredicate", "TRUEPREDICATE OR FALSEPREDICATE"},
        {"name == 'tab\\there\\nnewline \\u00e9 \\ud83d\\ude00'", "name == \"tab\\there\\nnewline é 😀\""},
        {"d == CAST(0, 'NSDate')", "d == CAST(0, \"NSDate\")"},
        {"#@4 = 9999", "#@4 == 9999"},
    };
    for (auto [format, expected] : cases) EXPECT_EQ(formatOf(format), expected) << format;
    EXPECT_EQ(formatOf("self IN %@", {Value(kq::Array{"x", "y"})}), "SELF IN {\"x\", \"y\"}");
    EXPECT_EQ(formatOf("%K LIKE[cd] %@", {Value("name"), Value("a\"b\\c")}), "name LIKE[cd] \"a\\\"b\\\\c\"");

    const std::vector<std::pair<std::string, std::vector<Value>>> formats = {
        {"path ENDSWITH[c] '.app' AND NOT (lastPathComponent BEGINSWITH '.')", {}},
        {"lastPathComponent LIKE[cd] 'com.example.*' OR self IN %@", {Value(kq::Array{"a", 1, 2.5, true})}},
        {"(a == 1 OR b == 2) AND (c == 3 OR (d == 4 AND e == 5))", {}}, {"NOT NOT a == 1", {}},
        {"%K MATCHES[c] %@", {Value("path"), Value("^/Users/[^/]+/Library/.*\\.plist$")}},
        {"d > %@", {Value(kq::dateWithTimeIntervalSinceReferenceDate(123456.75))}},
        {"u == %@", {Value(kq::URL::fileURLWithPath("/Applications/Café.app", true))}}, {"x == %@", {Value(0.1)}},
        {"ANY items.@count BETWEEN {$low, 5}", {}},
        {"name == \"quote\\\" backslash\\\\ ctrl\\u0001\"", {}},
        // Keys that a bare name cannot write, reals that print like integers.
        {"#@4 = 9999 AND #4x == 1 AND #@ == 2 AND a.#7 == 3", {}}, {"%K == 1", {Value("@5")}},
        {"x == 3.0 AND y == -0.0 AND z == 1e300 AND w == 5e-324", {}},
        {"x == %@ OR y == %@ OR z == %@", {Value(std::nan("")), Value(HUGE_VAL), Value(-HUGE_VAL)}},
        {"x == CAST('-inf', 'NSNumber') AND y == CAST('12', 'NSNumber') AND z == CAST('1.5', 'NSNumber')", {}},
        {"a IN {{1, {2.0}}, {}, {$v, 'x'}}", {}},
    };
    for (const auto& [format, arguments] : formats) {
        SCOPED_TRACE(format);
        const auto first = Predicate::predicateWithFormat(format, arguments);
        const std::string printed = first->predicateFormat();
        EXPECT_EQ(Predicate::predicateWithFormat(printed)->predicateFormat(), printed);
    }
}

std::string repeated(std::string_view piece, std::size_t count) {
    std::string out;
    for (std::size_t i = 0; i < count; ++i) out += piece;
    return out;
}

TEST(PredicateParsing, NestingIsBoundedAndTheErrorNamesWhereItWentTooDeep) {
    constexpr std::size_t limit = Predicate::kMaximumNesting;
    const std::array<std::string_view, 4> cases[] = {  // prefix, open, inner, close
        {"", "(", "a == 1", ")"}, {"", "NOT ", "a == 1", ""}, {"", "!", "a == 1", ""}, {"a IN ", "{", "", "}"},
        {"a == ", "CAST(", "1", ", 'NSNumber')"},
    };
    for (const auto& [prefix, open, inner, close] : cases) {
        for (std::size_t depth : {limit, limit + 1, std::size_t{60000}}) {
            const std::string format = std::string(prefix) + repeated(open, depth) + std::string(inner) + repeated(close, depth);
            SCOPED_TRACE(format.substr(0, 40) + " depth " + std::to_string(depth));
            if (depth <= limit)
                EXPECT_NO_THROW(Predicate::predicateWithFormat(format)->predicateFormat());
            else
                EXPECT_EQ(parseError(format), "Predicate format nests deeper than 256 levels at position " +
                                                  std::to_string(prefix.size() + limit * open.size()));
        }
    }
}

TEST(PredicateParsing, CompoundFactoriesAreBoundedAndPrintParentheses) {
    const auto leaf = Predicate::predicateWithFormat("a == 1");
    auto p = leaf;
    for (std::size_t level = 2; level <= Predicate::kMaximumDepth; ++level)
        p = level % 2 ? Predicate::notPredicateWithSubpredicate(p) : Predicate::andPredicateWithSubpredicates({leaf, p});
    EXPECT_NO_THROW(p->evaluateWithObject(Value(kq::Dictionary{{"a", 1}})) && !p->predicateFormat().empty());
    EXPECT_THROW(Predicate::notPredicateWithSubpredicate(p), kq::InvalidArgumentException);
    EXPECT_THROW(Predicate::orPredicateWithSubpredicates({Predicate::predicateWithValue(true), p}),
                 kq::InvalidArgumentException);

    const auto b = Predicate::predicateWithFormat("b == 2 OR c == 3");
    EXPECT_EQ(Predicate::andPredicateWithSubpredicates({leaf, b})->predicateFormat(), "a == 1 AND (b == 2 OR c == 3)");
    EXPECT_EQ(Predicate::orPredicateWithSubpredicates({leaf})->predicateFormat(), "a == 1");
    EXPECT_EQ(Predicate::notPredicateWithSubpredicate(b)->predicateFormat(), "NOT (b == 2 OR c == 3)");
    EXPECT_EQ(kq::describe(*Predicate::andPredicateWithSubpredicates({})), "TRUEPREDICATE");
}

}  // namespace
