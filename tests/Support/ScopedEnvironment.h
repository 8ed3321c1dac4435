#pragma once
// Sets environment variables for one test and puts the old values back.
#include <cstdlib>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kqtest {

class ScopedEnvironment {
public:
    /// Unsets every variable in `cleared`, then sets `values`.
    ScopedEnvironment(std::initializer_list<std::pair<const char*, const char*>> values,
                      std::initializer_list<const char*> cleared = {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) {
        for (const char* name : cleared) save(name);
        for (auto [name, value] : values) save(name);
        for (const char* name : cleared) ::unsetenv(name);
        for (auto [name, value] : values) ::setenv(name, value, 1);
    }
    ~ScopedEnvironment() {
        for (auto it = saved_.rbegin(); it != saved_.rend(); ++it) {
            if (it->second) ::setenv(it->first.c_str(), it->second->c_str(), 1);
            else ::unsetenv(it->first.c_str());
        }
    }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
    void save(const char* name) {
        const char* old = std::getenv(name);
        saved_.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
    }

    std::vector<std::pair<std::string, std::optional<std::string>>> saved_;
};

}  // namespace kqtest
