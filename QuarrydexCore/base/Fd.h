/// A file descriptor that closes itself. Move-only; -1 is "none".
#pragma once

#include <utility>

#include <unistd.h>

namespace quarrydex {

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

    explicit operator bool() const { return fd_ >= 0; }

    void reset() {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
    }

  private:
    int fd_ = -1;
};

} // namespace quarrydex
