#pragma once
// What the scanning tests share: a temporary Mac-shaped tree made current as
// the layout, applications installed in it, and a recorder of leftovers.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "KQFoundation/KQULeftoversScanner.h"
#include "KQFoundation/System/FileSystemLayout.h"
#include "Support/TemporaryDirectory.h"

namespace kqtest {

inline std::string plist(const std::string& body) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>" + body + "</dict></plist>\n";
}
inline std::string infoPlist(const std::string& identifier, const std::string& extraKeys = "") {
    return plist("<key>CFBundleIdentifier</key><string>" + identifier + "</string>" + extraKeys);
}

inline bool exists(const std::string& path) {
    struct stat info {};
    return lstat(path.c_str(), &info) == 0;
}

/// A temporary folder; the layout in force before the test comes back after it.
class ScanningTest : public ::testing::Test {
protected:
    ~ScanningTest() override { kq::FileSystemLayout::setCurrent(savedLayout_); }

    /// Makes tmp/root (and tmp/home, both relative) the current layout.
    void useLayout(const std::string& root, const std::string& home) const {
        kq::FileSystemLayout::setCurrent(std::make_shared<kq::FileSystemLayout>(tmp / root, tmp / home));
    }
    /// Writes `bundle`/Contents/Info.plist with the identifier; returns the bundle's URL.
    kq::URL install(const std::string& bundle, const std::string& identifier,
                    const std::string& extraKeys = "") const {
        tmp.writeFile(bundle + "/Contents/Info.plist", infoPlist(identifier, extraKeys));
        return kq::URL::fileURLWithPath(tmp / bundle, true);
    }
    /// Makes each item below `base`: an empty file, or a folder when it ends in "/".
    void files(const std::string& base, std::initializer_list<std::string> items) const {
        for (const std::string& item : items)
            item.back() == '/' ? tmp.makeDirectory(base + item) : tmp.writeFile(base + item);
    }

    std::shared_ptr<const kq::FileSystemLayout> savedLayout_ = kq::FileSystemLayout::current();
    TemporaryDirectory tmp;
};

/// Records what a leftovers scan reports, paths relative to `root`.
class LeftoverRecorder : public KQULeftoversScannerDelegate {
public:
    explicit LeftoverRecorder(std::string root = "") : root_(root.empty() ? root : root + "/") {}

    std::vector<std::string> items;                           // "TYPE name" (the last path component)
    std::map<std::string, std::set<std::string>> byType;      // type -> relative paths
    std::map<std::string, std::string> applications;          // relative path -> reason's application
    std::map<std::string, std::string> kept;                  // relative path -> why
    std::vector<KQULeftoverReason> reasons;
    std::vector<double> progress;
    bool finished = false;
    std::function<void(KQULeftoversScanner&)> onItem = [](KQULeftoversScanner&) {};

    void leftoversScannerDidFindItem(KQULeftoversScanner& scanner, const kq::URL& item,
                                     const std::string& type) override {
        items.push_back(type + " " + item.lastPathComponent());
        byType[type].insert(relative(item));
        const KQULeftoverReason* reason = scanner.currentReason();
        EXPECT_NE(reason, nullptr);
        if (reason) {
            reasons.push_back(*reason);
            applications[relative(item)] = reason->application;
        }
        onItem(scanner);
    }
    void leftoversScannerDidKeepItem(KQULeftoversScanner&, const kq::URL& item, const std::string&,
                                     const std::string& reason) override {
        kept[relative(item)] = reason;
    }
    void scannerDidReachProgress(KQUScanner&, double value) override { progress.push_back(value); }
    void scannerDidFinish(KQUScanner&) override { finished = true; }

    std::set<std::string> reported() const {
        std::set<std::string> all;
        for (const auto& [type, paths] : byType) all.insert(paths.begin(), paths.end());
        return all;
    }

private:
    std::string relative(const kq::URL& url) const {
        const std::string path = url.path();
        return path.rfind(root_, 0) == 0 ? path.substr(root_.size()) : path;
    }
    std::string root_;
};

/// Runs `scanner` with `recorder` as its delegate and hands the recorder back.
inline LeftoverRecorder& record(KQULeftoversScanner& scanner, LeftoverRecorder& recorder) {
    scanner.setDelegate(&recorder);
    scanner.scan();
    return recorder;
}

/// A knowledge-base filter of `type` with its format.
inline kq::Value filter(const char* type, const char* format) {
    return kq::Dictionary{{"Type", type}, {"Params", kq::Dictionary{{"Format", format}}}};
}

/// A knowledge-base entry listing the folders' direct children.
inline kq::Value entry(const char* type, const std::vector<std::string>& folders, kq::Array filters = {}) {
    kq::Array directories;
    for (const auto& folder : folders) directories.emplace_back(folder);
    kq::Dictionary result{{"Type", type}, {"SourceDirectories", directories}, {"SkipSubdirectoryDescendants", true}};
    if (!filters.empty()) result.setObject("Filters", filters);
    return result;
}

}  // namespace kqtest
