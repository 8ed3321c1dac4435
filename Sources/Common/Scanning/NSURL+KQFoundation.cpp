#include "KQFoundation/NSURL+KQFoundation.h"

#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/Foundation/PathUtilities.h"

namespace kq {

namespace {

// Query items escape what would end or split them; "=" may stay inside a value.
constexpr std::string_view kQueryItemNameAlsoEscape = "&=";
constexpr std::string_view kQueryItemValueAlsoEscape = "&";

std::string textOf(const Value& value) {
    if (const std::string* text = value.asString()) return *text;
    return describe(value);
}

std::vector<std::string_view> splitAt(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    std::size_t start = 0;
    for (;;) {
        const std::size_t end = text.find(separator, start);
        if (end == std::string_view::npos) {
            parts.push_back(text.substr(start));
            return parts;
        }
        parts.push_back(text.substr(start, end - start));
        start = end + 1;
    }
}

std::string unescapedOrThrow(std::string_view text) {
    std::string out;
    if (!stringByRemovingPercentEscapes(text, out))
        throw InvalidArgumentException("malformed percent escape in query parameter: " + std::string(text));
    return out;
}

}  // namespace

std::optional<URL> URL::URLWithString(std::string_view base, const Dictionary& params) {
    if (params.empty()) return URLWithString(base);
    std::string query;
    params.forEach([&](const std::string& key, const Value& value) {
        if (!query.empty()) query.push_back('&');
        query += stringByAddingPercentEscapes(key, kURLReservedCharactersToEscape);
        query.push_back('=');
        query += stringByAddingPercentEscapes(describe(value), kURLReservedCharactersToEscape);
    });
    return URLWithString(std::string(base) + "?" + query);
}

std::optional<URL> URL::URLWithString(std::string_view base, const Dictionary& params, std::string_view anchor) {
    std::string text(base);
    if (!params.empty()) {
        auto withParams = URLWithString(base, params);
        if (!withParams) return std::nullopt;
        text = withParams->absoluteString();
    }
    return URLWithString(text + "#" + std::string(anchor));
}

std::optional<URL> URL::URLWithString(
    std::string_view base,
    const std::vector<std::pair<std::optional<std::string>, std::optional<std::string>>>& valueKeyPairs) {
    Dictionary params;
    for (const auto& [value, key] : valueKeyPairs)
        if (value && key) params.setObject(*key, Value(*value));
    return URLWithString(base, params);
}

std::optional<URL> URL::URLByAppendingQuery(const Dictionary& query) const {
    if (query.empty()) return *this;
    std::string text = absoluteString();
    std::string fragment;
    if (const std::size_t hash = text.find('#'); hash != std::string::npos) {
        fragment = text.substr(hash);
        text.resize(hash);
    }
    // The existing query keeps its own escapes; the new items follow it.
    const bool hasQuery = text.find('?') != std::string::npos;
    bool first = !hasQuery || text.back() == '?';
    if (!hasQuery) text.push_back('?');
    query.forEach([&](const std::string& key, const Value& value) {
        if (!first) text.push_back('&');
        first = false;
        text += stringByAddingPercentEscapes(key, kQueryItemNameAlsoEscape);
        text.push_back('=');
        text += stringByAddingPercentEscapes(textOf(value), kQueryItemValueAlsoEscape);
    });
    return URLWithString(text + fragment);
}

Dictionary URL::queryParameters() const {
    Dictionary parameters;
    const auto text = query();
    if (!text) return parameters;
    for (std::string_view part : splitAt(*text, '&')) {
        const std::vector<std::string_view> pieces = splitAt(part, '=');
        const std::string_view value = pieces.size() == 2 ? pieces.back() : std::string_view();
        parameters.setObject(unescapedOrThrow(pieces.front()), Value(unescapedOrThrow(value)));
    }
    return parameters;
}

}  // namespace kq
