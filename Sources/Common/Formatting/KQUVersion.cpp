#include "KQFoundation/KQUVersion.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "Foundation/UnicodeText.h"
#include "KQFoundation/Foundation/Bundle.h"
#include "KQFoundation/NSBundle+KQFoundation.h"

namespace {

constexpr std::string_view kBundleVersionKey = "CFBundleVersion";
constexpr std::string_view kCoderKey = "version";

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isWhiteSpaceOrNewline(char32_t c) {
    return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
           (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F ||
           c == 0x3000;
}

// A scanner over the text that, like the platform's, skips white space and
// line breaks before every scan.
class VersionScanner {
public:
    explicit VersionScanner(std::string_view text) : text_(text) {}

    bool atEnd() {
        skipWhiteSpace();
        return position_ >= text_.size();
    }

    // Everything up to the next decimal digit (or the end).
    std::string_view scanUpToDigit() {
        skipWhiteSpace();
        std::size_t start = position_;
        while (position_ < text_.size() && !isDigit(text_[position_])) {
            position_ = kq::nextCodePointOffset(text_, position_);
        }
        return text_.substr(start, position_ - start);
    }

    // A decimal integer; one too large for 64 bits is clamped, its digits consumed.
    std::optional<std::int64_t> scanInteger() {
        skipWhiteSpace();
        std::size_t end = position_;
        while (end < text_.size() && isDigit(text_[end])) ++end;
        if (end == position_) return std::nullopt;
        std::int64_t value = 0;
        auto result = std::from_chars(text_.data() + position_, text_.data() + end, value);
        if (result.ec == std::errc::result_out_of_range) value = std::numeric_limits<std::int64_t>::max();
        position_ = end;
        return value;
    }

private:
    void skipWhiteSpace() {
        while (position_ < text_.size()) {
            kq::UTF8Sequence sequence = kq::decodeUTF8(text_, position_);
            if (sequence.length == 0 || !isWhiteSpaceOrNewline(sequence.codePoint)) return;
            position_ += sequence.length;
        }
    }

    std::string_view text_;
    std::size_t position_ = 0;
};

std::string numberText(const kq::Value& number) {
    if (number.isBool()) return number.boolValue() ? "1" : "0";
    if (number.isLargeUnsigned()) return std::to_string(number.unsignedIntegerValue());
    if (number.isInteger()) return std::to_string(number.integerValue());
    return kq::describe(number);
}

}  // namespace

std::optional<std::vector<std::int64_t>> KQUVersion::componentsFromVersionString(std::string_view string,
                                                                                  KQUVersionStage* stage) {
    VersionScanner scanner(string);
    std::vector<std::int64_t> components;
    KQUVersionStage workingStage = KQUVersionStageRelease;
    scanner.scanUpToDigit();
    if (scanner.atEnd()) return std::nullopt;
    while (true) {
        std::optional<std::int64_t> number = scanner.scanInteger();
        if (!number) break;
        components.push_back(*number);
        if (scanner.atEnd()) break;
        std::string_view separator = scanner.scanUpToDigit();
        if (separator == "a") {
            workingStage = KQUVersionStageAlpha;
            break;
        }
        if (separator == "b") {
            workingStage = KQUVersionStageBeta;
            break;
        }
        if (separator != ".") break;
    }
    if (components.size() < 2) return std::nullopt;
    if (stage) *stage = workingStage;
    return components;
}

std::optional<KQUVersion> KQUVersion::versionWithString(std::string_view string) {
    KQUVersionStage stage = KQUVersionStageRelease;
    std::optional<std::vector<std::int64_t>> components = componentsFromVersionString(string, &stage);
    if (!components) return std::nullopt;
    return KQUVersion(std::move(*components), stage);
}

std::optional<KQUVersion> KQUVersion::preferredVersionWithBundleVersion(
    const std::optional<std::string>& bundleVersion, const std::optional<std::string>& shortVersion) {
    std::optional<KQUVersion> bundle = bundleVersion ? versionWithString(*bundleVersion) : std::nullopt;
    std::optional<KQUVersion> shortOne = shortVersion ? versionWithString(*shortVersion) : std::nullopt;
    if (!shortOne) return bundle;
    if (!bundle) return shortOne;
    return bundle->stringRepresentation().starts_with(shortOne->stringRepresentation()) ? bundle : shortOne;
}

std::optional<KQUVersion> KQUVersion::versionOfBundle(const kq::Bundle& bundle) {
    return preferredVersionWithBundleVersion(bundle.bundleVersion(), bundle.shortVersion());
}

std::optional<KQUVersion> KQUVersion::versionWithBundleInfo(const kq::Dictionary& info) {
    return preferredVersionWithBundleVersion(bundleInfo(info, kBundleVersionKey),
                                             bundleInfo(info, kKQBundleShortVersionStringKey));
}

std::optional<std::string> KQUVersion::bundleInfo(const kq::Dictionary& info, std::string_view key) {
    const kq::Value* value = info.objectForKey(key);
    if (!value) return std::nullopt;
    if (const std::string* text = value->asString()) return *text;
    if (value->isNumber()) return numberText(*value);
    return std::nullopt;
}

std::string KQUVersion::stringRepresentation() const {
    std::string text;
    for (std::size_t i = 0; i < components_.size(); ++i) {
        if (i > 0) text += '.';
        text += std::to_string(components_[i]);
    }
    return text;
}

std::string KQUVersion::stringRepresentationWithStage() const {
    switch (stage_) {
        case KQUVersionStageAlpha: return stringRepresentation() + " alpha";
        case KQUVersionStageBeta: return stringRepresentation() + " beta";
        default: return stringRepresentation();
    }
}

std::string KQUVersion::stringRepresentationForCoder() const {
    switch (stage_) {
        case KQUVersionStageAlpha: return stringRepresentation() + "a";
        case KQUVersionStageBeta: return stringRepresentation() + "b";
        default: return stringRepresentation();
    }
}

int KQUVersion::compare(const KQUVersion& other) const {
    std::size_t shared = std::min(components_.size(), other.components_.size());
    for (std::size_t i = 0; i < shared; ++i) {
        if (components_[i] != other.components_[i]) return components_[i] < other.components_[i] ? -1 : 1;
    }
    // No padding with zeros: "1.2" comes before "1.2.0".
    if (components_.size() != other.components_.size()) {
        return components_.size() < other.components_.size() ? -1 : 1;
    }
    if (stage_ != other.stage_) return stage_ < other.stage_ ? -1 : 1;
    return 0;
}

std::size_t KQUVersion::hash() const {
    std::size_t seed = components_.size();
    for (std::int64_t component : components_) {
        seed ^= std::hash<std::int64_t>{}(component) + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2);
    }
    return seed ^ static_cast<std::size_t>(stage_);
}

kq::Dictionary KQUVersion::encodeWithCoder() const {
    return kq::Dictionary{{std::string(kCoderKey), kq::Value(stringRepresentationForCoder())}};
}

std::optional<KQUVersion> KQUVersion::initWithCoder(const kq::Dictionary& archive) {
    const std::string* text = archive.stringValueForKey(kCoderKey);
    return text ? versionWithString(*text) : std::nullopt;
}
