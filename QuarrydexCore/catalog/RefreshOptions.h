/// How a catalogue is compared with the disk.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

namespace quarrydex {

struct RefreshOptions {
    bool recursive = false; ///< re-read every folder below the given ones too
    int threads = 1;
    std::span<const std::string> subtrees{}; ///< more folders, these with everything below
    /// Asked after folders were read and before what they hold is believed; false ends the
    /// refresh with `rootMissing`, changing nothing more. May be empty.
    std::function<bool()> mayGoOn{};
};

struct ReconcileOptions {
    int threads = 1;
    std::optional<std::int64_t> reference{}; ///< see FolderSweep
    std::function<bool()> mayGoOn{};         ///< as in RefreshOptions
};

} // namespace quarrydex
