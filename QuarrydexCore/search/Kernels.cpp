// Compiled once for each instruction set by the header that includes this file again.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "QuarrydexCore/search/Kernels.cpp"
#include <hwy/foreach_target.h>
// Must come after foreach_target.h.
#include "QuarrydexCore/base/Bits.h"
#include "QuarrydexCore/search/Kernels.h"

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

using Bytes = hn::CappedTag<std::uint8_t, 64>;

/// The lanes of a mask as bits, the first lane lowest.
template <class D, class M> HWY_INLINE std::uint64_t bitsOf(D d, M mask) {
    std::uint64_t bits = 0;
    hn::StoreMaskBits(d, mask, reinterpret_cast<std::uint8_t*>(&bits));
    return bits;
}

/// Which of the 64 bytes at p equal `byte`.
HWY_INLINE std::uint64_t equalMask(const std::uint8_t* p, std::uint8_t byte) {
    const Bytes d;
    const auto wanted = hn::Set(d, byte);
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < 64; i += hn::Lanes(d))
        bits |= bitsOf(d, hn::Eq(hn::LoadU(d, p + i), wanted)) << i;
    return bits;
}

/// Tells at which of 64 places a needle begins.
class Matcher {
  public:
    explicit Matcher(const Needle& needle)
        : probes_(needle.probes().data()),
          count_(needle.probes().size()), rarest_{probes_[0], probes_[count_ > 1 ? 1 : 0],
                                                  probes_[count_ > 2 ? 2 : 0]} {}

    /// REQUIRES: 64 + needle size bytes at p may be read.
    HWY_INLINE std::uint64_t startsAt(const std::uint8_t* p) const {
        std::uint64_t starts = 0;
        const Bytes d;
        for (std::size_t i = 0; i < 64; i += hn::Lanes(d))
            starts |= bitsOf(d, rarestAt(p + i)) << i;
        // Where the rarest bytes stand the others nearly always do: the loop is well predicted.
        for (std::size_t i = rarest_.size(); i < count_ && starts != 0; ++i)
            starts &= equalMask(p + probes_[i].position, probes_[i].byte);
        return starts;
    }

    /// The same for one letter, where a second comparison would be wasted.
    HWY_INLINE std::uint64_t singleStartsAt(const std::uint8_t* p) const {
        return equalMask(p, rarest_[0].byte);
    }

    /// Whether the rarest bytes stand at any of the 64 places: no bits are made.
    HWY_INLINE bool mayStart(const std::uint8_t* p) const {
        const Bytes d;
        auto any = hn::Zero(d);
        for (std::size_t i = 0; i < 64; i += hn::Lanes(d))
            any = hn::Or(any, hn::VecFromMask(d, rarestAt(p + i)));
        return !hn::AllFalse(d, hn::MaskFromVec(any));
    }

  private:
    /// The places from p at which all of the rarest bytes stand, without a branch.
    HWY_INLINE hn::Mask<Bytes> rarestAt(const std::uint8_t* p) const {
        const Bytes d;
        const auto equal = [&](const Needle::Probe& probe) HWY_ATTR {
            return hn::Eq(hn::LoadU(d, p + probe.position), hn::Set(d, probe.byte));
        };
        return hn::And(hn::And(equal(rarest_[0]), equal(rarest_[1])), equal(rarest_[2]));
    }

    const Needle::Probe* probes_;
    std::size_t count_;
    /// Three leave few false places even when every letter of the needle is common.
    std::array<Needle::Probe, 3> rarest_;
};

// Offsets may be anything in a catalogue whose file is damaged: what is found then means nothing,
// but no more is read than the published heap and no more is written than the block's words.

/// End of the block's names, in the heap.
HWY_INLINE std::size_t endOf(const NameBlock& names) {
    return std::min<std::size_t>(names.offsets[names.entries],
                                 static_cast<std::size_t>(names.limit - names.heap));
}

/// Bytes of a name; the difference of two 32-bit offsets.
HWY_INLINE std::size_t lengthOf(const NameBlock& names, std::size_t entry) {
    const std::uint32_t length = names.offsets[entry + 1] - names.offsets[entry] - 1;
    return std::min(length, longestName);
}

/// 64 heap bytes with everything that a matcher may read behind them: in place, or near the end of
/// the heap as a copy that is filled up with NUL.
class Window {
  public:
    Window(const NameBlock& names, const Needle& needle)
        : lastInPlace_(names.limit - names.heap - static_cast<std::ptrdiff_t>(64 + needle.size())),
          heap_(reinterpret_cast<const std::uint8_t*>(names.heap)), end_(names.limit - names.heap) {
    }

    HWY_INLINE const std::uint8_t* at(std::size_t offset) {
        const auto position = static_cast<std::ptrdiff_t>(offset);
        return HWY_LIKELY(position <= lastInPlace_) ? heap_ + offset : copyOf(position);
    }

  private:
    HWY_NOINLINE const std::uint8_t* copyOf(std::ptrdiff_t position) {
        std::memset(copy_, 0, sizeof copy_);
        const auto left = std::min<std::ptrdiff_t>(end_ - position, sizeof copy_);
        if (left > 0)
            std::memcpy(copy_, heap_ + position, static_cast<std::size_t>(left));
        return copy_;
    }

    std::ptrdiff_t lastInPlace_;
    const std::uint8_t* heap_;
    std::ptrdiff_t end_;
    std::uint8_t copy_[64 + Needle::maxLength];
};

/// Appends runs of bits to words, as far as there are words: the heap of a damaged catalogue may
/// end more names than it has.
class BitAppender {
  public:
    BitAppender(std::uint64_t* out, std::size_t words) : out_(out), end_(out + words) {}

    HWY_INLINE void append(std::uint64_t bits, unsigned count) {
        word_ |= bits << fill_;
        fill_ += count;
        if (fill_ >= 64) {
            if (HWY_LIKELY(out_ != end_))
                *out_++ = word_;
            fill_ -= 64;
            word_ = fill_ == 0 ? 0 : bits >> (count - fill_);
        }
    }

    void flush() {
        if (fill_ > 0 && out_ != end_)
            *out_ = word_;
    }

  private:
    std::uint64_t* out_;
    std::uint64_t* end_;
    std::uint64_t word_ = 0;
    unsigned fill_ = 0;
};

/// For each 64 bytes: M marks where the needle begins, Z the NULs. Adding M to ~Z carries each
/// match through the rest of its name onto the name's NUL, also across the 64 bytes' end; the NULs'
/// bits, moved together, are then the entries' bits in id order.
template <bool single>
void matchDenseLoop(const NameBlock& names, const Needle& needle, std::uint64_t* out) {
    const Matcher matcher(needle);
    Window window(names, needle);
    BitAppender entries(out, (names.entries + 63) / 64);
    std::uint64_t carry = 0;
    const std::size_t end = endOf(names);
    for (std::size_t offset = names.offsets[0]; offset < end; offset += 64) {
        const std::uint8_t* p = window.at(offset);
        const std::uint64_t inside = lowBits(end - offset);
        const std::uint64_t starts =
            (single ? matcher.singleStartsAt(p) : matcher.startsAt(p)) & inside;
        const std::uint64_t nuls = equalMask(p, 0) & inside;
        const std::uint64_t sum = ~nuls + starts;
        const std::uint64_t carried = sum + carry;
        carry = std::uint64_t{sum < starts} | std::uint64_t{carried < carry};
        entries.append(gatherBits(carried, nuls), static_cast<unsigned>(std::popcount(nuls)));
    }
    entries.flush();
}

void matchDense(const NameBlock& names, const Needle& needle, std::uint64_t* out) {
    if (needle.size() == 1)
        matchDenseLoop<true>(names, needle, out);
    else
        matchDenseLoop<false>(names, needle, out);
}

/// Index of the entry whose name holds heap offset `offset`; at or after `from`.
HWY_INLINE std::size_t entryAt(const NameBlock& names, std::size_t from, std::size_t offset) {
    std::size_t step = 1;
    std::size_t low = from;
    while (low + step < names.entries && names.offsets[low + step] <= offset) {
        low += step;
        step *= 2;
    }
    const std::size_t high = std::min(low + step, names.entries);
    return static_cast<std::size_t>(
               std::upper_bound(names.offsets + low + 1, names.offsets + high, offset) -
               names.offsets) -
           1;
}

void matchSparse(const NameBlock& names, const Needle& needle, std::uint64_t* out) {
    std::fill_n(out, (names.entries + 63) / 64, 0);
    const Matcher matcher(needle);
    Window window(names, needle);
    const std::size_t end = endOf(names);
    std::size_t entry = 0;
    std::size_t nextName = names.offsets[0]; // everything before it has been decided
    for (std::size_t offset = names.offsets[0]; offset < end; offset += 64) {
        const std::uint8_t* p = window.at(offset);
        if (HWY_LIKELY(!matcher.mayStart(p)))
            continue;
        std::uint64_t starts = matcher.startsAt(p) & lowBits(end - offset);
        for (; starts != 0; starts &= starts - 1) {
            const std::size_t place = offset + static_cast<std::size_t>(std::countr_zero(starts));
            if (place < nextName)
                continue;
            entry = entryAt(names, entry, place);
            nextName = names.offsets[entry + 1];
            out[entry / 64] |= std::uint64_t{1} << (entry % 64);
        }
    }
}

/// Whether a name of `length` bytes at heap offset `begin` holds the needle.
HWY_INLINE bool holds(Window& window,
                      const Matcher& matcher,
                      const Needle& needle,
                      std::size_t begin,
                      std::size_t length) {
    const std::size_t places = length < needle.size() ? 0 : length - needle.size() + 1;
    if (HWY_LIKELY(places <= 64))
        return (matcher.startsAt(window.at(begin)) & lowBits(places)) != 0;
    for (std::size_t i = 0; i < places; i += 64)
        if ((matcher.startsAt(window.at(begin + i)) & lowBits(places - i)) != 0)
            return true;
    return false;
}

/// Asks for the names of a word's entries: too far apart to be fetched ahead by themselves.
HWY_INLINE void prefetchNames(const NameBlock& names, std::size_t firstEntry, std::uint64_t bits) {
    for (; bits != 0; bits &= bits - 1)
        hwy::Prefetch(names.heap +
                      names.offsets[firstEntry + static_cast<std::size_t>(std::countr_zero(bits))]);
}

void matchListed(const NameBlock& names, const Needle& needle, std::uint64_t* bits) {
    const Matcher matcher(needle);
    Window window(names, needle);
    for (std::size_t w = 0, words = (names.entries + 63) / 64; w < words; ++w) {
        if (w + 1 < words)
            prefetchNames(names, (w + 1) * 64, bits[w + 1]);
        std::uint64_t found = 0;
        for (std::uint64_t left = bits[w]; left != 0; left &= left - 1) {
            const auto bit = static_cast<std::size_t>(std::countr_zero(left));
            const std::size_t begin = names.offsets[w * 64 + bit];
            const std::size_t length = lengthOf(names, w * 64 + bit);
            found |= std::uint64_t{holds(window, matcher, needle, begin, length)} << bit;
        }
        bits[w] = found;
    }
}

/// Copies up to 64 values that other threads may be changing, and fills up with zeros.
template <typename T> HWY_INLINE void copyRelaxed(T* to, const T* from, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        to[i] = __atomic_load_n(from + i, __ATOMIC_RELAXED);
    std::fill(to + count, to + 64, T{0});
}

/// Clears the bits of each 64 values for which test(values) returns zeros; words without any bit
/// set are not tested.
///
/// Values are loaded by whole vectors. A value that is being changed meanwhile is read as the old
/// or the new one, since no vector load of any supported processor splits an aligned value; going
/// through relaxed 64-bit loads and a copy instead took 1.6 to 1.9 times one read of the column,
/// this takes 1.0 to 1.2. The thread sanitizer does not know that and is shown the relaxed loads.
template <typename T, typename Test>
HWY_INLINE void testColumn(const T* column, std::size_t entries, std::uint64_t* bits, Test&& test) {
#if HWY_IS_TSAN || defined(__SANITIZE_THREAD__) // clang, g++
    constexpr bool loadsVectors = false;
#else
    constexpr bool loadsVectors = true;
#endif
    for (std::size_t i = 0; i < entries; i += 64) {
        std::uint64_t& word = bits[i / 64];
        if (word == 0)
            continue;
        if (loadsVectors && i + 64 <= entries) {
            word &= test(column + i);
        } else {
            alignas(64) T copy[64];
            copyRelaxed(copy, column + i, std::min<std::size_t>(64, entries - i));
            word &= test(copy);
        }
    }
}

/// mask(value vector) for 64 values at p as bits.
template <typename T, typename Mask> HWY_INLINE std::uint64_t mask64(const T* p, Mask&& mask) {
    const hn::CappedTag<T, 64> d;
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < 64; i += hn::Lanes(d))
        bits |= bitsOf(d, mask(d, hn::LoadU(d, p + i))) << i;
    return bits;
}

std::size_t countBits(const std::uint64_t* words, std::size_t count) {
    const hn::ScalableTag<std::uint64_t> d;
    auto sums = hn::Zero(d);
    std::size_t i = 0;
    for (; i + hn::Lanes(d) <= count; i += hn::Lanes(d))
        sums = hn::Add(sums, hn::PopulationCount(hn::LoadU(d, words + i)));
    auto total = static_cast<std::size_t>(hn::GetLane(hn::SumOfLanes(d, sums)));
    for (; i < count; ++i)
        total += static_cast<std::size_t>(std::popcount(words[i]));
    return total;
}

void markRuns(const std::uint32_t* column,
              std::size_t entries,
              std::uint32_t previous,
              std::uint64_t* out) {
    for (std::size_t i = 0; i < entries; i += 64) {
        std::uint64_t bits = 0;
        if (i > 0 && i + 64 <= entries) {
            const hn::CappedTag<std::uint32_t, 64> d;
            for (std::size_t k = i; k < i + 64; k += hn::Lanes(d))
                bits |= bitsOf(d, hn::Ne(hn::LoadU(d, column + k), hn::LoadU(d, column + k - 1)))
                        << (k - i);
        } else {
            for (std::size_t k = i; k < std::min(entries, i + 64); ++k)
                bits |= std::uint64_t{column[k] != (k == 0 ? previous : column[k - 1])} << (k - i);
        }
        out[i / 64] = bits;
    }
}

void testFlags(const std::uint8_t* flags,
               std::size_t entries,
               std::uint8_t mask,
               std::uint8_t want,
               std::uint64_t* bits) {
    testColumn(flags, entries, bits, [=](const std::uint8_t* p) HWY_ATTR {
        return mask64(p, [=](auto d, auto v) HWY_ATTR {
            return hn::Eq(hn::And(v, hn::Set(d, mask)), hn::Set(d, want));
        });
    });
}

template <typename T>
HWY_INLINE void
testRange(const T* column, std::size_t entries, T lo, T hi, bool negated, std::uint64_t* bits) {
    const std::uint64_t flip = negated ? 0 : ~std::uint64_t{0};
    // Outside lo … hi is one comparison: value − lo wraps to something larger than hi − lo.
    testColumn(column, entries, bits, [=](const T* p) HWY_ATTR {
        return flip ^ mask64(p, [=](auto d, auto v) HWY_ATTR {
                   return hn::Gt(hn::Sub(v, hn::Set(d, lo)), hn::Set(d, static_cast<T>(hi - lo)));
               });
    });
}

void testRange64(const std::uint64_t* column,
                 std::size_t entries,
                 std::uint64_t lo,
                 std::uint64_t hi,
                 bool negated,
                 std::uint64_t* bits) {
    testRange(column, entries, lo, hi, negated, bits);
}

void testRange32(const std::uint32_t* column,
                 std::size_t entries,
                 std::uint32_t lo,
                 std::uint32_t hi,
                 bool negated,
                 std::uint64_t* bits) {
    testRange(column, entries, lo, hi, negated, bits);
}

void testAnyOf16(const std::uint16_t* column,
                 std::size_t entries,
                 const std::uint16_t* wanted,
                 std::size_t wantedCount,
                 bool negated,
                 std::uint64_t* bits) {
    const std::uint64_t flip = negated ? ~std::uint64_t{0} : 0;
    testColumn(column, entries, bits, [=](const std::uint16_t* p) HWY_ATTR {
        std::uint64_t any = 0;
        for (std::size_t k = 0; k < wantedCount; ++k)
            any |= mask64(p, [=](auto d, auto v)
                                 HWY_ATTR { return hn::Eq(v, hn::Set(d, wanted[k])); });
        return any ^ flip;
    });
}

} // namespace quarrydex::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace quarrydex {

HWY_EXPORT(matchDense);
HWY_EXPORT(matchSparse);
HWY_EXPORT(matchListed);
HWY_EXPORT(countBits);
HWY_EXPORT(markRuns);
HWY_EXPORT(testFlags);
HWY_EXPORT(testRange64);
HWY_EXPORT(testRange32);
HWY_EXPORT(testAnyOf16);

namespace kernels {

void matchDense(const NameBlock& names, const Needle& needle, std::uint64_t* out) {
    HWY_DYNAMIC_DISPATCH(matchDense)(names, needle, out);
}

void matchSparse(const NameBlock& names, const Needle& needle, std::uint64_t* out) {
    HWY_DYNAMIC_DISPATCH(matchSparse)(names, needle, out);
}

void matchListed(const NameBlock& names, const Needle& needle, std::uint64_t* bits) {
    HWY_DYNAMIC_DISPATCH(matchListed)(names, needle, bits);
}

std::size_t countBits(std::span<const std::uint64_t> words) {
    return HWY_DYNAMIC_DISPATCH(countBits)(words.data(), words.size());
}

void markRuns(const std::uint32_t* column,
              std::size_t entries,
              std::uint32_t previous,
              std::uint64_t* out) {
    HWY_DYNAMIC_DISPATCH(markRuns)(column, entries, previous, out);
}

void testFlags(const std::uint8_t* flags,
               std::size_t entries,
               std::uint8_t mask,
               std::uint8_t want,
               std::uint64_t* bits) {
    HWY_DYNAMIC_DISPATCH(testFlags)(flags, entries, mask, want, bits);
}

void testRange64(const std::uint64_t* column,
                 std::size_t entries,
                 std::uint64_t lo,
                 std::uint64_t hi,
                 bool negated,
                 std::uint64_t* bits) {
    HWY_DYNAMIC_DISPATCH(testRange64)(column, entries, lo, hi, negated, bits);
}

void testRange32(const std::uint32_t* column,
                 std::size_t entries,
                 std::uint32_t lo,
                 std::uint32_t hi,
                 bool negated,
                 std::uint64_t* bits) {
    HWY_DYNAMIC_DISPATCH(testRange32)(column, entries, lo, hi, negated, bits);
}

void testAnyOf16(const std::uint16_t* column,
                 std::size_t entries,
                 std::span<const std::uint16_t> wanted,
                 bool negated,
                 std::uint64_t* bits) {
    HWY_DYNAMIC_DISPATCH(testAnyOf16)
    (column, entries, wanted.data(), wanted.size(), negated, bits);
}

} // namespace kernels

} // namespace quarrydex

#endif // HWY_ONCE
