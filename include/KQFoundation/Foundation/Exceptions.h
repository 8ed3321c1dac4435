#pragma once
// The exceptions the library raises where the Objective-C design raises a
// platform exception. Each carries the platform's exception name.
#include <stdexcept>
#include <string>

#include "KQFoundation/Export.h"

namespace kq {

class KQ_EXPORT Exception : public std::runtime_error {
public:
    Exception(std::string name, const std::string& reason)
        : std::runtime_error(reason), name_(std::move(name)) {}
    const std::string& name() const noexcept { return name_; }
    std::string reason() const { return what(); }

private:
    std::string name_;
};

inline constexpr const char* kInvalidArgumentExceptionName = "NSInvalidArgumentException";
inline constexpr const char* kRangeExceptionName = "NSRangeException";
inline constexpr const char* kInternalInconsistencyExceptionName = "NSInternalInconsistencyException";

class KQ_EXPORT InvalidArgumentException : public Exception {
public:
    explicit InvalidArgumentException(const std::string& reason)
        : Exception(kInvalidArgumentExceptionName, reason) {}
};

class KQ_EXPORT RangeException : public Exception {
public:
    explicit RangeException(const std::string& reason) : Exception(kRangeExceptionName, reason) {}
};

class KQ_EXPORT InternalInconsistencyException : public Exception {
public:
    explicit InternalInconsistencyException(const std::string& reason)
        : Exception(kInternalInconsistencyExceptionName, reason) {}
};

}  // namespace kq
