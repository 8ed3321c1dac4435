// Running the system profiler tool and reading its plain-text and XML reports.
#include <cstdlib>

#include "KQFoundation/KQUSystemInformation.h"
#include "KQFoundation/System/FileSystemLayout.h"
#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/Foundation/PathUtilities.h"
#include "KQFoundation/Foundation/PropertyList.h"
#include "System/ProcessRunner.h"
#include "System/SystemFacts.h"
#include "Common/SystemInformation/ProfilerReportReader.h"
#include "SystemInformationState.h"

namespace state = kq::systeminformation;

namespace {

constexpr const char* kProfilerPathVariable = "KQ_SYSTEM_PROFILER";
constexpr const char* kServiceVariable = "KQ_PRODUCT_DESCRIPTION_SERVICE";
// The profiler reads the Mac tree being inspected from these (offline trees).
constexpr const char* kLayoutRootVariable = "KQ_LAYOUT_ROOT";
constexpr const char* kLayoutHomeVariable = "KQ_LAYOUT_HOME";

}  // namespace

void KQUSystemInformation::setSystemProfilerPath(std::optional<std::string> path) {
    state::State& s = state::state();
    std::lock_guard lock(s.mutex);
    s.systemProfilerPath = std::move(path);
}

std::string KQUSystemInformation::systemProfilerPath() {
    {
        state::State& s = state::state();
        std::lock_guard lock(s.mutex);
        if (s.systemProfilerPath) return *s.systemProfilerPath;
    }
    if (const char* path = std::getenv(kProfilerPathVariable); path && *path) return path;
    return kq::defaultSystemProfilerPath();
}

void KQUSystemInformation::setProductDescriptionServiceURL(std::optional<std::string> baseURL) {
    state::State& s = state::state();
    std::lock_guard lock(s.mutex);
    s.productDescriptionServiceURL = std::move(baseURL);
    s.productDescriptionServiceURLSet = true;
}

std::optional<std::string> KQUSystemInformation::productDescriptionServiceURL() {
    {
        state::State& s = state::state();
        std::lock_guard lock(s.mutex);
        if (s.productDescriptionServiceURLSet) return s.productDescriptionServiceURL;
    }
    if (const char* url = std::getenv(kServiceVariable); url && *url) return std::string(url);
    return std::nullopt;
}

std::optional<kq::Data> KQUSystemInformation::systemProfileOfDataTypes(const std::vector<std::string>& dataTypes,
                                                                      bool xmlFormat) {
    std::optional<kq::Data> output;
    try {
        std::vector<std::string> arguments;
        arguments.reserve(2);
        if (xmlFormat) arguments.emplace_back("-xml");
        arguments.insert(arguments.end(), dataTypes.begin(), dataTypes.end());
        kq::ProcessOptions options;
        const auto layout = kq::FileSystemLayout::current();
        options.environment = {{kLayoutRootVariable, layout->root()}, {kLayoutHomeVariable, layout->home()}};
        kq::ProcessResult result = kq::ProcessRunner::run(systemProfilerPath(), arguments, options);
        output = std::move(result.standardOutput);
    } catch (const std::exception& exception) {
        kq::log("An exception is caught when running system_profiler tool: %@", exception);
    }
    return output;
}

std::optional<std::string> KQUSystemInformation::stringWithSystemProfileOfDataTypes(
    const std::vector<std::string>& dataTypes) {
    const auto data = systemProfileOfDataTypes(dataTypes, false);
    if (!data || data->empty()) return std::nullopt;
    std::string text(data->begin(), data->end());
    if (!kq::isValidUTF8(text)) return std::nullopt;
    return text;
}

std::optional<kq::Array> KQUSystemInformation::arrayWithSystemProfileOfDataTypes(
    const std::vector<std::string>& dataTypes) {
    const auto data = systemProfileOfDataTypes(dataTypes, true);
    if (!data) return std::nullopt;
    return kq::systeminformation::profilerReportArray(*data);
}

std::optional<kq::Array> kq::systeminformation::profilerReportArray(const kq::Data& output) {
    if (output.empty()) return std::nullopt;
    auto root = kq::PropertyList::read(output);
    if (!root || !root->isArray()) return std::nullopt;
    return std::move(*root->asArray());
}

std::optional<std::string> KQUSystemInformation::systemProfileValueForKey(std::string_view label) {
    const auto report = stringWithSystemProfileOfDataTypes({"SPHardwareDataType"});
    if (!report) return std::nullopt;
    return kq::systeminformation::profileValueForLabel(*report, label);
}

std::optional<std::string> kq::systeminformation::profileValueForLabel(const std::string& report,
                                                                       std::string_view label) {
    if (report.empty()) return std::nullopt;
    const std::size_t found = report.find(label);
    if (found == std::string::npos) return std::nullopt;
    const std::size_t start = found + label.size();
    std::size_t end = report.find('\n', start);
    if (end == std::string::npos) {
        // Without a newline after the label the value stops one character
        // short of the end: the report's last character is lost, on purpose.
        end = report.size() - 1;
        while (end > 0 && (static_cast<unsigned char>(report[end]) & 0xc0) == 0x80) --end;
        if (end < start) return std::nullopt;
    }
    return report.substr(start, end - start);
}

std::string KQUSystemInformation::humanReadableMemorySizeString() {
    state::State& s = state::state();
    std::lock_guard lock(s.memorySizeStringMutex);
    if (!s.memorySizeStringComputed) {
        const auto memory = systemProfileValueForKey("Memory: ");
        s.memorySizeString = memory && !memory->empty() ? *memory : "N/A";
        s.memorySizeStringComputed = true;
    }
    return s.memorySizeString;
}
