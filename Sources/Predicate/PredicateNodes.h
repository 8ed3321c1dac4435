#pragma once
// The kinds of parsed predicates: constant (TRUEPREDICATE, FALSEPREDICATE),
// compound (AND, OR, NOT) and comparison. They share PredicateNode, which
// turns the public evaluate calls into one evaluation over a context.
#include <memory>
#include <string>
#include <vector>

#include "KQFoundation/Predicate/Predicate.h"
#include "Predicate/PredicateExpression.h"
#include "Predicate/PredicateRegularExpression.h"
#include "Foundation/UnicodeText.h"

namespace kq::predicate {

class PredicateNode : public Predicate {
public:
    bool evaluateWithObject(const Value& object) const final;
    bool evaluateWithObject(const Value& object, const Dictionary& substitutionVariables) const final;
    bool evaluateWithObject(const URL& object) const final;
    PredicatePtr predicateWithSubstitutionVariables(const Dictionary& variables) const final;
    std::string predicateFormat() const final;

    virtual bool evaluate(const EvaluationContext& context) const = 0;
    virtual PredicatePtr substituting(const Dictionary& variables) const = 0;
    virtual void appendFormat(std::string& out) const = 0;

    /// Levels of compounds down to the deepest leaf (a leaf is 1).
    std::size_t depth() const { return depth_; }

protected:
    std::size_t depth_ = 1;
};

/// Evaluates any predicate, also one not made by this parser.
bool evaluatePredicate(const Predicate& predicate, const PredicateNode* node, const EvaluationContext& context);

class ConstantPredicate final : public PredicateNode {
public:
    explicit ConstantPredicate(bool value) : value_(value) {}
    bool evaluate(const EvaluationContext&) const override { return value_; }
    PredicatePtr substituting(const Dictionary&) const override;
    void appendFormat(std::string& out) const override;

private:
    bool value_;
};

class CompoundPredicate final : public PredicateNode {
public:
    enum class Type { And, Or, Not };
    CompoundPredicate(Type type, std::vector<PredicatePtr> subpredicates);

    Type type() const { return type_; }
    std::size_t size() const { return subpredicates_.size(); }
    bool evaluate(const EvaluationContext& context) const override;
    PredicatePtr substituting(const Dictionary& variables) const override;
    void appendFormat(std::string& out) const override;

private:
    Type type_;
    std::vector<PredicatePtr> subpredicates_;
    std::vector<const PredicateNode*> nodes_;  // subpredicates_ seen as nodes, nullptr for others
};

enum class ComparisonOperator {
    Equal,
    NotEqual,
    Less,
    LessOrEqual,
    Greater,
    GreaterOrEqual,
    BeginsWith,
    EndsWith,
    Contains,
    Like,
    Matches,
    In,
    Between,
};

enum class ComparisonModifier { Direct, Any, All, None };

class ComparisonPredicate final : public PredicateNode {
public:
    /// Prepares a constant right-hand side once (folding, regular expression);
    /// throws kq::InvalidArgumentException for a constant pattern that does not compile.
    ComparisonPredicate(Expression left, Expression right, ComparisonOperator op, ComparisonModifier modifier,
                        FoldOptions options);

    bool evaluate(const EvaluationContext& context) const override;
    PredicatePtr substituting(const Dictionary& variables) const override;
    void appendFormat(std::string& out) const override;

private:
    bool compare(const Operand& left, const Operand& right) const;
    bool equal(const Operand& left, const Operand& right, const std::string* foldedRight) const;
    bool stringOperation(const Operand& left, const Operand& right) const;
    bool in(const Operand& left, const Operand& right) const;
    bool between(const Operand& left, const Operand& right) const;
    bool matches(std::string_view text, std::string_view pattern) const;
    /// A string operator applied to the text with the folded needle (or pattern).
    bool textOperation(std::string_view text, std::string_view needle) const;
    /// The file URL's path (or last component) when this comparison reads
    /// nothing else: the scanners' common case, evaluated without operands.
    std::optional<std::string_view> directURLText(const EvaluationContext& context) const;

    Expression left_;
    Expression right_;
    ComparisonOperator operator_;
    ComparisonModifier modifier_;
    FoldOptions options_;

    // The constant right-hand side, folded once: a string, or the strings of an array.
    std::optional<std::string> foldedConstant_;
    std::vector<std::optional<std::string>> foldedElements_;
    std::shared_ptr<const RegularExpression> regex_;
    KnownKey directURLKey_ = KnownKey::Other;  // Path or LastPathComponent when the short-cut applies
};

}  // namespace kq::predicate
