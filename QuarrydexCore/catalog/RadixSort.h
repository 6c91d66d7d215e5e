/// Least-significant-digit radix sort of records by an integer key. Stable.
///
/// Digits lie between the smallest and the largest key only, and are made equally wide, so that
/// ten years of seconds take three passes. Each pass counts and moves one part of the records a
/// thread; parts keep their order.
///
/// Threads: uses up to `threads` by parallelFor. Memory: scratch as large as the records.
#pragma once

#include "QuarrydexCore/base/ParallelFor.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <utility>
#include <vector>

namespace quarrydex {

/// Wider digits mean fewer passes but more places written to at once than a TLB holds pages.
inline constexpr unsigned radixDigitBits = 11;

/// Records a part: below this a further thread costs more than it brings.
inline constexpr std::size_t radixPartSize = 1 << 17;

/// One stable pass: moves `from` to `to` in the order of `digitOf(record)` < 2^bits. Returns where
/// each digit's records begin, and at last their number.
template <typename Record, typename DigitOf>
std::vector<std::size_t> radixPass(std::span<const Record> from,
                                   std::span<Record> to,
                                   unsigned bits,
                                   unsigned threads,
                                   const DigitOf& digitOf) {
    const std::size_t digits = std::size_t{1} << bits;
    const std::size_t parts = std::clamp<std::size_t>(from.size() / radixPartSize, 1, threads);
    const auto part = [&](std::size_t p) {
        const std::size_t begin = from.size() * p / parts;
        return from.subspan(begin, from.size() * (p + 1) / parts - begin);
    };

    std::vector<std::size_t> places(parts * digits);
    parallelFor(parts, threads, [&](std::size_t p) {
        std::size_t* counts = places.data() + p * digits;
        for (const Record& record : part(p))
            ++counts[digitOf(record)];
    });
    std::vector<std::size_t> begins(digits + 1, from.size());
    std::size_t next = 0;
    for (std::size_t digit = 0; digit < digits; ++digit) {
        begins[digit] = next;
        for (std::size_t p = 0; p < parts; ++p)
            next += std::exchange(places[p * digits + digit], next);
    }
    parallelFor(parts, threads, [&](std::size_t p) {
        std::size_t* place = places.data() + p * digits;
        for (const Record& record : part(p))
            to[place[digitOf(record)]++] = record;
    });
    return begins;
}

/// Sorts by keyOf(record), an unsigned 64-bit number. `scratch` is as long as `records`.
template <typename Record, typename KeyOf>
void radixSort(std::span<Record> records,
               std::span<Record> scratch,
               unsigned threads,
               const KeyOf& keyOf) {
    std::uint64_t low = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t high = 0;
    for (const Record& record : records) {
        low = std::min(low, keyOf(record));
        high = std::max(high, keyOf(record));
    }
    if (low >= high)
        return;

    const auto bits = static_cast<unsigned>(std::bit_width(high - low));
    const unsigned passes = (bits + radixDigitBits - 1) / radixDigitBits;
    const unsigned width = (bits + passes - 1) / passes;
    const std::uint64_t mask = (std::uint64_t{1} << width) - 1;
    std::span<Record> from = records;
    std::span<Record> to = scratch;
    for (unsigned pass = 0; pass < passes; ++pass) {
        const unsigned shift = pass * width;
        radixPass<Record>(from, to, width, threads, [&](const Record& record) {
            return static_cast<std::size_t>(((keyOf(record) - low) >> shift) & mask);
        });
        std::swap(from, to);
    }
    if (from.data() != records.data())
        std::copy(from.begin(), from.end(), records.begin());
}

} // namespace quarrydex
