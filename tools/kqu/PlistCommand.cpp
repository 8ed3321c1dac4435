// kqu plist FILE: a property list (XML or binary) printed as JSON.
#include <cstdio>

#include "Command.h"
#include "JsonOutput.h"
#include "KQFoundation/Foundation/PropertyList.h"

namespace {

struct PlistOptions {
    std::string file;
    bool compact = false;
};

const kqu::CommandRegistration registration{{
    "plist",
    "Print a property list (XML or binary) as JSON",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<PlistOptions>();
        app.add_option("FILE", options->file, "Property list file")->required();
        app.add_flag("--compact", options->compact, "One line of JSON");
        return [options] {
            auto value = kq::PropertyList::readFile(options->file);
            if (!value) throw kqu::CommandFailure{kqu::kExitInputFailure, "not a readable property list: " + options->file};
            const auto style = options->compact ? kqu::JsonStyle::Compact : kqu::JsonStyle::Pretty;
            std::printf("%s\n", kqu::toJSON(*value, style).c_str());
            return kqu::kExitSuccess;
        };
    },
}};

}  // namespace
