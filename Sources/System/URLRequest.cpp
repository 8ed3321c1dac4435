#include "KQFoundation/System/URLRequest.h"

#include <algorithm>

namespace kq {

namespace {

// Field names are ASCII tokens, so ASCII folding is the whole story here.
bool sameFieldName(std::string_view a, std::string_view b) {
    const auto lower = [](unsigned char c) { return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c; };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [&](char x, char y) { return lower(x) == lower(y); });
}

}  // namespace

URLRequest::URLRequest(URL url, double timeoutInterval) : url_(std::move(url)), timeout_(timeoutInterval) {}

std::ptrdiff_t URLRequest::findHeader(std::string_view field) const {
    for (std::size_t i = 0; i < headers_.size(); ++i)
        if (sameFieldName(headers_[i].first, field)) return static_cast<std::ptrdiff_t>(i);
    return -1;
}

std::optional<std::string> URLRequest::valueForHTTPHeaderField(std::string_view field) const {
    const auto i = findHeader(field);
    if (i < 0) return std::nullopt;
    return headers_[static_cast<std::size_t>(i)].second;
}

bool operator==(const URLRequest& a, const URLRequest& b) {
    return a.url_ == b.url_ && a.method_ == b.method_ && a.headers_ == b.headers_ && a.body_ == b.body_ &&
           a.timeout_ == b.timeout_ && a.cachePolicy_ == b.cachePolicy_;
}

void MutableURLRequest::setHTTPMethod(std::string_view method) {
    method_ = method.empty() ? "GET" : std::string(method);
}

void MutableURLRequest::setValue(std::optional<std::string_view> value, std::string_view field) {
    const auto i = findHeader(field);
    if (!value) {
        if (i >= 0) headers_.erase(headers_.begin() + i);
        return;
    }
    if (i >= 0)
        headers_[static_cast<std::size_t>(i)].second = std::string(*value);
    else
        headers_.emplace_back(std::string(field), std::string(*value));
}

void MutableURLRequest::addValue(std::string_view value, std::string_view field) {
    const auto i = findHeader(field);
    if (i < 0) {
        headers_.emplace_back(std::string(field), std::string(value));
        return;
    }
    auto& existing = headers_[static_cast<std::size_t>(i)].second;
    existing.append(", ").append(value);
}

}  // namespace kq
