#include "Predicate/PredicateExpression.h"

#include "KQFoundation/Foundation/Exceptions.h"
#include "Predicate/PredicateFormatting.h"

namespace kq::predicate {

Expression Expression::makeConstant(Value value) {
    Expression e;
    e.kind = Kind::Constant;
    e.constant = std::move(value);
    return e;
}

Expression Expression::makeEvaluatedObject() {
    Expression e;
    e.kind = Kind::EvaluatedObject;
    return e;
}

Expression Expression::makeKeyPath(KeyPath path) {
    Expression e;
    e.kind = Kind::KeyPath;
    e.keyPath = std::move(path);
    return e;
}

Expression Expression::makeVariable(std::string name) {
    Expression e;
    e.kind = Kind::Variable;
    e.variable = std::move(name);
    return e;
}

Expression Expression::makeAggregate(std::vector<Expression> elements) {
    bool allConstant = true;
    for (const auto& element : elements) allConstant = allConstant && element.isConstant();
    if (allConstant) {
        Array array;
        array.reserve(elements.size());
        for (auto& element : elements) array.push_back(std::move(element.constant));
        return makeConstant(Value(std::move(array)));
    }
    Expression e;
    e.kind = Kind::Aggregate;
    e.elements = std::move(elements);
    return e;
}

Operand Expression::evaluate(const EvaluationContext& context) const {
    switch (kind) {
        case Kind::Constant:
            return Operand::borrowing(constant);
        case Kind::EvaluatedObject:
            return context.self();
        case Kind::KeyPath:
            return valueForKeyPath(context.self(), keyPath);
        case Kind::Variable: {
            const Value* found = context.variables ? context.variables->objectForKey(variable) : nullptr;
            if (!found) {
                throw InvalidArgumentException("Can't get value for '" + variable + "' in bindings " +
                                               (context.variables ? kq::describe(*context.variables) : "{\n}") + ".");
            }
            return Operand::borrowing(*found);
        }
        case Kind::Aggregate: {
            Array array;
            array.reserve(elements.size());
            for (const auto& element : elements) array.push_back(element.evaluate(context).toValue());
            return Operand::owning(Value(std::move(array)));
        }
    }
    return Operand();
}

Expression Expression::substitutingVariables(const Dictionary& variables) const {
    switch (kind) {
        case Kind::Variable:
            if (const Value* found = variables.objectForKey(variable)) return makeConstant(*found);
            return *this;
        case Kind::Aggregate: {
            std::vector<Expression> substituted;
            substituted.reserve(elements.size());
            for (const auto& element : elements) substituted.push_back(element.substitutingVariables(variables));
            return makeAggregate(std::move(substituted));
        }
        default:
            return *this;
    }
}

void Expression::appendFormat(std::string& out) const {
    switch (kind) {
        case Kind::Constant:
            appendConstant(out, constant);
            break;
        case Kind::EvaluatedObject:
            out += "SELF";
            break;
        case Kind::KeyPath:
            for (std::size_t i = 0; i < keyPath.size(); ++i) {
                if (i) out += '.';
                appendKeyName(out, keyPath[i].name);
            }
            break;
        case Kind::Variable:
            out += '$';
            out += variable;
            break;
        case Kind::Aggregate:
            out += '{';
            for (std::size_t i = 0; i < elements.size(); ++i) {
                if (i) out += ", ";
                elements[i].appendFormat(out);
            }
            out += '}';
            break;
    }
}

}  // namespace kq::predicate
