#include "KQFoundation/NSDictionary+KQValueTypeChecking.h"

#include <cctype>

namespace kq {

const std::string* Dictionary::stringValueForKey(std::string_view key) const {
    const Value* v = objectForKey(key);
    return v ? v->asString() : nullptr;
}

const Array* Dictionary::arrayValueForKey(std::string_view key) const {
    const Value* v = objectForKey(key);
    return v ? v->asArray() : nullptr;
}

const Dictionary* Dictionary::dictioniaryValueForKey(std::string_view key) const {
    const Value* v = objectForKey(key);
    return v ? v->asDictionary() : nullptr;
}

const Value* Dictionary::numberValueForKey(std::string_view key) const {
    const Value* v = objectForKey(key);
    return v && v->isNumber() ? v : nullptr;
}

const Date* Dictionary::dateValueForKey(std::string_view key) const {
    const Value* v = objectForKey(key);
    return v ? v->asDate() : nullptr;
}

std::int64_t Dictionary::integerValueForKey(std::string_view key, std::int64_t defaultValue) const {
    const Value* number = numberValueForKey(key);
    return number ? number->integerValue() : defaultValue;
}

namespace {

// The platform's reading of a string as a boolean.
bool stringBoolValue(std::string_view s) {
    std::size_t i = 0;
    while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i]))) ++i;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
    while (i < s.size() && s[i] == '0') ++i;
    if (i == s.size()) return false;
    const char c = s[i];
    return c == 'y' || c == 'Y' || c == 't' || c == 'T' || (c >= '1' && c <= '9');
}

}  // namespace

bool Dictionary::boolValueForKey(std::string_view key, bool defaultValue) const {
    const Value* v = objectForKey(key);
    if (!v) return defaultValue;
    if (v->isNumber()) return v->boolValue();
    if (const std::string* s = v->asString()) {
        std::string lower(*s);
        for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return lower == "true" || stringBoolValue(lower);
    }
    return defaultValue;
}

}  // namespace kq
