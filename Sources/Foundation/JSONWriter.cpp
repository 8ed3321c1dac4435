// Compact JSON text from values. Everything is appended to one string, so a
// large document is written without intermediate copies.
#include <charconv>
#include <cmath>

#include "KQFoundation/NSObject+JSON.h"

namespace kq {

namespace {

void appendValue(std::string& out, const Value& value);

bool needsEscaping(unsigned char c) { return c < 0x20 || c == '"' || c == '\\' || c == '/'; }

void appendString(std::string& out, std::string_view text) {
    out += '"';
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (!needsEscaping(c)) continue;
        out.append(text.data() + start, i - start);
        start = i + 1;
        if (c >= 0x20) {
            out += '\\';
            out += static_cast<char>(c);
        } else {
            // Always the six-character form, even for tab and line feed.
            static constexpr char kHex[] = "0123456789ABCDEF";
            const char escape[] = {'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 0xF]};
            out.append(escape, sizeof escape);
        }
    }
    out.append(text.data() + start, text.size() - start);
    out += '"';
}

void appendReal(std::string& out, double value) {
    if (!std::isfinite(value)) {
        out += "null";
        return;
    }
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    out.append(buffer, result.ptr);
}

template <class Integer>
void appendInteger(std::string& out, Integer value) {
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    out.append(buffer, result.ptr);
}

void appendArray(std::string& out, const Array& array) {
    out += '[';
    for (std::size_t i = 0; i < array.size(); ++i) {
        if (i) out += ',';
        appendValue(out, array[i]);
    }
    out += ']';
}

void appendDictionary(std::string& out, const Dictionary& dictionary) {
    out += '{';
    bool first = true;
    dictionary.forEach([&](const std::string& key, const Value& value) {
        if (!first) out += ',';
        first = false;
        // Keys go out as they are, unescaped: readers of our own output
        // depend on that form.
        out += '"';
        out += key;
        out += "\":";
        appendValue(out, value);
    });
    out += '}';
}

void appendValue(std::string& out, const Value& value) {
    switch (value.type()) {
        case Value::Type::Bool: out += value.boolValue() ? "true" : "false"; break;
        case Value::Type::Integer:
            if (value.isLargeUnsigned())
                appendInteger(out, value.unsignedIntegerValue());
            else
                appendInteger(out, value.integerValue());
            break;
        case Value::Type::Real: appendReal(out, value.doubleValue()); break;
        case Value::Type::String: appendString(out, *value.asString()); break;
        case Value::Type::Array: appendArray(out, *value.asArray()); break;
        case Value::Type::Dictionary: appendDictionary(out, *value.asDictionary()); break;
        case Value::Type::Null:
        case Value::Type::Data:
        case Value::Type::Date:
        case Value::Type::URL: out += "null"; break;
    }
}

}  // namespace

std::string JSONString(std::string_view string) {
    std::string out;
    out.reserve(string.size() + 2);
    appendString(out, string);
    return out;
}

std::string Value::JSONString() const {
    std::string out;
    appendValue(out, *this);
    return out;
}

std::string Array::JSONString() const {
    std::string out;
    appendArray(out, *this);
    return out;
}

std::string Dictionary::JSONString() const {
    std::string out;
    appendDictionary(out, *this);
    return out;
}

}  // namespace kq
