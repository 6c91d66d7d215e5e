/// Which entries have a row, as the words of a bitset that are not 0, so that the bits of rows turn
/// into bits of entries a word at a time.
///
///   entries    [ 3 | 5 | 64 | 640 ]
///   place      [ 0    | 1 | 10 ]       the word of the bitset
///   bits       [ 3, 5 | 0 | 0  ]       which of its bits are set
///   rowsBefore [ 0, 4 ]                rows before each block of blockWords words, and all rows
///
/// A plain value of 12 bytes a word; files of one folder have neighbouring ids, so words are few.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace quarrydex {

struct EntryWords {
    /// At most 16,384 rows a block.
    static constexpr std::size_t blockWords = 256;

    std::vector<std::uint32_t> place; ///< ascending
    std::vector<std::uint64_t> bits;  ///< as long as `place`; never 0
    std::vector<std::uint32_t> rowsBefore;

    EntryWords() = default;

    /// Of ascending ids.
    explicit EntryWords(std::span<const std::uint32_t> entries) {
        for (std::size_t row = 0; row < entries.size(); ++row) {
            const std::uint32_t entry = entries[row];
            if (place.empty() || place.back() != entry / 64) {
                if (place.size() % blockWords == 0)
                    rowsBefore.push_back(static_cast<std::uint32_t>(row));
                place.push_back(entry / 64);
                bits.push_back(0);
            }
            bits.back() |= std::uint64_t{1} << (entry % 64);
        }
        rowsBefore.push_back(static_cast<std::uint32_t>(entries.size()));
    }
};

} // namespace quarrydex
