#include "QuarrydexCore/base/FileOps.h"

#include <atomic>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace quarrydex {

namespace {

std::atomic<FileOps*> installed = nullptr;

} // namespace

int FileOps::open(const char* path, int flags, mode_t mode) {
    return ::open(path, flags, mode);
}

ssize_t FileOps::pwrite(int fd, const void* bytes, std::size_t count, off_t offset) {
    return ::pwrite(fd, bytes, count, offset);
}

int FileOps::ftruncate(int fd, off_t size) {
    return ::ftruncate(fd, size);
}

int FileOps::fsync(int fd) {
    return ::fsync(fd);
}

int FileOps::close(int fd) {
    return ::close(fd);
}

int FileOps::rename(const char* from, const char* to) {
    return ::rename(from, to);
}

int FileOps::unlink(const char* path) {
    return ::unlink(path);
}

FileOps& fileOps() {
    static FileOps system;
    FileOps* ops = installed.load(std::memory_order_acquire);
    return ops != nullptr ? *ops : system;
}

void setFileOps(FileOps* ops) {
    installed.store(ops, std::memory_order_release);
}

} // namespace quarrydex
