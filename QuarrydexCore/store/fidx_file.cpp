#include "QuarrydexCore/base/AtomicFile.h"
#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/base/FileOps.h"
#include "QuarrydexCore/store/fidx_format.h"
#include "QuarrydexCore/store/fidx_priv.h"

#include <algorithm>
#include <cstdlib>

#include <fcntl.h>
#include <sys/mman.h>

namespace quarrydex {

namespace {

constexpr std::size_t longestPath = 1'015;
constexpr std::size_t longestFolder = 1'023;
constexpr mode_t ownFile = 0600;
constexpr mode_t exportedFile = 0644;

/// The folder part of a path, as dirname gives it.
std::string folderOf(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos)
        return ".";
    const std::size_t end = path.find_last_not_of('/', slash);
    return end == std::string_view::npos ? "/" : std::string(path.substr(0, end + 1));
}

/// True when the path's folder exists and is not the place where drives are mounted, or below it.
bool isInWritableFolder(std::string_view path) {
    const std::string folder = folderOf(path);
    if (folder.size() > longestFolder)
        return false;
    char* resolved = ::realpath(folder.c_str(), nullptr);
    if (resolved == nullptr)
        return false;
    const std::string real = resolved;
    std::free(resolved);
    return real != "/Volumes" && !real.starts_with("/Volumes/");
}

bool endsWithoutCase(std::string_view path, std::string_view lowerEnding) {
    return path.size() >= lowerEnding.size() &&
           std::equal(lowerEnding.rbegin(), lowerEnding.rend(), path.rbegin(),
                      [](char ending, char own) { return fidx_lower(own) == ending; });
}

int writeWhole(const char* path, const void* bytes, std::size_t length, mode_t mode) {
    AtomicFile file(path, mode);
    const bool isWritten = file.isOpen() && file.write(bytes, length, 0) && file.commit();
    return isWritten ? fidx_ok : fidx_error;
}

} // namespace

bool fidx_may_write(std::string_view path) {
    return path.size() >= 5 && path.size() <= longestPath &&
           (path.ends_with(".idx") || path.ends_with(".ord") || path.ends_with(".aud")) &&
           isInWritableFolder(path);
}

int fidx_remove_cache(const char* path) {
    const std::string_view text = path;
    if (text.ends_with(".ord") || !fidx_may_write(text))
        return fidx_refused;
    return fileOps().unlink(path) == 0 ? fidx_ok : fidx_error;
}

int fidx_write_file(const char* path, const void* bytes, std::size_t length) {
    return fidx_may_write(path) ? writeWhole(path, bytes, length, ownFile) : fidx_refused;
}

int fidx_export_file(const char* path, const void* bytes, std::size_t length) {
    const std::string_view text = path;
    const bool isList = endsWithoutCase(text, ".csv") || endsWithoutCase(text, ".tsv") ||
                        endsWithoutCase(text, ".m3u") || endsWithoutCase(text, ".m3u8");
    if (text.size() < 6 || text.size() > longestPath || !isList || !isInWritableFolder(text))
        return fidx_refused;
    return writeWhole(path, bytes, length, exportedFile);
}

const void* fidx_map_ro(const char* path, std::uint64_t offset, std::size_t length) {
    const auto bytes = fidx_aligned(length);
    if (length == 0 || !bytes)
        return nullptr;
    const Fd file(::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file)
        return nullptr;
    void* address =
        ::mmap(nullptr, *bytes, PROT_READ, MAP_PRIVATE, file.get(), static_cast<off_t>(offset));
    return address == MAP_FAILED ? nullptr : address;
}

void fidx_unmap(const void* address, std::size_t length) {
    if (address != nullptr && length > 0)
        ::munmap(const_cast<void*>(address), *fidx_aligned(length));
}

} // namespace quarrydex
