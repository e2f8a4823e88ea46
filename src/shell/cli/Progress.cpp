#include "shell/cli/Progress.h"

#include <unistd.h>

#include <cstdio>

namespace zenvary::cli {

ProgressBar::ProgressBar() : m_enabled(::isatty(STDERR_FILENO) != 0) {}

ProgressBar::~ProgressBar() {
    if (m_drawn) std::fputs("\n", stderr);
}

void ProgressBar::PercentDone(int percent, bool& abort) {
    abort = false;
    constexpr int kWidth = 40;
    const int filled = percent * kWidth / 100;
    char bar[kWidth + 1];
    for (int i = 0; i < kWidth; ++i) bar[i] = i < filled ? '#' : '.';
    bar[kWidth] = 0;
    std::fprintf(stderr, "\r[%s] %3d%%", bar, percent);
    std::fflush(stderr);
    m_drawn = true;
}

}  // namespace zenvary::cli
