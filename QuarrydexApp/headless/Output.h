/// Standard output for millions of lines: a buffer of its own, few writes.
///
/// Threads: one. Failure: a reader that has gone away is no error, but ends the output (isOpen()
/// turns false); what else goes wrong is told by finish(). Nothing is written after either.
/// REQUIRES: SIGPIPE is ignored.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quarrydex {

class Output {
  public:
    /// The descriptor is not owned.
    explicit Output(int fd) : fd_(fd) {}

    /// Flushes.
    ~Output() { flush(); }

    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void append(std::string_view text) {
        buffer_.append(text);
        if (buffer_.size() >= flushBytes)
            flush();
    }

    void flush();

    /// Flushes. False when not all could be written, and then standard error tells why.
    [[nodiscard]] bool finish();

    [[nodiscard]] bool isOpen() const { return isOpen_; }

  private:
    static constexpr std::size_t flushBytes = 65'536;

    int fd_;
    std::string buffer_;
    bool isOpen_ = true;
    int error_ = 0; ///< the errno of a failed write
};

} // namespace quarrydex
