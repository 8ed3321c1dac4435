#include "KQFoundation/Foundation/Log.h"

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

// The flags, width and precision of a conversion, without length modifiers
// and the conversion character ("%-8.2lf" -> "%-8.2").
std::string stem(const std::string& directive) {
    std::string out;
    for (char c : directive.substr(0, directive.size() - 1))
        if (std::string_view("hljztLq").find(c) == std::string_view::npos) out += c;
    return out;
}

// Formats one printf conversion with its numeric argument.
std::string convert(const std::string& directive, const LogArgument& arg, const std::string& described) {
    const char conversion = directive.back();
    char buffer[128];
    switch (conversion) {
        case 'd':
        case 'i':
        case 'c': {
            std::string f = stem(directive) + "lld";
            if (conversion == 'c') return described;
            long long value = arg.kind == LogArgument::Kind::Unsigned ? static_cast<long long>(arg.u)
                              : arg.kind == LogArgument::Kind::Real   ? static_cast<long long>(arg.d)
                                                                      : arg.s;
            if (arg.kind == LogArgument::Kind::Text) return described;
            std::snprintf(buffer, sizeof buffer, f.c_str(), value);
            return buffer;
        }
        case 'u':
        case 'x':
        case 'X':
        case 'o': {
            if (arg.kind == LogArgument::Kind::Text) return described;
            std::string f = stem(directive) + "ll" + conversion;
            unsigned long long value = arg.kind == LogArgument::Kind::Unsigned ? arg.u
                                       : arg.kind == LogArgument::Kind::Real
                                           ? static_cast<unsigned long long>(arg.d)
                                           : static_cast<unsigned long long>(arg.s);
            std::snprintf(buffer, sizeof buffer, f.c_str(), value);
            return buffer;
        }
        case 'f':
        case 'F':
        case 'e':
        case 'E':
        case 'g':
        case 'G': {
            if (arg.kind == LogArgument::Kind::Text) return described;
            std::string f = stem(directive) + conversion;
            double value = arg.kind == LogArgument::Kind::Real       ? arg.d
                           : arg.kind == LogArgument::Kind::Unsigned ? static_cast<double>(arg.u)
                                                                     : static_cast<double>(arg.s);
            std::snprintf(buffer, sizeof buffer, f.c_str(), value);
            return buffer;
        }
        default: return described;  // %@, %s and anything else print the description
    }
}

}  // namespace

std::string formatLogLine(std::string_view format, const std::vector<std::string>& described,
                          const std::vector<LogArgument>& raw) {
    std::string out;
    out.reserve(format.size() + 32);
    std::size_t next = 0;
    for (std::size_t i = 0; i < format.size(); ++i) {
        if (format[i] != '%' || i + 1 == format.size()) {
            out += format[i];
            continue;
        }
        if (format[i + 1] == '%') {
            out += '%';
            ++i;
            continue;
        }
        // A conversion: flags, width, precision, length, then the conversion character.
        std::size_t j = i + 1;
        while (j < format.size() && std::string_view("-+ #0123456789.*hljztLq").find(format[j]) != std::string_view::npos)
            ++j;
        if (j >= format.size()) {
            out.append(format.substr(i));
            break;
        }
        const std::string directive(format.substr(i, j - i + 1));
        if (next < described.size()) {
            out += convert(directive, raw[next], described[next]);
            ++next;
        } else {
            out += "(null)";  // too few arguments
        }
        i = j;
    }
    return out;
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
