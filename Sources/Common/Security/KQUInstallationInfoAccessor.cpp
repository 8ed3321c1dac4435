#include "KQFoundation/KQUInstallationInfoAccessor.h"

#include <cstdlib>

#include "KQFoundation/Foundation/PathUtilities.h"
#include "KQFoundation/KQUCryptor.h"
#include "KQFoundation/System/FileManager.h"
#include "KQFoundation/System/FileSystemLayout.h"
#include "System/FileSystemCalls.h"

namespace {

using kq::stringByAppendingPathComponent;

bool isBareFileName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos;
}

bool isFolder(const std::string& path) {
    const auto status = kq::platform::statusOfItem(path, true);
    return status && status->type == kq::FileType::Directory;
}

/// A Mac tree, or this machine when it is a Mac: Library folders hold the record.
bool usesLibraryFolders(const kq::FileSystemLayout& layout) {
    return !layout.isHostRoot() || isFolder("/System/Library/CoreServices");
}

/// The running user's configuration folder; XDG_CONFIG_HOME counts only for
/// that user's own home.
std::string configurationFolder(const kq::FileSystemLayout& layout) {
    const char* home = std::getenv("HOME");
    const char* configHome = std::getenv("XDG_CONFIG_HOME");
    if (configHome && configHome[0] == '/' && home && kq::stringByStandardizingPath(home) == layout.home())
        return configHome;
    return stringByAppendingPathComponent(layout.home(), ".config");
}

}  // namespace

KQUInstallationInfoAccessor::KQUInstallationInfoAccessor()
    : KQUInstallationInfoAccessor("", "", kq::Bundle::mainBundle()) {}

KQUInstallationInfoAccessor::KQUInstallationInfoAccessor(std::string_view fileName, std::string_view publicKey,
                                                         std::shared_ptr<kq::Bundle> mainApplicationBundle)
    : fileName_(fileName), publicKey_(publicKey), mainApplicationBundle_(std::move(mainApplicationBundle)) {}

std::vector<std::string> KQUInstallationInfoAccessor::prioritisedInstallationInfoSearchPaths() const {
    std::vector<std::string> paths;
    // Anything but a bare name could reach outside the three places.
    if (!isBareFileName(fileName_)) return paths;
    const auto layout = kq::FileSystemLayout::current();
    const std::string bundlePath = mainApplicationBundle_ ? mainApplicationBundle_->bundlePath() : std::string();
    if (usesLibraryFolders(*layout)) {
        const auto inPreferences = [&](unsigned domain) {
            for (const auto& library : layout->pathsForDirectory(kq::SearchPathDirectory::Library, domain))
                paths.push_back(stringByAppendingPathComponent(
                    stringByAppendingPathComponent(library, "Preferences"), fileName_));
        };
        inPreferences(kq::UserDomainMask);
        if (!bundlePath.empty())
            paths.push_back(stringByAppendingPathComponent(bundlePath + "/Contents/_CodeSignature", fileName_));
        inPreferences(kq::LocalDomainMask);
        return paths;
    }
    const auto identifier = mainApplicationBundle_ ? mainApplicationBundle_->bundleIdentifier() : std::nullopt;
    const bool usableIdentifier = identifier && isBareFileName(*identifier);
    if (usableIdentifier)
        paths.push_back(stringByAppendingPathComponent(
            stringByAppendingPathComponent(configurationFolder(*layout), *identifier), fileName_));
    if (!bundlePath.empty()) paths.push_back(stringByAppendingPathComponent(bundlePath, fileName_));
    if (usableIdentifier) paths.push_back("/etc/" + *identifier + "/" + fileName_);
    return paths;
}

bool KQUInstallationInfoAccessor::getDecryptedData(kq::Dictionary* out, std::string* outEncrypted) const {
    for (const auto& path : prioritisedInstallationInfoSearchPaths()) {
        auto text = encryptedInfoWithContentsOfFile(path);
        if (!text) continue;
        auto info = decrypredInfoWithEncryptedString(*text);
        if (!info) continue;
        if (out) *out = std::move(*info);
        if (outEncrypted) *outEncrypted = std::move(*text);
        return true;
    }
    return false;
}

std::optional<kq::Dictionary> KQUInstallationInfoAccessor::installationInfo() const {
    kq::Dictionary info;
    if (!getDecryptedData(&info, nullptr)) return std::nullopt;
    return info;
}

std::optional<std::string> KQUInstallationInfoAccessor::encryptedInstallationInfo() const {
    std::string text;
    if (!getDecryptedData(nullptr, &text)) return std::nullopt;
    return text;
}

std::optional<std::string> KQUInstallationInfoAccessor::encryptedInfoWithContentsOfFile(std::string_view path) const {
    // Only regular files: a pipe or device in a record's place would block or never end.
    const auto status = kq::platform::statusOfItem(std::string(path), true);
    if (!status || status->type != kq::FileType::Regular) return std::nullopt;
    const auto contents = kq::FileManager::defaultManager().contentsAtPath(path);
    if (!contents) return std::nullopt;
    std::string text(contents->begin(), contents->end());
    text.resize(text.find('\0') == std::string::npos ? text.size() : text.find('\0'));
    return text;
}

std::optional<kq::Dictionary> KQUInstallationInfoAccessor::decrypredInfoWithEncryptedString(std::string_view text) const {
    const auto cryptor = KQUCryptor::create(publicKey_, KQUCryptorPaddingPKCS1);
    if (!cryptor) return std::nullopt;
    return cryptor->valueFromEncryptedJSON(text);
}

bool KQUInstallationInfoAccessor::storeEncryptedString(std::string_view text) const {
    // Only the publisher's records are ever stored.
    if (!decrypredInfoWithEncryptedString(text)) return false;
    const auto paths = prioritisedInstallationInfoSearchPaths();
    if (paths.empty()) return false;
    const auto& manager = kq::FileManager::defaultManager();
    const std::string folder = kq::stringByDeletingLastPathComponent(paths.front());
    if (!isFolder(folder) && !manager.createDirectoryAtPath(folder, true)) return false;
    // The rename replaces the old record in one step, so a failed write leaves it whole.
    return manager.createFileAtPath(paths.front(), kq::Data(text.begin(), text.end()));
}

void KQUInstallationInfoAccessor::synchronize() const {
    for (const auto& path : prioritisedInstallationInfoSearchPaths()) {
        const auto text = encryptedInfoWithContentsOfFile(path);
        if (text && decrypredInfoWithEncryptedString(*text)) {
            storeEncryptedString(*text);
            return;
        }
    }
}

bool KQUInstallationInfoAccessor::removeInstallationInfoWithErrorsHandler(
    std::function<void(std::error_code, const std::string& path)> handler) const {
    bool removedAll = true;
    for (const auto& path : prioritisedInstallationInfoSearchPaths()) {
        if (!kq::platform::statusOfItem(path, false)) continue;  // nothing there, not even a link
        if (const int error = kq::platform::removeFile(path)) {
            removedAll = false;
            if (handler) handler(std::error_code(error, std::generic_category()), path);
        }
    }
    return removedAll;
}
