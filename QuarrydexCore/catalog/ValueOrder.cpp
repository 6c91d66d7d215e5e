#include "QuarrydexCore/catalog/ValueOrder.h"

#include "QuarrydexCore/catalog/RadixSort.h"
#include "QuarrydexCore/catalog/Smallest.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace quarrydex {

namespace {

struct Valued {
    std::uint64_t value; ///< complemented to sort descending
    EntryId id;

    bool operator<(const Valued& other) const {
        return value != other.value ? value < other.value : id < other.id;
    }
};

/// Calls f(id, value) for each id. The loop is compiled for each column.
template <typename F>
void forEachValue(const fidx& store, SortKey key, std::span<const EntryId> ids, const F& f) {
    const auto loop = [&](auto* column) {
        for (EntryId id : ids)
            f(id, std::uint64_t{std::atomic_ref(column[id]).load(std::memory_order_relaxed)});
    };
    if (key == SortKey::size)
        loop(store.size);
    else
        loop(key == SortKey::date ? store.mtime : store.ctime);
}

/// Entries by whether their value fits into 32 bits. Those are sorted together with their ids as
/// one number; the others, sizes from 4 GiB on, are few and stand apart at the far end.
struct Split {
    std::unique_ptr<std::uint64_t[]> narrow; ///< [count] value << 32 | id; room for all
    std::size_t count = 0;
    std::vector<Valued> wide;
};

Split split(const fidx& store, SortKey key, bool descending, std::span<const EntryId> ids) {
    Split out;
    out.narrow = std::make_unique_for_overwrite<std::uint64_t[]>(ids.size());
    const std::uint64_t flip = descending ? ~std::uint64_t{0} : 0;
    forEachValue(store, key, ids, [&](EntryId id, std::uint64_t value) {
        if (value >> 32 == 0)
            out.narrow[out.count++] = (value ^ flip) << 32 | id;
        else
            out.wide.push_back({value ^ flip, id});
    });
    return out;
}

/// Calls f(begin, end) for every run of equal keys among n sorted records.
template <typename KeyAt, typename F> void forEachRun(std::size_t n, const KeyAt& keyAt, F&& f) {
    for (std::size_t begin = 0; begin < n;) {
        std::size_t end = begin + 1;
        while (end < n && keyAt(end) == keyAt(begin))
            ++end;
        f(begin, end);
        begin = end;
    }
}

} // namespace

void sortByValue(const fidx& store,
                 SortKey key,
                 bool descending,
                 std::span<EntryId> ids,
                 EqualRows* equal,
                 unsigned threads) {
    Split parts = split(store, key, descending, ids);
    const std::size_t wideFirst = descending ? 0 : parts.count;
    const std::size_t narrowFirst = descending ? parts.wide.size() : 0;

    const std::span<std::uint64_t> narrow(parts.narrow.get(), parts.count);
    {
        const auto scratch = std::make_unique_for_overwrite<std::uint64_t[]>(narrow.size());
        radixSort(narrow, std::span(scratch.get(), narrow.size()), threads,
                  [](std::uint64_t record) { return record >> 32; });
    }
    for (std::size_t i = 0; i < narrow.size(); ++i)
        ids[narrowFirst + i] = static_cast<EntryId>(narrow[i]);

    std::vector<Valued> scratch(parts.wide.size());
    radixSort(std::span(parts.wide), std::span(scratch), threads,
              [](const Valued& record) { return record.value; });
    for (std::size_t i = 0; i < parts.wide.size(); ++i)
        ids[wideFirst + i] = parts.wide[i].id;

    if (equal == nullptr)
        return;
    forEachRun(
        narrow.size(), [&](std::size_t i) { return narrow[i] >> 32; },
        [&](std::size_t begin, std::size_t end) {
            equal->markRun(narrowFirst + begin, narrowFirst + end);
        });
    forEachRun(
        parts.wide.size(), [&](std::size_t i) { return parts.wide[i].value; },
        [&](std::size_t begin, std::size_t end) {
            equal->markRun(wideFirst + begin, wideFirst + end);
        });
}

void selectByValue(
    const fidx& store, SortKey key, bool descending, std::span<EntryId> ids, std::size_t limit) {
    Smallest<Valued> best(std::min(limit, ids.size()));
    const std::uint64_t flip = descending ? ~std::uint64_t{0} : 0;
    forEachValue(store, key, ids, [&](EntryId id, std::uint64_t value) {
        best.offer({value ^ flip, id});
    });
    std::size_t i = 0;
    for (const Valued& valued : best.sorted())
        ids[i++] = valued.id;
}

} // namespace quarrydex
