#include "QuarrydexCore/platform/linux/EventReader.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace quarrydex {

EventReader::EventReader(int queue, std::size_t limit, std::function<void()> arrived)
    : queue_(queue), limit_(limit), arrived_(std::move(arrived)), wake_(::eventfd(0, EFD_CLOEXEC)),
      thread_([this] { run(); }) {}

EventReader::~EventReader() {
    const std::uint64_t one = 1;
    while (::write(wake_.get(), &one, sizeof one) < 0 && errno == EINTR) {
    }
    thread_.join();
}

EventReader::Batch EventReader::take() {
    MutexLock held(lock_);
    return std::exchange(batch_, {});
}

void EventReader::sync() {
    if (drain())
        arrived_();
}

void EventReader::run() {
    for (;;) {
        std::array<pollfd, 2> fds = {pollfd{queue_, POLLIN, 0}, pollfd{wake_.get(), POLLIN, 0}};
        if (::poll(fds.data(), fds.size(), -1) < 0)
            continue; // a signal
        if (fds[1].revents != 0)
            return;
        if (drain())
            arrived_();
    }
}

/// Returns true when there is something to take that was not there before.
bool EventReader::drain() {
    alignas(8) std::array<char, 65'536> buffer;
    MutexLock held(lock_);
    bool hasRead = false;
    for (;;) {
        const ssize_t n = ::read(queue_, buffer.data(), buffer.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return hasRead;
        hasRead = true;
        if (batch_.bytes.size() + static_cast<std::size_t>(n) > limit_)
            batch_ = {.bytes = {}, .wasDropped = true};
        if (!batch_.wasDropped)
            batch_.bytes.append(buffer.data(), static_cast<std::size_t>(n));
    }
}

} // namespace quarrydex
