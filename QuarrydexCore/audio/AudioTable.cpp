#include "QuarrydexCore/audio/AudioTable.h"

#include "QuarrydexCore/audio/AudioColumns.h"
#include "QuarrydexCore/base/Bits.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace quarrydex {

namespace {

/// The order in which a batch is merged: by entry, the last of several rows for one entry alone.
std::vector<std::size_t> mergeOrder(std::span<const AudioTable::Analysed> rows) {
    std::vector<std::size_t> order(rows.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, {}, [&](std::size_t i) { return rows[i].entry; });
    const auto sameEntry = [&](std::size_t a, std::size_t b) {
        return rows[a].entry == rows[b].entry;
    };
    const auto lastOfEach = std::unique(order.rbegin(), order.rend(), sameEntry);
    order.erase(order.begin(), lastOfEach.base());
    return order;
}

/// Appends the rows first … last − 1 of other columns, texts by their offsets.
void appendRows(AudioTable::Cols& to,
                const AudioTable::Cols& from,
                std::size_t first,
                std::size_t last) {
    forEachAudioColumn([&](auto column) {
        const auto begin = (from.*column).begin();
        (to.*column)
            .insert((to.*column).end(), begin + static_cast<std::ptrdiff_t>(first),
                    begin + static_cast<std::ptrdiff_t>(last));
    });
}

} // namespace

AudioTable::AudioTable() : cols_(std::make_shared<const Cols>()) {}

AudioTable::AudioTable(Cols loaded) : pool_(loaded.pool), textsAdopted_(false) {
    loaded.words = EntryWords(loaded.entry);
    loaded.pool = pool_.bytes();
    loaded.poolMemory = pool_.memory();
    cols_ = std::make_shared<const Cols>(std::move(loaded));
}

std::shared_ptr<const AudioTable::Cols> AudioTable::snapshot() const {
    const MutexLock held(lock_);
    return cols_;
}

std::int64_t AudioTable::version() const {
    const MutexLock held(lock_);
    return version_;
}

std::optional<std::size_t> AudioTable::row(EntryId entry, const Cols& cols) {
    const auto found = std::ranges::lower_bound(cols.entry, entry);
    if (found == cols.entry.end() || *found != entry)
        return std::nullopt;
    return static_cast<std::size_t>(found - cols.entry.begin());
}

std::optional<AudioMeta> AudioTable::meta(EntryId entry) const {
    const std::shared_ptr<const Cols> cols = snapshot();
    const std::optional<std::size_t> at = row(entry, *cols);
    return at ? std::optional(meta(*cols, *at)) : std::nullopt;
}

AudioMeta AudioTable::meta(const Cols& cols, std::size_t row) {
    const auto text = [&](const std::vector<std::uint32_t>& column) {
        return std::string(TextPool::textAt(cols.pool, column[row]));
    };
    return {.durationMs = cols.dur[row],
            .bitrateKbps = cols.bitrate[row],
            .sampleRate = cols.rate[row],
            .bits = cols.bits[row],
            .channels = cols.channels[row],
            .codec = audioCodecFromRaw(cols.codec[row]).value_or(AudioCodec::unknown),
            .vbr = (cols.flags[row] & vbrFlag) != 0,
            .bpm10 = cols.bpm[row],
            .year = cols.year[row],
            .artist = text(cols.artist),
            .title = text(cols.title),
            .album = text(cols.album),
            .genre = text(cols.genre),
            .key = text(cols.key)};
}

std::optional<std::uint32_t> AudioTable::analyzedMTime(EntryId entry) const {
    const std::shared_ptr<const Cols> cols = snapshot();
    const std::optional<std::size_t> at = row(entry, *cols);
    return at ? std::optional(cols->mtime[*at]) : std::nullopt;
}

void AudioTable::upsert(std::span<const Analysed> rows) {
    if (rows.empty())
        return;
    const std::vector<std::size_t> order = mergeOrder(rows);
    const MutexLock writing(writeLock_);
    const std::shared_ptr<const Cols> old = snapshot();
    if (!std::exchange(textsAdopted_, true))
        adoptTexts(*old);

    auto fresh = std::make_shared<Cols>();
    forEachAudioColumn(
        [&](auto column) { ((*fresh).*column).reserve(old->count() + order.size()); });
    std::size_t next = 0; // the first old row that has not been merged
    for (std::size_t i : order) {
        const auto from = old->entry.begin() + static_cast<std::ptrdiff_t>(next);
        const auto at = std::lower_bound(from, old->entry.end(), rows[i].entry);
        const auto until = static_cast<std::size_t>(at - old->entry.begin());
        appendRows(*fresh, *old, next, until);
        push(rows[i], *fresh);
        next = until + (at != old->entry.end() && *at == rows[i].entry ? 1 : 0);
    }
    appendRows(*fresh, *old, next, old->count());
    fresh->words = EntryWords(fresh->entry);
    fresh->pool = pool_.bytes();
    fresh->poolMemory = pool_.memory();

    const MutexLock held(lock_);
    cols_ = std::move(fresh);
    ++version_;
}

void AudioTable::push(const Analysed& row, Cols& into) {
    const AudioMeta& meta = row.meta;
    into.entry.push_back(row.entry);
    into.mtime.push_back(row.mtime);
    into.dur.push_back(meta.durationMs);
    into.rate.push_back(meta.sampleRate);
    into.bitrate.push_back(meta.bitrateKbps);
    into.bpm.push_back(meta.bpm10);
    into.year.push_back(meta.year);
    into.bits.push_back(meta.bits);
    into.channels.push_back(meta.channels);
    into.codec.push_back(static_cast<std::uint8_t>(meta.codec));
    into.flags.push_back(meta.vbr ? vbrFlag : std::uint8_t{0});
    into.artist.push_back(pool_.intern(meta.artist));
    into.title.push_back(pool_.append(meta.title));
    into.album.push_back(pool_.intern(meta.album));
    into.genre.push_back(pool_.intern(meta.genre));
    into.key.push_back(pool_.intern(meta.key));
}

void AudioTable::adoptTexts(const Cols& cols) {
    BitWords seen(bitWords(cols.pool.size()));
    for (auto column : {&Cols::artist, &Cols::album, &Cols::genre, &Cols::key}) {
        for (std::uint32_t offset : cols.*column) {
            if (offset >= cols.pool.size() || testBit(seen, offset))
                continue;
            setBit(seen, offset);
            pool_.adopt(offset);
        }
    }
}

} // namespace quarrydex
