// Memory facts on Linux.
//
// Physical memory: the online memory blocks of /sys/devices/system/memory
// (what is installed, as lsmem counts it), else MemTotal of /proc/meminfo.
//
// Page counters, from /proc/meminfo (kB, turned into pages):
//   free        MemFree
//   active      Active (anonymous and file pages)
//   inactive    Inactive
//   wired       Unevictable (mlocked and otherwise pinned pages) + SUnreclaim
//               + PageTables + KernelStack: memory that can be neither paged
//               out nor reclaimed
//   compressed  Zswap: the compressed pool of zswap
// and the event counters (faults, page-ins, swap-ins and -outs) from /proc/vmstat.
// (vmstat's nr_free_pages leaves out free pages some kernels keep in whole
// page blocks, so MemFree is the figure to trust.)
//
// Firmware-reserved ("stolen") memory: the firmware's memory map in
// /sys/firmware/memmap, clipped to the memory blocks that hold RAM so that
// reserved address ranges without memory behind them (device windows) do
// not count. "Reserved" ranges give machdep.memmap.Reserved, "Unusable
// memory" gives .Unusable, and every other type except "System RAM" (ACPI
// tables and storage, persistent memory...) gives .Other.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>

#include "LinuxFiles.h"
#include "LinuxSystemFacts.h"

namespace kq {

using namespace linuxfiles;

namespace {

std::map<std::string, std::uint64_t, std::less<>> numberLines(const std::string& text, char separator) {
    std::map<std::string, std::uint64_t, std::less<>> values;
    for (const auto& [key, value] : keyValueLines(text, separator))
        if (auto number = parseNumber(split(value, ' ').front())) values.emplace(key, *number);
    return values;
}

std::uint64_t valueOr0(const std::map<std::string, std::uint64_t, std::less<>>& values, std::string_view key) {
    auto it = values.find(key);
    return it == values.end() ? 0 : it->second;
}

std::uint32_t pages(std::uint64_t count) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(count, UINT32_MAX));
}

std::optional<VMStatistics64> readPageCounters(const LinuxSystemFacts& facts) {
    const auto meminfoText = readFile(facts.path("/proc/meminfo"));
    if (!meminfoText) return std::nullopt;
    const auto meminfo = numberLines(*meminfoText, ':');
    if (!meminfo.count("MemFree")) return std::nullopt;
    const auto vmstatText = readFile(facts.path("/proc/vmstat"));
    const auto vmstat = vmstatText ? numberLines(*vmstatText, ' ') : decltype(meminfo){};
    const std::uint64_t pageKilobytes = std::max<std::uint64_t>(1, facts.pageSize().value_or(4096) / 1024);
    const auto pagesOf = [&](std::string_view key) { return valueOr0(meminfo, key) / pageKilobytes; };

    VMStatistics64 s;
    s.free_count = pages(pagesOf("MemFree"));
    s.active_count = pages(pagesOf("Active"));
    s.inactive_count = pages(pagesOf("Inactive"));
    s.wire_count = pages(pagesOf("Unevictable") + pagesOf("SUnreclaim") + pagesOf("PageTables") + pagesOf("KernelStack"));
    s.compressor_page_count = pages(pagesOf("Zswap"));
    s.total_uncompressed_pages_in_compressor = pagesOf("Zswapped");
    s.internal_page_count = pages(pagesOf("AnonPages"));
    s.external_page_count = pages(pagesOf("Cached"));
    s.faults = valueOr0(vmstat, "pgfault");
    s.pageins = valueOr0(vmstat, "pgmajfault");
    s.swapins = valueOr0(vmstat, "pswpin");
    s.swapouts = valueOr0(vmstat, "pswpout");
    s.pageouts = s.swapouts;
    return s;
}

struct AddressRange {
    std::uint64_t start = 0;
    std::uint64_t end = 0;  // exclusive
};

// The address ranges of the memory blocks that hold RAM; nullopt when sysfs has none.
std::optional<std::vector<AddressRange>> memoryBlockRanges(const LinuxSystemFacts& facts) {
    const std::string folder = facts.path("/sys/devices/system/memory");
    const auto blockSize = readTrimmed(folder + "/block_size_bytes");
    const auto size = blockSize ? parseNumber(*blockSize, true) : std::nullopt;
    if (!size || *size == 0) return std::nullopt;
    std::vector<AddressRange> ranges;
    for (const std::string& name : listDirectory(folder)) {
        if (name.compare(0, 6, "memory") != 0) continue;
        const auto index = parseNumber(std::string_view(name).substr(6));
        if (!index) continue;
        if (auto state = readTrimmed(folder + "/" + name + "/state"); state && *state != "online") continue;
        ranges.push_back({*index * *size, (*index + 1) * *size});
    }
    if (ranges.empty()) return std::nullopt;
    return ranges;
}

std::uint64_t overlap(AddressRange a, const std::vector<AddressRange>& blocks) {
    std::uint64_t bytes = 0;
    for (const AddressRange& b : blocks) {
        const std::uint64_t start = std::max(a.start, b.start);
        const std::uint64_t end = std::min(a.end, b.end);
        if (end > start) bytes += end - start;
    }
    return bytes;
}

}  // namespace

std::optional<std::uint64_t> LinuxSystemFacts::memorySize() const {
    if (auto blocks = memoryBlockRanges(*this)) {
        std::uint64_t total = 0;
        for (const AddressRange& block : *blocks) total += block.end - block.start;
        return total;
    }
    if (auto meminfo = readFile(path("/proc/meminfo")))
        if (auto total = valueForKey(keyValueLines(*meminfo, ':'), "MemTotal"))
            if (auto kilobytes = parseNumber(split(*total, ' ').front())) return *kilobytes * 1024;
    return std::nullopt;
}

std::optional<VMStatistics> LinuxSystemFacts::vmStatistics() const {
    const auto counters = readPageCounters(*this);
    if (!counters) return std::nullopt;
    VMStatistics s;
    s.free_count = counters->free_count;
    s.active_count = counters->active_count;
    s.inactive_count = counters->inactive_count;
    s.wire_count = counters->wire_count;
    s.faults = pages(counters->faults);
    s.pageins = pages(counters->pageins);
    s.pageouts = pages(counters->pageouts);
    return s;
}

std::optional<VMStatistics64> LinuxSystemFacts::vmStatistics64() const { return readPageCounters(*this); }

std::optional<std::uint64_t> LinuxSystemFacts::pageSize() const {
    const long size = ::sysconf(_SC_PAGESIZE);
    if (size <= 0) return std::nullopt;
    return static_cast<std::uint64_t>(size);
}

int LinuxSystemFacts::firmwareMemoryFigure(std::string_view name, std::uint64_t& bytes) const {
    const int savedErrno = errno;
    enum class Kind { Reserved, Unusable, Other } kind;
    if (name == "machdep.memmap.Reserved") {
        kind = Kind::Reserved;
    } else if (name == "machdep.memmap.Unusable") {
        kind = Kind::Unusable;
    } else if (name == "machdep.memmap.Other") {
        kind = Kind::Other;
    } else {
        errno = ENOENT;
        return -1;
    }
    const std::string folder = path("/sys/firmware/memmap");
    const std::vector<std::string> entries = listDirectory(folder);
    if (entries.empty()) {
        errno = ENOENT;
        return -1;
    }
    const auto blocks = memoryBlockRanges(*this);
    std::uint64_t total = 0;
    for (const std::string& entry : entries) {
        const std::string base = folder + "/" + entry + "/";
        const auto type = readTrimmed(base + "type");
        const auto start = readNumber(base + "start");
        const auto end = readNumber(base + "end");  // inclusive
        if (!type || !start || !end || *end < *start) continue;
        const bool matches = kind == Kind::Reserved   ? *type == "Reserved"
                             : kind == Kind::Unusable ? *type == "Unusable memory"
                                                      : *type != "System RAM" && *type != "Reserved" &&
                                                            *type != "Unusable memory";
        if (!matches) continue;
        const AddressRange range{*start, *end + 1};
        total += blocks ? overlap(range, *blocks) : range.end - range.start;
    }
    bytes = total;
    errno = savedErrno;
    return 0;
}

}  // namespace kq
