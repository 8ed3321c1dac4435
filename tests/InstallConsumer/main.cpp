#include <cstdio>

#include "KQFoundation/Foundation/PropertyList.h"

int main() {
    const kq::Value value = kq::Dictionary{{"CFBundleIdentifier", "com.example.consumer"}};
    auto back = kq::PropertyList::read(kq::PropertyList::write(value));
    if (!back || !(*back == value)) return 1;
    std::puts("find_package(KQFoundation) works");
    return 0;
}
