#include "Predicate/PredicateParser.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "KQFoundation/Foundation/Exceptions.h"
#include "Predicate/PredicateLexer.h"
#include "Predicate/PredicateNodes.h"

namespace kq::predicate {
namespace {

class Parser {
public:
    Parser(std::string_view format, const std::vector<Value>& arguments)
        : format_(format), tokens_(tokenize(format)), arguments_(arguments) {}

    PredicatePtr run() {
        PredicatePtr result = parseOr();
        if (current().kind != Token::Kind::End) fail();
        return result;
    }

private:
    const Token& current() const { return tokens_[index_]; }
    const Token& peek(std::size_t ahead) const { return tokens_[std::min(index_ + ahead, tokens_.size() - 1)]; }
    const Token& advance() { return tokens_[index_ < tokens_.size() - 1 ? index_++ : index_]; }
    [[noreturn]] void fail() const { failAt(current()); }
    [[noreturn]] void failAt(const Token& token) const { throwParseError(format_, token.position); }

    bool acceptSymbol(std::string_view symbol) {
        if (!current().isSymbol(symbol)) return false;
        advance();
        return true;
    }
    bool acceptKeyword(std::string_view keyword) {
        if (!current().isKeyword(keyword)) return false;
        advance();
        return true;
    }
    void expectSymbol(std::string_view symbol) {
        if (!acceptSymbol(symbol)) fail();
    }

    // One level of recursion, opened by "(", NOT, "{" or CAST at the current
    // token; bounded so that a hostile format cannot exhaust the stack.
    class Level {
    public:
        explicit Level(Parser& parser) : parser_(parser) {
            if (++parser_.depth_ > Predicate::kMaximumNesting) {
                throw InvalidArgumentException("Predicate format nests deeper than " +
                                               std::to_string(Predicate::kMaximumNesting) + " levels at position " +
                                               std::to_string(parser_.current().position));
            }
        }
        ~Level() { --parser_.depth_; }
        Level(const Level&) = delete;
        Level& operator=(const Level&) = delete;

    private:
        Parser& parser_;
    };

    PredicatePtr parseOr() {
        std::vector<PredicatePtr> operands{parseAnd()};
        while (acceptKeyword("OR") || acceptSymbol("||")) operands.push_back(parseAnd());
        if (operands.size() == 1) return operands.front();
        return Predicate::orPredicateWithSubpredicates(std::move(operands));
    }

    PredicatePtr parseAnd() {
        std::vector<PredicatePtr> operands{parseNot()};
        while (acceptKeyword("AND") || acceptSymbol("&&")) operands.push_back(parseNot());
        if (operands.size() == 1) return operands.front();
        return Predicate::andPredicateWithSubpredicates(std::move(operands));
    }

    PredicatePtr parseNot() {
        if (current().isKeyword("NOT") || current().isSymbol("!")) {
            Level level(*this);
            advance();
            return Predicate::notPredicateWithSubpredicate(parseNot());
        }
        if (current().isSymbol("(")) {
            Level level(*this);
            advance();
            PredicatePtr inner = parseOr();
            expectSymbol(")");
            return inner;
        }
        if (acceptKeyword("TRUEPREDICATE")) return Predicate::predicateWithValue(true);
        if (acceptKeyword("FALSEPREDICATE")) return Predicate::predicateWithValue(false);
        return parseComparison();
    }

    PredicatePtr parseComparison() {
        ComparisonModifier modifier = ComparisonModifier::Direct;
        if (acceptKeyword("ANY") || acceptKeyword("SOME")) {
            modifier = ComparisonModifier::Any;
        } else if (acceptKeyword("ALL")) {
            modifier = ComparisonModifier::All;
        } else if (acceptKeyword("NONE")) {
            modifier = ComparisonModifier::None;
        }
        Expression left = parseExpression();
        const ComparisonOperator op = parseOperator();
        const FoldOptions options = parseOptions();
        Expression right = parseExpression();
        return std::make_shared<ComparisonPredicate>(std::move(left), std::move(right), op, modifier, options);
    }

    ComparisonOperator parseOperator() {
        static constexpr std::pair<std::string_view, ComparisonOperator> symbols[] = {
            {"==", ComparisonOperator::Equal},         {"=", ComparisonOperator::Equal},
            {"!=", ComparisonOperator::NotEqual},      {"<>", ComparisonOperator::NotEqual},
            {"<", ComparisonOperator::Less},           {"<=", ComparisonOperator::LessOrEqual},
            {"=<", ComparisonOperator::LessOrEqual},   {">", ComparisonOperator::Greater},
            {">=", ComparisonOperator::GreaterOrEqual}, {"=>", ComparisonOperator::GreaterOrEqual},
        };
        static constexpr std::pair<std::string_view, ComparisonOperator> keywords[] = {
            {"BEGINSWITH", ComparisonOperator::BeginsWith}, {"ENDSWITH", ComparisonOperator::EndsWith},
            {"CONTAINS", ComparisonOperator::Contains},     {"LIKE", ComparisonOperator::Like},
            {"MATCHES", ComparisonOperator::Matches},       {"IN", ComparisonOperator::In},
            {"BETWEEN", ComparisonOperator::Between},
        };
        for (const auto& [text, op] : symbols) {
            if (acceptSymbol(text)) return op;
        }
        for (const auto& [text, op] : keywords) {
            if (acceptKeyword(text)) return op;
        }
        fail();
    }

    FoldOptions parseOptions() {
        FoldOptions options;
        if (!current().isSymbol("[")) return options;
        advance();
        const Token& flags = current();
        if (flags.kind != Token::Kind::Name || flags.escaped) fail();
        for (char c : flags.text) {
            if (c == 'c' || c == 'C') {
                options.caseInsensitive = true;
            } else if (c == 'd' || c == 'D') {
                options.diacriticInsensitive = true;
            } else {
                failAt(flags);
            }
        }
        advance();
        expectSymbol("]");
        return options;
    }

    const Value& nextArgument() {
        if (argumentIndex_ >= arguments_.size()) {
            throw InvalidArgumentException(
                "Insufficient arguments for conversion characters specified in format string.");
        }
        return arguments_[argumentIndex_++];
    }

    Expression parseArgument(const Token& token) {
        const Value& argument = nextArgument();
        const char conversion = token.text[0];
        switch (conversion) {
            case 'K': {
                const std::string* key = argument.asString();
                if (!key || key->empty()) {
                    throw InvalidArgumentException("Unsupported key path argument in the format string \"" +
                                                   std::string(format_) + "\" at position " +
                                                   std::to_string(token.position));
                }
                return Expression::makeKeyPath(makeKeyPath(*key));
            }
            case 'd': case 'i': case 'u': case 'x': case 'X':
                return Expression::makeConstant(argument.isNumber() ? Value(static_cast<long long>(argument.integerValue()))
                                                                    : argument);
            case 'f': case 'g': case 'e':
                return Expression::makeConstant(argument.isNumber() ? Value(argument.doubleValue()) : argument);
            default:
                return Expression::makeConstant(argument);
        }
    }

    // Further ".key" components after a key path, SELF or %K.
    Expression continueKeyPath(KeyPath path) {
        while (current().isSymbol(".")) {
            advance();
            const Token& key = current();
            if (key.kind != Token::Kind::Name || (!key.escaped && isReservedWord(key.text))) fail();
            path.emplace_back(key.text);
            advance();
        }
        return Expression::makeKeyPath(std::move(path));
    }

    Expression parseExpression() {
        const Token& token = current();
        switch (token.kind) {
            case Token::Kind::Number:
                advance();
                return Expression::makeConstant(token.number);
            case Token::Kind::String:
                advance();
                return Expression::makeConstant(Value(token.text));
            case Token::Kind::Variable:
                advance();
                return Expression::makeVariable(token.text);
            case Token::Kind::Argument: {
                advance();
                Expression argument = parseArgument(token);
                if (argument.kind == Expression::Kind::KeyPath) return continueKeyPath(std::move(argument.keyPath));
                return argument;
            }
            case Token::Kind::Symbol:
                if (token.isSymbol("{")) return parseAggregate();
                if (token.isSymbol("-") && peek(1).kind == Token::Kind::Number) {
                    advance();
                    const Value& number = advance().number;
                    if (number.isInteger()) return Expression::makeConstant(Value(-static_cast<long long>(number.integerValue())));
                    return Expression::makeConstant(Value(-number.doubleValue()));
                }
                fail();
            case Token::Kind::Name:
                return parseNamedExpression();
            case Token::Kind::End:
                break;
        }
        fail();
    }

    Expression parseNamedExpression() {
        const Token& token = current();
        if (token.isKeyword("YES") || token.isKeyword("TRUE")) {
            advance();
            return Expression::makeConstant(Value(true));
        }
        if (token.isKeyword("NO") || token.isKeyword("FALSE")) {
            advance();
            return Expression::makeConstant(Value(false));
        }
        if (token.isKeyword("NIL") || token.isKeyword("NULL")) {
            advance();
            return Expression::makeConstant(Value());
        }
        if (token.isKeyword("SELF")) {
            advance();
            if (!current().isSymbol(".")) return Expression::makeEvaluatedObject();
            return continueKeyPath({});
        }
        if (token.isKeyword("CAST") && peek(1).isSymbol("(")) return parseCast();
        if (!token.escaped && isReservedWord(token.text)) fail();
        KeyPath path;
        path.emplace_back(token.text);
        advance();
        return continueKeyPath(std::move(path));
    }

    Expression parseAggregate() {
        Level level(*this);
        expectSymbol("{");
        std::vector<Expression> elements;
        if (!current().isSymbol("}")) {
            elements.push_back(parseExpression());
            while (acceptSymbol(",")) elements.push_back(parseExpression());
        }
        expectSymbol("}");
        return Expression::makeAggregate(std::move(elements));
    }

    // CAST(constant, "NSDate" | "NSNumber" | "NSString" | "NSURL"): the
    // literal forms of values that have no literal of their own.
    Expression parseCast() {
        Level level(*this);
        const Token& cast = advance();
        expectSymbol("(");
        Expression operand = parseExpression();
        expectSymbol(",");
        const Token& type = current();
        if (type.kind != Token::Kind::String) fail();
        advance();
        expectSymbol(")");
        if (!operand.isConstant()) failAt(cast);
        std::optional<Value> converted = convert(operand.constant, type.text);
        if (!converted) failAt(cast);
        return Expression::makeConstant(std::move(*converted));
    }

    static std::optional<double> numberFrom(const Value& value) {
        if (value.isNumber()) return value.doubleValue();
        if (const std::string* s = value.asString()) {
            double d = 0;
            auto [end, ec] = std::from_chars(s->data(), s->data() + s->size(), d);
            if (ec == std::errc() && end == s->data() + s->size()) return d;
        }
        return std::nullopt;
    }

    static std::optional<Value> convert(const Value& value, std::string_view type) {
        if (type == "NSDate") {
            // Dates hold nanoseconds since 1970 in 64 bits (about 292 years
            // either way); keep within that, counted from 2001.
            constexpr double kRepresentableSeconds = 8.0e9;
            auto seconds = numberFrom(value);
            if (!seconds || !(std::fabs(*seconds) < kRepresentableSeconds)) return std::nullopt;
            return Value(dateWithTimeIntervalSinceReferenceDate(*seconds));
        }
        if (type == "NSNumber") {
            if (value.isNumber()) return value;
            const std::string* text = value.asString();
            if (!text) return std::nullopt;
            long long integer = 0;
            auto [end, ec] = std::from_chars(text->data(), text->data() + text->size(), integer);
            if (ec == std::errc() && end == text->data() + text->size()) return Value(integer);
            if (auto number = numberFrom(value)) return Value(*number);
            return std::nullopt;
        }
        if (type == "NSString") {
            if (value.isString()) return value;
            return Value(describe(value));
        }
        if (type == "NSURL") {
            const std::string* text = value.asString();
            if (!text) return std::nullopt;
            std::optional<URL> url = URL::URLWithString(*text);
            if (!url) return std::nullopt;
            if (url->isFileURL()) return Value(URL::fileURLWithPath(url->path(), url->hasDirectoryPath()));
            return Value(std::move(*url));
        }
        return std::nullopt;
    }

    std::string_view format_;
    std::vector<Token> tokens_;
    std::size_t index_ = 0;
    const std::vector<Value>& arguments_;
    std::size_t argumentIndex_ = 0;
    std::size_t depth_ = 0;
};

}  // namespace

PredicatePtr parsePredicate(std::string_view format, const std::vector<Value>& arguments) {
    return Parser(format, arguments).run();
}

}  // namespace kq::predicate
