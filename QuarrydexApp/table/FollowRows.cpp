#include "QuarrydexApp/table/FollowRows.h"

#include <algorithm>
#include <cstdint>
#include <unordered_map>

namespace quarrydex {

namespace {

/// How many rows below one that is gone may take its place.
constexpr std::size_t mostHeirs = 64;

/// For followNear(): as far as a row may have moved, and how far apart the rows may lie.
constexpr std::size_t nearRows = 4'096;
constexpr std::size_t mostNearSelected = 1'024;
constexpr std::size_t mostNearSpan = 65'536;

using Range = RowSelection::Range;

class Pass {
  public:
    Pass(const RowsOf& from, const RowsOf& to) : from_(from), to_(to) {
        for (const auto& index : from.indexes)
            newVolume_.push_back(volumeOf(index.get()));
        for (const auto& index : to.indexes)
            selected_.emplace_back(index->count() / 64 + 1);
    }

    void select(const RowSelection& rows) {
        for (const Range& range : rows.ranges())
            for (std::size_t at = range.begin; at < range.end; ++at)
                if (const auto row = inNew(at))
                    setBit(*row);
    }

    /// Looks for the row and those below it.
    void seek(std::size_t at, std::size_t heirs) {
        const std::size_t end = std::min(from_.rows.size(), at + heirs + 1);
        for (; at < end; ++at)
            if (const auto row = inNew(at))
                sought_.emplace(*row, notFound);
    }

    /// Walks a range of the new rows.
    void run(Range range) {
        for (std::size_t at = range.begin; at < range.end; ++at) {
            const Row row = to_.rows[at];
            if (hasBit(row))
                found_.append(at);
            if (isSought(row))
                sought_[row] = at;
        }
    }

    [[nodiscard]] const RowSelection& found() const { return found_; }

    /// The new place of the first of the rows at … at + heirs that is still there.
    [[nodiscard]] std::optional<std::size_t> placeOf(std::size_t at, std::size_t heirs) const {
        const std::size_t end = std::min(from_.rows.size(), at + heirs + 1);
        for (; at < end; ++at) {
            const auto row = inNew(at);
            const auto known = row ? sought_.find(*row) : sought_.end();
            if (known != sought_.end() && known->second != notFound)
                return known->second;
        }
        return std::nullopt;
    }

    /// Prepares the quick test that run() makes for each row.
    void prepare() {
        for (const auto& [row, place] : sought_)
            filter_[filterPlace(row)] = true;
    }

  private:
    static constexpr std::size_t notFound = ~std::size_t{0};
    static constexpr std::uint32_t noVolume = ~std::uint32_t{0};

    static std::size_t filterPlace(Row row) { return rowEntry(row) % filterSize; }

    [[nodiscard]] bool isSought(Row row) const {
        return filter_[filterPlace(row)] && sought_.contains(row);
    }

    [[nodiscard]] std::uint32_t volumeOf(const VolumeIndex* index) const {
        for (std::uint32_t v = 0; v < to_.indexes.size(); ++v)
            if (to_.indexes[v].get() == index)
                return v;
        return noVolume;
    }

    /// An old row as the new result would have it.
    [[nodiscard]] std::optional<Row> inNew(std::size_t at) const {
        const Row row = from_.rows[at];
        const std::uint32_t volume = newVolume_[rowVolume(row)];
        return volume == noVolume ? std::nullopt : std::optional(makeRow(volume, rowEntry(row)));
    }

    void setBit(Row row) {
        auto& words = selected_[rowVolume(row)];
        if (rowEntry(row) / 64 < words.size())
            words[rowEntry(row) / 64] |= std::uint64_t{1} << (rowEntry(row) % 64);
    }

    [[nodiscard]] bool hasBit(Row row) const {
        const auto& words = selected_[rowVolume(row)];
        return rowEntry(row) / 64 < words.size() &&
               (words[rowEntry(row) / 64] >> (rowEntry(row) % 64) & 1) != 0;
    }

    static constexpr std::size_t filterSize = 4'096;

    const RowsOf& from_;
    const RowsOf& to_;
    std::vector<std::uint32_t> newVolume_;             ///< by old position
    std::vector<std::vector<std::uint64_t>> selected_; ///< by new position, a bit an entry
    std::unordered_map<Row, std::size_t> sought_;      ///< new rows and where they were found
    std::vector<bool> filter_ = std::vector<bool>(filterSize);
    RowSelection found_;
};

std::size_t clamped(std::size_t at, const RowsOf& to) {
    return to.rows.empty() ? 0 : std::min(at, to.rows.size() - 1);
}

Places result(const Pass& pass, const RowsOf& to, const Places& places) {
    Places out;
    out.selected = pass.found();
    out.top = pass.placeOf(places.top, mostHeirs).value_or(clamped(places.top, to));
    if (places.anchor)
        out.anchor = pass.placeOf(*places.anchor, 0);
    if (places.current && !to.rows.empty())
        out.current =
            pass.placeOf(*places.current, mostHeirs).value_or(clamped(*places.current, to));
    return out;
}

Range spanOf(const Places& places) {
    Range span{places.top, places.top + 1};
    const auto include = [&](std::size_t begin, std::size_t end) {
        span = {std::min(span.begin, begin), std::max(span.end, end)};
    };
    if (!places.selected.empty())
        include(places.selected.first(), places.selected.ranges().back().end);
    for (const auto& spot : {places.current, places.anchor})
        if (spot)
            include(*spot, *spot + 1);
    return span;
}

} // namespace

Places follow(const RowsOf& from, const RowsOf& to, const Places& places) {
    Pass pass(from, to);
    pass.select(places.selected);
    pass.seek(places.top, mostHeirs);
    if (places.current)
        pass.seek(*places.current, mostHeirs);
    if (places.anchor)
        pass.seek(*places.anchor, 0);
    pass.prepare();
    pass.run({0, to.rows.size()});
    return result(pass, to, places);
}

std::optional<Places> followNear(const RowsOf& from, const RowsOf& to, const Places& places) {
    const Range span = spanOf(places);
    if (places.selected.count() > mostNearSelected || span.end - span.begin > mostNearSpan ||
        span.end > from.rows.size())
        return std::nullopt;
    Pass pass(from, to);
    pass.select(places.selected);
    for (const auto& spot : {std::optional(places.top), places.current, places.anchor})
        if (spot)
            pass.seek(*spot, 0);
    pass.prepare();
    pass.run({std::min(to.rows.size(), span.begin - std::min(span.begin, nearRows)),
              std::min(to.rows.size(), span.end + nearRows)});
    const bool allAreThere = pass.found().count() == places.selected.count() &&
                             pass.placeOf(places.top, 0) &&
                             (!places.current || pass.placeOf(*places.current, 0)) &&
                             (!places.anchor || pass.placeOf(*places.anchor, 0));
    return allAreThere ? std::optional(result(pass, to, places)) : std::nullopt;
}

} // namespace quarrydex
