// Processor facts on Linux: /proc/cpuinfo and /sys/devices/system/cpu.
#include <cmath>
#include <cstdlib>
#include <set>
#include <utility>

#include "LinuxFiles.h"
#include "LinuxSystemFacts.h"

namespace kq {

using namespace linuxfiles;

namespace {

using CPUInfoBlock = std::vector<std::pair<std::string, std::string>>;

// One block per logical processor (x86), or one for the whole machine (some ARM and PowerPC kernels).
std::vector<CPUInfoBlock> cpuInfoBlocks(const std::string& text) {
    std::vector<CPUInfoBlock> blocks(1);
    for (std::string_view line : split(text, '\n')) {
        if (trim(line).empty()) {
            if (!blocks.back().empty()) blocks.emplace_back();
            continue;
        }
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        blocks.back().emplace_back(std::string(trim(line.substr(0, colon))), std::string(trim(line.substr(colon + 1))));
    }
    if (blocks.back().empty()) blocks.pop_back();
    return blocks;
}

std::optional<std::string> firstValue(const std::vector<CPUInfoBlock>& blocks, std::string_view key) {
    for (const CPUInfoBlock& block : blocks)
        if (auto value = valueForKey(block, key); value && !value->empty()) return value;
    return std::nullopt;
}

// "0-3,8-11" -> 8
std::optional<std::uint32_t> countInCPUList(std::string_view list) {
    list = trim(list);
    if (list.empty()) return std::nullopt;
    std::uint32_t count = 0;
    for (std::string_view range : split(list, ',')) {
        const std::size_t dash = range.find('-');
        const auto first = parseNumber(range.substr(0, dash));
        const auto last = dash == std::string_view::npos ? first : parseNumber(range.substr(dash + 1));
        if (!first || !last || *last < *first) return std::nullopt;
        count += static_cast<std::uint32_t>(*last - *first + 1);
    }
    return count;
}

// The PowerPC models the release tests tell apart, from /proc/cpuinfo's
// "cpu" line ("740/750", "7447A, altivec supported", "PPC970FX, ...").
std::int32_t powerPCSubtype(std::string_view cpu) {
    const std::size_t start = cpu.find_first_of("0123456789");
    if (start == std::string_view::npos) return 0;
    std::string_view digits = cpu.substr(start);
    digits = digits.substr(0, digits.find_first_not_of("0123456789"));
    if (digits.starts_with("970")) return kCPUSubtypePowerPC970;
    if (digits.size() >= 4 && digits.starts_with("74"))
        return digits[2] == '0' || digits[2] == '1' ? kCPUSubtypePowerPC7400 : kCPUSubtypePowerPC7450;
    if (digits == "740" || digits == "745" || digits == "755" || digits.starts_with("750")) return kCPUSubtypePowerPC750;
    return 0;
}

}  // namespace

std::optional<std::string> LinuxSystemFacts::cpuBrandString() const {
    const auto text = readFile(path("/proc/cpuinfo"));
    if (!text) return std::nullopt;
    const auto blocks = cpuInfoBlocks(*text);
    for (std::string_view key : {"model name", "cpu model", "cpu", "Processor", "Hardware"})
        if (auto value = firstValue(blocks, key)) return value;
    return std::nullopt;
}

// The nominal clock: the base frequency where the driver reports it, else
// the highest frequency, else what /proc/cpuinfo says.
std::optional<std::uint64_t> LinuxSystemFacts::cpuFrequency() const {
    const std::string cpufreq = path("/sys/devices/system/cpu/cpu0/cpufreq/");
    for (const char* file : {"base_frequency", "cpuinfo_max_freq"})
        if (auto kilohertz = readNumber(cpufreq + file); kilohertz && *kilohertz > 0) return *kilohertz * 1000;
    const auto text = readFile(path("/proc/cpuinfo"));
    if (!text) return std::nullopt;
    const auto blocks = cpuInfoBlocks(*text);
    for (std::string_view key : {"cpu MHz", "clock"}) {
        auto value = firstValue(blocks, key);
        if (!value) continue;
        char* end = nullptr;
        const double megahertz = std::strtod(value->c_str(), &end);
        if (end != value->c_str() && megahertz > 0) return static_cast<std::uint64_t>(std::llround(megahertz * 1e6));
    }
    return std::nullopt;
}

std::optional<std::int64_t> LinuxSystemFacts::processorClockSpeed() const {
    auto hertz = cpuFrequency();
    if (!hertz) return std::nullopt;
    return static_cast<std::int64_t>(*hertz);
}

std::optional<HostBasicInfo> LinuxSystemFacts::hostBasicInfo() const {
    const auto cpuinfo = readFile(path("/proc/cpuinfo"));
    const auto meminfo = readFile(path("/proc/meminfo"));
    if (!cpuinfo && !meminfo) return std::nullopt;
    HostBasicInfo info;
    const auto blocks = cpuinfo ? cpuInfoBlocks(*cpuinfo) : std::vector<CPUInfoBlock>{};

    // Logical processors the kernel runs (what nproc counts on an unrestricted process).
    if (auto online = readFile(path("/sys/devices/system/cpu/online")); online && countInCPUList(*online)) {
        info.maxCpus = static_cast<std::int32_t>(*countInCPUList(*online));
    } else {
        for (const CPUInfoBlock& block : blocks)
            if (valueForKey(block, "processor")) ++info.maxCpus;
    }

    if (auto architecture = firstValue(blocks, "CPU architecture")) {
        info.cpuType = parseNumber(*architecture).value_or(0) >= 8 ? kCPUTypeARM64 : kCPUTypeARM;
    } else if (auto cpu = firstValue(blocks, "cpu"); cpu && (firstValue(blocks, "platform") || powerPCSubtype(*cpu))) {
        info.cpuType = kCPUTypePowerPC;
        info.cpuSubtype = powerPCSubtype(*cpu);
    } else if (auto flags = firstValue(blocks, "flags")) {
        info.cpuType = (" " + *flags + " ").find(" lm ") != std::string::npos ? kCPUTypeX86_64 : kCPUTypeX86;
        info.cpuSubtype = 3;  // the "all x86" subtype
    }

    if (meminfo)
        if (auto total = valueForKey(keyValueLines(*meminfo, ':'), "MemTotal"))
            info.maxMem = parseNumber(split(*total, ' ').front()).value_or(0) * 1024;
    return info;
}

namespace {

// (package, core) of every processor that sysfs describes.
std::set<std::pair<std::uint64_t, std::uint64_t>> topologyPairs(const LinuxSystemFacts& facts) {
    std::set<std::pair<std::uint64_t, std::uint64_t>> pairs;
    const std::string folder = facts.path("/sys/devices/system/cpu");
    for (const std::string& name : listDirectory(folder)) {
        if (name.size() < 4 || name.compare(0, 3, "cpu") != 0 || !parseNumber(std::string_view(name).substr(3)))
            continue;
        const std::string topology = folder + "/" + name + "/topology/";
        auto package = readNumber(topology + "physical_package_id");
        auto core = readNumber(topology + "core_id");
        if (package && core) pairs.emplace(*package, *core);
    }
    return pairs;
}

std::set<std::pair<std::uint64_t, std::uint64_t>> cpuInfoPairs(const LinuxSystemFacts& facts) {
    std::set<std::pair<std::uint64_t, std::uint64_t>> pairs;
    const auto text = readFile(facts.path("/proc/cpuinfo"));
    if (!text) return pairs;
    for (const CPUInfoBlock& block : cpuInfoBlocks(*text)) {
        auto package = valueForKey(block, "physical id");
        auto core = valueForKey(block, "core id");
        if (package && core && parseNumber(*package) && parseNumber(*core))
            pairs.emplace(*parseNumber(*package), *parseNumber(*core));
    }
    return pairs;
}

}  // namespace

std::optional<std::uint32_t> LinuxSystemFacts::cpuPackages() const {
    auto pairs = topologyPairs(*this);
    if (pairs.empty()) pairs = cpuInfoPairs(*this);
    if (pairs.empty()) return std::nullopt;
    std::set<std::uint64_t> packages;
    for (const auto& pair : pairs) packages.insert(pair.first);
    return static_cast<std::uint32_t>(packages.size());
}

std::optional<std::uint32_t> LinuxSystemFacts::cpuCores() const {
    auto pairs = topologyPairs(*this);
    if (pairs.empty()) pairs = cpuInfoPairs(*this);
    if (pairs.empty()) return std::nullopt;
    return static_cast<std::uint32_t>(pairs.size());
}

}  // namespace kq
