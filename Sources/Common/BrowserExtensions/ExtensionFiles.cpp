#include "Common/BrowserExtensions/ExtensionFiles.h"

#include "KQFoundation/NSObject+JSON.h"
#include "KQFoundation/System/FileManager.h"
#include "KQFoundation/Foundation/PathUtilities.h"

namespace kq::detail {

std::optional<std::string> readUTF8Text(const std::string& path) {
    auto bytes = kq::FileManager::defaultManager().contentsAtPath(path);
    if (!bytes) return std::nullopt;
    std::string text(bytes->begin(), bytes->end());
    if (!kq::isValidUTF8(text)) return std::nullopt;
    return text;
}

std::optional<kq::Dictionary> readJSONObject(const std::string& path) {
    auto text = readUTF8Text(path);
    if (!text) return std::nullopt;
    return kq::Dictionary::dictionaryWithJSONString(*text);
}

}  // namespace kq::detail
