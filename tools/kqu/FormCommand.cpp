// kqu form: builds an HTTP form body from fields and files, in command-line
// order. --dump writes the exact body to stdout and the request's header
// lines ("Content-Length: N", and "Content-Type: ..." for a multipart body)
// to stderr, so the body can be piped untouched. --url POSTs it and prints
// the response's status ("HTTP 200"); any status counts as an answer.
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "ByteInput.h"
#include "Command.h"
#include "KQFoundation/NSMutableURLRequest+KQUHTTPForm.h"
#include "KQFoundation/System/FileManager.h"
#include "KQFoundation/System/RunLoop.h"
#include "KQFoundation/System/URLConnection.h"

namespace {

struct FormOptions {
    CLI::App* app = nullptr;
    CLI::Option* field = nullptr;
    CLI::Option* file = nullptr;
    std::vector<std::string> fields;
    std::vector<std::string> files;
    std::string encoding = "base64";
    std::string url;
    double timeout = kq::URLRequest::kDefaultTimeoutInterval;
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
    const fs::file_status status = fs::status(path, error);
    if (fs::is_directory(status))
        throw kqu::CommandFailure{kqu::kExitInputFailure, path + ": a folder, not a file"};
    // A device such as /dev/zero never ends; pipes (process substitution) do.
    if (fs::is_character_file(status) || fs::is_block_file(status) || fs::is_socket(status))
        throw kqu::CommandFailure{kqu::kExitInputFailure, path + ": a device, not a file"};
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

// The form reads its files when the body is built and would send a vanished
// one as an empty part; reading them here first makes that a clean failure.
void readFilesNow(KQUHTTPForm& form) {
    const kq::Dictionary fields = form.values();
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const std::string& key = fields.keys()[i];
        const kq::Dictionary* entry = fields.values()[i].asDictionary();
        const kq::Value* data = entry ? entry->objectForKey("data") : nullptr;
        const kq::URL* url = data ? data->asURL() : nullptr;
        if (!url) continue;
        auto contents = kq::FileManager::defaultManager().contentsAtPath(url->path());
        if (!contents)
            throw kqu::CommandFailure{kqu::kExitInputFailure, url->path() + ": vanished before sending"};
        const kq::Value* name = entry->objectForKey("name");
        form.addFileWithName(name ? kq::describe(*name) : "", std::move(*contents), key);
    }
}

struct StatusListener final : kq::URLConnectionDelegate {
    std::optional<long> status;
    std::optional<kq::URLError> error;
    bool ended = false;

    // The status is the answer; a body that never ends must not keep us.
    void connectionDidReceiveResponse(kq::URLConnection& connection, const kq::URLResponse& response) override {
        status = response.statusCode;
        ended = true;
        connection.cancel();
    }
    void connectionDidFailWithError(kq::URLConnection&, const kq::URLError& failure) override {
        error = failure;
        ended = true;
    }
};

int send(KQUHTTPForm& form, const FormOptions& options) {
    readFilesNow(form);
    const auto url = kq::URL::URLWithString(options.url);
    if (!url) throw kqu::CommandFailure{kqu::kExitInputFailure, "form: " + options.url + ": not a URL"};
    kq::MutableURLRequest request(*url, options.timeout);
    request.setHTTPMethod("POST");
    request.attachHTTPForm(form);

    StatusListener listener;
    auto connection = kq::URLConnection::start(request, &listener);
    auto loop = kq::RunLoop::currentRunLoop();
    // The connection's own time-outs bound the wait.
    while (!listener.ended && loop->runOnce(kq::Date::max())) {
    }
    if (!listener.status) {
        const std::string reason = listener.error ? listener.error->description : "no response";
        throw kqu::CommandFailure{kqu::kExitInputFailure, "form: " + options.url + ": " + reason};
    }
    std::printf("HTTP %ld\n", *listener.status);
    return kqu::kExitSuccess;
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
                                   "POST the form to URL and print the response status (exit 2 without a response)");
        auto* timeout = app.add_option("--timeout", options->timeout,
                                       "Seconds to wait for the connection or for more data (default 60)")
                            ->check(CLI::PositiveNumber);
        timeout->needs(url);
        dump->excludes(url);
        url->excludes(dump);
        return [options] {
            if (!options->dump && options->url.empty())
                throw kqu::CommandFailure{kqu::kExitUsage, "form: give --dump (or --url)"};
            KQUHTTPForm form = buildForm(*options);
            if (!options->dump) return send(form, *options);
            kq::MutableURLRequest request;
            request.setHTTPMethod("POST");
            request.attachHTTPForm(form);
            for (const auto& [name, value] : request.allHTTPHeaderFields())
                std::fprintf(stderr, "%s: %s\n", name.c_str(), value.c_str());
            kqu::writeOutput(request.HTTPBody());
            return static_cast<int>(kqu::kExitSuccess);
        };
    },
}};

}  // namespace
