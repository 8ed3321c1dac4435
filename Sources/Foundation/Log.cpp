#include "KQFoundation/Foundation/Log.h"

#include "KQFoundation/Foundation/FormatArgument.h"

#include <syslog.h>

#include <cstdio>
#include <mutex>

namespace kq {

namespace {

std::mutex& sinkMutex() {
    static std::mutex m;
    return m;
}

LogSink& currentSink() {
    static LogSink sink;
    return sink;
}

void defaultSink(const std::string& line) {
    std::fprintf(stderr, "KQFoundation: %s\n", line.c_str());
    static std::once_flag opened;
    std::call_once(opened, [] { openlog("KQFoundation", LOG_PID, LOG_USER); });
    syslog(LOG_NOTICE, "%s", line.c_str());
}

}  // namespace

std::string formatLogLine(std::string_view format, const std::vector<std::string>& described,
                          const std::vector<LogArgument>& raw) {
    std::vector<FormatArgument> arguments;
    arguments.reserve(raw.size());
    for (std::size_t i = 0; i < raw.size(); ++i) {
        switch (raw[i].kind) {
            case LogArgument::Kind::Signed: arguments.emplace_back(raw[i].s); break;
            case LogArgument::Kind::Unsigned: arguments.emplace_back(raw[i].u); break;
            case LogArgument::Kind::Real: arguments.emplace_back(raw[i].d); break;
            case LogArgument::Kind::Text: arguments.push_back(FormatArgument::object(described[i])); break;
        }
    }
    return formatWithArguments(format, arguments);
}

void emitLogLine(const std::string& line) {
    LogSink sink;
    {
        std::lock_guard<std::mutex> lock(sinkMutex());
        sink = currentSink();
    }
    if (sink) {
        sink(line);
    } else {
        defaultSink(line);
    }
}

LogSink setLogSink(LogSink sink) {
    std::lock_guard<std::mutex> lock(sinkMutex());
    LogSink previous = std::move(currentSink());
    currentSink() = std::move(sink);
    return previous;
}

struct LogCapture::State {
    mutable std::mutex mutex;
    std::vector<std::string> lines;
};

LogCapture::LogCapture() : state_(new State) {
    State* state = state_;
    previous_ = setLogSink([state](const std::string& line) {
        std::lock_guard<std::mutex> lock(state->mutex);
        state->lines.push_back(line);
    });
}

LogCapture::~LogCapture() {
    setLogSink(std::move(previous_));
    delete state_;
}

std::vector<std::string> LogCapture::lines() const {
    std::lock_guard<std::mutex> lock(state_->mutex);
    return state_->lines;
}

}  // namespace kq
