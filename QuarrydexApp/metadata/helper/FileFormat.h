/// Which reader a file is for, told by its first bytes. Each reader is then given the one format
/// that it is, so that no other code sees the bytes.
///
/// Threads: any; no state. Fails: never; what is not recognised has no reader.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace quarrydex {

enum class FileReader : std::uint8_t { none, picture, document, media };

struct FileFormat {
    FileReader reader = FileReader::none;
    const char* name = ""; ///< what the reader calls it

    bool operator==(const FileFormat& other) const {
        return reader == other.reader && std::string_view(name) == other.name;
    }
};

/// So many first bytes are enough.
inline constexpr std::size_t formatBytes = 4'096;

/// `name`: the file's, or its path; its extension settles what the bytes leave open.
[[nodiscard]] FileFormat formatOf(std::string_view head, std::string_view name);

} // namespace quarrydex
