#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/Predicate/Predicate.h"

namespace {

using kq::Array;
using kq::Dictionary;
using kq::Predicate;
using kq::URL;
using kq::Value;

// Evaluates on a Value or a URL.
template <class Object>
bool eval(std::string_view format, const Object& object, const std::vector<Value>& arguments = {}) {
    return Predicate::predicateWithFormat(format, arguments)->evaluateWithObject(object);
}

const Value& sampleRecord() {
    static const Value record(Dictionary{
        {"name", "Café Crème"},
        {"identifier", "com.example.Editor"},
        {"size", 2048},
        {"ratio", 0.5},
        {"enabled", true},
        {"nothing", Value()},
        {"tags", Array{"work", "Draft", "ÉTÉ"}},
        {"scores", Array{3, 7, 11}},
        {"items", Array{Dictionary{{"name", "a"}, {"count", 1}}, Dictionary{{"name", "b"}, {"count", 5}}}},
        {"owner", Dictionary{{"group", Dictionary{{"name", "staff"}}}}},
    });
    return record;
}

TEST(PredicateEvaluation, URLKeysUndefinedKeysAndNilAsThePlatformDoes) {
    const URL app = URL::fileURLWithPath("/Applications/Café.app", true);
    EXPECT_TRUE(eval("path ENDSWITH[c] '.APP' AND path == '/Applications/Café.app'", app));  // no trailing slash
    EXPECT_TRUE(eval("path ENDSWITH[c] %@ AND self == %@", app, {Value("É.APP"), Value(app)}));
    EXPECT_FALSE(eval("path ENDSWITH 'É.app'", app));
    EXPECT_TRUE(eval("lastPathComponent == 'Café.app' AND pathExtension == 'app' AND isFileURL == YES AND "
                        "scheme == 'file' AND host == nil AND absoluteString BEGINSWITH 'file:///Applications/'", app));
    EXPECT_TRUE(eval("path.lastPathComponent BEGINSWITH[cd] 'cafe'", app));
    EXPECT_TRUE(eval("path == '/' AND lastPathComponent == '/'", URL::fileURLWithPath("/")));
    // A URL inside a value answers the same keys.
    EXPECT_TRUE(eval("lastPathComponent LIKE[c] 'caf?.APP'", Value(app)));
    const auto url = URL::URLWithString("https://example.com:8443/a/b.json?q=1#top");
    EXPECT_TRUE(eval("scheme == 'https' AND host == 'example.com' AND port == 8443 AND query == 'q=1' AND "
                        "fragment == 'top' AND isFileURL == NO AND path == '/a/b.json' AND pathExtension == 'json' "
                        "AND lastPathComponent == 'b.json' AND path ENDSWITH[c] '.JSON'", url.value()));

    EXPECT_THAT([] { eval("bogus == 1", URL::fileURLWithPath("/tmp/x")); },
                testing::ThrowsMessage<kq::InvalidArgumentException>(testing::StrEq(
                    "[NSURL valueForUndefinedKey:]: this class is not key value coding-compliant for the key bogus.")));
    EXPECT_THROW(eval("size.name == 1", sampleRecord()), kq::InvalidArgumentException);

    const Value& r = sampleRecord();
    EXPECT_TRUE(eval("nothing == nil AND missing == nil AND nil == nil AND nothing != 'x'", r));
    EXPECT_FALSE(eval("nothing == 'x' OR nothing BEGINSWITH 'x' OR nothing CONTAINS 'x' OR nothing LIKE '*'", r));
    EXPECT_FALSE(eval("nothing < 1 OR nothing > 1 OR nothing IN {1} OR name IN nothing OR name == nothing", r));
    EXPECT_FALSE(eval("ANY nothing == 1", r));
}

TEST(PredicateEvaluation, NumbersDatesAndOrdering) {
    const Value& r = sampleRecord();
    EXPECT_TRUE(eval("size == 2048 AND size == 2048.0 AND enabled == YES AND enabled == 1", r));
    EXPECT_TRUE(eval("size > 0x7ff AND size >= 2048 AND size < 2049 AND ratio < 1 AND ratio > 0.25", r));
    EXPECT_TRUE(eval("size BETWEEN {1024, 4096} AND NOT size BETWEEN {0, 100} AND size BETWEEN %@", r,
                     {Value(Array{2048, 2048})}));
    // A number is not its text, and has no order with a string.
    EXPECT_FALSE(eval("size == '2048' OR size < 'z'", r));
    EXPECT_TRUE(eval("9007199254740993 > 9007199254740992", r));  // integers compare exactly
    EXPECT_THROW(eval("size BETWEEN 5", r), kq::InvalidArgumentException);
    const auto now = std::chrono::system_clock::now();
    const Value dated(Dictionary{{"modified", now}});
    EXPECT_TRUE(eval("modified > %@ AND modified <= %@ AND modified > CAST(0, 'NSDate')", dated,
                     {Value(now - std::chrono::hours(1)), Value(now)}));
}

TEST(PredicateEvaluation, StringOperatorsOptionsLikeAndMatches) {
    const Value& r = sampleRecord();
    EXPECT_TRUE(eval("name == 'Café Crème' AND name ==[c] 'CAFÉ CRÈME' AND name ==[cd] 'CAFE CREME'", r));
    EXPECT_FALSE(eval("name == 'CAFÉ CRÈME' OR name ==[c] 'cafe creme'", r));
    EXPECT_TRUE(eval("name BEGINSWITH[d] 'Cafe' AND name ENDSWITH[cd] 'EME' AND name CONTAINS[cd] 'E C'", r));
    EXPECT_TRUE(eval("identifier BEGINSWITH 'com.example.' AND NOT identifier BEGINSWITH 'com.Example.'", r));
    EXPECT_TRUE(eval("identifier > 'com.a' AND identifier <[c] 'COM.F' AND 'AMPLE' IN[c] identifier", r));
    EXPECT_THROW(eval("size BEGINSWITH '2'", r), kq::InvalidArgumentException);
    EXPECT_THROW(eval("SELF ENDSWITH '.app'", Value(URL::fileURLWithPath("/A.app"))), kq::InvalidArgumentException);

    EXPECT_TRUE(eval("identifier LIKE 'com.example.*' AND identifier LIKE[c] 'COM.EXAMPLE.EDIT?R'", r));
    EXPECT_FALSE(eval("identifier LIKE 'com.example'", r));
    // An identifier escaped for LIKE matches only itself.
    const Value star(Dictionary{{"n", "com.star*"}});
    EXPECT_TRUE(eval("n LIKE[c] %@", star, {Value("com.star\\*")}));
    EXPECT_FALSE(eval("n LIKE[c] %@", Value(Dictionary{{"n", "com.starry"}}), {Value("com.star\\*")}));
    EXPECT_TRUE(eval("n LIKE 'com.star\\*'", star));  // the escape survives a quoted literal too
    EXPECT_TRUE(eval("identifier MATCHES 'com\\\\.example\\\\.[A-Z][a-z]+' AND identifier MATCHES[c] 'COM\\\\..*'", r));
    EXPECT_FALSE(eval("identifier MATCHES 'example'", r));  // the whole string must match
    EXPECT_TRUE(eval("name MATCHES[d] 'Cafe Creme' AND name MATCHES %@", r, {Value("Caf. .*")}));
    // A pattern known only at evaluation time fails there.
    EXPECT_THROW(eval("name MATCHES $p", r), kq::InvalidArgumentException);
    EXPECT_THROW(Predicate::predicateWithFormat("name MATCHES $p")
                     ->evaluateWithObject(r, Dictionary{{"p", "("}}),
                 kq::InvalidArgumentException);
}

TEST(PredicateEvaluation, CollectionsInAndContains) {
    const Value& r = sampleRecord();
    EXPECT_TRUE(eval("'Draft' IN tags AND 'draft' IN[c] tags AND 'ete' IN[cd] tags AND NOT 'x' IN tags", r));
    EXPECT_TRUE(eval("tags CONTAINS 'work' AND tags CONTAINS[c] 'WORK' AND NOT tags CONTAINS 'wor'", r));
    EXPECT_TRUE(eval("size IN {1, 2048} AND size IN %@", r, {Value(Array{2048.0})}));
    EXPECT_TRUE(eval("'group' IN owner AND NOT 'staff' IN owner", r));  // a dictionary offers its keys
    EXPECT_TRUE(eval("SELF IN %@", Value("b"), {Value(Array{"a", "b"})}));
    EXPECT_THROW(eval("name IN size", r), kq::InvalidArgumentException);

    EXPECT_TRUE(eval("ANY scores > 10 AND ALL scores > 2 AND NONE scores > 11 AND ANY tags ==[cd] 'ete'", r));
    EXPECT_FALSE(eval("ALL scores > 3", r));
    EXPECT_TRUE(eval("ANY items.name == 'b' AND ALL items.count < 6 AND items.@count == 2", r));
    EXPECT_TRUE(eval("tags.@count == 3 AND owner.group.name == 'staff' AND owner.@count == 1", r));
    EXPECT_TRUE(eval("ALL missing == 1 AND NONE missing == 1", r));  // nil is an empty collection
    EXPECT_THROW(eval("ANY name == 'x'", r), kq::InvalidArgumentException);
}

TEST(PredicateEvaluation, SubstitutionVariables) {
    const Value& r = sampleRecord();
    const auto template_ = Predicate::predicateWithFormat("identifier BEGINSWITH[c] $prefix AND size > $min");
    EXPECT_THROW(template_->evaluateWithObject(r), kq::InvalidArgumentException);
    EXPECT_TRUE(template_->evaluateWithObject(r, Dictionary{{"prefix", "COM.EXAMPLE"}, {"min", 1000}}) &&
                !template_->evaluateWithObject(r, Dictionary{{"prefix", "org."}, {"min", 1000}}));
    const auto partly = template_->predicateWithSubstitutionVariables(Dictionary{{"prefix", "com.ex"}});
    EXPECT_EQ(partly->predicateFormat(), "identifier BEGINSWITH[c] \"com.ex\" AND size > $min");
    EXPECT_THROW(partly->evaluateWithObject(r), kq::InvalidArgumentException);
    const auto whole = partly->predicateWithSubstitutionVariables(Dictionary{{"min", 4096}});
    EXPECT_FALSE(whole->evaluateWithObject(r));
    EXPECT_EQ(template_->predicateFormat(), "identifier BEGINSWITH[c] $prefix AND size > $min");  // untouched

    const auto list = Predicate::predicateWithFormat("lastPathComponent IN {$a, 'Other.app'}")
                          ->predicateWithSubstitutionVariables(Dictionary{{"a", "Café.app"}});
    EXPECT_TRUE(list->evaluateWithObject(URL::fileURLWithPath("/Applications/Café.app")));
}

TEST(PredicateEvaluation, CompoundsShortCircuit) {
    const Value& r = sampleRecord();
    // The undefined key on the right is never reached.
    EXPECT_FALSE(eval("size == 1 AND name.bogus == 1", r));
    EXPECT_TRUE(eval("size == 2048 OR name.bogus == 1", r));
    EXPECT_THROW(eval("size == 2048 AND name.bogus == 1", r), kq::InvalidArgumentException);
    EXPECT_TRUE(eval("NOT (size == 1 OR FALSEPREDICATE) && TRUEPREDICATE", r));
    EXPECT_TRUE(Predicate::andPredicateWithSubpredicates({})->evaluateWithObject(r) &&
                !Predicate::orPredicateWithSubpredicates({})->evaluateWithObject(r));
    EXPECT_TRUE(Predicate::notPredicateWithSubpredicate(Predicate::predicateWithValue(false))->evaluateWithObject(r));
}

}  // namespace
