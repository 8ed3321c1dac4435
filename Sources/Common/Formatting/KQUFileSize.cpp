#include "KQFoundation/KQUFileSize.h"

#include <cmath>
#include <mutex>

#include "Common/Formatting/FileSizeTexts.h"
#include "Common/Formatting/LocalizedNumberFormat.h"
#include "KQFoundation/Foundation/Bundle.h"
#include "KQFoundation/NSString+KQUFileSize.h"

namespace kq::detail {
namespace {

constexpr std::array<const char*, 8> kDefaultNames{"byte", "bytes", "KB", "MB", "GB", "TB", "PB", "EB"};

/// The host's translation when it has one, else the library's (which falls
/// back to the key itself).
std::string localizedText(const char* key) {
    // Not a text any table holds: tells "missing" apart from a translation.
    static const std::string kMissing = "\x1f\x1f";
    if (std::shared_ptr<Bundle> main = Bundle::mainBundle()) {
        std::string text = main->localizedString(key, kMissing);
        if (text != kMissing) return text;
    }
    if (std::shared_ptr<Bundle> library = Bundle::libraryBundle()) return library->localizedString(key);
    return key;
}

struct TextCache {
    std::mutex mutex;
    std::shared_ptr<const FileSizeTexts> texts;
};

TextCache& textCache() {
    static TextCache shared;
    return shared;
}

}  // namespace

const std::array<const char*, 8> FileSizeTexts::kDefaultFormats{"%u", "%u", "%1.1f", "%1.1f",
                                                                "%1.1f", "%1.1f", "%1.1f", "%1.1f"};

std::shared_ptr<const FileSizeTexts> fileSizeTexts() {
    TextCache& cache = textCache();
    std::lock_guard lock(cache.mutex);
    if (!cache.texts) {
        auto texts = std::make_shared<FileSizeTexts>();
        for (std::size_t unit = 0; unit < kDefaultNames.size(); ++unit) {
            texts->formats[unit] = localizedText(FileSizeTexts::kDefaultFormats[unit]);
            texts->names[unit] = localizedText(kDefaultNames[unit]);
        }
        cache.texts = std::move(texts);
    }
    return cache.texts;
}

void resetFileSizeTexts() {
    {
        TextCache& cache = textCache();
        std::lock_guard lock(cache.mutex);
        cache.texts.reset();
    }
    resetNumberLocale();
}

}  // namespace kq::detail

KQUFileSize::KQUFileSize(std::uint64_t byteSize, std::uint64_t minLength, bool useMetricBase)
    : byteSize_(byteSize) {
    if (byteSize == 1) {
        unit_ = KQUFileSizeUnitByte;
        value_ = kq::Value(static_cast<unsigned long long>(1));
        return;
    }
    const double base = useMetricBase ? 1000.0 : 1024.0;
    // Unsigned on purpose: a minimum length of 0 wraps, the limit becomes
    // infinite and every size stays in bytes.
    const double limit = std::pow(10.0, static_cast<double>(minLength - 1)) * base;
    const double size = static_cast<double>(byteSize);
    if (limit > size) {
        unit_ = KQUFileSizeUnitBytes;
        value_ = kq::Value(static_cast<unsigned long long>(byteSize));
        return;
    }
    double quotient = size / base;
    std::int32_t unit = KQUFileSizeUnitKB;
    while (quotient >= limit && unit < KQUFileSizeUnitEB) {
        quotient /= base;
        ++unit;
    }
    unit_ = static_cast<KQUFileSizeUnit>(unit);
    value_ = kq::Value(quotient);
}

std::string KQUFileSize::stringValue() const {
    const auto index = static_cast<std::size_t>(unit_);
    const kq::detail::FormattedNumber number =
        value_.isReal() ? kq::detail::FormattedNumber(value_.doubleValue())
                        : kq::detail::FormattedNumber(value_.unsignedIntegerValue());
    std::optional<std::string> text = kq::detail::formatNumber(kq::detail::fileSizeTexts()->formats[index], number, true);
    if (!text) text = kq::detail::formatNumber(kq::detail::FileSizeTexts::kDefaultFormats[index], number, true);
    return text.value_or("");
}

std::string KQUFileSize::description() const {
    return stringValue() + "\u00A0" + kq::stringWithFileSizeUnit(unit_);
}
