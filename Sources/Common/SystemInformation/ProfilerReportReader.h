#pragma once
// The readers of the profiler's output, apart from running it, so that they
// can be fed any bytes (tests, fuzzing). Wrong types are skipped at every level.
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

#include "KQFoundation/Foundation/Value.h"

namespace kq::systeminformation {

/// The XML output's root array; nullopt when empty, unreadable or not an array.
std::optional<Array> profilerReportArray(const Data& output);
/// The memory modules of an "SPMemoryDataType" report.
std::optional<Array> memoryModules(const Array& report);
/// GPUs and their displays from an "SPDisplaysDataType" report.
Dictionary graphicsInformation(const Array& report);
/// The "path" of every item of an "SPApplicationsDataType" report.
std::unordered_set<std::string> applicationPaths(const Array& report);
/// The value after `label` up to the end of its line in a plain-text report.
std::optional<std::string> profileValueForLabel(const std::string& report, std::string_view label);

}  // namespace kq::systeminformation
