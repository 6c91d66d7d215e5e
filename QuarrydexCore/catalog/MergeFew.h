/// Merging a few items into many that are in order already.
/// Threads: any; no state.
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

namespace quarrydex {

/// Two lists in the order of `before` as one, cut at `limit`. `few` is the much shorter one: the
/// place of each of its items is found by doubling steps and a binary search, so that few
/// comparisons are made. Where neither stands before the other, the item of `few` comes first.
template <typename T, typename Before>
[[nodiscard]] std::vector<T>
mergeFew(std::span<const T> many, std::span<const T> few, std::size_t limit, const Before& before) {
    std::vector<T> out;
    out.reserve(std::min(limit, many.size() + few.size()));
    for (const T& item : few) {
        std::size_t step = 1;
        while (step < many.size() && before(many[step - 1], item))
            step *= 2;
        const auto searched = many.first(std::min(step, many.size()));
        const auto place = std::lower_bound(searched.begin(), searched.end(), item, before);
        out.insert(out.end(), searched.begin(), place);
        out.push_back(item);
        many = many.subspan(static_cast<std::size_t>(place - searched.begin()));
        if (out.size() >= limit)
            break;
    }
    if (out.size() < limit)
        out.insert(out.end(), many.begin(),
                   many.begin() + std::min(many.size(), limit - out.size()));
    out.resize(std::min(out.size(), limit));
    return out;
}

} // namespace quarrydex
