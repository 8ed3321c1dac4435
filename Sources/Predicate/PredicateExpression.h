#pragma once
// The operands of a comparison: a constant, the evaluated object (SELF), a
// key path read from it, a $VARIABLE, or an aggregate { a, b } of those.
#include <string>
#include <vector>

#include "KQFoundation/Foundation/URL.h"
#include "KQFoundation/Foundation/Value.h"
#include "Predicate/PredicateKeyValueCoding.h"
#include "Predicate/PredicateOperand.h"

namespace kq::predicate {

/// What an evaluation runs against: the object (a value or a URL) and the
/// substitution variables, if any were given.
struct EvaluationContext {
    const Value* value = nullptr;
    const URL* url = nullptr;
    const Dictionary* variables = nullptr;

    Operand self() const { return url ? Operand::url(*url) : Operand::borrowing(*value); }
};

struct Expression {
    enum class Kind { Constant, EvaluatedObject, KeyPath, Variable, Aggregate };

    Kind kind = Kind::Constant;
    Value constant;              // Constant
    KeyPath keyPath;             // KeyPath (read from the evaluated object)
    std::string variable;        // Variable, without the "$"
    std::vector<Expression> elements;  // Aggregate

    static Expression makeConstant(Value value);
    static Expression makeEvaluatedObject();
    static Expression makeKeyPath(KeyPath path);
    static Expression makeVariable(std::string name);
    /// An aggregate of constants becomes a constant array.
    static Expression makeAggregate(std::vector<Expression> elements);

    bool isConstant() const { return kind == Kind::Constant; }

    /// Throws kq::InvalidArgumentException for an undefined key or an unset variable.
    Operand evaluate(const EvaluationContext& context) const;
    /// A copy with the variables that the dictionary defines replaced by constants.
    Expression substitutingVariables(const Dictionary& variables) const;
    void appendFormat(std::string& out) const;
};

}  // namespace kq::predicate
