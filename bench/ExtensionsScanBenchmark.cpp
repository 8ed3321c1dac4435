// Times a Chrome scan (the scanner's own loop, records made) of a generated
// Mac home folder (300 extensions, a ~20 MB Preferences file, icons,
// catalogues and leftovers) against the least any reader must do: parse that
// Preferences file once and every manifest.json with the JSON reader, in the
// same run. Target: ratio <= 2.
//
//   ExtensionsScanBenchmark [EXTENSIONS [PREFERENCES_MB [PARENT_FOLDER]]]
//   (defaults: 300 extensions, 20 MB, under /dev/shm or $TMPDIR)
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "KQFoundation/KQUBrowserExtensionsScanner.h"
#include "KQFoundation/NSDictionary+KQValueTypeChecking.h"
#include "KQFoundation/NSObject+JSON.h"
#include "KQFoundation/System/FileManager.h"
#include "KQFoundation/System/FileSystemLayout.h"
#include "Support/BenchmarkSupport.h"

namespace {

namespace fs = std::filesystem;

// A valid 2x3 PNG: icons are opened far enough to know their size.
constexpr std::string_view kPNG(
    "\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR\0\0\0\x02\0\0\0\x03\x08\x06\0\0\0\xb9\xea\xde\x81\0\0\0\x0bIDATx\x9c"
    "c`\xc0\x09\0\0\x1b\0\x01\xca<J\x0d\0\0\0\0IEND\xae\x42`\x82",
    68);

void write(const fs::path& path, std::string_view contents) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary).write(contents.data(), static_cast<std::streamsize>(contents.size()));
}

std::string identifier(std::size_t index) {
    std::string id(32, 'a');
    for (std::size_t i = 0; i < id.size(); ++i, index /= 7) id[id.size() - 1 - i] = static_cast<char>('a' + (index % 7) + i % 9);
    return id;
}

std::string manifest(std::size_t index) {
    std::string text = "{\n  \"manifest_version\": 3,\n";
    text += index % 3 == 0 ? "  \"name\": \"__MSG_extName__\",\n  \"default_locale\": \"en\",\n"
                           : "  \"name\": \"Extension " + std::to_string(index) + "\",\n";
    text += "  \"version\": \"1." + std::to_string(index) + "\",\n  \"description\": \"" + std::string(200, 'd') +
            "\",\n  \"icons\": {\"16\": \"icons/16.png\", \"48\": \"icons/48.png\", \"128\": \"icons/128.png\"},\n"
            "  \"permissions\": [\"storage\", \"alarms\", \"contextMenus\", \"notifications\"],\n"
            "  \"host_permissions\": [\"https://*.example.com/*\"],\n  \"content_scripts\": [";
    for (int i = 0; i < 12; ++i)
        text += std::string(i ? ", " : "") + "{\"matches\": [\"https://site" + std::to_string(i) +
                ".example/*\"], \"js\": [\"content" + std::to_string(i) + ".js\"], \"run_at\": \"document_idle\"}";
    return text + "]\n}\n";
}

std::string settings(std::size_t index, const std::string& id) {
    return "\"" + id + "\":{\"active_permissions\":{\"api\":[\"storage\",\"alarms\",\"cookies\"],\"explicit_host\":"
           "[\"https://*.example.com/*\"],\"manifest_permissions\":[]},\"creation_flags\":9,\"from_webstore\":" +
           std::string(index % 2 ? "true" : "false") + ",\"was_installed_by_default\":" +
           std::string(index % 10 == 0 ? "true" : "false") + ",\"install_time\":\"13312345678901234\",\"location\":1," +
           "\"manifest\":" + manifest(index) + ",\"path\":\"" + id + "/1." + std::to_string(index) + "_0\",\"state\":1}";
}

struct Profile {
    std::string extensionsFolder;
    std::vector<std::string> manifests;
    std::string preferences;
    std::size_t preferencesBytes = 0;
};

Profile generate(const std::string& root, std::size_t count, std::size_t megabytes) {
    Profile profile;
    const fs::path data = fs::path(root) / "Users/bench/Library/Application Support/Google/Chrome";
    const fs::path extensions = data / "Default/Extensions";
    profile.extensionsFolder = extensions.string();
    std::string preferences = "{\"extensions\":{\"settings\":{";
    for (std::size_t i = 0; i < count; ++i) {
        const std::string id = identifier(i);
        const fs::path version = extensions / id / ("1." + std::to_string(i) + "_0");
        write(version / "manifest.json", manifest(i));
        profile.manifests.push_back((version / "manifest.json").string());
        for (const char* icon : {"16", "48", "128"}) write(version / "icons" / (std::string(icon) + ".png"), kPNG);
        for (int j = 0; j < 12; ++j) write(version / ("content" + std::to_string(j) + ".js"), std::string(2000, 'j'));
        if (i % 3 == 0) write(version / "_locales/en/messages.json", "{\"extName\":{\"message\":\"Localised " + std::to_string(i) + "\"}}");
        if (i % 4 == 0) write(data / "Local Extension Settings" / id / "000003.log", std::string(4000, 'l'));
        if (i % 5 == 0) write(data / "Local Storage" / ("chrome-extension_" + id + "_0.localstorage"), "x");
        if (i) preferences += ',';
        preferences += settings(i, id);
    }
    preferences += "}},\"profile\":{\"content_settings\":{\"exceptions\":{\"site_engagement\":{";
    // Padding shaped like a real profile: many small per-site records.
    std::mt19937 random(20240601);
    for (std::size_t site = 0; preferences.size() < megabytes * 1024 * 1024; ++site)
        preferences += (site ? ",\"https://site" : "\"https://site") + std::to_string(site) +
                       ".example:443,*\":{\"last_modified\":\"1331" + std::to_string(random()) +
                       "\",\"setting\":{\"lastEngagementTime\":" + std::to_string(random() % 100000) +
                       ".5,\"pointsAddedToday\":3.0,\"rawScore\":" + std::to_string(random() % 100) + ".25}}";
    preferences += "}}}}}";
    profile.preferences = (data / "Default/Preferences").string();
    profile.preferencesBytes = preferences.size();
    write(profile.preferences, preferences);
    for (int i = 0; i < 50; ++i) write(data / "Local Storage" / ("https_site" + std::to_string(i) + ".localstorage"), "y");
    return profile;
}

}  // namespace

int main(int argc, char** argv) {
    const std::size_t count = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 300;
    const std::size_t megabytes = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 20;
    const std::string parent = kqbench::parentFolder(argc > 3 ? argv[3] : nullptr);
    std::string root = parent + "/kq-extensions-XXXXXX";
    if (!mkdtemp(root.data())) {
        std::perror("mkdtemp");
        return 1;
    }
    Profile profile;
    const double generation = kqbench::seconds([&] { profile = generate(root, count, megabytes); });
    const kq::FileManager& files = kq::FileManager::defaultManager();

    kq::FileSystemLayout::setCurrent(std::make_shared<kq::FileSystemLayout>(root, root + "/Users/bench"));
    std::size_t named = 0, fromStore = 0, preferenceReads = 0;
    auto scan = [&] {
        KQUBrowserExtensionsScanner scanner;
        const auto records = scanner.scanBrowserExtensionsOfType(KQUBrowserExtensionTypeChrome);
        named = records ? records->size() : 0;
        fromStore = 0;
        for (const auto& record : records.value_or(std::vector<KQUBrowserExtension>{}))
            fromStore += record.sourceType() == KQUBrowserExtensionSourceKindStore && record.icon().has_value();
        preferenceReads = scanner.chromePreferencesReadCount();
    };
    std::size_t parsed = 0;
    auto jsonAlone = [&] {
        parsed = 0;
        for (const std::string* path : {&profile.preferences}) {
            auto bytes = files.contentsAtPath(*path);
            parsed += bytes && kq::Dictionary::dictionaryWithJSONString(std::string(bytes->begin(), bytes->end()));
        }
        for (const std::string& path : profile.manifests) {
            auto bytes = files.contentsAtPath(path);
            parsed += bytes && kq::Dictionary::dictionaryWithJSONString(std::string(bytes->begin(), bytes->end()));
        }
    };
    scan();  // warm the page cache for both sides
    jsonAlone();

    // Interleaved, so that load from elsewhere on the machine falls on both sides alike.
    constexpr int kRuns = 5;
    std::vector<double> scanTimes, jsonTimes;
    for (int run = 0; run < kRuns; ++run) {
        scanTimes.push_back(kqbench::seconds(scan));
        jsonTimes.push_back(kqbench::seconds(jsonAlone));
    }
    std::sort(scanTimes.begin(), scanTimes.end());
    std::sort(jsonTimes.begin(), jsonTimes.end());
    const double scanTime = scanTimes[kRuns / 2];
    const double jsonTime = jsonTimes[kRuns / 2];

    std::printf("profile: %zu extensions, Preferences %.1f MB, in %s (generated in %.2f s)\n", count,
                static_cast<double>(profile.preferencesBytes) / (1024.0 * 1024.0), parent.c_str(), generation);
    std::printf("Chrome scan %.3f s   JSON reader alone %.3f s   ratio %.2f (target <= 2.00)\n", scanTime, jsonTime,
                scanTime / jsonTime);
    std::printf("records %zu, from the store with an icon %zu, preference files parsed %zu, JSON documents %zu\n", named,
                fromStore, preferenceReads, parsed);
    fs::remove_all(root);
    return named == count && preferenceReads == 1 && parsed == count + 1 ? 0 : 1;
}
