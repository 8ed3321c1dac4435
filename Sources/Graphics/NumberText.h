#pragma once
// The shortest text that reads back as the same double ("24", "0.5"), for
// descriptions that people and pango read.
#include <charconv>
#include <string>

namespace kq::detail {

inline std::string shortestNumberText(double value) {
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

}  // namespace kq::detail
