#include "tests/support/TempTree.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>

namespace quarrydex {

namespace {

void check(int result, std::string_view what) {
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), std::string(what));
}

Fd openFolder(int at, const std::string& name) {
    Fd fd(::openat(at, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW));
    check(fd.get(), name);
    return fd;
}

} // namespace

TempTree::TempTree(const char* parent) {
    const std::filesystem::path base =
        parent != nullptr ? parent : std::filesystem::temp_directory_path();
    path_ = base / "quarrydex-test-XXXXXX";
    if (::mkdtemp(path_.data()) == nullptr)
        check(-1, path_);
    top_ = openFolder(AT_FDCWD, path_);
}

TempTree::~TempTree() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
    if (error)
        std::fprintf(stderr, "%s stays: %s\n", path_.c_str(), error.message().c_str());
}

std::string TempTree::path(std::string_view rel) const {
    return path_ + "/" + std::string(rel);
}

TempTree::Place TempTree::place(std::string_view rel) const {
    Place at{Fd(::fcntl(top_.get(), F_DUPFD_CLOEXEC, 0)), {}};
    for (std::size_t slash = rel.find('/'); slash != std::string_view::npos;
         slash = rel.find('/')) {
        const std::string name(rel.substr(0, slash));
        if (::mkdirat(at.folder.get(), name.c_str(), 0755) < 0 && errno != EEXIST)
            check(-1, name);
        at.folder = openFolder(at.folder.get(), name);
        rel.remove_prefix(slash + 1);
    }
    at.name = rel;
    return at;
}

void TempTree::folder(std::string_view rel) {
    const Place at = place(rel);
    check(::mkdirat(at.folder.get(), at.name.c_str(), 0755), rel);
}

void TempTree::file(std::string_view rel, std::size_t size) {
    const Place at = place(rel);
    const Fd fd(::openat(at.folder.get(), at.name.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644));
    check(fd.get(), rel);
    check(::ftruncate(fd.get(), static_cast<off_t>(size)), rel);
}

void TempTree::file(std::string_view rel, std::string_view bytes) {
    const Place at = place(rel);
    const Fd fd(::openat(at.folder.get(), at.name.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644));
    check(fd.get(), rel);
    while (!bytes.empty()) {
        const ssize_t n = ::write(fd.get(), bytes.data(), bytes.size());
        check(n < 0 ? -1 : 0, rel);
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
}

void TempTree::link(std::string_view rel, std::string_view target) {
    const Place at = place(rel);
    check(::symlinkat(std::string(target).c_str(), at.folder.get(), at.name.c_str()), rel);
}

void TempTree::hardLink(std::string_view rel, std::string_view existing) {
    const Place from = place(existing);
    const Place to = place(rel);
    check(::linkat(from.folder.get(), from.name.c_str(), to.folder.get(), to.name.c_str(), 0), rel);
}

void TempTree::fifo(std::string_view rel) {
    const Place at = place(rel);
    check(::mkfifoat(at.folder.get(), at.name.c_str(), 0644), rel);
}

void TempTree::socket(std::string_view rel) {
    const Place at = place(rel);
    check(::mknodat(at.folder.get(), at.name.c_str(), S_IFSOCK | 0644, 0), rel);
}

void TempTree::setTimes(std::string_view rel, std::int64_t mtime) {
    const Place at = place(rel);
    const timespec times[2] = {{0, UTIME_OMIT}, {mtime, 0}};
    check(::utimensat(at.folder.get(), at.name.c_str(), times, AT_SYMLINK_NOFOLLOW), rel);
}

void TempTree::chmod(std::string_view rel, mode_t mode) {
    const Place at = place(rel);
    check(::fchmodat(at.folder.get(), at.name.c_str(), mode, 0), rel);
}

void TempTree::rename(std::string_view from, std::string_view to) {
    const Place a = place(from);
    const Place b = place(to);
    check(::renameat(a.folder.get(), a.name.c_str(), b.folder.get(), b.name.c_str()), from);
}

void TempTree::remove(std::string_view rel) {
    std::filesystem::remove_all(path(rel));
}

} // namespace quarrydex
