#pragma once
// The system profiler's reports, produced from the platform's facts where the
// platform has no profiler of its own (the kqu-system-profiler program is a
// front end to this). Each report is the top-level dictionary of the
// profiler's XML output ("_dataType", "_items", ...) for one data type, and
// has a plain-text form in the profiler's "Label: value" layout.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/System/FileSystemLayout.h"
#include "KQFoundation/Foundation/Value.h"
#include "System/SystemFacts.h"

namespace kq::systemprofiler {

/// "SPHardwareDataType", "SPMemoryDataType", "SPDisplaysDataType", "SPApplicationsDataType".
const std::vector<std::string>& supportedDataTypes();

/// The report of one data type; nullopt for a type this profiler does not know.
/// Applications are the ".app" bundles below the layout's Applications folders.
std::optional<Dictionary> report(std::string_view dataType, const SystemFacts& facts, const FileSystemLayout& layout);

/// The plain-text form of a report made by report().
std::string reportText(const Dictionary& report);

/// "8 GB", "512 MB", "23.5 GB" for a byte count (binary units, as the profiler counts memory).
std::string memorySizeText(std::uint64_t bytes);
/// "2.4 GHz", "800 MHz" for a clock in hertz.
std::string clockSpeedText(std::uint64_t hertz);

}  // namespace kq::systemprofiler
