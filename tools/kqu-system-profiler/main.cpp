// kqu-system-profiler: the system profiler's reports on a machine that has no
// profiler of its own. Takes the same arguments ([-xml] DataType...) and
// prints the same plain-text or XML property-list shapes.
//
// Environment: KQ_LAYOUT_ROOT and KQ_LAYOUT_HOME choose the Mac tree whose
// applications are listed (default: this machine); KQ_SYSTEM_ROOT points the
// hardware facts at a copy of /proc, /sys and /etc (default "/").
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "SystemProfilerReports.h"
#include "KQFoundation/System/FileSystemLayout.h"
#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/Foundation/PropertyList.h"
#include "System/Linux/LinuxSystemFacts.h"

namespace {

const char* environmentValue(const char* name) {
    const char* value = std::getenv(name);
    return value && *value ? value : nullptr;
}

int usage() {
    std::fprintf(stderr, "usage: kqu-system-profiler [-listDataTypes] [-xml] [-detailLevel n] [-timeout n] [dataType ...]\n");
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    kq::setLogSink([](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); });
    bool xml = false;
    std::vector<std::string> dataTypes;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "-xml") {
            xml = true;
        } else if (argument == "-listDataTypes") {
            std::printf("Available Datatypes:\n");
            for (const std::string& type : kq::systemprofiler::supportedDataTypes()) std::printf("%s\n", type.c_str());
            return 0;
        } else if (argument == "-detailLevel" || argument == "-timeout") {
            if (++i >= argc) return usage();  // accepted for compatibility; every report is complete
        } else if (argument.starts_with("-")) {
            return usage();
        } else {
            dataTypes.push_back(argument);
        }
    }
    if (dataTypes.empty()) dataTypes = kq::systemprofiler::supportedDataTypes();

    kq::FileSystemLayout layout;
    if (const char* root = environmentValue("KQ_LAYOUT_ROOT")) {
        const char* home = environmentValue("KQ_LAYOUT_HOME");
        layout = kq::FileSystemLayout(root, home ? home : layout.home());
    }
    kq::FileSystemLayout::setCurrent(std::make_shared<const kq::FileSystemLayout>(layout));
    kq::LinuxSystemFacts::Options options;
    if (const char* root = environmentValue("KQ_SYSTEM_ROOT")) options.root = root;
    const kq::LinuxSystemFacts facts(options);

    kq::Array reports;
    for (const std::string& type : dataTypes)
        if (auto report = kq::systemprofiler::report(type, facts, layout)) reports.push_back(std::move(*report));

    if (xml) {
        const kq::Data output = kq::PropertyList::write(kq::Value(std::move(reports)), kq::PropertyListFormat::XML);
        std::fwrite(output.data(), 1, output.size(), stdout);
    } else {
        for (const kq::Value& report : reports) {
            const std::string text = kq::systemprofiler::reportText(*report.asDictionary());
            std::fwrite(text.data(), 1, text.size(), stdout);
        }
    }
    return std::fflush(stdout) == 0 ? 0 : 2;
}
