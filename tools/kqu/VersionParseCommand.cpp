// kqu version-compare A B and kqu version-parse STRING: the version parser
// and its ordering, for checking how an application's version reads.
#include <cstdio>

#include "Command.h"
#include "JsonOutput.h"
#include "KQFoundation/KQUVersion.h"

namespace {

KQUVersion parsedOrFail(const std::string& text) {
    std::optional<KQUVersion> version = KQUVersion::versionWithString(text);
    if (!version) {
        throw kqu::CommandFailure{kqu::kExitInputFailure,
                                  "'" + text + "' is not a version (it needs at least two numbers, as in 1.2)"};
    }
    return *version;
}

struct CompareOptions {
    std::string first;
    std::string second;
};

const kqu::CommandRegistration compareRegistration{{
    "version-compare",
    "Compare two versions: prints <, = or >",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<CompareOptions>();
        app.add_option("A", options->first, "First version")->required();
        app.add_option("B", options->second, "Second version")->required();
        return [options] {
            int order = parsedOrFail(options->first).compare(parsedOrFail(options->second));
            std::printf("%s\n", order < 0 ? "<" : (order > 0 ? ">" : "="));
            return kqu::kExitSuccess;
        };
    },
}};

struct ParseOptions {
    std::string text;
    bool json = false;
};

const kqu::CommandRegistration parseRegistration{{
    "version-parse",
    "Parse a version: its components and stage",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<ParseOptions>();
        app.add_option("STRING", options->text, "Version text")->required();
        app.add_flag("--json", options->json, "Print components, stage and the three string forms as JSON");
        return [options] {
            KQUVersion version = parsedOrFail(options->text);
            if (!options->json) {
                std::printf("%s\n", version.stringRepresentationWithStage().c_str());
                return kqu::kExitSuccess;
            }
            kq::Array components;
            for (std::int64_t component : version.components()) components.emplace_back(component);
            kq::Dictionary result{
                {"components", kq::Value(std::move(components))},
                {"stage", kq::Value(static_cast<std::int64_t>(version.stage()))},
                {"string", kq::Value(version.stringRepresentation())},
                {"stringWithStage", kq::Value(version.stringRepresentationWithStage())},
                {"coderString", kq::Value(version.stringRepresentationForCoder())},
            };
            std::printf("%s\n", kqu::toJSON(kq::Value(std::move(result)), kqu::JsonStyle::Compact).c_str());
            return kqu::kExitSuccess;
        };
    },
}};

}  // namespace
