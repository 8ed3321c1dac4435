#pragma once
// A one-line progress bar on stderr, drawn only when stderr is a terminal and
// redrawn only when the shown percentage changes.
#include <cstdio>

namespace kqu {

class ProgressLine {
public:
    explicit ProgressLine(bool enabled) : enabled_(enabled) {}
    ~ProgressLine() { clear(); }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void show(double progress) {
        if (!enabled_) return;
        const int percent = static_cast<int>(progress * 100.0 + 0.5);
        if (percent == shown_) return;
        shown_ = percent;
        constexpr int kWidth = 30;
        const int filled = percent * kWidth / 100;
        std::fprintf(stderr, "\r[%.*s%*s] %3d%%", filled, "##############################", kWidth - filled, "",
                     percent);
        std::fflush(stderr);
    }

    /// Removes the bar, so that a line of output can be printed.
    void clear() {
        if (shown_ < 0) return;
        std::fputs("\r\033[K", stderr);
        std::fflush(stderr);
        shown_ = -1;
    }

private:
    bool enabled_;
    int shown_ = -1;
};

}  // namespace kqu
