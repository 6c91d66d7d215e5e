/// What a saved catalogue says about itself; the counterpart of the snapshot file's information
/// record.
#pragma once

#include <cstdint>
#include <string>

namespace quarrydex {

struct SnapshotInfo {
    std::string uuid;         ///< the volume's identity; the file keeps 47 bytes of it
    std::string fseUUID;      ///< the identity of its change history; 47 bytes
    std::string root;         ///< path, raw bytes; 1,023 of them
    std::uint64_t eventID{};  ///< the catalogue is current up to this change event
    std::int64_t savedAt{};   ///< seconds since 1970-01-01 UTC, not negative
    std::uint64_t exclHash{}; ///< of the configuration that decided what was recorded
    std::uint64_t deleted{};  ///< entries marked deleted; filled in by saving
    std::uint64_t storeID{};  ///< of the catalogue; filled in by saving
};

/// What can be learned of a snapshot without loading its columns.
struct SnapshotHeader {
    SnapshotInfo info;
    std::uint32_t count{}; ///< entries, deleted ones included
};

} // namespace quarrydex
