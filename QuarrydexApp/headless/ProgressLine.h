/// One line on a terminal that tells how far something is, written over again and again. Nothing
/// where standard error is not a terminal, nor for what takes less than a moment.
///
/// Threads: one at a time.
#pragma once

#include <chrono>
#include <string>

namespace quarrydex {

class ProgressLine {
  public:
    ProgressLine();

    /// Clears the line.
    ~ProgressLine();

    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    /// Shows the text, at most some times a second, and not before patience is over.
    void show(const std::string& text);

    /// Clears the line, so that something else can be written in its place. Another wait begins.
    void clear();

  private:
    /// A wait that is shorter needs no words.
    static constexpr std::chrono::milliseconds patience{200};

    const bool isShown_;
    bool isDirty_ = false;
    std::chrono::steady_clock::time_point next_ = std::chrono::steady_clock::now() + patience;
};

} // namespace quarrydex
