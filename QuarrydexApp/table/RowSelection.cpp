#include "QuarrydexApp/table/RowSelection.h"

#include <algorithm>

namespace quarrydex {

bool RowSelection::contains(std::size_t row) const {
    const auto after = std::ranges::upper_bound(ranges_, row, {}, &Range::begin);
    return after != ranges_.begin() && row < std::prev(after)->end;
}

void RowSelection::clear() {
    ranges_.clear();
    count_ = 0;
}

void RowSelection::add(Range range) {
    if (range.begin >= range.end)
        return;
    // Those that touch the new one become part of it.
    const auto first = std::ranges::lower_bound(ranges_, range.begin, {}, &Range::end);
    const auto last = std::ranges::upper_bound(ranges_, range.end, {}, &Range::begin);
    for (auto it = first; it != last; ++it) {
        range = {std::min(range.begin, it->begin), std::max(range.end, it->end)};
        count_ -= it->end - it->begin;
    }
    count_ += range.end - range.begin;
    ranges_.insert(ranges_.erase(first, last), range);
}

void RowSelection::remove(Range range) {
    if (range.begin >= range.end)
        return;
    const auto first = std::ranges::upper_bound(ranges_, range.begin, {}, &Range::end);
    const auto last = std::ranges::lower_bound(ranges_, range.end, {}, &Range::begin);
    std::vector<Range> left;
    for (auto it = first; it != last; ++it) {
        count_ -= it->end - it->begin;
        if (it->begin < range.begin)
            left.push_back({it->begin, range.begin});
        if (it->end > range.end)
            left.push_back({range.end, it->end});
    }
    for (const Range& rest : left)
        count_ += rest.end - rest.begin;
    const auto at = ranges_.erase(first, last);
    ranges_.insert(at, left.begin(), left.end());
}

void RowSelection::toggle(std::size_t row) {
    if (contains(row))
        remove({row, row + 1});
    else
        add({row, row + 1});
}

void RowSelection::append(std::size_t row) {
    if (!ranges_.empty() && ranges_.back().end == row)
        ++ranges_.back().end;
    else
        ranges_.push_back({row, row + 1});
    ++count_;
}

} // namespace quarrydex
