#include <gtest/gtest.h>

#include <tuple>

#include "KQFoundation/NSBundle+KQFoundation.h"
#include "KQFoundation/Foundation/Exceptions.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryDirectory.h"

namespace {

class NSBundleKQFoundationTests : public ::testing::Test {
protected:
    kqtest::TemporaryDirectory dir;

    std::shared_ptr<kq::Bundle> bundle(const std::string& name, const std::string& infoEntries,
                                       std::initializer_list<const char*> localizations) {
        dir.writeFile(name + "/Contents/Info.plist",
                      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>" + infoEntries +
                          "</dict></plist>\n");
        for (const char* l : localizations) dir.makeDirectory(name + "/Contents/Resources/" + l + ".lproj");
        return kq::Bundle::bundleWithPath(dir / name);
    }
};

TEST_F(NSBundleKQFoundationTests, VersionsAndCopyrightComeFromTheInfoDictionary) {
    auto app = bundle("App.app",
                      "<key>CFBundleShortVersionString</key><string>2.1.3</string>"
                      "<key>CFBundleVersion</key><string>2130</string>"
                      "<key>NSHumanReadableCopyright</key><string>Copyright 2024 Example</string>",
                      {});
    EXPECT_EQ(std::make_tuple(app->shortVersion(), app->bundleVersion(), app->humanReadableCopyright()),
              std::make_tuple("2.1.3", "2130", "Copyright 2024 Example"));

    // Present with the wrong type, or missing.
    auto odd = bundle("Odd.app", "<key>CFBundleShortVersionString</key><integer>2</integer>", {});
    EXPECT_FALSE(odd->shortVersion() || odd->bundleVersion() || odd->humanReadableCopyright());
}

TEST_F(NSBundleKQFoundationTests, PreferredLocalizationAnswersEnglishAsEnAndNeedsOne) {
    kqtest::ScopedEnvironment french({{"LANG", "fr_FR.UTF-8"}});
    EXPECT_EQ(bundle("Old.app", "", {"English", "German"})->preferredLocalization(), "en");
    EXPECT_EQ(bundle("Multi.app", "", {"en", "fr"})->preferredLocalization(), "fr");
    EXPECT_EQ(bundle("Base.app", "", {"Base"})->preferredLocalization(), "Base");

    kq::Bundle::setMainBundle(bundle("Bare.app", "", {}));
    EXPECT_THROW(kq::Bundle::preferredApplicationLocalization(), kq::RangeException);  // the caller's error
    kqtest::ScopedEnvironment russian({{"LANG", "ru_RU.UTF-8"}});
    kq::Bundle::setMainBundle(bundle("Russian.app", "", {"en", "ru"}));
    EXPECT_EQ(kq::Bundle::preferredApplicationLocalization(), "ru");
    kq::Bundle::setMainBundle(nullptr);
}

}  // namespace
