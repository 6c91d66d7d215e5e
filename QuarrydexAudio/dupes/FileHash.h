/// Hashes by which files are compared: of their two ends, which is cheap, and of the whole.
///
/// Both begin with the file's size, so that files of different sizes never meet. A file is read
/// once, in order, and not one byte more than stated: `quick` reads a file of at most 128 KiB as a
/// whole and 128 KiB of any other, `full` reads it all.
///
/// Threads: any; a buffer of 1 MiB a thread. Failure: nothing, for a file that cannot be opened or
/// read, is no regular file, or is not the file of that size that the caller takes it for.
#pragma once

#include "QuarrydexAudio/dupes/DupTypes.h"
#include "QuarrydexAudio/platform/FileReads.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>

namespace quarrydex {

class FileHash {
  public:
    static constexpr std::uint64_t wholeLimit = 131'072; ///< bytes; up to here quick is whole
    static constexpr std::size_t quickRead = 65'536;     ///< bytes; also the size of an end
    static constexpr std::size_t fullRead = 1'048'576;   ///< bytes

    struct Quick {
        Digest128 digest;
        bool whole{}; ///< it covers every byte of the file

        bool operator==(const Quick&) const = default;
    };

    explicit FileHash(const FileReads& reads = systemFileReads()) : reads_(reads) {}

    /// `quick(path:size:)`.
    [[nodiscard]] std::optional<Quick> quick(const std::string& path, std::uint64_t size) const;

    /// Nothing also when the file changed while it was read, or when stopped between two reads.
    [[nodiscard]] std::optional<Digest128>
    full(const std::string& path, std::uint64_t size, const std::stop_token& stop = {}) const;

  private:
    const FileReads& reads_;
};

} // namespace quarrydex
