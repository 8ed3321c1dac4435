// kqu form: builds an HTTP form body from fields and files, in command-line
// order. --dump writes the exact body to stdout and the request's header
// lines ("Content-Length: N", and "Content-Type: ..." for a multipart body)
// to stderr, so the body can be piped untouched.
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "ByteInput.h"
#include "Command.h"
#include "KQFoundation/NSMutableURLRequest+KQUHTTPForm.h"

namespace {

struct FormOptions {
    CLI::App* app = nullptr;
    CLI::Option* field = nullptr;
    CLI::Option* file = nullptr;
    std::vector<std::string> fields;
    std::vector<std::string> files;
    std::string encoding = "base64";
    std::string url;
    bool dump = false;
};

std::pair<std::string, std::string> splitPair(const std::string& argument, const char* option) {
    const auto equals = argument.find('=');
    if (equals == std::string::npos)
        throw kqu::CommandFailure{kqu::kExitUsage, std::string(option) + " " + argument + ": expected KEY=VALUE"};
    return {argument.substr(0, equals), argument.substr(equals + 1)};
}

void addFile(KQUHTTPForm& form, const std::string& key, const std::string& path) {
    namespace fs = std::filesystem;
    std::error_code error;
    if (fs::is_directory(path, error))
        throw kqu::CommandFailure{kqu::kExitInputFailure, path + ": a folder, not a file"};
    // Opened here only to fail early and clearly; the form reads the file
    // itself when the body is built.
    if (!std::ifstream(path, std::ios::binary))
        throw kqu::CommandFailure{kqu::kExitInputFailure, path + ": cannot be read"};
    const std::string name = fs::path(path).filename().string();
    form.addFileWithName(name, kq::URL::fileURLWithPath(fs::absolute(path, error).string()), key);
}

KQUHTTPForm buildForm(const FormOptions& options) {
    KQUHTTPForm form;
    form.setEncoding(options.encoding == "none"  ? KQUHTTPFormEncodingNone
                     : options.encoding == "url" ? KQUHTTPFormEncodingURL
                                                 : KQUHTTPFormEncodingBase64);
    // The options' own lists lose how --field and --file interleave; the
    // parse order keeps it.
    std::size_t nextField = 0, nextFile = 0;
    for (const CLI::Option* option : options.app->parse_order()) {
        if (option == options.field) {
            const auto [key, value] = splitPair(options.fields.at(nextField++), "--field");
            form.setObject(kq::Value(value), key);
        } else if (option == options.file) {
            const auto [key, path] = splitPair(options.files.at(nextFile++), "--file");
            addFile(form, key, path);
        }
    }
    return form;
}

const kqu::CommandRegistration registration{{
    "form",
    "Build an HTTP form body (multipart when it has a file) and dump it",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<FormOptions>();
        options->app = &app;
        options->field = app.add_option("--field", options->fields, "A text field (repeatable)")
                             ->allow_extra_args(false)
                             ->type_name("KEY=VALUE");
        options->file = app.add_option("--file", options->files,
                                       "A file field, sent under the file's name (repeatable)")
                            ->allow_extra_args(false)
                            ->type_name("KEY=PATH");
        app.add_option("--encoding", options->encoding,
                       "How text values of a body without files are sent (default base64)")
            ->check(CLI::IsMember({"none", "base64", "url"}));
        auto* dump = app.add_flag("--dump", options->dump,
                                  "Write the body to stdout and its header lines to stderr");
        auto* url = app.add_option("--url", options->url,
                                   "POST the form to URL (not available yet: exits 2)");
        dump->excludes(url);
        url->excludes(dump);
        return [options] {
            if (!options->dump && options->url.empty())
                throw kqu::CommandFailure{kqu::kExitUsage, "form: give --dump (or --url)"};
            KQUHTTPForm form = buildForm(*options);
            if (!options->dump)
                throw kqu::CommandFailure{kqu::kExitInputFailure, "form: sending is not available yet"};
            kq::MutableURLRequest request;
            request.setHTTPMethod("POST");
            request.attachHTTPForm(form);
            for (const auto& [name, value] : request.allHTTPHeaderFields())
                std::fprintf(stderr, "%s: %s\n", name.c_str(), value.c_str());
            kqu::writeOutput(request.HTTPBody());
            return kqu::kExitSuccess;
        };
    },
}};

}  // namespace
