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

/// Every folder below n, deleted ones included.
BitWords allFolders(const VolumeIndex& index, std::uint32_t n, unsigned threads) {
    BitWords folders(bitWords(n));
    forEachBlock(n, threads, [&](std::uint32_t first, std::uint32_t count) {
        const auto bits = std::span(folders).subspan(first / 64);
        fillBits(bits, count);
        kernels::testFlags(index.base().flags + first, count, EntryFlags::dir, EntryFlags::dir,
                           bits.data());
    });
    return folders;
}

/// Calls f(folder, parent folder or noParent) in ascending order. A parent that does not precede
/// its child, as only a damaged catalogue has, counts as none.
template <typename F> void walkDown(const VolumeIndex& index, const BitWords& folders, F&& f) {
    forEachBit(folders, [&](std::size_t id) {
        const auto folder = static_cast<EntryId>(id);
        const EntryId parent = index.base().parent[folder];
        f(folder, parent < folder ? parent : noParent);
    });
}

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

BitWords
dirHits(const VolumeIndex& index, const ops::Text& text, std::uint32_t n, unsigned threads) {
    const BitWords folders = allFolders(index, n, threads);
    BitWords marked = folders;
    const fidx& base = index.base();
    forEachBlock(n, threads, [&](std::uint32_t first, std::uint32_t count) {
        std::uint64_t* bits = marked.data() + first / 64;
        if (!text.needle.empty()) {
            const NameBlock names{base.folded, base.folded + base.name_off[n],
                                  base.name_off + first, count};
            kernels::matchListed(names, text.needle, bits);
            return;
        }
        forEachBit(std::span(folders).subspan(first / 64, (count + 63) / 64), [&](std::size_t i) {
            if (index.foldedName(first + static_cast<EntryId>(i)).find(text.bytes) ==
                std::string_view::npos)
                bits[i / 64] &= ~(std::uint64_t{1} << (i % 64));
        });
    });
    walkDown(index, folders, [&](EntryId folder, EntryId parent) {
        if (parent != noParent && testBit(marked, parent))
            setBit(marked, folder);
    });
    return marked;
}

ops::PathFull
pathMarks(const VolumeIndex& index, std::string_view needle, std::uint32_t n, unsigned threads) {
    const std::size_t slash = needle.rfind('/');
    const std::string_view head = needle.substr(0, slash);
    ops::PathFull marks{BitWords(bitWords(n)), BitWords(bitWords(n)),
                        std::string(needle.substr(slash + 1))};
    const BitWords folders = allFolders(index, n, threads);
    forEachBlock(n, threads, [&](std::uint32_t first, std::uint32_t count) {
        forEachBit(std::span(folders).subspan(first / 64, (count + 63) / 64), [&](std::size_t i) {
            const EntryId folder = first + static_cast<EntryId>(i);
            if (pathEndsWith(index, folder, head))
                setBit(marks.before, folder);
        });
    });
    walkDown(index, folders, [&](EntryId folder, EntryId parent) {
        const bool inside = parent == noParent
                                ? index.foldedName(folder).find(needle) != std::string_view::npos
                                : testBit(marks.inside, parent) ||
                                      (testBit(marks.before, parent) &&
                                       index.foldedName(folder).starts_with(marks.tail));
        if (inside)
            setBit(marks.inside, folder);
    });
    return marks;
}

} // namespace quarrydex
