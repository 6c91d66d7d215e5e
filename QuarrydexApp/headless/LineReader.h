/// Lines of a descriptor, of bounded length, for a program with an event loop.
///
/// Threads: the main thread. The descriptor is not owned; it is open and its reads may wait. A
/// failed read counts as the end.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

class QEventLoop;

namespace quarrydex {

class LineReader {
  public:
    struct Line {
        std::string text;     ///< without its newline; empty when tooLong
        bool tooLong = false; ///< the line had more than maxBytes and was dropped
    };

    LineReader(int fd, std::size_t maxBytes) : fd_(fd), maxBytes_(maxBytes) {}

    /// The next line, or nothing at the end of input. Runs the event loop while there is nothing to
    /// read. A last line without newline is a line too.
    [[nodiscard]] std::optional<Line> next();

    /// No more lines: next() returns nothing, also one that is waiting.
    void end();

  private:
    /// Takes a whole line from the buffer; cuts down one that is too long.
    [[nodiscard]] std::optional<Line> takeLine();

    /// Runs the event loop until a read would not wait.
    void waitReadable();

    /// Waits until there is something to read, and reads it.
    void fill();

    int fd_;
    std::size_t maxBytes_;
    std::string buffer_;       ///< read, not yet returned
    std::size_t searched_ = 0; ///< so far into buffer_ there is no newline
    bool isSkipping_ = false;  ///< inside a line that is too long
    bool isAtEnd_ = false;
    bool isEnded_ = false;          ///< by end(): what is left is dropped
    QEventLoop* waiting_ = nullptr; ///< running, in waitReadable()
};

} // namespace quarrydex
