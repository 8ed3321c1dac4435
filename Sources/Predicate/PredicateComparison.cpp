#include <compare>

#include "KQFoundation/Foundation/Exceptions.h"
#include "Predicate/PredicateNodes.h"

namespace kq::predicate {
namespace {

std::string_view operatorName(ComparisonOperator op) {
    switch (op) {
        case ComparisonOperator::Equal: return "==";
        case ComparisonOperator::NotEqual: return "!=";
        case ComparisonOperator::Less: return "<";
        case ComparisonOperator::LessOrEqual: return "<=";
        case ComparisonOperator::Greater: return ">";
        case ComparisonOperator::GreaterOrEqual: return ">=";
        case ComparisonOperator::BeginsWith: return "BEGINSWITH";
        case ComparisonOperator::EndsWith: return "ENDSWITH";
        case ComparisonOperator::Contains: return "CONTAINS";
        case ComparisonOperator::Like: return "LIKE";
        case ComparisonOperator::Matches: return "MATCHES";
        case ComparisonOperator::In: return "IN";
        case ComparisonOperator::Between: return "BETWEEN";
    }
    return "";
}

[[noreturn]] void throwOperandError(std::string what, const Operand& left, const Operand& right) {
    throw InvalidArgumentException(std::move(what) + " (lhs = " + describe(left) + " rhs = " + describe(right) + ")");
}

int sign(auto ordering) { return ordering < 0 ? -1 : (ordering > 0 ? 1 : 0); }

// Three-way order of two operands: numbers by value, strings by their folded
// text, dates by time. Anything else has no order.
std::optional<int> order(const Operand& left, const Operand& right, FoldOptions options,
                         const std::string* foldedRight) {
    if (auto l = left.string()) {
        auto r = right.string();
        if (!r) return std::nullopt;
        if (foldedRight) return compareFolded(*l, *foldedRight, options);
        return compareFolded(*l, foldForComparison(*r, options), options);
    }
    const Value* l = left.value();
    const Value* r = right.value();
    if (!l || !r) return std::nullopt;
    if (l->isNumber() && r->isNumber()) {
        if (!l->isReal() && !r->isReal()) return sign(l->integerValue() <=> r->integerValue());
        const std::partial_ordering o = l->doubleValue() <=> r->doubleValue();
        if (o == std::partial_ordering::unordered) return std::nullopt;
        return o < 0 ? -1 : (o > 0 ? 1 : 0);
    }
    if (l->isDate() && r->isDate()) return sign(*l->asDate() <=> *r->asDate());
    return std::nullopt;
}

}  // namespace

ComparisonPredicate::ComparisonPredicate(Expression left, Expression right, ComparisonOperator op,
                                         ComparisonModifier modifier, FoldOptions options)
    : left_(std::move(left)), right_(std::move(right)), operator_(op), modifier_(modifier), options_(options) {
    if (!right_.isConstant()) return;
    if (const std::string* text = right_.constant.asString()) {
        if (operator_ == ComparisonOperator::Matches) {
            // [c] is the expression's own flag; [d] folds pattern and text alike.
            regex_ = RegularExpression::compile(foldForComparison(*text, false, options_.diacriticInsensitive),
                                                options_.caseInsensitive);
        } else {
            foldedConstant_ = foldForComparison(*text, options_);
        }
        const bool textOperator = operator_ == ComparisonOperator::BeginsWith ||
                                  operator_ == ComparisonOperator::EndsWith ||
                                  operator_ == ComparisonOperator::Contains || operator_ == ComparisonOperator::Like;
        const bool singleKey = left_.kind == Expression::Kind::KeyPath && left_.keyPath.size() == 1;
        if (textOperator && singleKey && modifier_ == ComparisonModifier::Direct) {
            const KnownKey key = left_.keyPath.front().known;
            if (key == KnownKey::Path || key == KnownKey::RelativePath) directURLKey_ = KnownKey::Path;
            if (key == KnownKey::LastPathComponent) directURLKey_ = key;
        }
    } else if (const Array* array = right_.constant.asArray(); array && options_.any()) {
        foldedElements_.reserve(array->size());
        for (const Value& element : *array) {
            const std::string* s = element.asString();
            foldedElements_.push_back(s ? std::optional<std::string>(foldForComparison(*s, options_)) : std::nullopt);
        }
    }
}

std::optional<std::string_view> ComparisonPredicate::directURLText(const EvaluationContext& context) const {
    if (directURLKey_ == KnownKey::Other || !context.url || !context.url->isFileURL()) return std::nullopt;
    const std::string_view path = context.url->filePathView();
    if (directURLKey_ == KnownKey::Path || path.size() <= 1) return path;
    return path.substr(path.rfind('/') + 1);
}

bool ComparisonPredicate::evaluate(const EvaluationContext& context) const {
    if (const auto text = directURLText(context)) return textOperation(*text, *foldedConstant_);
    const Operand left = left_.evaluate(context);
    const Operand right = right_.evaluate(context);
    if (modifier_ == ComparisonModifier::Direct) return compare(left, right);

    const Array* collection = left.array();
    if (!collection && !left.isNull()) {
        throwOperandError("The left hand side for an ALL or ANY operator must be either an NSArray or an NSSet",
                          left, right);
    }
    const std::size_t count = collection ? collection->size() : 0;
    for (std::size_t i = 0; i < count; ++i) {
        const bool result = compare(Operand::borrowing((*collection)[i]), right);
        if (modifier_ == ComparisonModifier::All && !result) return false;
        if (modifier_ != ComparisonModifier::All && result) return modifier_ == ComparisonModifier::Any;
    }
    return modifier_ != ComparisonModifier::Any;
}

bool ComparisonPredicate::compare(const Operand& left, const Operand& right) const {
    const std::string* folded = foldedConstant_ ? &*foldedConstant_ : nullptr;
    switch (operator_) {
        case ComparisonOperator::Equal:
            return equal(left, right, folded);
        case ComparisonOperator::NotEqual:
            return !equal(left, right, folded);
        case ComparisonOperator::Less:
        case ComparisonOperator::LessOrEqual:
        case ComparisonOperator::Greater:
        case ComparisonOperator::GreaterOrEqual: {
            const std::optional<int> o = order(left, right, options_, folded);
            if (!o) return false;
            if (operator_ == ComparisonOperator::Less) return *o < 0;
            if (operator_ == ComparisonOperator::LessOrEqual) return *o <= 0;
            if (operator_ == ComparisonOperator::Greater) return *o > 0;
            return *o >= 0;
        }
        case ComparisonOperator::In:
            return in(left, right);
        case ComparisonOperator::Between:
            return between(left, right);
        default:
            return stringOperation(left, right);
    }
}

bool ComparisonPredicate::equal(const Operand& left, const Operand& right, const std::string* foldedRight) const {
    if (left.isNull() || right.isNull()) return left.isNull() && right.isNull();
    const auto l = left.string();
    const auto r = right.string();
    if (l && r) {
        if (!options_.any()) return *l == *r;
        if (foldedRight) return equalsFolded(*l, *foldedRight, options_);
        return equalsFolded(*l, foldForComparison(*r, options_), options_);
    }
    if (l || r) return false;
    const URL* lu = left.url();
    const URL* ru = right.url();
    if (lu || ru) return lu && ru && *lu == *ru;
    return *left.value() == *right.value();
}

bool ComparisonPredicate::stringOperation(const Operand& left, const Operand& right) const {
    // CONTAINS on a collection asks for membership.
    if (operator_ == ComparisonOperator::Contains) {
        if (const Array* array = left.array()) {
            for (const Value& element : *array) {
                if (equal(Operand::borrowing(element), right, foldedConstant_ ? &*foldedConstant_ : nullptr))
                    return true;
            }
            return false;
        }
    }
    if (left.isNull() || right.isNull()) return false;
    const auto text = left.string();
    const auto pattern = right.string();
    if (!text || !pattern) {
        throwOperandError("Can't do a substring operation with something that isn't a string", left, right);
    }
    if (operator_ == ComparisonOperator::Matches) return matches(*text, *pattern);

    std::string foldedHere;
    std::string_view needle;
    if (foldedConstant_) {
        needle = *foldedConstant_;
    } else {
        foldedHere = foldForComparison(*pattern, options_);
        needle = foldedHere;
    }
    return textOperation(*text, needle);
}

bool ComparisonPredicate::textOperation(std::string_view text, std::string_view needle) const {
    switch (operator_) {
        case ComparisonOperator::BeginsWith: return hasPrefixFolded(text, needle, options_);
        case ComparisonOperator::EndsWith: return hasSuffixFolded(text, needle, options_);
        case ComparisonOperator::Contains: return containsFolded(text, needle, options_);
        case ComparisonOperator::Like: return matchesLikePatternFolded(text, needle, options_);
        default: return false;
    }
}

bool ComparisonPredicate::matches(std::string_view text, std::string_view pattern) const {
    const std::string subject = foldForComparison(text, false, options_.diacriticInsensitive);
    if (regex_) return regex_->matchesWholeString(subject);
    const auto compiled =
        RegularExpression::compile(foldForComparison(pattern, false, options_.diacriticInsensitive),
                                   options_.caseInsensitive);
    return compiled->matchesWholeString(subject);
}

bool ComparisonPredicate::in(const Operand& left, const Operand& right) const {
    if (right.isNull()) return false;
    if (const Array* array = right.array()) {
        const bool prepared = !foldedElements_.empty();
        for (std::size_t i = 0; i < array->size(); ++i) {
            const std::string* folded = prepared && foldedElements_[i] ? &*foldedElements_[i] : nullptr;
            if (equal(left, Operand::borrowing((*array)[i]), folded)) return true;
        }
        return false;
    }
    if (const Value* value = right.value(); value && value->isDictionary()) {
        for (const std::string& key : value->asDictionary()->keys()) {
            if (equal(left, Operand::text(key), nullptr)) return true;
        }
        return false;
    }
    if (const auto haystack = right.string()) {
        if (left.isNull()) return false;
        const auto needle = left.string();
        if (!needle) throwOperandError("Can't look for a value that isn't a string in a string", left, right);
        return containsFolded(*haystack, foldForComparison(*needle, options_), options_);
    }
    throwOperandError("Can't do IN with something that isn't a collection or a string", left, right);
}

bool ComparisonPredicate::between(const Operand& left, const Operand& right) const {
    const Array* bounds = right.array();
    if (!bounds || bounds->size() != 2) {
        throwOperandError("BETWEEN needs an array of two bounds on its right", left, right);
    }
    const auto low = order(left, Operand::borrowing((*bounds)[0]), options_, nullptr);
    const auto high = order(left, Operand::borrowing((*bounds)[1]), options_, nullptr);
    return low && high && *low >= 0 && *high <= 0;
}

PredicatePtr ComparisonPredicate::substituting(const Dictionary& variables) const {
    return std::make_shared<ComparisonPredicate>(left_.substitutingVariables(variables),
                                                 right_.substitutingVariables(variables), operator_, modifier_,
                                                 options_);
}

void ComparisonPredicate::appendFormat(std::string& out) const {
    switch (modifier_) {
        case ComparisonModifier::Any: out += "ANY "; break;
        case ComparisonModifier::All: out += "ALL "; break;
        case ComparisonModifier::None: out += "NONE "; break;
        case ComparisonModifier::Direct: break;
    }
    left_.appendFormat(out);
    out += ' ';
    out += operatorName(operator_);
    if (options_.any()) {
        out += '[';
        if (options_.caseInsensitive) out += 'c';
        if (options_.diacriticInsensitive) out += 'd';
        out += ']';
    }
    out += ' ';
    right_.appendFormat(out);
}

}  // namespace kq::predicate
