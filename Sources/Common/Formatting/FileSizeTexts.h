#pragma once
// The localized formats and names of the file-size units, looked up once per
// process (host's main bundle first, then the library's own strings).
#include <array>
#include <memory>
#include <string>

namespace kq::detail {

struct FileSizeTexts {
    std::array<std::string, 8> formats;
    std::array<std::string, 8> names;
    /// The untranslated formats, for when a translated one is not usable.
    static const std::array<const char*, 8> kDefaultFormats;
};

std::shared_ptr<const FileSizeTexts> fileSizeTexts();

/// Forgets the looked-up unit texts and the number locale, so the next use
/// reads the bundles and the environment again. For tests that change the
/// language, the locale or the main bundle, and for hosts that do so while
/// running.
void resetFileSizeTexts();

}  // namespace kq::detail
