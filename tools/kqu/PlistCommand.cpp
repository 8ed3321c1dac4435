// kqu plist FILE: a property list (binary, XML or old-style text) printed as
// JSON. Dates print in ISO 8601, data in base64, integers in full.
#include <cstdio>
#include <filesystem>

#include "Command.h"
#include "JsonOutput.h"
#include "KQFoundation/Foundation/PropertyList.h"

namespace {

struct PlistOptions {
    std::string file;
    bool compact = false;
};

/// Why the file could not be read, in a few words.
std::string whyUnreadable(const std::string& file) {
    namespace fs = std::filesystem;
    std::error_code error;
    const auto status = fs::status(file, error);
    if (!fs::exists(status)) return "no such file";
    if (fs::is_directory(status)) return "a folder, not a file";
    if (!fs::is_regular_file(status)) return "not a regular file";
    if (fs::file_size(file, error) > kq::PropertyList::kMaximumInputSize)
        return "larger than " + std::to_string(kq::PropertyList::kMaximumInputSize >> 20) + " MiB";
    return "not a readable property list";
}

const kqu::CommandRegistration registration{{
    "plist",
    "Print a property list (binary, XML or text) as JSON",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<PlistOptions>();
        app.add_option("FILE", options->file, "Property list file")->required();
        app.add_flag("--compact", options->compact, "One line of JSON");
        return [options] {
            auto value = kq::PropertyList::readFile(options->file);
            if (!value)
                throw kqu::CommandFailure{kqu::kExitInputFailure, options->file + ": " + whyUnreadable(options->file)};
            const auto style = options->compact ? kqu::JsonStyle::Compact : kqu::JsonStyle::Pretty;
            std::printf("%s\n", kqu::toJSON(*value, style).c_str());
            return kqu::kExitSuccess;
        };
    },
}};

}  // namespace
