#include <gtest/gtest.h>

#include <filesystem>

#include "KQFoundation/Foundation/Base64.h"
#include "KQFoundation/KQUInstallationInfoAccessor.h"
#include "SecurityTestSupport.h"
#include "Support/ScopedEnvironment.h"
#include "Support/ScopedLayout.h"

namespace {

using kqtest::keys;

/// What the publisher ships: the JSON object encrypted with its private key, in base64.
std::string record(const std::string& json, const kqtest::KeyPair& key = keys().main) {
    const auto cryptor = KQUCryptor::create(key.privatePEM, KQUCryptorPaddingPKCS1);
    return kq::base64EncodedString(*cryptor->encryptData(kq::Data(json.begin(), json.end())));
}

class KQUInstallationInfoAccessorTests : public ::testing::Test {
protected:
    kqtest::TemporaryDirectory dir;
    std::string root = dir.makeDirectory("mac");
    std::string home = dir.makeDirectory("mac/Users/me");
    std::string userFile = home + "/Library/Preferences/install.rec";
    std::string bundleFile = root + "/Applications/App.app/Contents/_CodeSignature/install.rec";
    std::string localFile = root + "/Library/Preferences/install.rec";
    std::string userRecord = record(R"({"edition": "user"})");
    std::string bundleRecord = record(R"({"edition": "bundle"})");
    kqtest::ScopedLayout layout{root, home};

    std::shared_ptr<kq::Bundle> app(const std::string& identifier = "com.example.app") {
        dir.writeFile("mac/Applications/App.app/Contents/Info.plist",
                      "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><string>" + identifier +
                          "</string></dict></plist>");
        return kq::Bundle::bundleWithPath(root + "/Applications/App.app");
    }

    KQUInstallationInfoAccessor accessor(const std::string& name = "install.rec") {
        return KQUInstallationInfoAccessor(name, keys().main.publicPEM, app());
    }

    static std::string edition(const KQUInstallationInfoAccessor& a) {
        const auto info = a.installationInfo();
        const std::string* value = info ? info->stringValueForKey("edition") : nullptr;
        return value ? *value : "(none)";
    }
};

TEST_F(KQUInstallationInfoAccessorTests, SearchPathsOfAMacTreeAndOfTheLinuxHost) {
    EXPECT_EQ(accessor().prioritisedInstallationInfoSearchPaths(),
              (std::vector<std::string>{userFile, bundleFile, localFile}));
    for (const char* name : {"", "..", "a/b"}) EXPECT_TRUE(accessor(name).prioritisedInstallationInfoSearchPaths().empty());

    // $XDG_CONFIG_HOME counts only while $HOME is the layout's home.
    const std::string bundle = root + "/Applications/App.app";
    kqtest::ScopedLayout host{"/", home};
    kqtest::ScopedEnvironment environment({{"HOME", "/elsewhere"}, {"XDG_CONFIG_HOME", (dir / "config").c_str()}});
    EXPECT_EQ(accessor().prioritisedInstallationInfoSearchPaths(),
              (std::vector<std::string>{home + "/.config/com.example.app/install.rec", bundle + "/install.rec",
                                        "/etc/com.example.app/install.rec"}));
    // Without a usable identifier only the installation folder is the application's own.
    EXPECT_EQ(KQUInstallationInfoAccessor("install.rec", "", app("../x")).prioritisedInstallationInfoSearchPaths(),
              std::vector<std::string>{bundle + "/install.rec"});
}

TEST_F(KQUInstallationInfoAccessorTests, FirstRecordThatDecryptsWinsAndSynchronizes) {
    dir.writeFile("mac/Users/me/Library/Preferences/install.rec", userRecord);
    dir.writeFile("mac/Applications/App.app/Contents/_CodeSignature/install.rec", bundleRecord);
    EXPECT_EQ(edition(accessor()), "user");
    EXPECT_EQ(accessor().encryptedInstallationInfo(), userRecord);

    // A foreign publisher's record in the user's place is passed over, then replaced.
    const std::string foreign = record(R"({"edition": "foreign"})", keys().foreign);
    dir.writeFile("mac/Users/me/Library/Preferences/install.rec", foreign);
    EXPECT_EQ(edition(accessor()), "bundle");
    accessor().synchronize();
    EXPECT_EQ(kqtest::readText(userFile), bundleRecord);

    EXPECT_EQ(edition(KQUInstallationInfoAccessor("install.rec", keys().foreign.publicPEM, app())), "(none)");
    EXPECT_FALSE(KQUInstallationInfoAccessor().installationInfo());
}

TEST_F(KQUInstallationInfoAccessorTests, ReadingStopsAtTheFirstZeroByte) {
    dir.writeFile("mac/Library/Preferences/install.rec", bundleRecord + std::string(5, '\0') + "junk");
    EXPECT_EQ(edition(accessor()), "bundle");
    EXPECT_EQ(accessor().encryptedInstallationInfo(), bundleRecord);
    EXPECT_FALSE(accessor().encryptedInfoWithContentsOfFile(root + "/Library"));
}

TEST_F(KQUInstallationInfoAccessorTests, OnlyThePublishersRecordsAreStored) {
    EXPECT_TRUE(accessor().storeEncryptedString(bundleRecord));  // creates the Preferences folder
    EXPECT_EQ(kqtest::readText(userFile), bundleRecord);
    EXPECT_FALSE(accessor().storeEncryptedString(record("{}", keys().foreign)));
    EXPECT_FALSE(accessor().storeEncryptedString("bm90IGEgcmVjb3Jk"));
    EXPECT_EQ(kqtest::readText(userFile), bundleRecord);
    EXPECT_EQ(std::filesystem::directory_iterator(home + "/Library/Preferences")->path(), userFile);  // no leftovers

    // A folder in the record's place is never replaced.
    std::filesystem::remove(userFile);
    dir.makeDirectory("mac/Users/me/Library/Preferences/install.rec");
    EXPECT_FALSE(accessor().storeEncryptedString(userRecord));
}

TEST_F(KQUInstallationInfoAccessorTests, RemovalTriesEveryPlace) {
    int calls = 0;
    const auto count = [&](std::error_code, const std::string&) { ++calls; };
    EXPECT_TRUE(accessor().removeInstallationInfoWithErrorsHandler(count));
    EXPECT_EQ(calls, 0);

    dir.writeFile("mac/Users/me/Library/Preferences/install.rec", userRecord);
    dir.makeDirectory("mac/Applications/App.app/Contents/_CodeSignature/install.rec");
    dir.makeSymlink("mac/Library/Preferences/install.rec", "missing");
    std::vector<std::string> failed;
    EXPECT_FALSE(accessor().removeInstallationInfoWithErrorsHandler(
        [&](std::error_code error, const std::string& path) { if (error) failed.push_back(path); }));
    EXPECT_EQ(failed, std::vector<std::string>{bundleFile});
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(userFile)));
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(localFile)));
    EXPECT_FALSE(accessor().removeInstallationInfoWithErrorsHandler(nullptr));
}

}  // namespace
