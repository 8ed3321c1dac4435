#include "KQFoundation/Predicate/Predicate.h"

#include <algorithm>

#include "KQFoundation/Foundation/Exceptions.h"
#include "Predicate/PredicateNodes.h"
#include "Predicate/PredicateParser.h"

namespace kq {

using predicate::CompoundPredicate;
using predicate::ConstantPredicate;

PredicatePtr Predicate::predicateWithFormat(std::string_view format, const std::vector<Value>& arguments) {
    return predicate::parsePredicate(format, arguments);
}

PredicatePtr Predicate::predicateWithValue(bool value) { return std::make_shared<ConstantPredicate>(value); }

PredicatePtr Predicate::andPredicateWithSubpredicates(std::vector<PredicatePtr> subpredicates) {
    return std::make_shared<CompoundPredicate>(CompoundPredicate::Type::And, std::move(subpredicates));
}

PredicatePtr Predicate::orPredicateWithSubpredicates(std::vector<PredicatePtr> subpredicates) {
    return std::make_shared<CompoundPredicate>(CompoundPredicate::Type::Or, std::move(subpredicates));
}

PredicatePtr Predicate::notPredicateWithSubpredicate(PredicatePtr sub) {
    std::vector<PredicatePtr> subpredicates;
    subpredicates.push_back(std::move(sub));
    return std::make_shared<CompoundPredicate>(CompoundPredicate::Type::Not, std::move(subpredicates));
}

namespace predicate {

bool PredicateNode::evaluateWithObject(const Value& object) const {
    EvaluationContext context;
    context.value = &object;
    context.url = object.asURL();  // a URL in a value takes the URL's short-cuts
    return evaluate(context);
}

bool PredicateNode::evaluateWithObject(const Value& object, const Dictionary& substitutionVariables) const {
    EvaluationContext context;
    context.value = &object;
    context.url = object.asURL();
    context.variables = &substitutionVariables;
    return evaluate(context);
}

bool PredicateNode::evaluateWithObject(const URL& object) const {
    EvaluationContext context;
    context.url = &object;
    return evaluate(context);
}

PredicatePtr PredicateNode::predicateWithSubstitutionVariables(const Dictionary& variables) const {
    return substituting(variables);
}

std::string PredicateNode::predicateFormat() const {
    std::string out;
    appendFormat(out);
    return out;
}

bool evaluatePredicate(const Predicate& predicate, const PredicateNode* node, const EvaluationContext& context) {
    if (node) return node->evaluate(context);
    if (context.url) return predicate.evaluateWithObject(*context.url);
    if (context.variables) return predicate.evaluateWithObject(*context.value, *context.variables);
    return predicate.evaluateWithObject(*context.value);
}

PredicatePtr ConstantPredicate::substituting(const Dictionary&) const {
    return std::make_shared<ConstantPredicate>(value_);
}

void ConstantPredicate::appendFormat(std::string& out) const { out += value_ ? "TRUEPREDICATE" : "FALSEPREDICATE"; }

CompoundPredicate::CompoundPredicate(Type type, std::vector<PredicatePtr> subpredicates)
    : type_(type), subpredicates_(std::move(subpredicates)) {
    std::erase(subpredicates_, nullptr);
    nodes_.reserve(subpredicates_.size());
    std::size_t deepest = 0;
    for (const auto& sub : subpredicates_) {
        const auto* node = dynamic_cast<const PredicateNode*>(sub.get());
        nodes_.push_back(node);
        deepest = std::max(deepest, node ? node->depth() : std::size_t{1});
    }
    // Everything that walks a predicate recurses once per level, freeing it included.
    depth_ = deepest + 1;
    if (depth_ > kMaximumDepth) {
        throw InvalidArgumentException("Predicate nests deeper than " + std::to_string(kMaximumDepth) + " levels");
    }
}

bool CompoundPredicate::evaluate(const EvaluationContext& context) const {
    switch (type_) {
        case Type::And:
            for (std::size_t i = 0; i < nodes_.size(); ++i) {
                if (!evaluatePredicate(*subpredicates_[i], nodes_[i], context)) return false;
            }
            return true;
        case Type::Or:
            for (std::size_t i = 0; i < nodes_.size(); ++i) {
                if (evaluatePredicate(*subpredicates_[i], nodes_[i], context)) return true;
            }
            return false;
        case Type::Not:
            // A NOT without its operand (a null was given) negates nothing: true.
            return nodes_.empty() || !evaluatePredicate(*subpredicates_[0], nodes_[0], context);
    }
    return false;
}

PredicatePtr CompoundPredicate::substituting(const Dictionary& variables) const {
    std::vector<PredicatePtr> substituted;
    substituted.reserve(subpredicates_.size());
    for (const auto& sub : subpredicates_) substituted.push_back(sub->predicateWithSubstitutionVariables(variables));
    return std::make_shared<CompoundPredicate>(type_, std::move(substituted));
}

void CompoundPredicate::appendFormat(std::string& out) const {
    auto appendOperand = [&out](const PredicatePtr& sub) {
        const auto* compound = dynamic_cast<const CompoundPredicate*>(sub.get());
        const bool group = compound && compound->type() != Type::Not && compound->size() > 1;
        if (group) out += '(';
        out += sub->predicateFormat();
        if (group) out += ')';
    };
    if (type_ == Type::Not) {
        if (subpredicates_.empty()) {
            out += "TRUEPREDICATE";
            return;
        }
        out += "NOT ";
        appendOperand(subpredicates_[0]);
        return;
    }
    if (subpredicates_.empty()) {
        out += type_ == Type::And ? "TRUEPREDICATE" : "FALSEPREDICATE";
        return;
    }
    for (std::size_t i = 0; i < subpredicates_.size(); ++i) {
        if (i) out += type_ == Type::And ? " AND " : " OR ";
        appendOperand(subpredicates_[i]);
    }
}

}  // namespace predicate
}  // namespace kq
