// The JSON reader and writer against nlohmann::json's parse() and dump() on a
// ~20 MB document shaped like a browser's preferences file: nested objects of
// extension settings, strings with escapes and non-ASCII text, numbers,
// arrays. Both libraries read and write the same text in the same run.
#include <benchmark/benchmark.h>

#include <nlohmann/json.hpp>

#include <random>
#include <string>

#include "KQFoundation/NSObject+JSON.h"

namespace {

constexpr std::size_t kDocumentSize = 20u << 20;

std::string extensionIdentifier(std::mt19937& random) {
    std::string id;
    for (int i = 0; i < 32; ++i) id += static_cast<char>('a' + random() % 16);
    return id;
}

std::string quoted(const std::string& text) { return '"' + text + '"'; }

std::string stringArray(std::mt19937& random, const char* const* words, std::size_t count, std::size_t n) {
    std::string out = "[";
    for (std::size_t i = 0; i < n; ++i) {
        if (i) out += ',';
        out += quoted(words[random() % count]);
    }
    return out + "]";
}

std::string extensionSettings(std::mt19937& random, const std::string& id) {
    static const char* const kPermissions[] = {"tabs",        "storage",          "<all_urls>", "cookies",
                                               "webRequest",  "contextMenus",     "alarms",     "notifications",
                                               "https://*/*", "http://*.example.com/*"};
    static const char* const kNames[] = {
        "Ad Filter", "Caf\xC3\xA9 Helper", "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E Dictionary",
        "Tab \\\"Manager\\\"", "Password Keeper \xE2\x9C\x93", "Dark \xE2\x80\x94 Mode"};
    const std::size_t permissionCount = std::size(kPermissions);
    std::string out = "{";
    out += R"("active_permissions":{"api":)" + stringArray(random, kPermissions, permissionCount, 2 + random() % 6) +
           R"(,"explicit_host":)" + stringArray(random, kPermissions + 8, 2, 1 + random() % 3) +
           R"(,"manifest_permissions":[]},)";
    out += R"("creation_flags":)" + std::to_string(random() % 64) + ',';
    out += R"("from_webstore":)" + std::string(random() % 2 ? "true" : "false") + ',';
    out += R"("install_time":")" + std::to_string(13300000000000000ULL + random()) + "\",";
    out += R"("location":)" + std::to_string(1 + random() % 10) + ',';
    out += R"("manifest":{"name":")" + std::string(kNames[random() % std::size(kNames)]) +
           R"(","description":"Line one\nLine two\twith a \"quote\", a back\\slash and a path C:\\Program Files\/x",)";
    out += R"("version":")" + std::to_string(random() % 20) + '.' + std::to_string(random() % 100) + '.' +
           std::to_string(random() % 1000) + "\",";
    out += R"("manifest_version":)" + std::to_string(2 + random() % 2) + ',';
    out += R"("content_scripts":[{"matches":)" + stringArray(random, kPermissions + 8, 2, 2) +
           R"(,"js":["content.js","vendor/lib.min.js"],"run_at":"document_idle","all_frames":false}],)";
    out += R"("icons":{"16":"icons/16.png","48":"icons/48.png","128":"icons/128.png"},)";
    out += R"("update_url":"https:\/\/clients.example.com\/service\/update2\/crx"},)";
    out += R"("path":")" + id + '/' + std::to_string(random() % 10) + ".0_0\",";
    out += R"("rating":)" + std::to_string((random() % 500) / 100.0) + ',';
    out += R"("usage":{"last_launch":)" + std::to_string(random() * 0.001) + R"(,"counts":[)";
    for (int i = 0; i < 8; ++i) {
        if (i) out += ',';
        out += std::to_string(static_cast<int>(random() % 100000) - 50000);
    }
    out += R"(],"disabled_reason":null},"state":1,"was_installed_by_default":false})";
    return out;
}

const std::string& document() {
    static const std::string text = [] {
        std::mt19937 random(2024);
        std::string out = R"({"browser":{"window_placement":{"bottom":1040,"left":0,"maximized":true,"right":1920,"top":0}},)";
        out += R"("profile":{"name":"Person 1","avatar_index":26,"content_settings":{"exceptions":{}}},)";
        out += R"("extensions":{"settings":{)";
        bool first = true;
        while (out.size() < kDocumentSize) {
            const std::string id = extensionIdentifier(random);
            if (!first) out += ',';
            out += quoted(id) + ':' + extensionSettings(random, id);
            first = false;
        }
        return out + R"(},"alerts":{"initialized":true}},"session":{"restore_on_startup":1,"startup_urls":[]}})";
    }();
    return text;
}

void ReadOurs(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(kq::Dictionary::dictionaryWithJSONString(document()));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * document().size()));
}

void ReadNlohmann(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(nlohmann::json::parse(document()));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * document().size()));
}

void WriteOurs(benchmark::State& state) {
    const kq::Dictionary dictionary = *kq::Dictionary::dictionaryWithJSONString(document());
    for (auto _ : state) benchmark::DoNotOptimize(dictionary.JSONString());
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * document().size()));
}

void WriteNlohmann(benchmark::State& state) {
    const nlohmann::json json = nlohmann::json::parse(document());
    for (auto _ : state) benchmark::DoNotOptimize(json.dump());
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * document().size()));
}

BENCHMARK(ReadOurs)->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(ReadNlohmann)->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(WriteOurs)->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(WriteNlohmann)->Unit(benchmark::kMillisecond)->MinTime(2);

}  // namespace

BENCHMARK_MAIN();
