// The profiler's output from arbitrary bytes: as the XML report of each data
// type the library reads, and as the plain-text hardware overview.
#include <cstddef>
#include <cstdint>
#include <string>

#include "Common/SystemInformation/ProfilerReportReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    namespace reader = kq::systeminformation;
    if (const auto report = reader::profilerReportArray(kq::Data(data, data + size))) {
        (void)reader::memoryModules(*report);
        (void)reader::graphicsInformation(*report);
        (void)reader::applicationPaths(*report);
    }
    const std::string text(reinterpret_cast<const char*>(data), size);
    (void)reader::profileValueForLabel(text, "Model Name: ");
    (void)reader::profileValueForLabel(text, "Memory: ");
    return 0;
}
