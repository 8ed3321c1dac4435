#include "Predicate/PredicateLexer.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <cstdlib>

#include "Foundation/UnicodeText.h"
#include "KQFoundation/Foundation/Exceptions.h"

namespace kq::predicate {
namespace {

constexpr std::array<std::string_view, 23> kReservedWords{
    "AND",   "OR",   "NOT",  "IN",      "LIKE",  "MATCHES",       "BEGINSWITH",     "ENDSWITH",
    "CONTAINS", "BETWEEN", "ANY", "ALL", "NONE", "SOME", "TRUEPREDICATE", "FALSEPREDICATE",
    "YES",   "NO",   "TRUE", "FALSE",   "NIL",   "NULL",          "SELF",
};

bool equalsIgnoringASCIICase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        char x = a[i], y = b[i];
        if (x >= 'a' && x <= 'z') x = static_cast<char>(x - 'a' + 'A');
        if (y >= 'a' && y <= 'z') y = static_cast<char>(y - 'a' + 'A');
        if (x != y) return false;
    }
    return true;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isNameStart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}
bool isNameCharacter(char c) { return isNameStart(c) || isDigit(c); }

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

class Lexer {
public:
    explicit Lexer(std::string_view format) : format_(format) {}

    std::vector<Token> run() {
        std::vector<Token> tokens;
        while (true) {
            skipWhitespace();
            if (pos_ >= format_.size()) break;
            tokens.push_back(next());
        }
        Token end;
        end.position = format_.size();
        tokens.push_back(std::move(end));
        return tokens;
    }

private:
    [[noreturn]] void fail(std::size_t position) const { throwParseError(format_, position); }

    char peek(std::size_t ahead = 0) const {
        return pos_ + ahead < format_.size() ? format_[pos_ + ahead] : '\0';
    }

    void skipWhitespace() {
        while (pos_ < format_.size() &&
               (format_[pos_] == ' ' || format_[pos_] == '\t' || format_[pos_] == '\n' || format_[pos_] == '\r'))
            ++pos_;
    }

    Token make(Token::Kind kind, std::size_t start, std::string text = {}) const {
        Token t;
        t.kind = kind;
        t.position = start;
        t.text = std::move(text);
        return t;
    }

    std::string readName() {
        const std::size_t start = pos_;
        while (pos_ < format_.size() && isNameCharacter(format_[pos_])) ++pos_;
        return std::string(format_.substr(start, pos_ - start));
    }

    Token next() {
        const std::size_t start = pos_;
        const char c = peek();
        if (c == '\'' || c == '"') return readString();
        if (isDigit(c)) return readNumber();
        if (isNameStart(c) || (c == '@' && isNameStart(peek(1)))) {
            if (c == '@') ++pos_;
            std::string name = readName();
            return make(Token::Kind::Name, start, c == '@' ? "@" + name : std::move(name));
        }
        if (c == '#') {
            // "#" also lets a key start with a digit or "@" and a digit ("#@4"),
            // which is how such keys print.
            ++pos_;
            if (!isNameCharacter(peek()) && peek() != '@') fail(start);
            if (peek() == '@') ++pos_;
            std::string name = readName();
            Token t = make(Token::Kind::Name, start, format_[start + 1] == '@' ? "@" + name : std::move(name));
            t.escaped = true;
            return t;
        }
        if (c == '$') {
            ++pos_;
            if (!isNameStart(peek())) fail(start);
            return make(Token::Kind::Variable, start, readName());
        }
        if (c == '%') return readArgument();
        return readSymbol();
    }

    Token readSymbol() {
        const std::size_t start = pos_;
        static constexpr std::array<std::string_view, 22> symbols{
            "==", "=<", "=>", "!=", "<>", "<=", ">=", "&&", "||", "=", "<", ">",
            "!",  "(",  ")",  "{",  "}",  ",",  ".",  "[",  "]",  "-",
        };
        for (std::string_view s : symbols) {
            if (format_.substr(pos_, s.size()) == s) {
                pos_ += s.size();
                return make(Token::Kind::Symbol, start, std::string(s));
            }
        }
        fail(start);
    }

    Token readArgument() {
        const std::size_t start = pos_++;
        while (peek() == 'l' || peek() == 'h' || peek() == 'q') ++pos_;
        const char conversion = peek();
        switch (conversion) {
            case '@': case 'K': case 'd': case 'i': case 'u': case 'x': case 'X':
            case 'f': case 'g': case 'e': case 's':
                ++pos_;
                return make(Token::Kind::Argument, start, std::string(1, conversion));
            default:
                fail(start);
        }
    }

    Token readNumber() {
        const std::size_t start = pos_;
        Token t = make(Token::Kind::Number, start);
        const char prefix = peek(1);
        if (peek() == '0' && (prefix == 'x' || prefix == 'X' || prefix == 'o' || prefix == 'O' || prefix == 'b' ||
                              prefix == 'B')) {
            const int base = (prefix == 'x' || prefix == 'X') ? 16 : (prefix == 'o' || prefix == 'O') ? 8 : 2;
            pos_ += 2;
            const std::size_t digits = pos_;
            while (pos_ < format_.size() && isNameCharacter(format_[pos_])) ++pos_;
            std::uint64_t value = 0;
            auto [end, ec] = std::from_chars(format_.data() + digits, format_.data() + pos_, value, base);
            if (ec != std::errc() || end != format_.data() + pos_ || digits == pos_) fail(start);
            if (value > static_cast<std::uint64_t>(INT64_MAX)) {
                t.number = Value(static_cast<double>(value));
            } else {
                t.number = Value(static_cast<long long>(value));
            }
            return t;
        }
        bool real = false;
        while (isDigit(peek())) ++pos_;
        if (peek() == '.' && isDigit(peek(1))) {
            real = true;
            ++pos_;
            while (isDigit(peek())) ++pos_;
        }
        if (peek() == 'e' || peek() == 'E') {
            std::size_t look = 1;
            if (peek(1) == '+' || peek(1) == '-') look = 2;
            if (isDigit(peek(look))) {
                real = true;
                pos_ += look;
                while (isDigit(peek())) ++pos_;
            }
        }
        if (isNameStart(peek())) fail(pos_);
        const char* first = format_.data() + start;
        const char* last = format_.data() + pos_;
        if (!real) {
            long long value = 0;
            auto [end, ec] = std::from_chars(first, last, value);
            if (ec == std::errc() && end == last) {
                t.number = Value(value);
                return t;
            }
        }
        double value = 0;
        auto [end, ec] = std::from_chars(first, last, value);
        if (end != last || ec != std::errc()) fail(start);
        t.number = Value(value);
        return t;
    }

    Token readString() {
        const std::size_t start = pos_;
        const char quote = format_[pos_++];
        std::string text;
        while (true) {
            if (pos_ >= format_.size()) fail(start);
            const char c = format_[pos_];
            if (c == quote) {
                ++pos_;
                break;
            }
            if (c != '\\') {
                text += c;
                ++pos_;
                continue;
            }
            const std::size_t escape = pos_;
            const char e = peek(1);
            pos_ += 2;
            switch (e) {
                case 'n': text += '\n'; break;
                case 't': text += '\t'; break;
                case 'r': text += '\r'; break;
                case '\\': text += '\\'; break;
                case '\'': text += '\''; break;
                case '"': text += '"'; break;
                case 'u': text += readUnicodeEscape(escape); break;
                case '\0':
                    if (escape + 1 >= format_.size()) fail(start);
                    [[fallthrough]];
                default:
                    // Kept as written: LIKE and MATCHES patterns give such escapes
                    // ("\*", "\d") their own meaning.
                    text += '\\';
                    text += e;
                    break;
            }
        }
        return make(Token::Kind::String, start, std::move(text));
    }

    std::uint32_t readHex4(std::size_t escape) {
        std::uint32_t value = 0;
        for (int i = 0; i < 4; ++i) {
            const int d = hexDigit(peek());
            if (d < 0) fail(escape);
            value = value * 16 + static_cast<std::uint32_t>(d);
            ++pos_;
        }
        return value;
    }

    std::string readUnicodeEscape(std::size_t escape) {
        std::uint32_t cp = readHex4(escape);
        if (cp >= 0xD800 && cp <= 0xDBFF && peek() == '\\' && peek(1) == 'u') {
            const std::size_t save = pos_;
            pos_ += 2;
            const std::uint32_t low = readHex4(save);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
            } else {
                pos_ = save;
            }
        }
        std::string out;
        appendUTF8(out, cp);
        return out;
    }

    std::string_view format_;
    std::size_t pos_ = 0;
};

}  // namespace

bool Token::isKeyword(std::string_view keyword) const {
    return kind == Kind::Name && !escaped && equalsIgnoringASCIICase(text, keyword);
}

void throwParseError(std::string_view format, std::size_t position) {
    throw InvalidArgumentException("Unable to parse the format string \"" + std::string(format) + "\" at position " +
                                   std::to_string(position));
}

std::vector<Token> tokenize(std::string_view format) { return Lexer(format).run(); }

bool isReservedWord(std::string_view word) {
    for (std::string_view reserved : kReservedWords) {
        if (equalsIgnoringASCIICase(word, reserved)) return true;
    }
    return false;
}

bool readsAsKeyName(std::string_view key) {
    if (!key.empty() && key.front() == '@') key.remove_prefix(1);
    if (key.empty() || !isNameStart(key.front())) return false;
    for (char c : key) {
        if (!isNameCharacter(c)) return false;
    }
    return !isReservedWord(key);
}

}  // namespace kq::predicate
