/// One volume of the model: a scanned root with its catalogue and what is shown of its progress.
///
/// Threads: the fields belong to the main thread. Background work takes `index` and `searcher`,
/// which may be used from any thread, and posts what it found.
#pragma once

#include "QuarrydexCore/catalog/VolumeIndex.h"
#include "QuarrydexCore/search/Searcher.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace quarrydex {

struct VolumeState {
    std::string name; ///< display name: the root's last component, or "System" for "/"
    std::string root; ///< absolute path without a "/" at its end
    std::shared_ptr<VolumeIndex> index;
    std::shared_ptr<Searcher> searcher; ///< over *index
    std::uint32_t count{};              ///< live entries, as last published
    bool scanning{};
    bool maintaining{};                 ///< orders are being rebuilt in the background
    bool hidden{};                      ///< left out of searches
    double seconds{};                   ///< duration of the scan
    std::optional<std::string> failure; ///< why the scan failed, as shown to the user
};

} // namespace quarrydex
