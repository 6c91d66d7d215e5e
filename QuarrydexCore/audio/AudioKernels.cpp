// Compiled once for each instruction set by the header that includes this file again.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "QuarrydexCore/audio/AudioKernels.cpp"
#include <hwy/foreach_target.h>
// Must come after foreach_target.h.
#include "QuarrydexCore/audio/AudioKernels.h"
#include "QuarrydexCore/base/Bits.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include <hwy/cache_control.h>
#include <hwy/highway.h>
// Must come after highway.h.
#include "QuarrydexCore/base/MoveBits-inl.h"

HWY_BEFORE_NAMESPACE();

namespace quarrydex::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;
using audioKernels::TextBits;

// --- Bits ---------------------------------------------------------------------------------------

/// Number of bits set.
HWY_INLINE std::size_t countOf(std::uint64_t bits) {
    return static_cast<std::size_t>(std::popcount(bits));
}

// --- Columns ------------------------------------------------------------------------------------

/// mask(d, values) for the 64 values at p as bits, the first value's lowest.
template <typename T, typename Mask> HWY_INLINE std::uint64_t mask64(const T* p, Mask&& mask) {
    const hn::CappedTag<T, 64> d;
    std::uint64_t all = 0;
    for (std::size_t i = 0; i < 64; i += hn::Lanes(d)) {
        std::uint64_t bits = 0;
        hn::StoreMaskBits(d, mask(d, hn::LoadU(d, p + i)), reinterpret_cast<std::uint8_t*>(&bits));
        all |= bits << i;
    }
    return all;
}

/// The same for a whole column, of whose last block a copy is filled up with zeros.
template <typename T, typename Mask>
HWY_INLINE void testColumn(const T* column, std::size_t rows, std::uint64_t* out, Mask&& mask) {
    std::size_t row = 0;
    for (; row + 64 <= rows; row += 64)
        *out++ = mask64(column + row, mask);
    if (row == rows)
        return;
    T copy[64] = {};
    std::copy(column + row, column + rows, copy);
    *out = mask64(copy, mask) & lowBits(rows - row);
}

template <typename T>
HWY_INLINE void rangeLoop(const T* column, std::size_t rows, T lo, T hi, std::uint64_t* out) {
    // One unsigned comparison tests both ends: below lo, value − lo wraps to something large.
    testColumn(column, rows, out, [=](auto d, auto v) HWY_ATTR {
        return hn::Not(hn::Gt(hn::Sub(v, hn::Set(d, lo)), hn::Set(d, static_cast<T>(hi - lo))));
    });
}

void testRange8(const std::uint8_t* column,
                std::size_t rows,
                std::uint8_t lo,
                std::uint8_t hi,
                std::uint64_t* out) {
    rangeLoop(column, rows, lo, hi, out);
}

void testRange16(const std::uint16_t* column,
                 std::size_t rows,
                 std::uint16_t lo,
                 std::uint16_t hi,
                 std::uint64_t* out) {
    rangeLoop(column, rows, lo, hi, out);
}

void testRange32(const std::uint32_t* column,
                 std::size_t rows,
                 std::uint32_t lo,
                 std::uint32_t hi,
                 std::uint64_t* out) {
    rangeLoop(column, rows, lo, hi, out);
}

void testSmallSet(const std::uint8_t* column,
                  std::size_t rows,
                  const std::uint8_t* wanted,
                  std::uint64_t* out) {
    testColumn(column, rows, out, [=](auto d, auto v) HWY_ATTR {
        const auto place = hn::Min(v, hn::Set(d, std::uint8_t{15}));
#if HWY_TARGET == HWY_SCALAR // a vector of one byte holds no table
        return hn::Ne(hn::Set(d, wanted[hn::GetLane(place)]), hn::Zero(d));
#else
        const auto table = hn::LoadDup128(d, wanted);
        return hn::Ne(hn::TableLookupBytes(table, place), hn::Zero(d));
#endif
    });
}

void testTexts(const std::uint32_t* offsets,
               std::size_t rows,
               const std::uint32_t* texts,
               std::uint64_t* out) {
    testColumn(offsets, rows, out, [=](auto d, auto v) HWY_ATTR {
        const hn::RebindToSigned<decltype(d)> index;
        const auto word = hn::GatherIndex(d, texts, hn::BitCast(index, hn::ShiftRight<5>(v)));
        const auto bit = hn::Shl(hn::Set(d, 1U), hn::And(v, hn::Set(d, 31U)));
        return hn::TestBit(word, bit);
    });
}

/// REQUIRES: the words' places are below the end of `bits`; a row's word and the next may be read.
void setEntries(const std::uint64_t* rows,
                const std::uint32_t* place,
                const std::uint64_t* words,
                std::size_t count,
                std::uint64_t* bits) {
    std::size_t row = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t shift = row % 64;
        const std::uint64_t next = rows[row / 64] >> shift | rows[row / 64 + 1] << 1
                                                                                << (63 - shift);
        bits[place[i]] |= scatterBits(next, words[i]);
        row += countOf(words[i]);
    }
}

// --- Texts --------------------------------------------------------------------------------------

/// Finds every string of a pool that is followed by one that holds a needle.
///
/// One pass over the pool's bytes, whatever texts it holds: where a match lies, the string before
/// the one with the match is the text whose folded copy matched. (When the match lies in a text and
/// not in a folded copy, the string before it is a folded copy, to which no row points.)
///
/// The pool is walked from its end, 64 bytes at a time, since what a match says belongs two strings
/// before it. M marks where the needle begins, Z the NULs. Adding M to ~Z carries each match
/// through the rest of its string onto the string's NUL. Moved together, the NULs' bits tell string
/// by string which one matched; shifted by two strings and moved back they stand on the NUL before
/// the text. Blocks in which nothing is to be said are not looked at for NULs.
class PoolSearch {
  public:
    PoolSearch(std::string_view pool, std::string_view needle)
        : pool_(pool), bytes_(reinterpret_cast<const std::uint8_t*>(pool.data())), needle_(needle) {
    }

    HWY_INLINE void run(TextBits& texts) {
        std::array<std::uint64_t, stretch> matches;
        for (std::size_t end = (pool_.size() + 63) / 64; end > 0;) {
            const std::size_t begin = end - std::min(end, stretch);
            std::size_t matching = 0;
            for (std::size_t block = begin; block < end; ++block) {
                // The processor expects reading to go on upwards. Without this: a half slower.
                if (block >= 2 * stretch)
                    hwy::Prefetch(bytes_ + (block - 2 * stretch) * 64);
                const std::uint64_t here = matchesAt(block * 64);
                matches[block - begin] = here;
                matching += here != 0;
            }
            if (matching != 0 && texts.empty())
                texts.resize(pool_.size() / 32 + 4); // whole blocks, and one more bit
            // Where many blocks match, a test of each would mostly be guessed wrong.
            if (matching > stretch / 8)
                visitAll(begin, end, matches.data(), texts.data());
            else
                visitSome(begin, end, matches.data(), texts.data());
            end = begin;
        }
    }

  private:
    /// So many blocks are searched before their strings are looked at: they stay in the cache.
    static constexpr std::size_t stretch = 128;

    /// Which of the 64 bytes at an offset equal `byte`.
    HWY_INLINE std::uint64_t equalMask(std::size_t at, char byte) const {
        return mask64(bytes_ + at, [byte](auto d, auto v) HWY_ATTR {
            return hn::Eq(v, hn::Set(d, static_cast<std::uint8_t>(byte)));
        });
    }

    /// At which of the 64 places the needle begins.
    HWY_INLINE std::uint64_t matchesAt(std::size_t at) const {
        if (HWY_UNLIKELY(at + 64 + needle_.size() > pool_.size()))
            return lastMatchesAt(at);
        const std::size_t last = needle_.size() - 1;
        const auto probe = [&](std::size_t i) HWY_ATTR {
            return equalMask(at + std::min(i, last), needle_[std::min(i, last)]);
        };
        // Where these four stand the others mostly do: the loop is well predicted.
        std::uint64_t starts = probe(0) & probe(1) & probe(2) & probe(last);
        for (std::size_t i = 3; i < last && starts != 0; ++i)
            starts &= probe(i);
        return starts;
    }

    /// The same near the end of the pool.
    HWY_NOINLINE std::uint64_t lastMatchesAt(std::size_t at) const {
        std::uint64_t starts = 0;
        for (std::size_t i = 0; i < 64 && at + i + needle_.size() <= pool_.size(); ++i)
            starts |= std::uint64_t{pool_.substr(at + i, needle_.size()) == needle_} << i;
        return starts;
    }

    HWY_INLINE std::uint64_t nuls(std::size_t at) const {
        if (HWY_LIKELY(at + 64 <= pool_.size()))
            return equalMask(at, '\0');
        std::uint64_t mask = 0;
        for (std::size_t i = at; i < pool_.size(); ++i)
            mask |= std::uint64_t{pool_[i] == '\0'} << (i - at);
        return mask;
    }

    HWY_INLINE void visitAll(std::size_t begin,
                             std::size_t end,
                             const std::uint64_t* matches,
                             std::uint32_t* texts) {
        std::uint64_t above = 0; // what the block above has found, but for its first place
        for (std::size_t block = end; block-- > begin;) {
            const std::uint64_t before = visit(block, matches[block - begin]);
            addBits(texts, block + 1, above | before >> 63);
            above = before << 1;
        }
        addBits(texts, begin, above);
    }

    HWY_INLINE void visitSome(std::size_t begin,
                              std::size_t end,
                              const std::uint64_t* matches,
                              std::uint32_t* texts) {
        for (std::size_t block = end; block-- > begin;) {
            const std::uint64_t here = matches[block - begin];
            if ((here | runsOn_ | behind_) == 0)
                continue;
            const std::uint64_t before = visit(block, here);
            addBits(texts, block, before << 1);
            addBits(texts, block + 1, before >> 63);
        }
    }

    /// Tells behind which NULs of a block stands a text whose folded copy matches. Goes downwards;
    /// blocks may be left out where there is no match and nothing is known from above.
    HWY_INLINE std::uint64_t visit(std::size_t block, std::uint64_t matches) {
        const std::uint64_t ends = nuls(block * 64);
        if (HWY_UNLIKELY(ends == 0)) {
            runsOn_ |= std::uint64_t{matches != 0};
            return 0;
        }
        const std::uint64_t sum = ~ends + matches;
        const std::uint64_t crossing = std::uint64_t{sum < matches} | runsOn_;
        const std::size_t last = countOf(ends) - 1;
        const std::uint64_t ended = gatherBits(sum, ends); // bit k: that ends at the k-th NUL
        const std::uint64_t begun = ended >> 1 | crossing << last; // that begins behind it
        const std::uint64_t followed = begun >> 1 | behind_ << last;
        runsOn_ = ended & 1;
        behind_ = begun & 1;
        return scatterBits(followed, ends);
    }

    /// Sets bits of the 64 that belong to a block.
    static HWY_INLINE void addBits(std::uint32_t* texts, std::size_t block, std::uint64_t bits) {
        std::uint64_t word;
        std::memcpy(&word, texts + block * 2, sizeof word);
        word |= bits;
        std::memcpy(texts + block * 2, &word, sizeof word);
    }

    std::string_view pool_;
    const std::uint8_t* bytes_;
    std::string_view needle_;
    std::uint64_t runsOn_ = 0; ///< 1: the string that runs into the blocks above matches there
    std::uint64_t behind_ = 0; ///< 1: the first string that begins in the blocks above matches
};

void findTexts(std::string_view pool, std::string_view needle, TextBits& texts) {
    PoolSearch(pool, needle).run(texts);
}

} // namespace quarrydex::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace quarrydex {

HWY_EXPORT(testRange8);
HWY_EXPORT(testRange16);
HWY_EXPORT(testRange32);
HWY_EXPORT(testSmallSet);
HWY_EXPORT(testTexts);
HWY_EXPORT(setEntries);
HWY_EXPORT(findTexts);

namespace audioKernels {

void testRange(std::span<const std::uint8_t> column,
               std::uint8_t lo,
               std::uint8_t hi,
               std::uint64_t* out) {
    HWY_DYNAMIC_DISPATCH(testRange8)(column.data(), column.size(), lo, hi, out);
}

void testRange(std::span<const std::uint16_t> column,
               std::uint16_t lo,
               std::uint16_t hi,
               std::uint64_t* out) {
    HWY_DYNAMIC_DISPATCH(testRange16)(column.data(), column.size(), lo, hi, out);
}

void testRange(std::span<const std::uint32_t> column,
               std::uint32_t lo,
               std::uint32_t hi,
               std::uint64_t* out) {
    HWY_DYNAMIC_DISPATCH(testRange32)(column.data(), column.size(), lo, hi, out);
}

void testSmallSet(std::span<const std::uint8_t> column,
                  const SmallSet& wanted,
                  std::uint64_t* out) {
    HWY_DYNAMIC_DISPATCH(testSmallSet)(column.data(), column.size(), wanted.data(), out);
}

void testTexts(std::span<const std::uint32_t> offsets, const TextBits& texts, std::uint64_t* out) {
    HWY_DYNAMIC_DISPATCH(testTexts)(offsets.data(), offsets.size(), texts.data(), out);
}

TextBits findTexts(std::string_view pool, std::string_view needle) {
    TextBits texts;
    HWY_DYNAMIC_DISPATCH(findTexts)(pool, needle, texts);
    if (!texts.empty())
        texts[0] &= ~1U; // what stands before the first text
    return texts;
}

void setEntries(const std::uint64_t* rows,
                std::span<const std::uint32_t> place,
                std::span<const std::uint64_t> words,
                std::uint64_t* bits) {
    HWY_DYNAMIC_DISPATCH(setEntries)(rows, place.data(), words.data(), words.size(), bits);
}

} // namespace audioKernels

} // namespace quarrydex

#endif // HWY_ONCE
