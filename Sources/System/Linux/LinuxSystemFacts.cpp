#include "LinuxSystemFacts.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

#include "LinuxFiles.h"

namespace kq {

std::shared_ptr<const SystemFacts> SystemFacts::makeHostFacts() { return std::make_shared<LinuxSystemFacts>(); }

LinuxSystemFacts::LinuxSystemFacts() : LinuxSystemFacts(Options{}) {}

LinuxSystemFacts::LinuxSystemFacts(Options options) : options_(std::move(options)) {
    if (options_.root.empty()) options_.root = "/";
    while (options_.root.size() > 1 && options_.root.back() == '/') options_.root.pop_back();
}

std::string LinuxSystemFacts::path(std::string_view absolute) const {
    if (options_.root == "/") return std::string(absolute);
    return options_.root + std::string(absolute);
}

std::string LinuxSystemFacts::home() const {
    if (!options_.home.empty()) return options_.home;
    if (const char* home = std::getenv("HOME"); home && *home) return home;
    if (const passwd* entry = ::getpwuid(::getuid()); entry && entry->pw_dir) return entry->pw_dir;
    return "/";
}

double LinuxSystemFacts::appKitVersionNumber() const { return kNewestAppKitVersionNumber; }

}  // namespace kq
