/// MP4 (M4A, M4B): properties and texts from the one "moov" atom.
///
///     atom   size[4]  type[4]  contents       size 1: the true size follows in 8 bytes
///                                             size 0: up to the end of what holds the atom
///     moov ┬ mvhd                             length of the whole
///          ├ trak─mdia ┬ hdlr                 "soun": a sound track
///          │           └ minf─stbl─stsd       its first entry: codec and properties
///          └ udta─meta─ilst─item─data         texts
///
/// Only these paths are followed, each level in a loop, so that no nesting is too deep. What stands
/// beside them is stepped over: the tables of a long track and the cover picture, by far the most
/// of a movie, are not read. A movie of more than 16 MiB is not looked at. Threads: any; no state.
/// Fails: what has no length gives false; a walk ends at the first atom that does not fit.
#pragma once

#include "QuarrydexAudio/tags/Reader.h"
#include "QuarrydexCore/audio/AudioMeta.h"

#include <cstdint>

namespace quarrydex {

class MP4 {
  public:
    static constexpr int mostAtoms = 64; ///< at the top level
    static constexpr std::uint64_t largestMovie = std::uint64_t{16} << 20;

    /// `parse(reader, into:)`.
    [[nodiscard]] static bool parse(const Reader& reader, AudioMeta& into);
};

} // namespace quarrydex
