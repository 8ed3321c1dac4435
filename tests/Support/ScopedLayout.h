#pragma once
// Makes a file-system layout current for one scope and puts the previous one back.
#include <memory>
#include <string>

#include "KQFoundation/System/FileSystemLayout.h"

namespace kqtest {

class ScopedLayout {
public:
    ScopedLayout(const std::string& root, const std::string& home) : previous_(kq::FileSystemLayout::current()) {
        kq::FileSystemLayout::setCurrent(std::make_shared<kq::FileSystemLayout>(root, home));
    }
    ~ScopedLayout() { kq::FileSystemLayout::setCurrent(previous_); }
    ScopedLayout(const ScopedLayout&) = delete;
    ScopedLayout& operator=(const ScopedLayout&) = delete;

private:
    std::shared_ptr<const kq::FileSystemLayout> previous_;
};

}  // namespace kqtest
