/// The atoms of an MP4 file, walked where they stand: headers and small contents are read a few
/// kilobytes at a time where that was allowed, large contents on demand.
///
/// One thread at a time. Fails: a walk ends at the first atom that does not fit in what holds it.
#pragma once

#include "QuarrydexAudio/tags/Window.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace quarrydex {

/// A stretch of the file, by offsets.
struct Range {
    std::uint64_t begin{};
    std::uint64_t end{};

    [[nodiscard]] std::uint64_t size() const { return end - begin; }

    [[nodiscard]] bool isEmpty() const { return begin == end; }

    /// Its first `count` bytes, or all of it where it is shorter.
    [[nodiscard]] Range first(std::uint64_t count) const {
        return {begin, begin + std::min(count, size())};
    }

    /// What is left of it behind its first `count` bytes.
    [[nodiscard]] Range from(std::uint64_t count) const {
        return {begin + std::min(count, size()), end};
    }
};

struct Atom {
    FourCC type{};
    Range whole;                ///< with its header; cut at the end of what holds it
    Range contents;             ///< without
    std::uint64_t statedSize{}; ///< what its header says; where that is 0, the size of `whole`
};

class AtomReader {
  public:
    /// The reader must outlive this one.
    explicit AtomReader(const Reader& reader) : reader_(reader), window_(reader) {}

    /// From here on, bytes before this offset may be read along with those that are asked for.
    void readAheadTo(std::uint64_t end) { aheadTo_ = end; }

    /// The atom at the beginning of a range, which it may overrun. Nothing when its header does not
    /// fit or its size is smaller than that.
    [[nodiscard]] std::optional<Atom> header(Range range);

    /// The same when all of it fits.
    [[nodiscard]] std::optional<Atom> first(Range range);

    /// Calls take(atom) for one atom of the range after another.
    template <typename Take> void forEach(Range range, Take&& take) {
        while (const auto atom = first(range)) {
            take(*atom);
            range.begin = atom->whole.end;
        }
    }

    /// Contents of the range's first atom of that type; an empty range when there is none.
    [[nodiscard]] Range child(Range range, FourCC type);

    /// The bytes of a range, fewer at the end of the file; valid until the next call of any kind.
    [[nodiscard]] Bytes bytes(Range range);

  private:
    static constexpr std::size_t largestPiece = 4096; ///< that passes through the window
    static constexpr std::size_t mostAhead = 4096;

    const Reader& reader_;
    Window<largestPiece + mostAhead> window_;
    Scratch scratch_;
    std::uint64_t aheadTo_ = 0;
};

} // namespace quarrydex
