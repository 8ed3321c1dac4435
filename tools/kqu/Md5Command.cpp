// kqu md5 PATH [--chunk-size N]: the MD5 digest of a file, or of the regular
// files below a folder, as "DIGEST  PATH".
#include <sys/stat.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "Command.h"
#include "KQFoundation/NSFileManager+MD5HashCalculation.h"

namespace {

struct Md5Options {
    std::string path;
    std::optional<std::size_t> chunkSize;
};

std::string whyNoDigest(const std::string& path) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) return "no such file or folder";
    if (S_ISDIR(info.st_mode)) return "no regular file below it, or one of them cannot be read";
    return "cannot be read";
}

int runMd5(const Md5Options& options) {
    const auto& fileManager = kq::FileManager::defaultManager();
    const kq::URL url = kq::URL::fileURLWithPath(options.path);
    const auto digest = options.chunkSize ? fileManager.md5HashStringForItemAtURL(url, *options.chunkSize)
                                          : fileManager.md5HashStringForItemAtURL(url);
    if (!digest) throw kqu::CommandFailure{kqu::kExitInputFailure, options.path + ": " + whyNoDigest(options.path)};
    std::printf("%s  %s\n", digest->c_str(), options.path.c_str());
    return kqu::kExitSuccess;
}

const kqu::CommandRegistration registration{{
    "md5",
    "Print the MD5 digest of a file, or of the regular files below a folder (DIGEST  PATH)",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<Md5Options>();
        app.add_option("PATH", options->path, "File or folder")->required();
        app.add_option("--chunk-size", options->chunkSize, "Read in pieces of N bytes (e.g. 1048576)")
            ->check(CLI::NonNegativeNumber);
        app.footer("Without --chunk-size the library's default chunk size, 0, is used, and a chunk size of 0\n"
                   "reads nothing: every readable file gives d41d8cd98f00b204e9800998ecf8427e, the digest of\n"
                   "no bytes. Pass --chunk-size to hash the contents. A folder's digest covers its regular\n"
                   "files concatenated in walk order (names in byte order, links not followed).");
        return [options] { return runMd5(*options); };
    },
}};

}  // namespace
