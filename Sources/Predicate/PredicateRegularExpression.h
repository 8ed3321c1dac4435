#pragma once
// A compiled MATCHES pattern (ICU regular expressions). The pattern must
// match the whole string. Compiled once, usable from many threads.
#include <memory>
#include <string_view>

namespace kq::predicate {

class RegularExpression {
public:
    /// Throws kq::InvalidArgumentException when the pattern does not compile.
    static std::shared_ptr<const RegularExpression> compile(std::string_view pattern, bool caseInsensitive);
    ~RegularExpression();

    bool matchesWholeString(std::string_view text) const;

private:
    struct Impl;
    explicit RegularExpression(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

}  // namespace kq::predicate
