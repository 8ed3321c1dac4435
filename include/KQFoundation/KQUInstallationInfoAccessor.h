#pragma once
// KQUInstallationInfoAccessor: the host application's installation record, a
// JSON object the publisher encrypts with its private key and stores as base64
// text. Only the matching public key reads it, so a record that reads at all
// comes from the publisher. The record may lie in three places, best first:
//
//   Mac (a Mac tree, or a running Mac)      Linux host
//   ~/Library/Preferences/NAME              $XDG_CONFIG_HOME/ID/NAME (default ~/.config/ID/NAME)
//   BUNDLE/Contents/_CodeSignature/NAME     BUNDLE/NAME (the installation folder)
//   /Library/Preferences/NAME               /etc/ID/NAME
//
// NAME is fileName(), BUNDLE the application bundle's folder and ID its bundle
// identifier (without one the Linux per-user and machine-wide places are left
// out). The record's content is the host's business; the accessor returns it
// without looking inside. Failures are nullopt or false, never logged here.
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Bundle.h"
#include "KQFoundation/Foundation/Value.h"

class KQ_EXPORT KQUInstallationInfoAccessor {
public:
    /// No name, no key and the main bundle: finds nothing.
    KQUInstallationInfoAccessor();
    /// `fileName` is a bare name; one with a "/" (or "", ".", "..") has no places.
    KQUInstallationInfoAccessor(std::string_view fileName, std::string_view publicKey,
                                std::shared_ptr<kq::Bundle> mainApplicationBundle);

    const std::string& fileName() const { return fileName_; }
    /// The PEM text of the publisher's RSA public key.
    const std::string& publicKey() const { return publicKey_; }
    const std::shared_ptr<kq::Bundle>& mainApplicationBundle() const { return mainApplicationBundle_; }

    /// The candidate record files, best first, in the current file-system layout.
    std::vector<std::string> prioritisedInstallationInfoSearchPaths() const;

    /// True when some candidate holds a record that decrypts; the first such
    /// record's dictionary and stored text go to the outs that are given.
    bool getDecryptedData(kq::Dictionary* out, std::string* outEncrypted) const;
    std::optional<kq::Dictionary> installationInfo() const;
    std::optional<std::string> encryptedInstallationInfo() const;

    /// The file's text up to its first zero byte; nullopt when it cannot be read.
    std::optional<std::string> encryptedInfoWithContentsOfFile(std::string_view path) const;
    /// The record held by base64 text, read with publicKey() and PKCS #1 padding.
    std::optional<kq::Dictionary> decrypredInfoWithEncryptedString(std::string_view text) const;

    /// Writes a record that decrypts to the first place (creating its folder),
    /// replacing what is there in one rename. False, with nothing written, for
    /// text that does not decrypt or when writing fails; the old file then stays.
    bool storeEncryptedString(std::string_view text) const;
    /// Copies the best record to the first place, so a record found only in the
    /// bundle or the machine-wide place becomes the user's.
    void synchronize() const;
    /// Removes the record file from every place. False when some removal
    /// failed; the handler, when given, hears each failure and its path. A
    /// folder in a record's place is not removed (it fails with its error).
    bool removeInstallationInfoWithErrorsHandler(
        std::function<void(std::error_code, const std::string& path)> handler) const;

private:
    std::string fileName_;
    std::string publicKey_;
    std::shared_ptr<kq::Bundle> mainApplicationBundle_;
};
