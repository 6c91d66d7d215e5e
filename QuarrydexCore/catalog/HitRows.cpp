#include "QuarrydexCore/catalog/HitRows.h"

#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/catalog/Smallest.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <functional>
#include <limits>
#include <utility>

namespace quarrydex {

namespace {

constexpr std::size_t rowsPerTask = 1 << 16;
constexpr unsigned tasksPerThread = 4; ///< of one round of a walk
constexpr std::size_t wordsPerTask = 1 << 13;
constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();
constexpr int denseWord = 16; ///< hits in a word from which testing each bit is the faster way

/// Bits first … last − 1 of a word. REQUIRES: first ≤ last ≤ 64, first < 64.
std::uint64_t bitRange(std::size_t first, std::size_t last) {
    const std::uint64_t below = last == 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << last) - 1;
    return below >> first << first;
}

/// The part of word w that lies in rows begin … end − 1.
std::uint64_t insideOf(std::size_t w, std::size_t begin, std::size_t end) {
    const std::size_t first = std::max(begin, w * 64) - w * 64;
    return bitRange(first, std::min(end - w * 64, std::size_t{64}));
}

/// std::popcount, which without an instruction for it is a call that costs more than all the rest.
constexpr int popcount(std::uint64_t bits) {
    bits -= bits >> 1 & 0x5555555555555555;
    bits = (bits & 0x3333333333333333) + (bits >> 2 & 0x3333333333333333);
    bits = (bits + (bits >> 4)) & 0x0F0F0F0F0F0F0F0F;
    return static_cast<int>(bits * 0x0101010101010101 >> 56);
}

std::uint64_t hitBit(std::span<const std::uint64_t> hits, EntryId id) {
    return (hits[id / 64] >> (id % 64)) & 1;
}

/// The hit bits of eight rows. In groups of eight because constant shifts are the cheap ones.
std::uint64_t hitBits8(std::span<const std::uint64_t> hits, const EntryId* rows) {
    return hitBit(hits, rows[0]) | hitBit(hits, rows[1]) << 1 | hitBit(hits, rows[2]) << 2 |
           hitBit(hits, rows[3]) << 3 | hitBit(hits, rows[4]) << 4 | hitBit(hits, rows[5]) << 5 |
           hitBit(hits, rows[6]) << 6 | hitBit(hits, rows[7]) << 7;
}

std::uint32_t* appendUp(std::uint64_t bits, std::size_t firstRow, std::uint32_t* out) {
    const auto first = static_cast<std::uint32_t>(firstRow);
    if (popcount(bits) < denseWord) {
        for (; bits != 0; bits &= bits - 1)
            *out++ = first + static_cast<std::uint32_t>(std::countr_zero(bits));
        return out;
    }
    for (std::uint32_t i = 0; i < 64; ++i) {
        *out = first + i;
        out += (bits >> i) & 1;
    }
    return out;
}

std::uint32_t* appendDown(std::uint64_t bits, std::size_t firstRow, std::uint32_t* out) {
    const auto first = static_cast<std::uint32_t>(firstRow);
    if (popcount(bits) < denseWord) {
        for (; bits != 0; bits ^= std::bit_floor(bits))
            *out++ = first + 63 - static_cast<std::uint32_t>(std::countl_zero(bits));
        return out;
    }
    for (std::uint32_t i = 64; i-- > 0;) {
        *out = first + i;
        out += (bits >> i) & 1;
    }
    return out;
}

/// Those of `bits` that are in one run with the set bit before them. `equal` has the rows that
/// equal the row before. A carry runs from each set bit through the equal rows that follow it.
std::uint64_t equalToBitBefore(std::uint64_t bits, std::uint64_t equal) {
    const std::uint64_t seeds = bits << 1 & equal;
    return (((seeds + equal) ^ equal) | seeds) & equal & bits;
}

/// Downwards, but each run of equal rows ascending: what came out of a run is turned around again.
std::uint32_t*
appendRunsDown(std::uint64_t bits, std::uint64_t equal, std::size_t firstRow, std::uint32_t* out) {
    std::uint32_t* const end = appendDown(bits, firstRow, out);
    for (std::uint64_t later = equalToBitBefore(bits, equal); later != 0;) {
        const std::uint64_t upToTop = std::bit_floor(later) | (std::bit_floor(later) - 1);
        const std::uint64_t first = std::bit_floor(bits & ~later & upToTop);
        std::uint32_t* const top = out + popcount(bits & ~upToTop);
        std::reverse(top, top + popcount(bits & upToTop & ~(first - 1)));
        later &= first - 1;
    }
    return end;
}

/// Buffers that tasks hand on to each other: memory that is given back to the system after every
/// task would have to be mapped and cleared again for the next.
class Buffers {
  public:
    std::vector<std::uint32_t> take() QDX_EXCLUDES(lock_) {
        MutexLock held(lock_);
        if (spare_.empty())
            return {};
        std::vector<std::uint32_t> buffer = std::move(spare_.back());
        spare_.pop_back();
        return buffer;
    }

    void giveBack(std::vector<std::uint32_t> buffer) QDX_EXCLUDES(lock_) {
        buffer.clear();
        MutexLock held(lock_);
        spare_.push_back(std::move(buffer));
    }

  private:
    Mutex lock_;
    std::vector<std::vector<std::uint32_t>> spare_ QDX_GUARDED_BY(lock_);
};

} // namespace

// --- Row bits -----------------------------------------------------------------------------------

std::uint64_t HitRows::look(std::size_t w) const {
    const std::size_t begin = w * 64;
    std::uint64_t bits = 0;
    if (begin + 64 <= rows_.size()) {
        for (std::size_t i = 0; i < 64; i += 8)
            bits |= hitBits8(hits_, rows_.data() + begin + i) << i;
    } else {
        for (std::size_t row = begin; row < rows_.size(); ++row)
            bits |= hitBit(hits_, rows_[row]) << (row - begin);
    }
    return bits;
}

void HitRows::fillFromRanks() {
    rowBits_.assign(bitWords(rows_.size()), 0);
    forEachRank(0, hits_.size(), [&](std::uint32_t row) { setBit(rowBits_, row); });
}

/// Calls f(row) for the hits in some words.
template <typename F>
void HitRows::forEachRank(std::size_t firstWord, std::size_t endWord, F&& f) const {
    forEachBit(hits_.subspan(firstWord, endWord - firstWord), [&](std::size_t bit) {
        const std::size_t id = firstWord * 64 + bit;
        if (id < rank_->size() && (*rank_)[id] < rows_.size())
            f((*rank_)[id]);
    });
}

// --- Runs of equal keys -------------------------------------------------------------------------

/// Bit i: row 64 w + i begins a run.
std::uint64_t HitRows::starts(std::size_t w) const {
    return equal_ == nullptr ? ~std::uint64_t{0} : ~(*equal_)[w];
}

/// First row of the run that holds `row`.
std::size_t HitRows::runBegin(std::size_t row) const {
    std::size_t w = row / 64;
    std::uint64_t found = starts(w) & bitRange(0, row % 64 + 1);
    while (found == 0 && w > 0)
        found = starts(--w);
    return found == 0 ? 0 : w * 64 + 63 - static_cast<std::size_t>(std::countl_zero(found));
}

/// First row from `row` on that begins a run, at most `end`.
std::size_t HitRows::runEnd(std::size_t row, std::size_t end) const {
    for (; row < end && equalsPrevious(row); ++row)
        ;
    return row;
}

// --- Emitting one chunk -------------------------------------------------------------------------

void HitRows::emitUp(std::size_t begin, std::size_t end, Rows& out) const {
    std::uint32_t* at = out.row.data();
    for (std::size_t w = begin / 64; w * 64 < end; ++w)
        at = appendUp(word(w) & insideOf(w, begin, end), w * 64, at);
    out.count = static_cast<std::size_t>(at - out.row.data());
}

/// `begin` begins a run. Where a run goes on into later words, their first bits are held back until
/// the word is reached in which it begins.
void HitRows::emitDown(std::size_t begin, std::size_t end, Rows& out) const {
    std::uint32_t* at = out.row.data();
    std::array<std::uint64_t, chunkWords> held; // by the number of words above
    std::size_t heldCount = 0;
    for (std::size_t w = (end - 1) / 64 + 1; w-- > begin / 64;) {
        const std::uint64_t inside = insideOf(w, begin, end);
        const std::uint64_t bits = word(w) & inside;
        if (equal_ == nullptr) {
            at = appendDown(bits, w * 64, at);
            continue;
        }
        const std::uint64_t runs = starts(w) & inside;
        const std::uint64_t beforeRuns = (runs & (~runs + 1)) - 1; // all ones where none begins
        std::uint64_t complete = bits & ~beforeRuns;
        if (runs != 0 && heldCount > 0) {
            const std::uint64_t lastRun = ~(std::bit_floor(runs) - 1);
            at = appendUp(complete & lastRun, w * 64, at);
            for (std::size_t above = 1; heldCount > 0; ++above)
                at = appendUp(held[--heldCount], (w + above) * 64, at);
            complete &= ~lastRun;
        }
        at = appendRunsDown(complete, inside & ~runs & ~beforeRuns, w * 64, at);
        if ((beforeRuns & inside) != 0)
            held[heldCount++] = bits & beforeRuns;
    }
    out.count = static_cast<std::size_t>(at - out.row.data());
}

// --- Visiting -----------------------------------------------------------------------------------

/// Calls visitor(rows) chunk by chunk until it returns false, and returns false then.
template <typename Visitor>
bool HitRows::visitUp(std::size_t begin, std::size_t end, const Visitor& visitor) const {
    Rows rows;
    while (begin < end) {
        const std::size_t next = std::min(end, (begin / chunkRows + 1) * chunkRows);
        emitUp(begin, next, rows);
        if (!visitor(std::span(rows.row.data(), rows.count)))
            return false;
        begin = next;
    }
    return true;
}

/// The same downwards. A run that began before its chunk, or before `begin`, is visited by itself
/// from its beginning, so a chunk's other rows are complete runs. REQUIRES: no run spans `end`.
template <typename Visitor>
bool HitRows::visitDown(std::size_t begin, std::size_t end, const Visitor& visitor) const {
    Rows rows;
    while (begin < end) {
        const std::size_t low = std::max(begin, (end - 1) / chunkRows * chunkRows);
        const std::size_t head = runEnd(low, end);
        if (head < end) {
            emitDown(head, end, rows);
            if (!visitor(std::span(rows.row.data(), rows.count)))
                return false;
        }
        end = low;
        if (head > low) {
            end = runBegin(low);
            if (!visitUp(end, head, visitor))
                return false;
        }
    }
    return true;
}

void HitRows::collect(std::size_t begin,
                      std::size_t end,
                      bool descending,
                      std::size_t atMost,
                      std::vector<std::uint32_t>& rows) const {
    const auto visitor = [&](std::span<const std::uint32_t> visited) {
        rows.insert(rows.end(), visited.begin(), visited.end());
        return rows.size() < atMost;
    };
    if (!descending) {
        visitUp(begin, end, visitor);
    } else if (equal_ == nullptr && atMost == unlimited) {
        visitUp(begin, end, visitor); // with no equal keys down is up backwards, which is faster
        std::ranges::reverse(rows);
    } else {
        visitDown(begin, end < rows_.size() ? runBegin(end) : end, visitor);
    }
}

bool HitRows::first(std::size_t limit,
                    bool descending,
                    std::size_t budget,
                    unsigned threads,
                    std::vector<EntryId>& out) const {
    out.clear();
    const std::size_t all = rows_.size();
    // A first part, which is often enough, then ever more at once.
    std::size_t tasks = 1;
    std::size_t perTask = std::clamp<std::size_t>(budget, 1, rowsPerTask);
    for (std::size_t walked = 0; walked < all && out.size() < limit;) {
        if (walked >= budget)
            return false;
        std::vector<std::vector<std::uint32_t>> found(tasks);
        parallelFor(tasks, threads, [&](std::size_t task) {
            const std::size_t begin = std::min(all, walked + task * perTask);
            const std::size_t end = std::min(all, begin + perTask);
            collect(descending ? all - end : begin, descending ? all - begin : end, descending,
                    limit, found[task]);
        });
        for (const std::vector<std::uint32_t>& rows : found)
            for (std::size_t i = 0; i < rows.size() && out.size() < limit; ++i)
                out.push_back(rows_[rows[i]]);
        walked += tasks * perTask;
        tasks = std::min<std::size_t>(tasks * 2, std::size_t{threads} * tasksPerThread);
        perTask = rowsPerTask;
    }
    return true;
}

// --- By rank ------------------------------------------------------------------------------------

std::vector<EntryId>
HitRows::firstByRank(std::size_t limit, bool descending, unsigned threads) const {
    const std::size_t parts = hits_.size() / wordsPerTask + 1;
    std::vector<Smallest<std::uint32_t>> best(parts, Smallest<std::uint32_t>(limit));
    const std::uint32_t flip = descending ? ~std::uint32_t{0} : 0;
    parallelFor(parts, threads, [&](std::size_t part) {
        const std::size_t end = std::min(hits_.size(), (part + 1) * wordsPerTask);
        forEachRank(part * wordsPerTask, end,
                    [&](std::uint32_t row) { best[part].offer(row ^ flip); });
    });
    for (std::size_t part = 1; part < parts; ++part)
        for (std::uint32_t row : best[part].values())
            best[0].offer(row);
    std::vector<std::uint32_t> rows = best[0].sorted();

    std::vector<EntryId> out;
    out.reserve(rows.size());
    if (!descending) {
        for (std::uint32_t row : rows)
            out.push_back(rows_[row]);
        return out;
    }
    for (std::uint32_t& row : rows)
        row ^= flip;
    if (!rows.empty())
        addRunBefore(rows.back(), rows);
    for (std::size_t begin = 0, end = 0; begin < rows.size() && out.size() < limit; begin = end) {
        const std::size_t run = runBegin(rows[begin]);
        while (end < rows.size() && rows[end] >= run)
            ++end;
        for (std::size_t i = end; i-- > begin && out.size() < limit;)
            out.push_back(rows_[rows[i]]);
    }
    return out;
}

/// Appends the hits of the run that `row` is in and that stand before it, descending: where the
/// last rows wanted are equal, those with the smallest ids come first.
void HitRows::addRunBefore(std::size_t row, std::vector<std::uint32_t>& rows) const {
    const std::size_t begin = runBegin(row);
    if (begin == row)
        return;
    std::vector<std::uint32_t> before;
    forEachRank(0, hits_.size(), [&](std::uint32_t hit) {
        if (begin <= hit && hit < row)
            before.push_back(hit);
    });
    std::sort(before.begin(), before.end(), std::greater<>());
    rows.insert(rows.end(), before.begin(), before.end());
}

// --- All ----------------------------------------------------------------------------------------

std::vector<EntryId> HitRows::all(std::size_t atMost, bool descending, unsigned threads) const {
    std::vector<EntryId> ids(atMost);
    const std::size_t tasks = rows_.size() / rowsPerTask + 1;
    // Where each task's ids begin: a task leaves it for the next one as soon as it has counted its
    // own. Tasks begin in order, so the one that is waited for is always under way.
    constexpr std::size_t unknown = unlimited;
    std::vector<std::atomic<std::size_t>> places(tasks + 1);
    for (std::size_t task = 1; task <= tasks; ++task)
        places[task].store(unknown, std::memory_order_relaxed);

    Buffers buffers;
    parallelFor(tasks, threads, [&](std::size_t task) {
        const std::size_t part = descending ? tasks - 1 - task : task;
        const std::size_t begin = part * rowsPerTask;
        std::vector<std::uint32_t> found = buffers.take();
        collect(begin, std::min(rows_.size(), begin + rowsPerTask), descending, unlimited, found);
        places[task].wait(unknown, std::memory_order_acquire);
        const std::size_t place = places[task].load(std::memory_order_acquire);
        places[task + 1].store(place + found.size(), std::memory_order_release);
        places[task + 1].notify_all();
        // No more than there is room for, should the rows of a mapped order have been lost.
        const std::size_t room = ids.size() - std::min(ids.size(), place);
        for (std::size_t i = 0; i < std::min(found.size(), room); ++i)
            ids[place + i] = rows_[found[i]];
        buffers.giveBack(std::move(found));
    });
    ids.resize(std::min(ids.size(), places[tasks].load(std::memory_order_acquire)));
    return ids;
}

} // namespace quarrydex
