/// Audio conditions over whole columns.
///
/// Rows are tested 64 at a time: a branch-free loop writes one byte a row, which the compiler turns
/// into vector compares, and the bytes are packed into a mask. Most masks are 0 and cost no more.
#include "QuarrydexCore/audio/AudioTable.h"
#include "QuarrydexCore/base/Bits.h"
#include "QuarrydexCore/text/Fold.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>

namespace quarrydex {

namespace {

constexpr std::size_t blockSize = 64;

/// One byte for each of 64 tests, 0 or 1.
using Marks = std::array<std::uint8_t, blockSize>;

/// The same as one bit a test.
std::uint64_t packed(const Marks& marks) {
    std::array<std::uint64_t, blockSize / 8> words;
    std::memcpy(words.data(), marks.data(), sizeof marks);
    std::uint64_t any = 0;
    for (const std::uint64_t word : words)
        any |= word;
    if (any == 0)
        return 0;
    // Each product gathers eight bytes into its top byte.
    std::uint64_t mask = 0;
    for (std::size_t i = 0; i < words.size(); ++i)
        mask |= (words[i] * 0x0102040810204080U >> 56) << (8 * i);
    return mask;
}

/// Calls use(first, mask) for every block of 64 indices below n that has any with test(index).
template <typename Test, typename Use> void forEachMask(std::size_t n, Test test, Use use) {
    Marks marks;
    std::size_t first = 0;
    for (; n - first >= blockSize; first += blockSize) {
        for (std::size_t i = 0; i < blockSize; ++i)
            marks[i] = static_cast<std::uint8_t>(test(first + i));
        if (const std::uint64_t mask = packed(marks); mask != 0)
            use(first, mask);
    }
    marks.fill(0);
    for (std::size_t i = 0; first + i < n; ++i)
        marks[i] = static_cast<std::uint8_t>(test(first + i));
    if (const std::uint64_t mask = packed(marks); mask != 0)
        use(first, mask);
}

/// Marks the entries of the rows that pass a test.
class RowScan {
  public:
    RowScan(const AudioTable::Cols& cols, std::span<std::uint64_t> bits, std::size_t entries)
        : entry_(cols.entry), bits_(bits),
          rows_(static_cast<std::size_t>(
              std::ranges::lower_bound(
                  cols.entry, entries, {}, [](std::uint32_t id) { return std::size_t{id}; }) -
              cols.entry.begin())) {}

    /// test(row) → bool
    template <typename Test> void mark(Test test) const {
        forEachMask(rows_, test,
                    [this](std::size_t first, std::uint64_t mask) { setEntries(first, mask); });
    }

    /// The values that are known (not 0) and lie in lo … hi.
    template <typename T>
    void markRange(const std::vector<T>& column, std::int64_t lo, std::int64_t hi) const {
        lo = std::max<std::int64_t>(lo, 1);
        hi = std::min<std::int64_t>(hi, std::numeric_limits<T>::max());
        if (lo > hi)
            return;
        // One unsigned compare tests both ends.
        const T least = static_cast<T>(lo);
        const T width = static_cast<T>(hi - lo);
        const T* values = column.data();
        mark([=](std::size_t row) { return static_cast<T>(values[row] - least) <= width; });
    }

  private:
    void setEntries(std::size_t first, std::uint64_t mask) const {
        if (isConsecutive(first, blockSize))
            return setConsecutive(entry_[first], mask);
        // Files of one folder have neighbouring ids, so short runs are common where long ones fail.
        constexpr std::size_t run = 8;
        for (; mask != 0; mask >>= run, first += run) {
            std::uint64_t part = mask & 0xFFU;
            if (isConsecutive(first, run)) {
                setConsecutive(entry_[first], part);
                continue;
            }
            for (; part != 0; part &= part - 1)
                setBit(bits_, entry_[first + static_cast<std::size_t>(std::countr_zero(part))]);
        }
    }

    [[nodiscard]] bool isConsecutive(std::size_t first, std::size_t n) const {
        return first + n <= rows_ && entry_[first + n - 1] - entry_[first] == n - 1;
    }

    void setConsecutive(std::size_t entry, std::uint64_t mask) const {
        const std::size_t shift = entry % 64;
        bits_[entry / 64] |= mask << shift;
        if (const std::uint64_t beyond = shift == 0 ? 0 : mask >> (64 - shift); beyond != 0)
            bits_[entry / 64 + 1] |= beyond;
    }

    std::span<const std::uint32_t> entry_;
    std::span<std::uint64_t> bits_;
    std::size_t rows_; ///< rows of entries below the end of the bitset
};

/// The codec numbers that are wanted, as a table, so that numbers of no codec need no branch.
using CodecSet = std::array<bool, 256>;

CodecSet losslessCodecs(bool flag) {
    CodecSet set{};
    for (std::size_t raw = 0; raw < set.size(); ++raw) {
        const auto codec = audioCodecFromRaw(static_cast<std::uint8_t>(raw));
        set[raw] = isLossless(codec.value_or(AudioCodec::unknown)) == flag;
    }
    return set;
}

CodecSet codecsLabelled(std::string_view folded) {
    CodecSet set{};
    for (std::uint8_t raw = 0; raw < audioCodecCount; ++raw) {
        const std::string name = fold(label(static_cast<AudioCodec>(raw)));
        set[raw] = !name.empty() && name.find(folded) != std::string::npos;
    }
    return set;
}

/// Finds every string of a pool that follows a text and holds a needle.
///
/// One pass over the pool's bytes, whatever texts it holds: where a match lies, the string before
/// the one with the match is the text whose folded copy matched. (When the match lies in a text and
/// not in a folded copy, the string before it is a folded copy, to which no row points.) In blocks
/// without a match nothing else is looked at; the starts of the strings around the next match
/// are then found backwards, never further than what was walked before.
class PoolSearch {
  public:
    /// REQUIRES: needle is not empty.
    PoolSearch(std::string_view pool, std::string_view needle) : pool_(pool), needle_(needle) {
        if (needle.size() > pool.size())
            return;
        const char* firsts = pool.data();
        const char* lasts = firsts + needle.size() - 1;
        const char first = needle.front();
        const char last = needle.back();
        forEachMask(
            pool.size() - needle.size() + 1,
            [=](std::size_t i) { return ((firsts[i] == first) & (lasts[i] == last)) != 0; },
            [this](std::size_t block, std::uint64_t candidates) { visit(block, candidates); });
    }

    /// Bit n: the text that begins at offset n has a folded copy that holds the needle. Empty when
    /// there is none.
    [[nodiscard]] const BitWords& texts() const { return texts_; }

  private:
    void visit(std::size_t block, std::uint64_t candidates) {
        std::uint64_t matches = verified(block, candidates);
        if (matches == 0)
            return;
        if (texts_.empty())
            texts_.resize(bitWords(pool_.size()));
        walkTo(block);
        // String by string and without a branch on the matches, which are hard to foretell.
        for (std::uint64_t ends = nuls(block); ends != 0; ends &= ends - 1) {
            const std::uint64_t before = (ends & (~ends + 1)) - 1;
            keepIf((matches & before) != 0);
            matches &= ~before;
            startString(block + static_cast<std::size_t>(std::countr_zero(ends)) + 1);
        }
        keepIf(matches != 0);
        walked_ = std::min(block + blockSize, pool_.size());
    }

    /// The candidates at which the needle stands; its first and last byte are known to.
    [[nodiscard]] std::uint64_t verified(std::size_t block, std::uint64_t candidates) const {
        if (needle_.size() <= 2)
            return candidates;
        std::uint64_t matches = candidates;
        for (; candidates != 0; candidates &= candidates - 1) {
            const auto bit = static_cast<std::size_t>(std::countr_zero(candidates));
            const char* inner = pool_.data() + block + bit + 1;
            const bool same = std::memcmp(inner, needle_.data() + 1, needle_.size() - 2) == 0;
            matches ^= std::uint64_t{!same} << bit;
        }
        return matches;
    }

    [[nodiscard]] std::uint64_t nuls(std::size_t block) const {
        const std::size_t n = std::min(blockSize, pool_.size() - block);
        std::uint64_t mask = 0;
        forEachMask(
            n, [at = pool_.data() + block](std::size_t i) { return at[i] == '\0'; },
            [&](std::size_t, std::uint64_t found) { mask = found; });
        return mask;
    }

    /// Learns which string runs at `to` and which one stands before it.
    void walkTo(std::size_t to) {
        if (to == walked_)
            return;
        // Most often the block before holds the ends of two strings.
        const std::size_t block = to - blockSize;
        if (const std::uint64_t ends = nuls(block); std::popcount(ends) >= 2) {
            const std::uint64_t last = std::bit_floor(ends);
            previous_ = block + static_cast<std::size_t>(std::bit_width(ends ^ last));
            current_ = block + static_cast<std::size_t>(std::bit_width(last));
            return;
        }
        const std::string_view skipped = pool_.substr(walked_, to - walked_);
        const std::size_t last = skipped.rfind('\0');
        if (last == std::string_view::npos)
            return;
        const std::size_t before = skipped.substr(0, last).rfind('\0');
        if (before != std::string_view::npos)
            startString(walked_ + before + 1);
        startString(walked_ + last + 1);
    }

    void startString(std::size_t start) {
        previous_ = current_;
        current_ = start;
    }

    /// Marks the text before the current string.
    void keepIf(bool matched) {
        texts_[previous_ / 64] |= std::uint64_t{matched} << (previous_ % 64);
    }

    std::string_view pool_;
    std::string_view needle_;
    BitWords texts_;
    std::size_t walked_ = 0;   ///< previous_ and current_ are right at this offset
    std::size_t previous_ = 0; ///< where the string before the current one begins
    std::size_t current_ = 0;
};

void markTexts(const RowScan& scan,
               std::string_view pool,
               const std::vector<std::uint32_t>& column,
               std::string_view folded) {
    const std::uint32_t* offsets = column.data();
    if (folded.find('\0') != std::string_view::npos)
        return; // no stored text holds one
    if (folded.empty()) {
        scan.mark([=](std::size_t row) {
            const std::uint32_t offset = offsets[row];
            return offset != 0 && offset < pool.size() && pool[offset] != '\0';
        });
        return;
    }
    const PoolSearch search(pool, folded);
    if (search.texts().empty())
        return;
    const std::span<const std::uint64_t> texts = search.texts();
    scan.mark([=, size = pool.size()](std::size_t row) {
        const std::uint32_t offset = offsets[row];
        return offset != 0 && offset < size && testBit(texts, offset);
    });
}

} // namespace

void AudioTable::fill(const AudioCond& cond,
                      std::span<std::uint64_t> bits,
                      std::size_t entries) const {
    fill(*snapshot(), cond, bits, entries);
}

void AudioTable::fill(const Cols& cols,
                      const AudioCond& cond,
                      std::span<std::uint64_t> bits,
                      std::size_t entries) {
    const RowScan scan(cols, bits, entries);
    const auto range = [&](const auto& column) { scan.markRange(column, cond.lo, cond.hi); };
    const auto text = [&](const auto& column) {
        markTexts(scan, cols.pool, column, fold(cond.text));
    };
    const auto codec = [&](const CodecSet& wanted) {
        scan.mark(
            [wanted, codes = cols.codec.data()](std::size_t row) { return wanted[codes[row]]; });
    };
    using Field = AudioCond::Field;
    switch (cond.field) {
    case Field::bitrate:
        return range(cols.bitrate);
    case Field::bpm:
        return range(cols.bpm);
    case Field::dur:
        return range(cols.dur);
    case Field::year:
        return range(cols.year);
    case Field::rate:
        return range(cols.rate);
    case Field::bits:
        return range(cols.bits);
    case Field::channels:
        return range(cols.channels);
    case Field::lossless:
        return codec(losslessCodecs(cond.flag));
    case Field::artist:
        return text(cols.artist);
    case Field::title:
        return text(cols.title);
    case Field::album:
        return text(cols.album);
    case Field::genre:
        return text(cols.genre);
    case Field::key:
        return text(cols.key);
    case Field::codec:
        return codec(codecsLabelled(fold(cond.text)));
    }
}

} // namespace quarrydex
