#include "QuarrydexCore/search/PathMarks.h"

#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"
#include "QuarrydexCore/search/Kernels.h"

#include <algorithm>

namespace quarrydex {

namespace {

/// Calls body(first, count) for each block of the ids below n, several at once.
template <typename Body> void forEachBlock(std::uint32_t n, unsigned threads, Body&& body) {
    const std::size_t blocks = (std::size_t{n} + blockEntries - 1) / blockEntries;
    parallelFor(blocks, threads, [&](std::size_t i) {
        const auto first = static_cast<std::uint32_t>(i * blockEntries);
        body(first, std::min(blockEntries, n - first));
    });
}

/// The folders below n, deleted ones included, and where a run of siblings begins.
struct Tree {
    BitWords folders;
    BitWords runs; ///< bit id: its folder is not that of id − 1
};

Tree treeOf(const VolumeIndex& index, std::uint32_t n, unsigned threads) {
    const fidx& base = index.base();
    Tree tree{BitWords(bitWords(n)), BitWords(bitWords(n))};
    forEachBlock(n, threads, [&](std::uint32_t first, std::uint32_t count) {
        const auto bits = std::span(tree.folders).subspan(first / 64);
        fillBits(bits, count);
        kernels::testFlags(base.flags + first, count, EntryFlags::dir, EntryFlags::dir,
                           bits.data());
        kernels::markRuns(base.parent + first, count,
                          first == 0 ? noParent : base.parent[first - 1],
                          tree.runs.data() + first / 64);
    });
    return tree;
}

/// Calls body(folder) for the folders, several at once; those of one block by one thread.
template <typename Body>
void forEachFolder(const Tree& tree, std::uint32_t n, unsigned threads, Body&& body) {
    forEachBlock(n, threads, [&](std::uint32_t first, std::uint32_t count) {
        forEachBit(std::span(tree.folders).subspan(first / 64, (count + 63) / 64),
                   [&](std::size_t i) { body(first + static_cast<EntryId>(i)); });
    });
}

/// The ascending walk. An entry is found when its folder is marked, or when its folder is one of
/// `before` and its name begins with `tail`. A folder is marked when it is found, or in `own`.
class Descent {
  public:
    Descent(const VolumeIndex& index,
            const Tree& tree,
            const BitWords& before,
            std::string_view tail)
        : index_(index), tree_(tree), before_(before), tail_(tail) {}

    [[nodiscard]] PathMarks run(BitWords own) {
        marks_.folders = std::move(own);
        marks_.entries.resize(tree_.folders.size());
        for (std::size_t w = 0; w < tree_.folders.size(); ++w) {
            if (before_.empty())
                walkWord<false>(w);
            else
                walkWord<true>(w);
        }
        return std::move(marks_);
    }

  private:
    static constexpr std::uint64_t all = ~std::uint64_t{0};

    /// Each run sets its bits and all above them, which the next one replaces. Marks are stored run
    /// by run: the next folder looked at may stand in this word. No branch depends on a mark.
    template <bool hasBefore> void walkWord(std::size_t w) {
        const EntryId* parents = index_.base().parent + w * 64;
        const std::uint64_t own = marks_.folders[w];
        std::uint64_t runs = tree_.runs[w];
        std::uint64_t found = isInside_ ? all : 0;
        if (hasBefore && isAfter_)
            found |= byName(w, upToNext(runs));
        marks_.folders[w] = own | (found & tree_.folders[w]);
        for (; runs != 0; runs &= runs - 1) {
            const auto bit = static_cast<unsigned>(std::countr_zero(runs));
            // Only a damaged catalogue has a folder that does not precede what lies in it.
            const bool isKnown = parents[bit] < w * 64 + bit;
            const EntryId folder = isKnown ? parents[bit] : 0;
            isInside_ = isKnown & testBit(marks_.folders, folder);
            found = (found & ~(all << bit)) | ((isInside_ ? all : 0) << bit);
            if (hasBefore) {
                isAfter_ = isKnown & testBit(before_, folder);
                if (isAfter_)
                    found |= byName(w, (all << bit) & upToNext(runs & (runs - 1)));
            }
            marks_.folders[w] = own | (found & tree_.folders[w]);
        }
        marks_.entries[w] = found;
    }

    /// The bits below the lowest one set, all when there is none.
    static std::uint64_t upToNext(std::uint64_t runs) { return (runs & (~runs + 1)) - 1; }

    /// Those of the word's entries that exist and whose name begins with the tail.
    [[nodiscard]] std::uint64_t byName(std::size_t w, std::uint64_t entries) const {
        std::uint64_t found = 0;
        for (; entries != 0; entries &= entries - 1) {
            const auto bit = static_cast<unsigned>(std::countr_zero(entries));
            const std::size_t id = w * 64 + bit;
            if (id < index_.count() &&
                index_.foldedName(static_cast<EntryId>(id)).starts_with(tail_))
                found |= std::uint64_t{1} << bit;
        }
        return found;
    }

    const VolumeIndex& index_;
    const Tree& tree_;
    const BitWords& before_;
    const std::string_view tail_;
    PathMarks marks_;
    bool isInside_ = false; ///< the present run's folder is marked
    bool isAfter_ = false;  ///< … is one of before_
};

/// The folder's name as a piece of a path: the root "/" contributes nothing before its children.
std::string_view pathPiece(const VolumeIndex& index, EntryId folder) {
    const std::string_view name = index.foldedName(folder);
    return index.base().parent[folder] == noParent && name == "/" ? std::string_view{} : name;
}

/// Whether the folder's path ends with the text; looks at as many ancestors as the text is long.
bool pathEndsWith(const VolumeIndex& index, EntryId folder, std::string_view text) {
    for (EntryId at = folder;;) {
        const std::string_view piece = pathPiece(index, at);
        if (text.size() <= piece.size())
            return piece.ends_with(text);
        const EntryId parent = index.base().parent[at];
        if (!text.ends_with(piece) || parent >= at)
            return false;
        text.remove_suffix(piece.size());
        if (!text.ends_with('/'))
            return false;
        text.remove_suffix(1);
        at = parent;
    }
}

} // namespace

PathMarks
dirHits(const VolumeIndex& index, const ops::Text& text, std::uint32_t n, unsigned threads) {
    const Tree tree = treeOf(index, n, threads);
    BitWords own = tree.folders;
    const fidx& base = index.base();
    if (!text.needle.empty()) {
        forEachBlock(n, threads, [&](std::uint32_t first, std::uint32_t count) {
            const NameBlock names{base.folded, base.folded + base.name_off[n],
                                  base.name_off + first, count};
            kernels::matchListed(names, text.needle, own.data() + first / 64);
        });
    } else {
        forEachFolder(tree, n, threads, [&](EntryId folder) {
            if (index.foldedName(folder).find(text.bytes) == std::string_view::npos)
                own[folder / 64] &= ~(std::uint64_t{1} << (folder % 64));
        });
    }
    const BitWords before;
    return Descent(index, tree, before, {}).run(std::move(own));
}

PathMarks
pathHits(const VolumeIndex& index, std::string_view needle, std::uint32_t n, unsigned threads) {
    const std::size_t slash = needle.rfind('/');
    const std::string_view head = needle.substr(0, slash);
    const std::string_view tail = needle.substr(slash + 1);
    const Tree tree = treeOf(index, n, threads);
    BitWords before(bitWords(n));
    BitWords own(bitWords(n));
    forEachFolder(tree, n, threads, [&](EntryId folder) {
        if (pathEndsWith(index, folder, head))
            setBit(before, folder);
        if (index.base().parent[folder] == noParent &&
            index.foldedName(folder).find(needle) != std::string_view::npos)
            setBit(own, folder);
    });
    return Descent(index, tree, before, tail).run(std::move(own));
}

} // namespace quarrydex
