#pragma once
// kq::Predicate: the platform's predicate format language, parsed once and
// evaluated against values (dictionaries, strings, numbers) or file URLs.
//
//   path ENDSWITH[c] '.app' AND NOT (lastPathComponent BEGINSWITH '.')
//   lastPathComponent LIKE[cd] 'com.example.*' OR self IN %@
//
// Comparisons == = != <> < <= > >= =< =>, BEGINSWITH ENDSWITH CONTAINS LIKE
// MATCHES IN BETWEEN, flags [c] (Unicode case folding) [d] (diacritics) [cd],
// ANY/SOME ALL NONE before a collection key path, AND/&& OR/|| NOT/!,
// TRUEPREDICATE FALSEPREDICATE, 'quoted' "strings" (\n \t \uXXXX ...),
// numbers (0x hex), YES NO TRUE FALSE NIL NULL, SELF, dotted key paths ("#"
// escapes a keyword), "@count", %@ %K (and %d %i %f %s) arguments, $VARIABLES,
// { aggregates }, CAST(seconds, "NSDate") and CAST("url", "NSURL") for the
// values that have no literal.
//
// Evaluation reads key paths from the object: a dictionary answers its keys
// (nil for a missing one), an array maps the key over its elements, URLs and
// strings answer their accessor names (path, lastPathComponent, ...); any
// other key raises kq::InvalidArgumentException. nil equals only nil; string
// operators on nil are false. A parsed predicate is immutable and may be
// evaluated from several threads at once.
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq {

class KQ_EXPORT Predicate {
public:
    /// How deeply a format may nest "(", NOT/!, "{" aggregates and CAST; a
    /// hostile format must not exhaust the stack of whoever parses it.
    static constexpr std::size_t kMaximumNesting = 256;
    /// How deeply compounds may nest, however they were made (a parsed
    /// format stays well below). Evaluating, formatting, substituting and
    /// freeing a predicate recurse this deep at most.
    static constexpr std::size_t kMaximumDepth = 1024;

    virtual ~Predicate() = default;

    /// Parses the format; %@ and %K take the arguments in order (extra ones
    /// are ignored). Throws kq::InvalidArgumentException naming the position
    /// of the fault, for too few arguments, nesting deeper than
    /// kMaximumNesting, or a constant MATCHES pattern that does not compile.
    static std::shared_ptr<const Predicate> predicateWithFormat(std::string_view format,
                                                                const std::vector<Value>& arguments = {});
    static std::shared_ptr<const Predicate> predicateWithValue(bool value);
    /// Compounds; an empty AND is true, an empty OR is false. Throw
    /// kq::InvalidArgumentException when the result would nest deeper than
    /// kMaximumDepth.
    static std::shared_ptr<const Predicate> andPredicateWithSubpredicates(
        std::vector<std::shared_ptr<const Predicate>> subpredicates);
    static std::shared_ptr<const Predicate> orPredicateWithSubpredicates(
        std::vector<std::shared_ptr<const Predicate>> subpredicates);
    static std::shared_ptr<const Predicate> notPredicateWithSubpredicate(std::shared_ptr<const Predicate> sub);

    /// Evaluates with the object as "self". Throws kq::InvalidArgumentException
    /// for a key path the object does not have, an unset $VARIABLE, or an
    /// operator given operands it cannot take (BEGINSWITH on a number, ANY on
    /// a string).
    virtual bool evaluateWithObject(const Value& object) const = 0;
    virtual bool evaluateWithObject(const Value& object, const Dictionary& substitutionVariables) const = 0;
    /// File URLs answer path, lastPathComponent, pathExtension, absoluteString,
    /// self and the other URL accessors (no copy of the URL is made).
    virtual bool evaluateWithObject(const URL& object) const = 0;

    /// A copy with $VARIABLES replaced by the dictionary's values.
    virtual std::shared_ptr<const Predicate> predicateWithSubstitutionVariables(
        const Dictionary& variables) const = 0;
    /// The format text of the parsed predicate (canonical spacing and quoting);
    /// it parses back to an equal predicate, except for data and dictionary
    /// constants, which print their description, and key names other than
    /// letters, digits, "_" and a leading "@" (given through %K), which have
    /// no written form.
    virtual std::string predicateFormat() const = 0;
};

using PredicatePtr = std::shared_ptr<const Predicate>;

inline std::string describe(const Predicate& p) { return p.predicateFormat(); }

}  // namespace kq
