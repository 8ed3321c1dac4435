// kqu install-info: the application's installation record, found, stored,
// copied to the user's place or removed with the publisher's public key.
#include <cstdio>
#include <memory>
#include <string>

#include "ByteInput.h"
#include "Command.h"
#include "JsonOutput.h"
#include "KQFoundation/KQUCryptor.h"
#include "KQFoundation/KQUInstallationInfoAccessor.h"

namespace {

struct InstallInfoOptions {
    kqu::LayoutOptions layout;
    std::string fileName;
    std::string keyFile;
    std::string bundle;
    std::string storeFile;
    bool synchronize = false;
    bool remove = false;
    bool paths = false;
    bool json = false;
};

int runInstallInfo(const InstallInfoOptions& options) {
    if (options.fileName.empty() || options.fileName.find('/') != std::string::npos)
        throw kqu::CommandFailure{kqu::kExitUsage, "--file-name takes a bare file name"};
    const std::string key = kqu::readInputText(options.keyFile, "public key");
    if (!KQUCryptor::create(key, KQUCryptorPaddingPKCS1))
        throw kqu::CommandFailure{kqu::kExitInputFailure, options.keyFile + ": not a PEM RSA public key"};
    auto bundle = options.bundle.empty() ? kq::Bundle::mainBundle() : kq::Bundle::bundleWithPath(options.bundle);
    if (!bundle) throw kqu::CommandFailure{kqu::kExitInputFailure, options.bundle + ": no such folder"};
    options.layout.apply();
    const KQUInstallationInfoAccessor accessor(options.fileName, key, bundle);

    if (options.paths) {
        const auto paths = accessor.prioritisedInstallationInfoSearchPaths();
        if (options.json) {
            kq::Array list(paths.begin(), paths.end());
            kqu::printJSON(list);
        } else {
            for (const auto& path : paths) std::printf("%s\n", path.c_str());
        }
        return kqu::kExitSuccess;
    }
    if (!options.storeFile.empty()) {
        const std::string text = kqu::readInputText(options.storeFile, "record");
        if (!accessor.storeEncryptedString(text))
            throw kqu::CommandFailure{kqu::kExitInputFailure,
                                      options.storeFile + ": not stored: not a record of this public key, or the "
                                                          "user's place could not be written"};
        return kqu::kExitSuccess;
    }
    if (options.synchronize) {
        if (!accessor.encryptedInstallationInfo())
            throw kqu::CommandFailure{kqu::kExitInputFailure, "no record of this public key found"};
        accessor.synchronize();
        // synchronize() answers nothing: the user's place must now hold the best record.
        const auto paths = accessor.prioritisedInstallationInfoSearchPaths();
        if (accessor.encryptedInfoWithContentsOfFile(paths.front()) != accessor.encryptedInstallationInfo())
            throw kqu::CommandFailure{kqu::kExitInputFailure, paths.front() + ": could not be written"};
        return kqu::kExitSuccess;
    }
    if (options.remove) {
        const bool removed = accessor.removeInstallationInfoWithErrorsHandler(
            [](std::error_code error, const std::string& path) {
                std::fprintf(stderr, "kqu: could not remove %s: %s\n", path.c_str(), error.message().c_str());
            });
        return removed ? kqu::kExitSuccess : kqu::kExitInputFailure;
    }
    const auto info = accessor.installationInfo();
    if (!info)
        throw kqu::CommandFailure{kqu::kExitInputFailure,
                                  "no record of this public key found (kqu install-info --paths lists the places)"};
    kqu::printJSON(*info);
    return kqu::kExitSuccess;
}

const kqu::CommandRegistration registration{kqu::Command{
    "install-info",
    "Show, store, synchronize or remove the application's encrypted installation record",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<InstallInfoOptions>();
        app.footer(
            "Without an action the first record that decrypts with the public key is printed as JSON. Places, best "
            "first: a Mac tree's ~/Library/Preferences, APP/Contents/_CodeSignature and /Library/Preferences; on "
            "this Linux machine $XDG_CONFIG_HOME/ID, the APP folder and /etc/ID (ID: APP's bundle identifier).\n"
            "Exit status: 0 success; 1 bad usage; 2 no record found, a key or file that cannot be read, or a "
            "write or removal that failed.");
        options->layout.addTo(app);
        app.add_option("--file-name", options->fileName, "The record's file name")->required();
        app.add_option("--public-key", options->keyFile, "PEM file of the publisher's RSA public key")->required();
        app.add_option("--bundle", options->bundle, "The application bundle (default: kqu's own folder)");
        auto* store = app.add_option("--store", options->storeFile, "Store the record (base64 text) in FILE");
        auto* synchronize =
            app.add_flag("--synchronize", options->synchronize, "Copy the best record to the user's place");
        auto* remove = app.add_flag("--remove", options->remove, "Remove the record from every place");
        auto* paths = app.add_flag("--paths", options->paths, "List the places searched, best first");
        store->excludes(synchronize)->excludes(remove)->excludes(paths);
        synchronize->excludes(remove)->excludes(paths);
        remove->excludes(paths);
        app.add_flag("--json", options->json, "JSON output (the record, or the list of --paths)");
        return [options] { return runInstallInfo(*options); };
    }}};

}  // namespace
