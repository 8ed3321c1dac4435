#pragma once
// A value built once per file-system layout (its root and home) and kept:
// the running machine's is built once, and a host that inspects another Mac
// tree gets that tree's. Thread-safe; a builder that throws leaves nothing
// cached, so the next call tries again.
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "KQFoundation/System/FileSystemLayout.h"

namespace kq {

template <class T>
class PerLayoutCache {
public:
    /// The value for the current layout; `build(const FileSystemLayout&)`
    /// makes it the first time.
    template <class Build>
    T get(Build&& build) {
        const auto layout = FileSystemLayout::current();
        std::pair<std::string, std::string> key{layout->root(), layout->home()};
        std::lock_guard lock(mutex_);
        auto position = values_.find(key);
        if (position == values_.end()) position = values_.emplace(std::move(key), build(*layout)).first;
        return position->second;
    }

private:
    std::mutex mutex_;
    std::map<std::pair<std::string, std::string>, T> values_;
};

}  // namespace kq
