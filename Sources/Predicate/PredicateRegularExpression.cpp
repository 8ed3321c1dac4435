#include "Predicate/PredicateRegularExpression.h"

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <string>

#include "KQFoundation/Foundation/Exceptions.h"

namespace kq::predicate {

struct RegularExpression::Impl {
    std::unique_ptr<icu::RegexPattern> pattern;
};

RegularExpression::RegularExpression(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
RegularExpression::~RegularExpression() = default;

std::shared_ptr<const RegularExpression> RegularExpression::compile(std::string_view pattern,
                                                                    bool caseInsensitive) {
    UErrorCode status = U_ZERO_ERROR;
    UParseError parseError{};
    const icu::UnicodeString text =
        icu::UnicodeString::fromUTF8(icu::StringPiece(pattern.data(), static_cast<int32_t>(pattern.size())));
    auto impl = std::make_unique<Impl>();
    impl->pattern.reset(
        icu::RegexPattern::compile(text, caseInsensitive ? UREGEX_CASE_INSENSITIVE : 0, parseError, status));
    if (U_FAILURE(status) || !impl->pattern) {
        throw InvalidArgumentException("Can't do regex matching, reason: Can't open pattern " +
                                       std::string(u_errorName(status)) + " (pattern " + std::string(pattern) +
                                       ", offset " + std::to_string(parseError.offset) + ")");
    }
    return std::shared_ptr<const RegularExpression>(new RegularExpression(std::move(impl)));
}

bool RegularExpression::matchesWholeString(std::string_view text) const {
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString input =
        icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
    std::unique_ptr<icu::RegexMatcher> matcher(impl_->pattern->matcher(input, status));
    if (U_FAILURE(status) || !matcher) return false;
    // A runaway pattern (catastrophic backtracking) fails instead of hanging
    // the caller; the limit is in ICU's steps of roughly a millisecond.
    matcher->setTimeLimit(2000, status);
    const bool result = matcher->matches(status);
    if (status == U_REGEX_TIME_OUT || status == U_REGEX_STACK_OVERFLOW) {
        throw InvalidArgumentException("Can't do regex matching, reason: " + std::string(u_errorName(status)));
    }
    return U_SUCCESS(status) && result;
}

}  // namespace kq::predicate
