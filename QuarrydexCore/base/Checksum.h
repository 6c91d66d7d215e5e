/// A fast 64-bit checksum for finding damage, not for keeping anyone out: four lanes of multiply
/// and rotate, as fast as memory is read. Every step is reversible, so no change of a single
/// eight-byte word goes unnoticed. docs/formats/ord.md has it in words; files depend on it.
#pragma once

#include "QuarrydexCore/base/Bytes.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace quarrydex {

namespace checksumParts {

constexpr std::uint64_t step(std::uint64_t lane, std::uint64_t word) {
    return std::rotl((lane ^ word) * 0x9E3779B97F4A7C15, 29);
}

} // namespace checksumParts

/// The checksum of `bytes`; that of an earlier part as `seed` makes it one of both parts, cut
/// there.
inline std::uint64_t checksum64(const void* data, std::size_t bytes, std::uint64_t seed = 0) {
    using checksumParts::step;
    const char* at = static_cast<const char*>(data);
    std::array<std::uint64_t, 4> lanes = {seed, seed + 1, seed + 2, seed + 3};
    std::size_t left = bytes;
    for (; left >= sizeof lanes; left -= sizeof lanes, at += sizeof lanes)
        for (std::size_t i = 0; i < lanes.size(); ++i)
            lanes[i] = step(lanes[i], loadLE<std::uint64_t>(at + 8 * i));
    std::uint64_t sum = bytes;
    for (std::uint64_t lane : lanes)
        sum = step(sum, lane);
    for (; left >= sizeof sum; left -= sizeof sum, at += sizeof sum)
        sum = step(sum, loadLE<std::uint64_t>(at));
    if (left > 0) {
        std::uint64_t last = 0;
        std::memcpy(&last, at, left);
        sum = step(sum, last);
    }
    return step(sum ^ sum >> 32, 0);
}

} // namespace quarrydex
