#include "QuarrydexCore/catalog/OrderCheck.h"

#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/catalog/EqualRows.h"
#include "QuarrydexCore/catalog/ValueOrder.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <vector>

namespace quarrydex {

namespace {

constexpr std::size_t rowsPerTask = 1 << 16;

bool isRoot(const fidx& store, EntryId id) {
    const auto flags = std::atomic_ref(store.flags[id]).load(std::memory_order_relaxed);
    return (flags & EntryFlags::root) != 0;
}

/// Each covered entry but the roots stands in it once.
bool isComplete(const fidx& store, const PermEntry& order) {
    BitWords seen(bitWords(order.covers));
    for (EntryId id : order.perm.ids()) {
        if (id >= order.covers || testBit(seen, id) || isRoot(store, id))
            return false;
        setBit(seen, id);
    }
    std::size_t roots = 0;
    for (EntryId id = 0; id < order.covers; ++id)
        roots += isRoot(store, id) ? 1 : 0;
    return order.perm.count() + roots == order.covers;
}

/// As std::strcmp of the folded names, within their bounds.
int compareBounded(const fidx& store, EntryId a, EntryId b) {
    const auto name = [&](EntryId id) {
        return std::string_view(store.folded + store.name_off[id], fidx_name_length(store, id));
    };
    return name(a).compare(name(b));
}

int compareKeys(const fidx& store, SortKey key, EntryId a, EntryId b) {
    if (key == SortKey::name)
        return compareBounded(store, a, b);
    const std::uint64_t valueA = valueOf(store, key, a);
    const std::uint64_t valueB = valueOf(store, key, b);
    return valueA < valueB ? -1 : valueA > valueB ? 1 : 0;
}

/// Compares each row that has not moved with the one before it that has not. A moved row counts to
/// the run before it: it is never shown by this order, and so the runs around it stay whole.
class NeighbourCheck {
  public:
    NeighbourCheck(const fidx& store, SortKey key, const PermEntry& order)
        : store_(store), key_(key), ids_(order.perm.ids()), moved_(order.moved.get()),
          equal_(ids_.size()) {}

    bool run() {
        parallelFor(ids_.size() / rowsPerTask + 1, processorCount(), [&](std::size_t task) {
            if (isSound_.load(std::memory_order_relaxed) && !check(task))
                isSound_.store(false, std::memory_order_relaxed);
        });
        return isSound_.load();
    }

    [[nodiscard]] std::shared_ptr<const BitWords> takeEqual() {
        return std::make_shared<const BitWords>(equal_.take());
    }

  private:
    [[nodiscard]] bool hasMoved(std::size_t row) const {
        return moved_ != nullptr && testBit(*moved_, ids_[row]);
    }

    bool check(std::size_t task) {
        const std::size_t begin = task * rowsPerTask;
        const std::size_t end = std::min(ids_.size(), begin + rowsPerTask);
        std::size_t before = begin;
        while (before > 0 && hasMoved(before - 1))
            --before;
        EntryId last = before > 0 ? ids_[before - 1] : noParent;
        for (std::size_t row = begin; row < end; ++row) {
            const EntryId id = ids_[row];
            int order = 0;
            if (!hasMoved(row)) {
                order = last == noParent ? -1 : compareKeys(store_, key_, last, id);
                if (order > 0 || (order == 0 && last >= id))
                    return false;
                last = id;
            }
            if (order == 0 && row > 0)
                equal_.markRun(row - 1, row + 1);
        }
        return true;
    }

    const fidx& store_;
    const SortKey key_;
    const std::span<const EntryId> ids_;
    const BitWords* moved_;
    EqualRows equal_;
    std::atomic<bool> isSound_ = true;
};

/// Whether the rows are the trees below the roots, each folder right before what is in it and
/// siblings by name: every row's folder stands on the way to the row before it.
bool isTreeOrder(const fidx& store, std::span<const EntryId> ids) {
    const auto isBefore = [&](EntryId a, EntryId b) {
        const int order = compareBounded(store, a, b);
        return order != 0 ? order < 0 : a < b;
    };
    std::vector<EntryId> way; // from a root down to the last row
    for (EntryId id : ids) {
        const EntryId parent = store.parent[id];
        EntryId left = noParent; // the last one that the way turns away from
        while (!way.empty() && way.back() != parent) {
            left = way.back();
            way.pop_back();
        }
        if (way.empty()) {
            if (parent >= id || !isRoot(store, parent) ||
                (left != noParent && !isBefore(left, parent)))
                return false;
            way.push_back(parent);
            left = noParent;
        }
        if (left != noParent && !isBefore(left, id))
            return false;
        way.push_back(id);
    }
    return true;
}

} // namespace

std::optional<PermEntry> checkedOrder(const fidx& store, SortKey key, const PermEntry& loaded) {
    if (!isComplete(store, loaded))
        return std::nullopt;
    PermEntry checked = loaded;
    checked.isVerified = true;
    if (key == SortKey::path)
        return isTreeOrder(store, loaded.perm.ids()) ? std::optional(checked) : std::nullopt;
    NeighbourCheck neighbours(store, key, loaded);
    if (!neighbours.run())
        return std::nullopt;
    checked.equalToPrevious = neighbours.takeEqual();
    return checked;
}

} // namespace quarrydex
