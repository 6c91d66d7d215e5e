#include "QuarrydexApp/headless/ProgressLine.h"

#include "QuarrydexApp/headless/Terminal.h"

#include <cstdio>

#include <unistd.h>

namespace quarrydex {

namespace {

constexpr std::chrono::milliseconds period{100};

/// Back to the first column, and nothing to the right of it. Understood by every terminal in use.
constexpr const char* const startOver = "\r\x1b[K";

} // namespace

ProgressLine::ProgressLine() : isShown_(isTerminal(STDERR_FILENO)) {}

ProgressLine::~ProgressLine() {
    clear();
}

void ProgressLine::show(const std::string& text) {
    const auto now = std::chrono::steady_clock::now();
    if (!isShown_ || now < next_)
        return;
    next_ = now + period;
    isDirty_ = true;
    std::fputs((startOver + escaped(text)).c_str(), stderr);
    std::fflush(stderr);
}

void ProgressLine::clear() {
    next_ = std::chrono::steady_clock::now() + patience;
    if (!isDirty_)
        return;
    isDirty_ = false;
    std::fputs(startOver, stderr);
    std::fflush(stderr);
}

} // namespace quarrydex
