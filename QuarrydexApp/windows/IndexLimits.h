/// What keeps files out of the index, or keeps it from being current, and the commands that mend
/// it. Threads: the main thread. Fails: never.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace quarrydex {

class Model;

struct IndexLimit {
    std::string name; ///< of the volume
    std::string root;
    std::uint64_t unreadable{}; ///< folders that the last scan could not read; a catalogue that
                                ///< was loaded does not know of any
    std::string watchNotice;    ///< what watchNotice() says; empty when all are watched
    std::uint64_t watched{};    ///< folders
    std::uint64_t unwatched{};  ///< folders that the watches did not suffice for
    bool isScanning{};

    bool operator==(const IndexLimit&) const = default;
};

/// Of the volumes that something limits, in their order.
[[nodiscard]] std::vector<IndexLimit> indexLimits(const Model& model);

/// Lists the folders below the root that the user may not read.
[[nodiscard]] std::string listCommand(const IndexLimit& limit);

/// Lets programs watch all folders, now and after the next start; empty when they can already.
[[nodiscard]] std::string watchCommand(std::span<const IndexLimit> limits);

} // namespace quarrydex
