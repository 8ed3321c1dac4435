// Leftovers knowledge bases from arbitrary bytes: read as a property list,
// turned into the files scanners (folders through a layout rooted in a
// scratch tree holding three installed applications), and each scanner's
// filter evaluated against a few items. Only an unparsable format may throw
// (kq::InvalidArgumentException), as documented.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/Foundation/PropertyList.h"
#include "KQFoundation/KQULeftoversScanner.h"
#include "KQFoundation/System/FileSystemLayout.h"

namespace {

std::filesystem::path scratch;
std::vector<kq::URL> applications;
std::vector<kq::URL> items;

void removeScratch() {
    std::error_code ignored;
    std::filesystem::remove_all(scratch, ignored);
}

kq::URL makeApplication(const std::string& name, const std::string& identifier) {
    const std::filesystem::path bundle = scratch / "Applications" / name;
    std::filesystem::create_directories(bundle / "Contents");
    kq::PropertyList::writeFile((bundle / "Contents" / "Info.plist").string(),
                                kq::Value(kq::Dictionary{{"CFBundleIdentifier", identifier}}));
    return kq::URL::fileURLWithPath(bundle.string(), true);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    char pattern[] = "/tmp/kq-fuzz-knowledge-base.XXXXXX";
    if (!mkdtemp(pattern)) std::abort();
    scratch = pattern;
    std::atexit(removeScratch);
    const std::filesystem::path home = scratch / "Users" / "me";
    std::filesystem::create_directories(home / "Library" / "Caches");
    kq::FileSystemLayout::setCurrent(std::make_shared<kq::FileSystemLayout>(scratch.string(), home.string()));
    applications = {makeApplication("Quill.app", "com.example.Quill"),
                    makeApplication("Odd.app", "com.example.a*b?c\\d"), makeApplication("Blank.app", "")};
    for (const char* path : {"/Users/me/Library/Caches/com.example.Quill", "/Users/me/Library/Caches/com.other.Gone",
                             "/Library/Preferences/com.example.a*b?c\\d.plist", "/"}) {
        items.push_back(kq::URL::fileURLWithPath(scratch.string() + path));
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto document = kq::PropertyList::read(std::string_view(reinterpret_cast<const char*>(data), size));
    if (!document || !document->isArray()) return 0;
    KQULeftoversScanner scanner(applications, *document->asArray());
    try {
        for (const auto& child : scanner.scanners()) {
            if (!child->predicate()) continue;
            for (const kq::URL& item : items) {
                try {
                    (void)child->predicate()->evaluateWithObject(item);
                } catch (const kq::InvalidArgumentException&) {
                }
            }
        }
    } catch (const kq::InvalidArgumentException&) {
    }
    return 0;
}
