// kqu json FILE [--array] [--ignore-null]: reads FILE (or stdin for "-") with
// the library's lenient JSON reader and prints what it made of it as compact
// JSON, so one can see how the browser-extension scanner sees a file.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "Command.h"
#include "KQFoundation/NSObject+JSON.h"

namespace {

struct JsonOptions {
    std::string file;
    bool array = false;
    bool ignoreNull = false;
};

/// The file's bytes, or a CommandFailure saying why there are none.
std::string readInput(const std::string& file) {
    if (file == "-") {
        std::ostringstream buffer;
        buffer << std::cin.rdbuf();
        return std::move(buffer).str();
    }
    namespace fs = std::filesystem;
    std::error_code error;
    const auto status = fs::status(file, error);
    std::string why;
    if (!fs::exists(status))
        why = "no such file";
    else if (fs::is_directory(status))
        why = "a folder, not a file";
    else if (!fs::is_regular_file(status))
        why = "not a regular file";
    std::ifstream stream(file, std::ios::binary);
    if (why.empty() && !stream) why = "cannot be opened";
    if (!why.empty()) throw kqu::CommandFailure{kqu::kExitInputFailure, file + ": " + why};
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

const kqu::CommandRegistration registration{{
    "json",
    "Read a JSON file leniently, as the library does, and print it compactly",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<JsonOptions>();
        app.add_option("FILE", options->file, "JSON file, - for standard input")->required();
        app.add_flag("--array", options->array, "Read an array instead of an object");
        app.add_flag("--ignore-null", options->ignoreNull, "Leave null members and elements out");
        return [options] {
            const std::string text = readInput(options->file);
            using kq::Array, kq::Dictionary;
            std::string json;
            if (options->array) {
                const auto array = options->ignoreNull ? Array::arrayWithJSONStringIgnoringNulls(text)
                                                       : Array::arrayWithJSONString(text);
                if (array) json = array->JSONString();
            } else {
                const auto dictionary = options->ignoreNull ? Dictionary::dictionaryWithJSONStringIgnoringNulls(text)
                                                            : Dictionary::dictionaryWithJSONString(text);
                if (dictionary) json = dictionary->JSONString();
            }
            if (json.empty()) {
                const char* what = options->array ? "array" : "object";
                throw kqu::CommandFailure{kqu::kExitInputFailure,
                                          options->file + ": " + (text.empty() ? std::string("empty")
                                                                               : std::string("no readable JSON ") + what)};
            }
            std::fwrite(json.data(), 1, json.size(), stdout);
            std::fputc('\n', stdout);
            return kqu::kExitSuccess;
        };
    },
}};

}  // namespace
