#include "KQFoundation/NSXMLNode+KQFoundation.h"

#include <unicode/locid.h>
#include <unicode/parsepos.h>
#include <unicode/smpdtfmt.h>
#include <unicode/unistr.h>

#include <climits>

namespace kq {

std::optional<Date> XMLNode::dateValue() const {
    const std::string text = stringValue();
    if (text.size() > INT32_MAX) return std::nullopt;
    UErrorCode status = U_ZERO_ERROR;
    // The formatter takes ICU's default zone, the process's current time zone.
    icu::SimpleDateFormat formatter(icu::UnicodeString("yyyy-MM-dd'T'HH:mm:ss", -1, US_INV),
                                    icu::Locale("en_US"), status);
    if (U_FAILURE(status)) return std::nullopt;
    formatter.setLenient(false);
    const icu::UnicodeString input =
        icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
    icu::ParsePosition position(0);
    const UDate milliseconds = formatter.parse(input, position);
    if (position.getErrorIndex() >= 0 || position.getIndex() != input.length()) return std::nullopt;
    return Date(std::chrono::duration<double>(milliseconds / 1000.0));
}

std::optional<std::vector<std::string>> XMLNode::childrenStringValues() const {
    if (children().empty()) return std::nullopt;
    std::vector<std::string> values;
    values.reserve(children().size());
    for (const auto& child : children()) values.push_back(child->stringValue());
    return values;
}

const XMLElement* XMLElement::elementForName(std::string_view name) const {
    for (const auto& child : children_)
        if (child->kind() == Kind::Element && child->name() == name) return child->asElement();
    return nullptr;
}

}  // namespace kq
