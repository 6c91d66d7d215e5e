#include "QuarrydexCore/catalog/TreeOrder.h"

#include "QuarrydexCore/base/Bits.h"
#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/catalog/NameOrder.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <utility>

namespace quarrydex {

namespace {

/// noParent for a root.
EntryId parentOf(const fidx& store, EntryId id) {
    const EntryId parent = store.parent[id];
    return parent < id ? parent : noParent;
}

// The order is built over nodes 0 … size() − 1, in ascending order of their entries.

/// Every entry below a count is the node of its own number; roots take no row.
class AllNodes {
  public:
    AllNodes(const fidx& store, std::uint32_t count) : store_(store), count_(count) {}

    [[nodiscard]] std::uint32_t size() const { return count_; }

    [[nodiscard]] EntryId entry(std::uint32_t node) const { return node; }

    [[nodiscard]] std::uint32_t node(EntryId id) const { return id; }

    [[nodiscard]] bool takesRow(std::uint32_t node) const {
        const auto flags = std::atomic_ref(store_.flags[node]).load(std::memory_order_relaxed);
        return (flags & EntryFlags::root) == 0;
    }

  private:
    const fidx& store_;
    std::uint32_t count_;
};

/// Some entries and their ancestors; only the entries themselves take rows.
class SomeNodes {
  public:
    SomeNodes(const fidx& store, std::uint32_t count, std::span<const EntryId> ids)
        : wanted_(bitWords(count)), inTree_(bitWords(count)), nodesBefore_(bitWords(count)) {
        for (EntryId id : ids) {
            setBit(wanted_, id);
            for (EntryId up = id; up != noParent && !testBit(inTree_, up); up = parentOf(store, up))
                setBit(inTree_, up);
        }
        for (std::size_t word = 0; word < inTree_.size(); ++word) {
            nodesBefore_[word] = static_cast<std::uint32_t>(entries_.size());
            forEachBit(std::span(inTree_).subspan(word, 1), [&](std::size_t bit) {
                entries_.push_back(static_cast<EntryId>(word * 64 + bit));
            });
        }
    }

    [[nodiscard]] std::uint32_t size() const { return static_cast<std::uint32_t>(entries_.size()); }

    [[nodiscard]] EntryId entry(std::uint32_t node) const { return entries_[node]; }

    [[nodiscard]] std::uint32_t node(EntryId id) const {
        const std::uint64_t below = inTree_[id / 64] & ((std::uint64_t{1} << (id % 64)) - 1);
        return nodesBefore_[id / 64] + static_cast<std::uint32_t>(std::popcount(below));
    }

    [[nodiscard]] bool takesRow(std::uint32_t node) const {
        return testBit(wanted_, entries_[node]);
    }

  private:
    BitWords wanted_;
    BitWords inTree_;
    std::vector<std::uint32_t> nodesBefore_; ///< [words] nodes in the words before
    std::vector<EntryId> entries_;           ///< [nodes]
};

template <typename Nodes> class TreeBuilder {
  public:
    TreeBuilder(const fidx& store, std::uint32_t count, const Nodes& nodes, unsigned threads)
        : store_(store), names_(store, count), nodes_(nodes), threads_(threads) {}

    std::vector<EntryId> build() {
        groupChildren();
        sortGroups();
        measureSubtrees();
        return place();
    }

  private:
    /// Nodes of one task: enough for its call to cost nothing.
    static constexpr std::uint32_t nodesPerTask = 1 << 15;
    /// Groups of this size are worth all threads.
    static constexpr std::size_t largeGroup = 1 << 16;

    /// The node of the parent; for a root the number after the last node, the parent of all trees.
    [[nodiscard]] std::uint32_t findParentNode(std::uint32_t node) const {
        const EntryId parent = parentOf(store_, nodes_.entry(node));
        return parent == noParent ? nodes_.size() : nodes_.node(parent);
    }

    [[nodiscard]] std::uint32_t parentNode(std::uint32_t node) const { return parents_[node]; }

    [[nodiscard]] std::span<EntryId> childrenOf(std::uint32_t node) {
        return {children_.get() + first_[node], first_[node + 1] - first_[node]};
    }

    void groupChildren();
    void sortGroups();
    void measureSubtrees();
    std::vector<EntryId> place();
    void placeChildren(std::uint32_t node, std::uint32_t row);

    const fidx& store_;
    NameChunks names_;
    const Nodes& nodes_;
    unsigned threads_;
    std::unique_ptr<std::uint32_t[]> parents_; ///< [size] parent nodes
    std::vector<std::uint32_t> first_;    ///< [size + 2] where a node's group begins in children_
    std::unique_ptr<EntryId[]> children_; ///< [size] entries, grouped by parent
    /// [size] rows that the subtree takes; once its parent was placed, the subtree's first row.
    std::vector<std::uint32_t> rows_;
};

template <typename Nodes> void TreeBuilder<Nodes>::groupChildren() {
    const std::uint32_t n = nodes_.size();
    // Read once: a column of a damaged file may turn into zeros at any moment.
    parents_ = std::make_unique_for_overwrite<std::uint32_t[]>(n);
    for (std::uint32_t node = 0; node < n; ++node)
        parents_[node] = findParentNode(node);
    // Counted two places on, so that filling the groups turns begins into the next group's.
    first_.assign(n + std::size_t{3}, 0);
    for (std::uint32_t node = 0; node < n; ++node)
        ++first_[parentNode(node) + std::size_t{2}];
    for (std::size_t i = 1; i < first_.size(); ++i)
        first_[i] += first_[i - 1];
    children_ = std::make_unique_for_overwrite<EntryId[]>(n);
    for (std::uint32_t node = 0; node < n; ++node)
        children_[first_[parentNode(node) + std::size_t{1}]++] = nodes_.entry(node);
}

template <typename Nodes> void TreeBuilder<Nodes>::sortGroups() {
    const std::uint32_t groups = nodes_.size() + 1;
    const std::uint32_t tasks = (groups + nodesPerTask - 1) / nodesPerTask;
    parallelFor(tasks, threads_, [&](std::size_t task) {
        NameSorter sorter(names_);
        const auto begin = static_cast<std::uint32_t>(task * nodesPerTask);
        for (std::uint32_t node = begin; node < std::min(groups, begin + nodesPerTask); ++node)
            if (const auto group = childrenOf(node); group.size() < largeGroup)
                sorter.sort(group);
    });
    for (std::uint32_t node = 0; node < groups; ++node)
        if (const auto group = childrenOf(node); group.size() >= largeGroup)
            sortByName(names_, group, nullptr, threads_);
}

template <typename Nodes> void TreeBuilder<Nodes>::measureSubtrees() {
    rows_.assign(nodes_.size() + std::size_t{1}, 0);
    for (std::uint32_t node = nodes_.size(); node-- > 0;) {
        rows_[node] += nodes_.takesRow(node) ? 1 : 0;
        rows_[parentNode(node)] += rows_[node];
    }
}

template <typename Nodes>
void TreeBuilder<Nodes>::placeChildren(std::uint32_t node, std::uint32_t row) {
    for (EntryId child : childrenOf(node)) {
        std::uint32_t& rows = rows_[nodes_.node(child)];
        row += std::exchange(rows, row);
    }
}

template <typename Nodes> std::vector<EntryId> TreeBuilder<Nodes>::place() {
    const std::uint32_t n = nodes_.size();
    std::vector<EntryId> order(rows_[n]);
    placeChildren(n, 0);
    for (std::uint32_t node = 0; node < n; ++node) {
        const std::uint32_t row = rows_[node];
        const bool takesRow = nodes_.takesRow(node);
        if (takesRow && row < order.size())
            order[row] = nodes_.entry(node);
        placeChildren(node, row + (takesRow ? 1 : 0));
    }
    return order;
}

std::uint32_t depthOf(const fidx& store, EntryId id) {
    std::uint32_t depth = 0;
    for (EntryId up = parentOf(store, id); up != noParent; up = parentOf(store, up))
        ++depth;
    return depth;
}

/// The ancestor so many steps up, or the root before.
EntryId ancestor(const fidx& store, EntryId id, std::uint32_t steps) {
    for (EntryId up = id; steps > 0 && (up = parentOf(store, id)) != noParent; --steps)
        id = up;
    return id;
}

} // namespace

std::vector<EntryId> treeOrder(const fidx& store, std::uint32_t count, unsigned threads) {
    return TreeBuilder(store, count, AllNodes(store, count), threads).build();
}

std::vector<EntryId> treeOrderOf(const fidx& store,
                                 std::uint32_t count,
                                 std::span<const EntryId> ids,
                                 unsigned threads) {
    return TreeBuilder(store, count, SomeNodes(store, count, ids), threads).build();
}

bool treeLess(const fidx& store, EntryId a, EntryId b) {
    if (a == b)
        return false;
    const std::uint32_t depthA = depthOf(store, a);
    const std::uint32_t depthB = depthOf(store, b);
    a = ancestor(store, a, depthA - std::min(depthA, depthB));
    b = ancestor(store, b, depthB - std::min(depthA, depthB));
    if (a == b)
        return depthA < depthB;
    for (;;) {
        const EntryId aboveA = parentOf(store, a);
        const EntryId aboveB = parentOf(store, b);
        if (aboveA == aboveB || aboveA == noParent || aboveB == noParent)
            break;
        a = aboveA;
        b = aboveB;
    }
    const int byName =
        std::strcmp(store.folded + store.name_off[a], store.folded + store.name_off[b]);
    return byName != 0 ? byName < 0 : a < b;
}

} // namespace quarrydex
