#include "KQFoundation/NSFileManager+KQFoundation.h"

#include <utility>

#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/Foundation/PathUtilities.h"
#include "KQFoundation/Foundation/PropertyList.h"
#include "KQFoundation/System/Workspace.h"
#include "System/FileSystemCalls.h"
#include "System/PerLayoutCache.h"

namespace kq {

namespace {

constexpr std::string_view kLastUsedDateAttribute = "com.apple.metadata:kMDItemLastUsedDate";

std::string lastFolder(SearchPathDirectory directory, unsigned domainMask) {
    const auto paths = FileSystemLayout::current()->pathsForDirectory(directory, domainMask);
    return paths.empty() ? std::string() : paths.back();
}

/// The metadata attribute holds a date, or (written by some tools) an array whose first element is one.
std::optional<Date> dateFromMetadataAttribute(const Data& bytes) {
    auto value = PropertyList::read(bytes);
    if (!value) return std::nullopt;
    if (const Date* date = value->asDate()) return *date;
    if (const Array* array = value->asArray(); array && !array->empty())
        if (const Date* date = array->front().asDate()) return *date;
    return std::nullopt;
}

}  // namespace

std::uint64_t FileManager::sizeOfItemAtPath(std::string_view path) const {
    return platform::logicalSizeOfTree(std::string(path));
}

std::string FileManager::crashReportFolderInDomain(unsigned domainMask) const {
    const std::string logs = stringByAppendingPathComponent(lastFolder(SearchPathDirectory::Library, domainMask), "Logs");
    std::string diagnosticReports = stringByAppendingPathComponent(logs, "DiagnosticReports");
    if (fileExistsAtPath(diagnosticReports)) return diagnosticReports;
    return stringByAppendingPathComponent(logs, "CrashReporter");
}

std::string FileManager::crashReportHistoryFolderInDomain(unsigned domainMask) const {
    return stringByAppendingPathComponent(lastFolder(SearchPathDirectory::ApplicationSupport, domainMask),
                                          "CrashReporter");
}

std::vector<std::string> FileManager::crashReportFolders() const {
    static PerLayoutCache<std::vector<std::string>> lists;
    return lists.get([this](const FileSystemLayout&) {
        return std::vector<std::string>{crashReportFolderInDomain(LocalDomainMask),
                                        crashReportHistoryFolderInDomain(LocalDomainMask),
                                        crashReportFolderInDomain(UserDomainMask),
                                        crashReportHistoryFolderInDomain(UserDomainMask)};
    });
}

std::optional<Date> FileManager::lastUsedDateOfTimeAtPath(std::string_view path) const {
    if (auto bytes = extendedAttribute(path, kLastUsedDateAttribute))
        if (auto date = dateFromMetadataAttribute(*bytes)) return date;
    std::error_code error;
    if (auto attributes = attributesOfItemAtPath(path, &error)) return attributes->accessDate;
    log("Could not get attribute modification date for item: %@, error: %@", path, error.message());
    return std::nullopt;
}

bool FileManager::isPathInFilePackage(std::string_view path) const {
    const std::size_t components = pathComponents(path).size();
    if (components < 2) return false;
    const Workspace& workspace = Workspace::sharedWorkspace();
    std::string folder(path);
    for (std::size_t step = 1; step < components; ++step) {
        folder = stringByDeletingLastPathComponent(folder);
        if (workspace.isFilePackageAtPath(folder)) return true;
    }
    return false;
}

}  // namespace kq
