/// Audio conditions over whole columns.
///
/// A condition is tested a block of rows at a time (AudioKernels.h); the bits of the rows are then
/// spread to the entries that the rows belong to, a word at a time, while they are still in the
/// nearest cache.
#include "QuarrydexCore/audio/AudioKernels.h"
#include "QuarrydexCore/audio/AudioTable.h"
#include "QuarrydexCore/base/Bits.h"
#include "QuarrydexCore/text/Fold.h"

#include <algorithm>
#include <array>
#include <limits>

namespace quarrydex {

namespace {

using audioKernels::SmallSet;

/// Sets the bits of entries block by block, with what a test says of the block's rows.
class Spread {
  public:
    Spread(const AudioTable::Cols& cols, std::size_t entries, std::span<std::uint64_t> bits)
        : cols_(cols), entries_(entries), bits_(bits) {}

    /// test(column, rows) sets `rows` to the bits of that part of the column.
    template <typename T, typename Test>
    void each(const std::vector<T>& column, Test&& test) const {
        const EntryWords& words = cols_.words;
        const auto wanted = static_cast<std::size_t>(
            std::ranges::upper_bound(words.place, entries_ / 64) - words.place.begin());
        // In the word in which the entries end, rows may lie that are not wanted.
        std::uint64_t& last = bits_[entries_ / 64];
        const std::uint64_t before = last;
        constexpr std::size_t step = EntryWords::blockWords;
        std::array<std::uint64_t, step + 1> rows{}; // the bits of a word are taken from two
        for (std::size_t begin = 0; begin < wanted; begin += step) {
            const std::size_t row = words.rowsBefore[begin / step];
            const std::size_t end = words.rowsBefore[begin / step + 1];
            test(std::span(column).subspan(row, end - row), rows.data());
            const std::size_t count = std::min(step, wanted - begin);
            audioKernels::setEntries(rows.data(), std::span(words.place).subspan(begin, count),
                                     std::span(words.bits).subspan(begin, count), bits_.data());
        }
        last = before | (last & lowBits(entries_ % 64));
    }

  private:
    const AudioTable::Cols& cols_;
    std::size_t entries_;
    std::span<std::uint64_t> bits_;
};

/// The values that are known (not 0) and lie in lo … hi.
template <typename T>
void testKnown(const std::vector<T>& column, const AudioCond& cond, const Spread& spread) {
    const auto lo = std::max<std::int64_t>(cond.lo, 1);
    const auto hi = std::min<std::int64_t>(cond.hi, std::numeric_limits<T>::max());
    if (lo > hi)
        return;
    spread.each(column, [&](std::span<const T> values, std::uint64_t* rows) {
        audioKernels::testRange(values, static_cast<T>(lo), static_cast<T>(hi), rows);
    });
}

static_assert(audioCodecCount < SmallSet().size(), "the last place is for numbers of no codec");

SmallSet losslessCodecs(bool flag) {
    SmallSet set{};
    for (std::size_t raw = 0; raw < set.size(); ++raw) {
        const auto codec = audioCodecFromRaw(static_cast<std::uint8_t>(raw));
        set[raw] = isLossless(codec.value_or(AudioCodec::unknown)) == flag;
    }
    return set;
}

SmallSet codecsLabelled(std::string_view folded) {
    SmallSet set{};
    for (std::uint8_t raw = 0; raw < audioCodecCount; ++raw) {
        const std::string name = fold(label(static_cast<AudioCodec>(raw)));
        set[raw] = !name.empty() && name.find(folded) != std::string::npos;
    }
    return set;
}

/// `folded`: the text looked for; an empty one finds the rows that have any.
void testText(std::string_view pool,
              const std::vector<std::uint32_t>& offsets,
              std::string_view folded,
              const Spread& spread) {
    if (folded.empty()) {
        spread.each(offsets, [&](std::span<const std::uint32_t> some, std::uint64_t* rows) {
            std::fill_n(rows, bitWords(some.size()), 0);
            for (std::size_t row = 0; row < some.size(); ++row)
                if (!TextPool::textAt(pool, some[row]).empty())
                    setBit({rows, bitWords(some.size())}, row);
        });
        return;
    }
    if (folded.find('\0') != std::string_view::npos)
        return; // no stored text holds one
    const audioKernels::TextBits texts = audioKernels::findTexts(pool, folded);
    if (texts.empty())
        return;
    spread.each(offsets, [&](std::span<const std::uint32_t> some, std::uint64_t* rows) {
        audioKernels::testTexts(some, texts, rows);
    });
}

/// Sets the bits of the entries that satisfy the condition.
void test(const AudioTable::Cols& cols, const AudioCond& cond, const Spread& spread) {
    const auto known = [&](const auto& column) { testKnown(column, cond, spread); };
    const auto text = [&](const auto& column) {
        testText(cols.pool, column, fold(cond.text), spread);
    };
    const auto codec = [&](const SmallSet& wanted) {
        spread.each(cols.codec, [&](std::span<const std::uint8_t> values, std::uint64_t* rows) {
            audioKernels::testSmallSet(values, wanted, rows);
        });
    };
    using Field = AudioCond::Field;
    switch (cond.field) {
    case Field::bitrate:
        return known(cols.bitrate);
    case Field::bpm:
        return known(cols.bpm);
    case Field::dur:
        return known(cols.dur);
    case Field::year:
        return known(cols.year);
    case Field::rate:
        return known(cols.rate);
    case Field::bits:
        return known(cols.bits);
    case Field::channels:
        return known(cols.channels);
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
    test(cols, cond, Spread(cols, entries, bits));
}

} // namespace quarrydex
