#pragma once
// kq::Predicate: the platform's predicate format language, parsed once and
// evaluated against values (dictionaries, strings, numbers) or file URLs.
//
//   path ENDSWITH[c] '.app' AND NOT (lastPathComponent BEGINSWITH '.')
//   lastPathComponent LIKE[cd] 'com.example.*' OR self IN %@
//
// Comparisons == = != <> < <= > >=, BEGINSWITH ENDSWITH CONTAINS LIKE MATCHES IN,
// flags [c] (Unicode case folding) [d] (diacritics) [cd], AND/&& OR/|| NOT/!,
// TRUEPREDICATE FALSEPREDICATE, 'quoted' "strings", numbers, YES NO NIL,
// dotted key paths, %@ and %K arguments, $VARIABLES, { array, literals }.
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Platform/Value.h"

namespace kq {

class Predicate {
public:
    virtual ~Predicate() = default;

    /// Parses the format; %@ and %K take the arguments in order.
    /// Throws kq::InvalidArgumentException naming the position of the fault.
    static std::shared_ptr<const Predicate> predicateWithFormat(std::string_view format,
                                                                const std::vector<Value>& arguments = {});
    static std::shared_ptr<const Predicate> predicateWithValue(bool value);
    /// Compounds; an empty AND is true, an empty OR is false.
    static std::shared_ptr<const Predicate> andPredicateWithSubpredicates(
        std::vector<std::shared_ptr<const Predicate>> subpredicates);
    static std::shared_ptr<const Predicate> orPredicateWithSubpredicates(
        std::vector<std::shared_ptr<const Predicate>> subpredicates);
    static std::shared_ptr<const Predicate> notPredicateWithSubpredicate(std::shared_ptr<const Predicate> sub);

    /// Evaluates with the object as "self". Throws kq::InvalidArgumentException
    /// for a key path the object does not have, or an unset $VARIABLE.
    virtual bool evaluateWithObject(const Value& object) const = 0;
    virtual bool evaluateWithObject(const Value& object, const Dictionary& substitutionVariables) const = 0;
    /// File URLs answer path, lastPathComponent, pathExtension, absoluteString,
    /// self and the other URL accessors (no copy of the URL is made).
    virtual bool evaluateWithObject(const URL& object) const = 0;

    /// A copy with $VARIABLES replaced by the dictionary's values.
    virtual std::shared_ptr<const Predicate> predicateWithSubstitutionVariables(
        const Dictionary& variables) const = 0;
    /// The format text of the parsed predicate (canonical spacing and quoting).
    virtual std::string predicateFormat() const = 0;
};

using PredicatePtr = std::shared_ptr<const Predicate>;

inline std::string describe(const Predicate& p) { return p.predicateFormat(); }

}  // namespace kq
