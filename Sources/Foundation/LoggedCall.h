#pragma once
// Runs a caller's block where an exception must go no further (a worker
// thread, a C library's callback frame, a child's supervising thread): what
// it throws becomes one log line "<subject> threw an exception[: <what>]".
// The subject is built only when something was thrown, so hot paths pay
// nothing for it.
#include <exception>
#include <string>

#include "KQFoundation/Foundation/Log.h"

namespace kq::detail {

template <class Subject, class Block>
void callLoggingExceptions(Subject&& subject, Block&& block) {
    try {
        block();
    } catch (const std::exception& e) {
        kq::log("%s threw an exception: %s", std::string(subject()), e.what());
    } catch (...) {
        kq::log("%s threw an exception", std::string(subject()));
    }
}

}  // namespace kq::detail
