/// A file descriptor that closes itself, and whole positioned reads and writes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include <unistd.h>

namespace quarrydex {

/// Move-only; -1 is "none".
class Fd {
  public:
    Fd() = default;

    explicit Fd(int fd) : fd_(fd) {}

    Fd(Fd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

    Fd& operator=(Fd&& other) noexcept {
        if (this != &other) {
            reset();
            fd_ = std::exchange(other.fd_, -1);
        }
        return *this;
    }

    ~Fd() { reset(); }

    [[nodiscard]] int get() const { return fd_; }

    /// Gives the descriptor away.
    [[nodiscard]] int release() { return std::exchange(fd_, -1); }

    explicit operator bool() const { return fd_ >= 0; }

    void reset() {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
    }

  private:
    int fd_ = -1;
};

/// Reads all `bytes` at the offset, going on after a short read or a signal. Returns false on an
/// error (errno kept) or when the file ends before (errno 0).
[[nodiscard]] bool readAt(int fd, void* to, std::size_t bytes, std::uint64_t offset);

/// Writes all `bytes` at the offset by fileOps(), in pieces of at most 64 MiB. Returns false on an
/// error, errno kept.
[[nodiscard]] bool writeAt(int fd, const void* from, std::size_t bytes, std::uint64_t offset);

} // namespace quarrydex
