#include "QuarrydexAudio/dupes/FileHash.h"

#include "QuarrydexAudio/dupes/Hasher.h"

#include <algorithm>
#include <array>
#include <memory>

namespace quarrydex {

namespace {

std::byte* buffer() {
    thread_local const auto bytes = std::make_unique_for_overwrite<std::byte[]>(FileHash::fullRead);
    return bytes.get();
}

/// An open file on its way into a hash.
class HashedFile {
  public:
    /// Opens the file, which is one of `size` bytes or not taken.
    HashedFile(const FileReads& reads, const std::string& path, std::uint64_t size, ReadPlan plan)
        : reads_(reads), fd_(reads.open(path, plan)) {
        if (fd_)
            before_ = reads.state(fd_.get());
        if (before_ && before_->size != size)
            before_.reset();
        std::array<std::byte, 8> prefix;
        storeLE<std::uint64_t>(prefix.data(), size);
        hasher_.update(prefix.data(), prefix.size());
    }

    [[nodiscard]] bool isOpen() const { return before_.has_value(); }

    /// One read at the offset; its length, 0 at the end, -1 on an error.
    ssize_t feed(std::size_t bytes, std::uint64_t offset) {
        const ssize_t n = reads_.read(fd_.get(), buffer(), bytes, offset);
        if (n > 0)
            hasher_.update(buffer(), static_cast<std::size_t>(n));
        return n;
    }

    /// All `bytes` from the offset, in reads of `piece`. False when a read fails or is empty.
    [[nodiscard]] bool feedAll(std::uint64_t offset, std::uint64_t bytes, std::size_t piece) {
        for (const std::uint64_t end = offset + bytes; offset < end;) {
            const ssize_t n = feed(std::min<std::uint64_t>(piece, end - offset), offset);
            if (n <= 0)
                return false;
            offset += static_cast<std::uint64_t>(n);
        }
        return true;
    }

    [[nodiscard]] bool isUnchanged() const { return reads_.state(fd_.get()) == before_; }

    [[nodiscard]] Digest128 digest() const { return hasher_.digest(); }

  private:
    const FileReads& reads_;
    Fd fd_;
    std::optional<FileState> before_; ///< absent: not the file that is wanted
    Hasher hasher_;
};

} // namespace

std::optional<FileHash::Quick> FileHash::quick(const std::string& path, std::uint64_t size) const {
    const bool whole = size <= wholeLimit;
    HashedFile file(reads_, path, size, whole ? ReadPlan::whole : ReadPlan::pieces);
    if (!file.isOpen())
        return std::nullopt;
    const bool isRead = whole ? file.feedAll(0, size, quickRead)
                              : file.feedAll(0, quickRead, quickRead) &&
                                    file.feedAll(size - quickRead, quickRead, quickRead);
    if (!isRead)
        return std::nullopt;
    return Quick{file.digest(), whole};
}

std::optional<Digest128>
FileHash::full(const std::string& path, std::uint64_t size, const std::stop_token& stop) const {
    HashedFile file(reads_, path, size, ReadPlan::whole);
    if (!file.isOpen())
        return std::nullopt;
    // To the end of the file, or to where it has grown: a file that somebody goes on writing to
    // would have no end.
    std::uint64_t done = 0;
    for (ssize_t n = 1; n != 0 && done <= size; done += static_cast<std::uint64_t>(n)) {
        n = stop.stop_requested() ? -1 : file.feed(fullRead, done);
        if (n < 0)
            return std::nullopt;
    }
    if (done != size || !file.isUnchanged())
        return std::nullopt;
    return file.digest();
}

} // namespace quarrydex
