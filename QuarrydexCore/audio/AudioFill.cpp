/// Audio conditions over whole columns.
///
/// A condition is tested row by row in one pass of its column (AudioKernels.h); the bits of the
/// rows are then spread to the entries that the rows belong to, a word at a time.
#include "QuarrydexCore/audio/AudioKernels.h"
#include "QuarrydexCore/audio/AudioTable.h"
#include "QuarrydexCore/base/Bits.h"
#include "QuarrydexCore/text/Fold.h"

#include <algorithm>
#include <limits>

namespace quarrydex {

namespace {

using audioKernels::SmallSet;

/// The values that are known (not 0) and lie in lo … hi.
template <typename T>
void testKnown(const std::vector<T>& column, const AudioCond& cond, BitWords& rows) {
    const auto lo = std::max<std::int64_t>(cond.lo, 1);
    const auto hi = std::min<std::int64_t>(cond.hi, std::numeric_limits<T>::max());
    if (lo <= hi)
        audioKernels::testRange(column, static_cast<T>(lo), static_cast<T>(hi), rows.data());
}

static_assert(audioCodecCount < SmallSet().size(), "the last place is for numbers of no codec");

SmallSet losslessCodecs(bool flag) {
    SmallSet set{};
    for (std::uint8_t raw = 0; raw < set.size(); ++raw)
        set[raw] = isLossless(audioCodecFromRaw(raw).value_or(AudioCodec::unknown)) == flag;
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
              BitWords& rows) {
    if (folded.empty()) {
        for (std::size_t row = 0; row < offsets.size(); ++row)
            if (!TextPool::textAt(pool, offsets[row]).empty())
                setBit(rows, row);
        return;
    }
    if (folded.find('\0') != std::string_view::npos)
        return; // no stored text holds one
    const audioKernels::TextBits texts = audioKernels::findTexts(pool, folded);
    if (!texts.empty())
        audioKernels::testTexts(offsets, texts, rows.data());
}

/// Sets the bits of the rows that satisfy the condition.
void test(const AudioTable::Cols& cols, const AudioCond& cond, BitWords& rows) {
    const auto known = [&](const auto& column) { testKnown(column, cond, rows); };
    const auto text = [&](const auto& column) {
        testText(cols.pool, column, fold(cond.text), rows);
    };
    const auto codec = [&](const SmallSet& wanted) {
        audioKernels::testSmallSet(cols.codec, wanted, rows.data());
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
    BitWords rows(audioKernels::rowWords(cols.count()));
    test(cols, cond, rows);
    audioKernels::setEntries(rows, cols.words, entries, bits);
}

} // namespace quarrydex
