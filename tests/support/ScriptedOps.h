/// The system calls of a write, counted, with something else done in place of one of them, or
/// before or after it. Installed for as long as it lives.
/// Threads: as the writes it is used for.
#pragma once

#include "QuarrydexCore/base/FileOps.h"

#include <functional>
#include <optional>

namespace quarrydex::testing {

class ScriptedOps : public FileOps {
  public:
    ScriptedOps() { setFileOps(this); }

    ~ScriptedOps() override { setFileOps(nullptr); }

    ScriptedOps(const ScriptedOps&) = delete;
    ScriptedOps& operator=(const ScriptedOps&) = delete;

    /// Called with the number of each call; nothing: the call is made, else it returns that, with
    /// errno as it is.
    std::function<std::optional<int>(int call)> before;
    std::function<void(int call)> after;
    int calls = 0;

    int open(const char* path, int flags, mode_t mode) override {
        return step([&] { return FileOps::open(path, flags, mode); });
    }

    ssize_t pwrite(int fd, const void* bytes, std::size_t count, off_t offset) override {
        return step([&] { return static_cast<int>(FileOps::pwrite(fd, bytes, count, offset)); });
    }

    int ftruncate(int fd, off_t size) override {
        return step([&] { return FileOps::ftruncate(fd, size); });
    }

    int fsync(int fd) override {
        return step([&] { return FileOps::fsync(fd); });
    }

    /// A file is closed also where that fails.
    int close(int fd) override {
        return step([result = FileOps::close(fd)] { return result; });
    }

    int rename(const char* from, const char* to) override {
        return step([&] { return FileOps::rename(from, to); });
    }

  private:
    template <typename Call> int step(const Call& call) {
        const int number = ++calls;
        if (before)
            if (const auto result = before(number))
                return *result;
        const int result = call();
        if (after)
            after(number);
        return result;
    }
};

} // namespace quarrydex::testing
