#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "Common/BrowserExtensions/BrowserExtensionSearchFolders.h"
#include "KQFoundation/KQUBrowserExtensionsScanner.h"
#include "KQFoundation/System/DispatchQueue.h"
#include "Support/ScopedEnvironment.h"
#include "Support/ScopedLayout.h"
#include "Support/TemporaryDirectory.h"

namespace {

using kqtest::TemporaryDirectory;

constexpr const char* kFirefoxID = "{ec8030f7-c20a-464f-9b0e-13a3a9e97384}";

std::vector<std::string> pathsOf(const std::vector<kq::URL>& urls) {
    std::vector<std::string> paths;
    for (const kq::URL& url : urls) paths.push_back(url.path());
    return paths;
}

using Folders = std::vector<std::pair<std::string, std::string>>;

Folders foldersOf(std::uint64_t type, bool others) {
    Folders folders;
    for (const auto& folder : kq::detail::browserSearchFolders(type, others)) folders.emplace_back(folder.browser, folder.path);
    return folders;
}

TEST(BrowserExtensionsScannerTest, SearchFoldersOfAMacTree) {
    TemporaryDirectory tmp;
    const std::string support = tmp.makeDirectory("Users/alex/Library/Application Support");
    for (const char* profile : {"Default", "Profile 1"}) tmp.makeDirectory(std::string("Users/alex/Library/Application Support/Google/Chrome/") + profile + "/Extensions");
    tmp.makeDirectory("Users/alex/Library/Application Support/Google/Chrome/System Profile");  // no Extensions
    tmp.writeFile("Users/alex/Library/Application Support/Google/Chrome/Local State", "{}");
    tmp.makeDirectory("Users/alex/Library/Application Support/Firefox/Profiles/x1.default");
    tmp.makeDirectory("Users/alex/Library/Application Support/BraveSoftware/Brave-Browser/Default/Extensions");
    tmp.makeDirectory("Users/alex/Library/Application Support/com.operasoftware.Opera/Extensions");
    kqtest::ScopedLayout layout(tmp.path(), tmp / "Users/alex");

    KQUBrowserExtensionsScanner scanner;
    EXPECT_EQ(pathsOf(scanner.searchURLsForBrowserExtensionOfType(KQUBrowserExtensionTypeSafari)),
              std::vector<std::string>{tmp / "Users/alex/Library/Safari/Extensions"});
    EXPECT_EQ(pathsOf(scanner.searchURLsForBrowserExtensionOfType(KQUBrowserExtensionTypeChrome)),
              (std::vector<std::string>{support + "/Google/Chrome/Default/Extensions",
                                        support + "/Google/Chrome/Profile 1/Extensions"}));
    EXPECT_EQ(pathsOf(scanner.searchURLsForBrowserExtensionOfType(KQUBrowserExtensionTypeFirefox)),
              (std::vector<std::string>{support + "/Mozilla/Extensions/" + kFirefoxID,
                                        support + "/Firefox/Profiles/x1.default/extensions"}));
    EXPECT_TRUE(scanner.searchURLsForBrowserExtensionOfType(7).empty());

    // Other browsers follow Chrome as rows of the same kind, each with its name.
    EXPECT_EQ(foldersOf(KQUBrowserExtensionTypeChrome, true),
              (Folders{{"Chrome", support + "/Google/Chrome/Default/Extensions"},
                       {"Chrome", support + "/Google/Chrome/Profile 1/Extensions"},
                       {"Brave", support + "/BraveSoftware/Brave-Browser/Default/Extensions"},
                       {"Opera", support + "/com.operasoftware.Opera/Extensions"}}));
}

TEST(BrowserExtensionsScannerTest, SearchFoldersOfTheLinuxHost) {
    TemporaryDirectory tmp;
    const std::string home = tmp.makeDirectory("home/sam");
    tmp.makeDirectory("home/sam/.mozilla/firefox/ab.default-release");
    tmp.writeFile("home/sam/.mozilla/firefox/profiles.ini", "[General]\n");
    tmp.makeDirectory("home/sam/snap/firefox/common/.mozilla/firefox/cd.default");
    tmp.makeDirectory("home/sam/.var/app/org.mozilla.firefox/.mozilla/firefox/ef.default");
    kqtest::ScopedEnvironment environment({}, {"XDG_CONFIG_HOME"});
    kqtest::ScopedLayout layout("/", home);

    EXPECT_TRUE(foldersOf(KQUBrowserExtensionTypeSafari, true).empty());
    // The application-wide folder first; the packaged Firefoxes only along with other browsers.
    const Folders firefox{{"Firefox", home + "/.mozilla/extensions/" + kFirefoxID},
                          {"Firefox", home + "/.mozilla/firefox/ab.default-release/extensions"}};
    EXPECT_EQ(foldersOf(KQUBrowserExtensionTypeFirefox, false), firefox);
    Folders withOthers = firefox;
    withOthers.push_back({"Firefox", home + "/snap/firefox/common/.mozilla/firefox/cd.default/extensions"});
    withOthers.push_back({"Firefox", home + "/.var/app/org.mozilla.firefox/.mozilla/firefox/ef.default/extensions"});
    EXPECT_EQ(foldersOf(KQUBrowserExtensionTypeFirefox, true), withOthers);
}

/// A Mac home whose Safari folder holds `count` archives that do not unpack:
/// each still gives a record named after its file.
struct SafariFixture {
    TemporaryDirectory tmp;
    kqtest::ScopedLayout layout;
    explicit SafariFixture(int count) : layout(tmp.path(), tmp / "Users/alex") {
        for (int i = 0; i < count; ++i)
            tmp.writeFile("Users/alex/Library/Safari/Extensions/E" + std::to_string(i) + ".safariextz", "not xar");
    }
};

TEST(BrowserExtensionsScannerTest, IdleAndEmptyRequests) {
    SafariFixture fixture(2);
    KQUBrowserExtensionsScanner scanner;
    EXPECT_FALSE(scanner.scanBrowserExtensionsOfTypes({}).has_value());
    EXPECT_FALSE(scanner.cancelScan());
    EXPECT_FALSE(scanner.cancelScanRequested());
    EXPECT_EQ(scanner.scanBrowserExtensionsOfType(9)->size(), 0u);
    const kq::URL item = kq::URL::fileURLWithPath(fixture.tmp / "Users/alex/Library/Safari/Extensions/E1.safariextz");
    const auto one = scanner.scanBrowserExtensionWithType(KQUBrowserExtensionTypeSafari, item);
    ASSERT_TRUE(one.has_value());
    EXPECT_EQ(one->browser(), "Safari");
    EXPECT_EQ(one->URL(), item);
}

TEST(BrowserExtensionsScannerTest, SynchronousCancelStaysSet) {
    SafariFixture fixture(400);
    KQUBrowserExtensionsScanner scanner;
    std::size_t firstCount = 0;
    std::atomic<bool> finished{false};
    std::thread scan([&] {
        firstCount = scanner.scanBrowserExtensionsOfType(KQUBrowserExtensionTypeSafari)->size();
        finished = true;
    });
    while (!finished && !scanner.cancelScan()) std::this_thread::yield();
    scan.join();
    EXPECT_LT(firstCount, 400u);
    EXPECT_FALSE(scanner.isScanning());
    // Nothing cleared the request, so the next scan stops after its first entry.
    EXPECT_TRUE(scanner.cancelScanRequested());
    EXPECT_EQ(scanner.scanBrowserExtensionsOfType(KQUBrowserExtensionTypeSafari)->size(), 1u);
}

/// A serial queue that marks the thread while it runs one of its blocks.
class MarkingQueue : public kq::DispatchQueue {
public:
    static thread_local bool running;
    void async(std::function<void()> block) override {
        ++queued;
        inner_->async([block = std::move(block)] {
            running = true;
            block();
            running = false;
        });
    }
    const std::string& label() const override { return inner_->label(); }
    std::atomic<int> queued{0};

private:
    std::shared_ptr<kq::DispatchQueue> inner_ = kq::DispatchQueue::createSerialQueue("test.callbacks");
};
thread_local bool MarkingQueue::running = false;

struct Completion {
    std::size_t count = 0;
    bool cancelled = false;
    bool errorEmpty = false;
    bool onCallbackQueue = false;
};

TEST(BrowserExtensionsScannerTest, AsynchronousScanCompletesOnTheCallbackQueue) {
    SafariFixture fixture(3);
    auto scanner = std::make_unique<KQUBrowserExtensionsScanner>();
    auto queue = std::make_shared<MarkingQueue>();
    scanner->setCallbackQueue(queue);

    std::promise<Completion> done;
    ASSERT_TRUE(scanner->startScanAllBrowserExtensionsWithCompletionHandler(
        [&](std::vector<KQUBrowserExtension> found, bool cancelled, const std::error_code* error) {
            scanner.reset();  // a completion may tear its own scanner down
            done.set_value({found.size(), cancelled, error == nullptr, MarkingQueue::running});
        }));
    const Completion completion = done.get_future().get();
    EXPECT_EQ(completion.count, 3u);
    EXPECT_FALSE(completion.cancelled);
    EXPECT_TRUE(completion.errorEmpty);
    EXPECT_TRUE(completion.onCallbackQueue);
    EXPECT_EQ(queue->queued.load(), 1);
}

TEST(BrowserExtensionsScannerTest, AsynchronousCancelIsReportedThenCleared) {
    SafariFixture fixture(3000);
    KQUBrowserExtensionsScanner scanner;
    std::promise<Completion> done;
    auto result = done.get_future();
    std::atomic<bool> clearedAfterHandler{true};
    ASSERT_TRUE(scanner.startScanAllBrowserExtensionsWithCompletionHandler(
        [&](std::vector<KQUBrowserExtension> found, bool cancelled, const std::error_code*) {
            clearedAfterHandler = !scanner.cancelScanRequested();
            done.set_value({found.size(), cancelled, true, false});
        }));
    while (!scanner.isScanning() && result.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
        std::this_thread::yield();
    // While the worker scans, nothing else starts.
    const kq::URL item = kq::URL::fileURLWithPath(fixture.tmp / "Users/alex/Library/Safari/Extensions/E1.safariextz");
    EXPECT_FALSE(scanner.scanBrowserExtensionWithType(KQUBrowserExtensionTypeSafari, item).has_value());
    EXPECT_FALSE(scanner.startScanAllBrowserExtensionsWithCompletionHandler(nullptr));
    EXPECT_FALSE(scanner.scanAllBrowserExtensions().has_value());
    EXPECT_TRUE(scanner.cancelScan());

    const Completion completion = result.get();
    EXPECT_TRUE(completion.cancelled);
    EXPECT_LT(completion.count, 3000u);
    EXPECT_FALSE(clearedAfterHandler.load());  // still set while the handler runs
    for (int i = 0; i < 1000 && scanner.cancelScanRequested(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_FALSE(scanner.cancelScanRequested());
}

}  // namespace
