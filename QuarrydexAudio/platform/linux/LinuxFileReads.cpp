/// lstat, open, pread, with the hints that Linux takes.
#include "QuarrydexAudio/platform/FileReads.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

namespace quarrydex {

namespace {

std::optional<FileState> stateOf(const struct stat& st) {
    if (!S_ISREG(st.st_mode))
        return std::nullopt;
    return FileState{.device = st.st_dev,
                     .inode = st.st_ino,
                     .size = static_cast<std::uint64_t>(st.st_size),
                     .mtimeNs = st.st_mtim.tv_sec * 1'000'000'000 + st.st_mtim.tv_nsec};
}

class LinuxFileReads final : public FileReads {
  public:
    [[nodiscard]] std::optional<FileState> look(const std::string& path) const override {
        struct stat st;
        return ::lstat(path.c_str(), &st) == 0 ? stateOf(st) : std::nullopt;
    }

    [[nodiscard]] Fd open(const std::string& path, ReadPlan plan) const override {
        constexpr int flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW;
        // The access time is the user's business; only the owner may leave it alone.
        Fd fd(::open(path.c_str(), flags | O_NOATIME));
        if (!fd && errno == EPERM)
            fd = Fd(::open(path.c_str(), flags));
        if (!fd)
            return fd;
        if (plan == ReadPlan::pieces) {
            ::posix_fadvise(fd.get(), 0, 0, POSIX_FADV_RANDOM);
        } else {
            // NOREUSE leaves cached what was cached and does not count this reading as use.
            ::posix_fadvise(fd.get(), 0, 0, POSIX_FADV_SEQUENTIAL);
            ::posix_fadvise(fd.get(), 0, 0, POSIX_FADV_NOREUSE);
        }
        return fd;
    }

    [[nodiscard]] std::optional<FileState> state(int fd) const override {
        struct stat st;
        return ::fstat(fd, &st) == 0 ? stateOf(st) : std::nullopt;
    }

    [[nodiscard]] ssize_t
    read(int fd, void* to, std::size_t bytes, std::uint64_t offset) const override {
        ssize_t n;
        do {
            n = ::pread(fd, to, bytes, static_cast<off_t>(offset));
        } while (n < 0 && errno == EINTR);
        return n;
    }
};

} // namespace

const FileReads& systemFileReads() {
    static const LinuxFileReads reads;
    return reads;
}

} // namespace quarrydex
