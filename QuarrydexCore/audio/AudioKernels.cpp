// Compiled once for each instruction set by the header that includes this file again.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "QuarrydexCore/audio/AudioKernels.cpp"
#include <hwy/foreach_target.h>
// Must come after foreach_target.h.
#include "QuarrydexCore/audio/AudioKernels.h"
#include "QuarrydexCore/audio/EntryWords.h"
#include "QuarrydexCore/base/Bits.h"

#include <algorithm>
#include <bit>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();

namespace quarrydex::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;
using audioKernels::TextBits;

// --- Bits ---------------------------------------------------------------------------------------

/// The bits of `bits` at the places where `places` is set, moved together.
HWY_INLINE std::uint64_t gatherBits(std::uint64_t bits, std::uint64_t places) {
#if HWY_ARCH_X86_64 && HWY_TARGET <= HWY_AVX2
    return _pext_u64(bits, places);
#else
    std::uint64_t out = 0;
    for (unsigned k = 0; places != 0; places &= places - 1, ++k)
        out |= std::uint64_t{(bits & places & (~places + 1)) != 0} << k;
    return out;
#endif
}

/// The lowest bits of `bits`, spread over the places where `places` is set.
HWY_INLINE std::uint64_t scatterBits(std::uint64_t bits, std::uint64_t places) {
#if HWY_ARCH_X86_64 && HWY_TARGET <= HWY_AVX2
    return _pdep_u64(bits, places);
#else
    std::uint64_t out = 0;
    for (; places != 0; places &= places - 1, bits >>= 1)
        out |= (bits & 1) * (places & (~places + 1));
    return out;
#endif
}

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

void TestRange8(const std::uint8_t* column,
                std::size_t rows,
                std::uint8_t lo,
                std::uint8_t hi,
                std::uint64_t* out) {
    rangeLoop(column, rows, lo, hi, out);
}

void TestRange16(const std::uint16_t* column,
                 std::size_t rows,
                 std::uint16_t lo,
                 std::uint16_t hi,
                 std::uint64_t* out) {
    rangeLoop(column, rows, lo, hi, out);
}

void TestRange32(const std::uint32_t* column,
                 std::size_t rows,
                 std::uint32_t lo,
                 std::uint32_t hi,
                 std::uint64_t* out) {
    rangeLoop(column, rows, lo, hi, out);
}

void TestSmallSet(const std::uint8_t* column,
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

void TestTexts(const std::uint32_t* offsets,
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
void SetEntries(const std::uint64_t* rows,
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
/// For each 64 bytes: M marks where the needle begins, Z the NULs. Adding M to ~Z carries each
/// match through the rest of its string onto the string's NUL, also across the 64 bytes' end. The
/// NULs' bits, moved together, tell string by string which one matched; moved back by two NULs they
/// stand before the string before the one with the match. That string begins behind them.
///
/// In blocks without a match nothing else is looked at; the starts of the strings around the next
/// match are then found backwards, never further than what was walked before.
class PoolSearch {
  public:
    PoolSearch(std::string_view pool, std::string_view needle)
        : pool_(pool), bytes_(reinterpret_cast<const std::uint8_t*>(pool.data())), needle_(needle) {
    }

    HWY_INLINE void run(TextBits& texts) {
        std::size_t block = 0;
        for (; block + 64 + needle_.size() <= pool_.size(); block += 64)
            if (const std::uint64_t matches = matchesAt(block); (matches | carry_) != 0)
                visit(block, matches, texts);
        for (; block < pool_.size(); block += 64)
            if (const std::uint64_t matches = lastMatchesAt(block); (matches | carry_) != 0)
                visit(block, matches, texts);
        mark(previous_, carry_, texts); // the last string of a damaged pool may have no end
    }

  private:
    /// Which of the 64 bytes at an offset equal `byte`.
    HWY_INLINE std::uint64_t equalMask(std::size_t at, char byte) const {
        return mask64(bytes_ + at, [byte](auto d, auto v) HWY_ATTR {
            return hn::Eq(v, hn::Set(d, static_cast<std::uint8_t>(byte)));
        });
    }

    /// At which of the 64 places the needle begins.
    HWY_INLINE std::uint64_t matchesAt(std::size_t block) const {
        const std::size_t last = needle_.size() - 1;
        const auto probe = [&](std::size_t i) HWY_ATTR {
            return equalMask(block + std::min(i, last), needle_[std::min(i, last)]);
        };
        // Where these four stand the others mostly do: the loop is well predicted.
        std::uint64_t starts = probe(0) & probe(1) & probe(2) & probe(last);
        for (std::size_t i = 3; i < last && starts != 0; ++i)
            starts &= probe(i);
        return starts;
    }

    /// The same near the end of the pool.
    std::uint64_t lastMatchesAt(std::size_t block) const {
        std::uint64_t starts = 0;
        for (std::size_t i = 0; i < 64 && block + i + needle_.size() <= pool_.size(); ++i)
            starts |= std::uint64_t{pool_.substr(block + i, needle_.size()) == needle_} << i;
        return starts;
    }

    HWY_INLINE std::uint64_t nuls(std::size_t block) const {
        if (block + 64 <= pool_.size())
            return equalMask(block, '\0');
        std::uint64_t mask = 0;
        for (std::size_t i = block; i < pool_.size(); ++i)
            mask |= std::uint64_t{pool_[i] == '\0'} << (i - block);
        return mask;
    }

    HWY_INLINE void visit(std::size_t block, std::uint64_t matches, TextBits& texts) {
        if (texts.empty())
            texts.resize(pool_.size() / 32 + 3); // whole blocks, and one more bit
        if (block != walked_)
            walkTo(block);
        const std::uint64_t ends = nuls(block);
        const std::uint64_t sum = ~ends + matches;
        const std::uint64_t carried = sum + carry_;
        carry_ = std::uint64_t{sum < matches} | std::uint64_t{carried < carry_};

        const std::uint64_t matched = gatherBits(carried, ends); // bit k: the k-th string to end
        mark(previous_, matched & 1, texts);
        mark(current_, matched >> 1 & 1, texts);
        const std::uint64_t before = scatterBits(matched >> 2, ends);
        std::uint32_t* const words = texts.data() + block / 32;
        words[0] |= static_cast<std::uint32_t>(before << 1);
        words[1] |= static_cast<std::uint32_t>(before >> 31);
        words[2] |= static_cast<std::uint32_t>(before >> 63);
        pass(block, ends);
        walked_ = block + 64;
    }

    /// Learns which string runs at `to`, the begin of a block, and which one stands before it.
    HWY_INLINE void walkTo(std::size_t to) {
        // Most often the block before holds the ends of two strings.
        if (const std::uint64_t ends = nuls(to - 64); HWY_LIKELY(countOf(ends) >= 2))
            pass(to - 64, ends);
        else
            walkFar(to);
    }

    HWY_NOINLINE void walkFar(std::size_t to) {
        const std::string_view skipped = pool_.substr(walked_, to - walked_);
        const std::size_t last = skipped.rfind('\0');
        if (last == std::string_view::npos)
            return;
        const std::size_t before = skipped.substr(0, last).rfind('\0');
        previous_ = before == std::string_view::npos ? current_ : walked_ + before + 1;
        current_ = walked_ + last + 1;
    }

    /// Goes on behind the block in which these strings end.
    HWY_INLINE void pass(std::size_t block, std::uint64_t ends) {
        if (HWY_UNLIKELY(ends == 0))
            return;
        const std::uint64_t last = std::bit_floor(ends);
        const std::uint64_t others = ends ^ last;
        previous_ =
            others == 0 ? current_ : block + static_cast<std::size_t>(std::bit_width(others));
        current_ = block + static_cast<std::size_t>(std::bit_width(last));
    }

    /// `matched`: 0 or 1.
    static HWY_INLINE void mark(std::size_t text, std::uint64_t matched, TextBits& texts) {
        if (!texts.empty())
            texts[text / 32] |= static_cast<std::uint32_t>(matched) << (text % 32);
    }

    std::string_view pool_;
    const std::uint8_t* bytes_;
    std::string_view needle_;
    std::uint64_t carry_ = 0;  ///< 1: the string that runs on holds a match
    std::size_t walked_ = 0;   ///< previous_ and current_ are right at this offset
    std::size_t previous_ = 0; ///< where the string before the current one begins
    std::size_t current_ = 0;
};

void FindTexts(std::string_view pool, std::string_view needle, TextBits& texts) {
    PoolSearch(pool, needle).run(texts);
}

} // namespace quarrydex::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace quarrydex {

HWY_EXPORT(TestRange8);
HWY_EXPORT(TestRange16);
HWY_EXPORT(TestRange32);
HWY_EXPORT(TestSmallSet);
HWY_EXPORT(TestTexts);
HWY_EXPORT(SetEntries);
HWY_EXPORT(FindTexts);

namespace audioKernels {

void testRange(std::span<const std::uint8_t> column,
               std::uint8_t lo,
               std::uint8_t hi,
               std::uint64_t* out) {
    HWY_DYNAMIC_DISPATCH(TestRange8)(column.data(), column.size(), lo, hi, out);
}

void testRange(std::span<const std::uint16_t> column,
               std::uint16_t lo,
               std::uint16_t hi,
               std::uint64_t* out) {
    HWY_DYNAMIC_DISPATCH(TestRange16)(column.data(), column.size(), lo, hi, out);
}

void testRange(std::span<const std::uint32_t> column,
               std::uint32_t lo,
               std::uint32_t hi,
               std::uint64_t* out) {
    HWY_DYNAMIC_DISPATCH(TestRange32)(column.data(), column.size(), lo, hi, out);
}

void testSmallSet(std::span<const std::uint8_t> column,
                  const SmallSet& wanted,
                  std::uint64_t* out) {
    HWY_DYNAMIC_DISPATCH(TestSmallSet)(column.data(), column.size(), wanted.data(), out);
}

void testTexts(std::span<const std::uint32_t> offsets, const TextBits& texts, std::uint64_t* out) {
    HWY_DYNAMIC_DISPATCH(TestTexts)(offsets.data(), offsets.size(), texts.data(), out);
}

TextBits findTexts(std::string_view pool, std::string_view needle) {
    TextBits texts;
    HWY_DYNAMIC_DISPATCH(FindTexts)(pool, needle, texts);
    if (!texts.empty())
        texts[0] &= ~1U; // what stands before the first text
    return texts;
}

void setEntries(std::span<const std::uint64_t> rows,
                const EntryWords& words,
                std::size_t entries,
                std::span<std::uint64_t> bits) {
    const auto end = std::ranges::upper_bound(words.place, entries / 64);
    // In the word in which the entries end, rows may lie that are not wanted.
    std::uint64_t& last = bits[entries / 64];
    const std::uint64_t before = last;
    HWY_DYNAMIC_DISPATCH(SetEntries)
    (rows.data(), words.place.data(), words.bits.data(),
     static_cast<std::size_t>(end - words.place.begin()), bits.data());
    last = before | (last & lowBits(entries % 64));
}

} // namespace audioKernels

} // namespace quarrydex

#endif // HWY_ONCE
