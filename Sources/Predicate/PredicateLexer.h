#pragma once
// Splits a predicate format into tokens. Keywords are not told apart from
// names here (the parser does that, case-insensitively); a name written with
// a leading "#" is marked as escaped so that it is never read as a keyword.
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Foundation/Value.h"

namespace kq::predicate {

struct Token {
    enum class Kind {
        End,
        Name,      // identifier or keyword; `text` is the name
        Number,    // `number` holds the integer or real value
        String,    // `text` holds the unescaped contents
        Variable,  // `text` is the name without "$"
        Argument,  // `text` is the conversion: "@", "K", "d", "f", "s" ...
        Symbol,    // `text` is the operator or punctuation
    };

    Kind kind = Kind::End;
    std::string text;
    Value number;
    bool escaped = false;
    std::size_t position = 0;  // byte offset in the format

    bool isSymbol(std::string_view s) const { return kind == Kind::Symbol && text == s; }
    /// A keyword match, ignoring case; escaped names never match.
    bool isKeyword(std::string_view keyword) const;
};

/// Throws kq::InvalidArgumentException naming the format and the position.
[[noreturn]] void throwParseError(std::string_view format, std::size_t position);

/// The tokens of the format, ending with an End token.
std::vector<Token> tokenize(std::string_view format);

/// Words with a meaning of their own in the language (case-insensitive); a
/// key with such a name is written "#name".
bool isReservedWord(std::string_view word);

/// True when the key, written bare, reads back as that key name (not a
/// keyword, number or symbol); others are written "#key".
bool readsAsKeyName(std::string_view key);

}  // namespace kq::predicate
