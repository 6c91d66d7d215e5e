/// Order of entries by folded name, byte-wise as strcmp, equal names by ascending id.
///
/// Names are compared eight bytes at a time, as one big-endian number beside the id:
///
///   record   [ "notes.tx" | id | offset ]      offset of the name in the heap
///
/// A radix sort puts records in the order of their chunks, and only runs of records whose chunk is
/// the same and holds no end of name go on to the next chunk. So the heap is read once in its own
/// order, and again at random places only where names have a beginning in common.
///
/// Threads: functions use up to the given number; a NameSorter belongs to one thread.
/// Memory: 32 bytes an entry while sorting.
#pragma once

#include "QuarrydexCore/base/EntryId.h"
#include "QuarrydexCore/catalog/EqualRows.h"
#include "QuarrydexCore/store/fidx.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace quarrydex {

/// The folded names of the entries below a count, read in chunks. Never reads past them: the bytes
/// beyond belong to a writer.
class NameChunks {
  public:
    NameChunks(const fidx& store, std::uint32_t count)
        : folded_(store.folded), offset_(store.name_off), end_(store.name_off[count]) {}

    [[nodiscard]] std::uint32_t offset(EntryId id) const { return offset_[id]; }

    /// The eight name bytes at a heap offset, most significant first; zeros from the name's end.
    [[nodiscard]] std::uint64_t at(std::size_t offset) const;

    /// True when the name ends within the chunk.
    static bool endsName(std::uint64_t chunk) { return (chunk & 0xFF) == 0; }

  private:
    const char* folded_;
    const std::uint32_t* offset_;
    std::size_t end_; ///< heap bytes in use
};

struct NameRecord {
    std::uint64_t chunk; ///< some eight bytes of the name
    EntryId id;
    std::uint32_t offset; ///< of the name in the heap
};

/// Sorts ranges with one thread, keeping its buffers from one to the next.
class NameSorter {
  public:
    explicit NameSorter(const NameChunks& names) : names_(names) {}

    /// Sorts `ids`, given in ascending order.
    void sort(std::span<EntryId> ids);

    /// Sorts records that agree in the first `depth` bytes, have their chunk from there on and
    /// stand in ascending id order. `scratch` has room for as many. Marks equal names in `equal`
    /// (may be null), where the first record is row `firstRow`.
    void sort(std::span<NameRecord> records,
              NameRecord* scratch,
              std::size_t depth,
              EqualRows* equal,
              std::size_t firstRow);

  private:
    struct Run {
        std::size_t begin;
        std::size_t end;
        std::size_t depth; ///< bytes known to be equal
    };

    const NameChunks& names_;
    std::vector<NameRecord> records_;
    std::vector<NameRecord> scratch_;
    std::vector<Run> runs_; ///< still to be sorted; a stack, since names may be very long
};

/// Rows that must come out right; what stands in the others is unspecified.
struct RowWindow {
    std::size_t begin = 0;
    std::size_t end = std::numeric_limits<std::size_t>::max();
};

/// Sorts `ids`, given in ascending order, by name. Marks equal names in `equal` (may be null).
/// Runs of equal names that reach into the window are complete.
void sortByName(const NameChunks& names,
                std::span<EntryId> ids,
                EqualRows* equal,
                unsigned threads,
                RowWindow window = {});

} // namespace quarrydex
