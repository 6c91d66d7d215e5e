#include "QuarrydexCore/catalog/NameOrder.h"

#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/catalog/RadixSort.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cstring>
#include <memory>
#include <utility>

namespace quarrydex {

namespace {

NameRecord recordOf(const NameChunks& names, EntryId id) {
    const std::uint32_t offset = names.offset(id);
    return {names.at(offset), id, offset};
}

constexpr std::size_t insertionLimit = 16;

/// Stable, for a handful of records.
void insertionSort(NameRecord* records, std::size_t n) {
    for (std::size_t i = 1; i < n; ++i) {
        const NameRecord record = records[i];
        std::size_t at = i;
        for (; at > 0 && record.chunk < records[at - 1].chunk; --at)
            records[at] = records[at - 1];
        records[at] = record;
    }
}

/// Stable most-significant-digit radix sort by chunk. Each level takes the eight bits below the
/// highest that differs, so it is at most eight levels deep.
void sortByChunk(NameRecord* records, NameRecord* scratch, std::size_t n) {
    if (n <= insertionLimit) {
        insertionSort(records, n);
        return;
    }
    std::uint64_t any = 0;
    std::uint64_t all = ~std::uint64_t{0};
    for (std::size_t i = 0; i < n; ++i) {
        any |= records[i].chunk;
        all &= records[i].chunk;
    }
    const auto differing = static_cast<unsigned>(std::bit_width(any ^ all));
    if (differing == 0)
        return;

    constexpr unsigned digitBits = 8;
    const unsigned shift = differing > digitBits ? differing - digitBits : 0;
    const auto digitOf = [&](const NameRecord& record) { return (record.chunk >> shift) & 0xFF; };
    std::array<std::uint32_t, 257> begins{};
    for (std::size_t i = 0; i < n; ++i)
        ++begins[digitOf(records[i]) + 1];
    for (std::size_t digit = 1; digit < begins.size(); ++digit)
        begins[digit] += begins[digit - 1];
    std::array<std::uint32_t, 257> place = begins;
    for (std::size_t i = 0; i < n; ++i)
        scratch[place[digitOf(records[i])]++] = records[i];
    std::copy_n(scratch, n, records);

    if (shift == 0)
        return;
    for (std::size_t digit = 0; digit < 256; ++digit) {
        const std::size_t begin = begins[digit];
        const std::size_t size = begins[digit + 1] - begin;
        if (size > 1)
            sortByChunk(records + begin, scratch + begin, size);
    }
}

} // namespace

std::uint64_t NameChunks::at(std::size_t offset) const {
    std::uint64_t bytes = 0;
    if (offset + sizeof bytes <= end_)
        std::memcpy(&bytes, folded_ + offset, sizeof bytes);
    else if (offset < end_)
        std::memcpy(&bytes, folded_ + offset, end_ - offset);
    // The lowest set bit of `zeros` is the top bit of the first zero byte.
    const std::uint64_t zeros =
        (bytes - 0x0101010101010101) & ~bytes & std::uint64_t{0x8080808080808080};
    if (zeros != 0)
        bytes &= ((zeros & (~zeros + 1)) >> 7) - 1;
    return __builtin_bswap64(bytes);
}

// --- One thread's part --------------------------------------------------------------------------

void NameSorter::sort(std::span<EntryId> ids) {
    if (ids.size() < 2)
        return;
    if (records_.size() < ids.size()) {
        records_.resize(ids.size());
        scratch_.resize(ids.size());
    }
    for (std::size_t i = 0; i < ids.size(); ++i)
        records_[i] = recordOf(names_, ids[i]);
    sort(std::span(records_).first(ids.size()), scratch_.data(), 0, nullptr, 0);
    for (std::size_t i = 0; i < ids.size(); ++i)
        ids[i] = records_[i].id;
}

void NameSorter::sort(std::span<NameRecord> records,
                      NameRecord* scratch,
                      std::size_t depth,
                      EqualRows* equal,
                      std::size_t firstRow) {
    runs_.push_back({0, records.size(), depth});
    while (!runs_.empty()) {
        const Run run = runs_.back();
        runs_.pop_back();
        if (run.depth > depth)
            for (std::size_t i = run.begin; i < run.end; ++i)
                records[i].chunk = names_.at(records[i].offset + run.depth);
        sortByChunk(records.data() + run.begin, scratch, run.end - run.begin);

        for (std::size_t begin = run.begin; begin < run.end;) {
            std::size_t end = begin + 1;
            while (end < run.end && records[end].chunk == records[begin].chunk)
                ++end;
            if (end - begin > 1) {
                if (!NameChunks::endsName(records[begin].chunk))
                    runs_.push_back({begin, end, run.depth + 8});
                else if (equal != nullptr)
                    equal->markRun(firstRow + begin, firstRow + end);
            }
            begin = end;
        }
    }
}

// --- All threads together -----------------------------------------------------------------------

namespace {

/// Splits ranges that are large for one thread by one digit at a time, all threads together; the
/// threads then share out the small ones. A range's records stand in one of two buffers of the
/// same length, and the other is its scratch.
class Splitter {
  public:
    Splitter(const NameChunks& names,
             std::span<EntryId> ids,
             EqualRows* equal,
             unsigned threads,
             RowWindow window)
        : names_(names), ids_(ids), equal_(equal), threads_(threads),
          window_(window), buffers_{std::make_unique_for_overwrite<NameRecord[]>(ids.size()),
                                    std::make_unique_for_overwrite<NameRecord[]>(ids.size())},
          smallRange_(std::max(minLargeRange, ids.size() / (std::size_t{8} * threads))) {}

    void sort() {
        forEachPart({0, ids_.size()}, [&](std::size_t begin, std::size_t end) {
            for (std::size_t row = begin; row < end; ++row)
                buffers_[0][row] = recordOf(names_, ids_[row]);
        });
        take({0, ids_.size(), 0, 0});
        while (!large_.empty()) {
            const Range range = large_.back();
            large_.pop_back();
            split(range);
        }
        sortSmall();
    }

  private:
    static constexpr std::size_t minLargeRange = 1 << 16;
    static constexpr std::size_t partSize = 1 << 15;

    struct Range {
        std::size_t begin;
        std::size_t end;
        std::size_t depth; ///< bytes known to be equal; the chunks are those from there on
        unsigned buffer;   ///< that holds the records
    };

    /// Calls f(begin, end) for parts of the rows, on all threads.
    template <typename F> void forEachPart(RowWindow rows, const F& f) {
        const std::size_t n = rows.end - rows.begin;
        parallelFor(n / partSize + 1, threads_, [&](std::size_t part) {
            const std::size_t begin = part * partSize;
            f(rows.begin + begin, rows.begin + std::min(n, begin + partSize));
        });
    }

    void take(Range range) {
        if (range.begin < range.end && range.end > window_.begin && range.begin < window_.end)
            (range.end - range.begin > smallRange_ ? large_ : small_).push_back(range);
    }

    void split(Range range);
    void sortSmall();
    [[nodiscard]] unsigned differingBits(const Range& range);
    void writeIds(const Range& range);

    const NameChunks& names_;
    std::span<EntryId> ids_;
    EqualRows* equal_;
    unsigned threads_;
    RowWindow window_;
    std::array<std::unique_ptr<NameRecord[]>, 2> buffers_;
    std::size_t smallRange_;
    std::vector<Range> large_;
    std::vector<Range> small_;
};

/// Number of low chunk bits in which the records are not all the same.
unsigned Splitter::differingBits(const Range& range) {
    const NameRecord* const records = buffers_[range.buffer].get();
    const std::uint64_t first = records[range.begin].chunk;
    std::atomic<std::uint64_t> differing{0};
    forEachPart({range.begin, range.end}, [&](std::size_t begin, std::size_t end) {
        std::uint64_t here = 0;
        for (std::size_t row = begin; row < end; ++row)
            here |= records[row].chunk ^ first;
        differing.fetch_or(here, std::memory_order_relaxed);
    });
    return static_cast<unsigned>(std::bit_width(differing.load()));
}

void Splitter::writeIds(const Range& range) {
    const NameRecord* const records = buffers_[range.buffer].get();
    for (std::size_t row = range.begin; row < range.end; ++row)
        ids_[row] = records[row].id;
}

void Splitter::split(Range range) {
    NameRecord* const records = buffers_[range.buffer].get();
    const unsigned differing = differingBits(range);
    if (differing == 0 && NameChunks::endsName(records[range.begin].chunk)) {
        if (equal_ != nullptr)
            equal_->markRun(range.begin, range.end);
        writeIds(range);
        return;
    }
    if (differing == 0) {
        range.depth += 8;
        forEachPart({range.begin, range.end}, [&](std::size_t begin, std::size_t end) {
            for (std::size_t row = begin; row < end; ++row)
                records[row].chunk = names_.at(records[row].offset + range.depth);
        });
        large_.push_back(range);
        return;
    }

    const unsigned shift = differing > radixDigitBits ? differing - radixDigitBits : 0;
    const std::size_t mask = (std::size_t{1} << radixDigitBits) - 1;
    const unsigned other = 1 - range.buffer;
    const std::size_t n = range.end - range.begin;
    const std::vector<std::size_t> begins = radixPass<NameRecord>(
        std::span(records + range.begin, n), std::span(buffers_[other].get() + range.begin, n),
        radixDigitBits, threads_,
        [&](const NameRecord& record) { return (record.chunk >> shift) & mask; });
    for (std::size_t digit = 0; digit <= mask; ++digit)
        take({range.begin + begins[digit], range.begin + begins[digit + 1], range.depth, other});
}

void Splitter::sortSmall() {
    // Tasks of some size, so that a call and a sorter serve many tiny ranges.
    std::vector<std::size_t> tasks = {0};
    std::size_t inTask = 0;
    for (std::size_t i = 0; i < small_.size(); ++i) {
        inTask += small_[i].end - small_[i].begin;
        if (inTask >= partSize || i + 1 == small_.size()) {
            tasks.push_back(i + 1);
            inTask = 0;
        }
    }
    parallelFor(tasks.size() - 1, threads_, [&](std::size_t task) {
        NameSorter sorter(names_);
        for (std::size_t i = tasks[task]; i < tasks[task + 1]; ++i) {
            const Range& range = small_[i];
            NameRecord* const records = buffers_[range.buffer].get() + range.begin;
            sorter.sort(std::span(records, range.end - range.begin),
                        buffers_[1 - range.buffer].get() + range.begin, range.depth, equal_,
                        range.begin);
            writeIds(range);
        }
    });
}

} // namespace

void sortByName(const NameChunks& names,
                std::span<EntryId> ids,
                EqualRows* equal,
                unsigned threads,
                RowWindow window) {
    Splitter(names, ids, equal, threads, window).sort();
}

} // namespace quarrydex
