#pragma once
// kq::log: one diagnostic line per call, to stderr and the system journal.
// The format is printf-like; "%@" prints any argument's description, the
// other conversions (%d %u %ld %lu %lld %f %s %x %%) work as in printf.
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Describe.h"

namespace kq {

// What format() and log() below call; use those instead.
KQ_EXPORT std::string formatLogLine(std::string_view format, const std::vector<std::string>& described,
                          const std::vector<LogArgument>& raw);
KQ_EXPORT void emitLogLine(const std::string& line);

/// Formats like the platform's string formatting with "%@" for objects.
template <class... Args>
std::string format(std::string_view format, const Args&... args) {
    std::vector<LogArgument> raw{LogArgument(args)...};
    std::vector<std::string> described{describe(args)...};
    return formatLogLine(format, described, raw);
}

template <class... Args>
void log(std::string_view fmt, const Args&... args) {
    emitLogLine(format(fmt, args...));
}

/// Where log lines go. The default sink writes to stderr and syslog.
using LogSink = std::function<void(const std::string& line)>;
/// Replaces the sink; returns the previous one. An empty sink restores the default.
KQ_EXPORT LogSink setLogSink(LogSink sink);

/// Collects log lines for as long as it lives (tests use it).
class KQ_EXPORT LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;
    std::vector<std::string> lines() const;

private:
    struct State;
    State* state_;
    LogSink previous_;
};

}  // namespace kq
