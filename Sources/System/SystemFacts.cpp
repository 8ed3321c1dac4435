#include "System/SystemFacts.h"

#include <mutex>

namespace kq {

namespace {
std::mutex& factsMutex() {
    static std::mutex mutex;
    return mutex;
}
// Set once and swapped only by tests; never destroyed, so background work that
// outlives main() still finds it.
std::shared_ptr<const SystemFacts>& factsSlot() {
    static auto* slot = new std::shared_ptr<const SystemFacts>();
    return *slot;
}
}  // namespace

std::shared_ptr<const SystemFacts> SystemFacts::current() {
    std::lock_guard lock(factsMutex());
    auto& slot = factsSlot();
    if (!slot) slot = makeHostFacts();
    return slot;
}

void SystemFacts::setCurrent(std::shared_ptr<const SystemFacts> facts) {
    std::lock_guard lock(factsMutex());
    factsSlot() = std::move(facts);
}

}  // namespace kq
