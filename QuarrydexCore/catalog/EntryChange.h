/// New values of one entry.
#pragma once

#include "QuarrydexCore/base/EntryId.h"

#include <cstdint>

namespace quarrydex {

struct EntryChange {
    EntryId id{};
    std::uint64_t size{};  ///< bytes
    std::uint32_t mtime{}; ///< seconds since 1970-01-01 UTC
    std::uint32_t ctime{}; ///< the same
};

} // namespace quarrydex
