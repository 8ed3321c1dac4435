// The network hardware address of the first Ethernet interface.
#include <cstdio>

#include "KQFoundation/KQUSystemInformation.h"
#include "System/SystemFacts.h"
#include "SystemInformationState.h"

namespace state = kq::systeminformation;

std::optional<kq::Data> KQUSystemInformation::macAddress() {
    state::State& s = state::state();
    {
        std::lock_guard lock(s.mutex);
        if (s.macAddress) return s.macAddress;
    }
    const auto facts = kq::SystemFacts::current();
    // These diagnostics go to standard output, not the log.
    if (const int status = facts->registryStatus(); status != 0) {
        std::printf("IOMasterPort returned %d\n", status);
        return std::nullopt;
    }
    auto interface = facts->networkInterface("en0");
    if (!interface) {
        std::puts("IOBSDNameMatching(en0) returned empty dictionary");
        interface = facts->networkInterface("en1");
        if (!interface) {
            std::puts("IOBSDNameMatching(en1) returned empty dictionary");
            return std::nullopt;
        }
    }
    if (interface->status != 0) {
        std::printf("IOServiceGetMatchingServices returned %d\n", interface->status);
        return std::nullopt;
    }
    // When several services match, the last one read wins.
    std::optional<kq::Data> address;
    for (const kq::NetworkServiceFact& service : interface->services) {
        if (service.parentStatus != 0) {
            std::printf("IORegistryEntryGetParentEntry returned %d\n", service.parentStatus);
            continue;
        }
        address = service.hardwareAddress;
    }
    std::lock_guard lock(s.mutex);
    s.macAddress = address;
    return address;
}

std::optional<std::string> KQUSystemInformation::macAddressString() {
    state::State& s = state::state();
    {
        std::lock_guard lock(s.mutex);
        if (s.macAddressString) return s.macAddressString;
    }
    const auto address = macAddress();
    std::lock_guard lock(s.mutex);
    if (address && address->size() == 6) {
        const kq::Data& b = *address;
        char text[18];
        std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", b[0], b[1], b[2], b[3], b[4], b[5]);
        s.macAddressString = text;
    }
    return s.macAddressString;
}
