#include "tests/support/FileStorm.h"

#include "QuarrydexCore/base/Fd.h"

#include <array>
#include <filesystem>
#include <iterator>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quarrydex {

namespace {

constexpr std::size_t deepest = 6; ///< folders below the root

bool isInside(const std::string& path, const std::string& folder) {
    return path == folder || path.starts_with(folder + "/");
}

std::string parentOf(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}

} // namespace

FileStorm::FileStorm(std::string root, std::string outside, Options options)
    : root_(std::move(root)), outside_(std::move(outside)), options_(options),
      random_(options.seed) {
    folders_.insert(root_);
}

void FileStorm::populate(std::size_t operations) {
    for (std::size_t i = 0; i < operations; ++i) {
        const std::string path = anyName();
        below(3) == 0 ? makeFolder(path) : write(path);
    }
    (void)takeTouched();
}

void FileStorm::step() {
    const std::string path = anyName();
    switch (below(20)) {
    case 0:
    case 1:
    case 2:
    case 3:
    case 4:
        return write(path);
    case 5:
    case 6:
        return cut(path);
    case 7:
    case 8:
        return makeFolder(path);
    case 9:
        return makeTree(path);
    case 10:
        return makeLink(path);
    case 11:
    case 12:
        return remove(path);
    case 13:
        return makeAgain(path);
    case 14:
        return rename(path, parentOf(path) + "/n" + std::to_string(below(8)));
    case 15:
        return rename(path, anyName());
    case 16:
        return exchange(path, anyName());
    case 17:
        return moveOut(path);
    case 18:
        return moveIn(path);
    default:
        return setTime(path);
    }
}

std::vector<std::string> FileStorm::takeFolders() {
    MutexLock held(lock_);
    const std::set<std::string> taken = std::exchange(touched_, {});
    return {taken.begin(), taken.end()};
}

// --- Choosing -----------------------------------------------------------------------------------

/// A folder inside the root, not too deep. Found by going down at random, so that folders high up
/// do not come too often.
const std::string& FileStorm::anyFolder() {
    auto at = folders_.find(root_);
    for (std::size_t depth = below(deepest); depth > 0; --depth) {
        const std::string near = *at + "/n" + std::to_string(below(8));
        const auto next = folders_.lower_bound(near);
        if (next == folders_.end() || parentOf(*next) != *at)
            break;
        at = next;
    }
    return *at;
}

/// Large subtrees go and move seldom: there would soon be none, and reading them again would mend
/// what a watcher had missed in them.
bool FileStorm::mayGo(const std::string& path) {
    std::size_t folders = 0;
    for (auto it = folders_.lower_bound(path + "/");
         it != folders_.end() && it->starts_with(path + "/"); ++it)
        ++folders;
    return folders < 6 || below(500) == 0;
}

std::string FileStorm::anyName() {
    return anyFolder() + "/n" + std::to_string(below(8));
}

// --- Operations ---------------------------------------------------------------------------------

void FileStorm::write(const std::string& path) {
    const int made = options_.writesInPlace ? 0 : O_EXCL;
    const Fd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | made, 0644));
    if (!file)
        return; // a folder or a link stands there
    const std::array<char, 512> bytes{};
    const ssize_t n =
        ::pwrite(file.get(), bytes.data(), below(bytes.size()), static_cast<off_t>(below(4096)));
    if (n >= 0)
        touchParent(path);
}

void FileStorm::cut(const std::string& path) {
    const Fd file(options_.writesInPlace ? ::open(path.c_str(), O_WRONLY | O_NOFOLLOW) : -1);
    if (file && ::ftruncate(file.get(), static_cast<off_t>(below(2048))) == 0)
        touchParent(path);
}

void FileStorm::makeFolder(const std::string& path) {
    if (::mkdir(path.c_str(), 0755) != 0)
        return;
    folders_.insert(path);
    touchTree(path);
}

void FileStorm::makeTree(const std::string& path) {
    makeFolder(path);
    if (!isFolder(path))
        return;
    makeFolder(path + "/n0");
    makeFolder(path + "/n0/n1");
    write(path + "/n0/n1/n2");
    write(path + "/n3");
}

void FileStorm::makeLink(const std::string& path) {
    if (::symlink("target", path.c_str()) == 0)
        touchParent(path);
}

void FileStorm::remove(const std::string& path) {
    if (!mayGo(path))
        return;
    std::error_code error;
    if (std::filesystem::remove_all(path, error) == 0 || error)
        return;
    touchParent(path);
    forget(path);
}

/// Another kind of object under the name, at once.
void FileStorm::makeAgain(const std::string& path) {
    const bool wasFolder = isFolder(path);
    remove(path);
    if (below(2) == 0 || !wasFolder)
        makeTree(path);
    else
        write(path);
}

void FileStorm::rename(const std::string& from, const std::string& to) {
    if (isInside(to, from) || !mayGo(from) || ::rename(from.c_str(), to.c_str()) != 0)
        return;
    touchParent(from);
    forget(to);
    moveKnown(from, to);
    touchTree(to);
}

void FileStorm::exchange(const std::string& a, const std::string& b) {
    if (isInside(a, b) || isInside(b, a) || !mayGo(a) || !mayGo(b) ||
        ::renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE) != 0)
        return;
    const std::string aside = outside_ + "/exchanged";
    moveKnown(a, aside);
    moveKnown(b, a);
    moveKnown(aside, b);
    touchTree(a);
    touchTree(b);
}

void FileStorm::moveOut(const std::string& path) {
    if (outsideNames_ >= 64 || !mayGo(path))
        return;
    const std::string to = outside_ + "/" + std::to_string(outsideNames_);
    if (::rename(path.c_str(), to.c_str()) != 0)
        return;
    ++outsideNames_;
    touchParent(path);
    moveKnown(path, to);
}

void FileStorm::moveIn(const std::string& path) {
    if (outsideNames_ == 0)
        return;
    const std::string from = outside_ + "/" + std::to_string(outsideNames_ - 1);
    // Outside, folders change too, unseen.
    const Fd unseen(::open((from + "/n7").c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW, 0644));
    if (::rename(from.c_str(), path.c_str()) != 0)
        return;
    --outsideNames_;
    forget(path);
    moveKnown(from, path);
    touchTree(path);
}

void FileStorm::setTime(const std::string& path) {
    const timespec time = {static_cast<time_t>(below(1U << 30)), 0};
    const timespec times[2] = {time, time}; // one alone is reported as a write in progress
    if (!options_.writesInPlace ||
        ::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW) != 0)
        return;
    touchParent(path);
    if (isFolder(path)) {
        MutexLock held(lock_);
        touched_.insert(path);
    }
}

// --- Bookkeeping --------------------------------------------------------------------------------

void FileStorm::touchParent(const std::string& path) {
    MutexLock held(lock_);
    touched_.insert(parentOf(path));
}

/// The folder that holds the path, and every folder in it.
void FileStorm::touchTree(const std::string& path) {
    touchParent(path);
    MutexLock held(lock_);
    if (isFolder(path))
        touched_.insert(path);
    for (auto it = folders_.lower_bound(path + "/");
         it != folders_.end() && it->starts_with(path + "/"); ++it)
        touched_.insert(*it);
}

void FileStorm::moveKnown(const std::string& from, const std::string& to) {
    std::vector<std::string> moved;
    if (isFolder(from))
        moved.push_back(to);
    for (auto it = folders_.lower_bound(from + "/");
         it != folders_.end() && it->starts_with(from + "/"); ++it)
        moved.push_back(to + it->substr(from.size()));
    forget(from);
    folders_.insert(std::make_move_iterator(moved.begin()), std::make_move_iterator(moved.end()));
    if (!options_.writesInPlace)
        markArrived(to);
}

/// The folders inside count as moved like the one that holds them. Otherwise they look like others
/// of the same seconds that stood there before, once a name in the one above them has changed.
void FileStorm::markArrived(const std::string& path) {
    for (auto it = folders_.lower_bound(path + "/");
         it != folders_.end() && it->starts_with(path + "/"); ++it)
        (void)::chmod(it->c_str(), 0755);
}

void FileStorm::forget(const std::string& path) {
    folders_.erase(path);
    for (auto it = folders_.lower_bound(path + "/");
         it != folders_.end() && it->starts_with(path + "/");)
        it = folders_.erase(it);
}

} // namespace quarrydex
