/// One AND-group of a query, compiled for one catalogue: what each term looks for in the columns.
///
/// Lives for one search. Compiling does what is done once a search and not once an entry: folding
/// the texts, marking the folders of a path term, filling the bits of an audio term.
/// Threads: compiled by one, read by all workers.
#pragma once

#include "QuarrydexCore/base/Bits.h"
#include "QuarrydexCore/query/Query.h"
#include "QuarrydexCore/search/Glob.h"
#include "QuarrydexCore/search/Needle.h"
#include "QuarrydexCore/search/RegexPattern.h"

#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace quarrydex {

class VolumeIndex;

namespace ops {

/// A substring of the folded or of the raw name.
struct Text {
    std::string bytes; ///< folded unless isRaw
    bool isRaw{};      ///< looked for in the raw names
    /// For the kernels; empty when they cannot serve: the text is empty, too long, holds a NUL (no
    /// name does), or holds the filler byte while it is looked for in folded names.
    Needle needle;
};

struct Glob {
    quarrydex::Glob pattern;
    Text literal; ///< every match holds it; empty when none is known
};

struct Regex {
    RegexPattern
        pattern;  ///< each worker matches with a clone; invalid: no entry passes, negated or not
    Text literal; ///< every match holds it, but for names with bytes ≥ 0x80 when folded
};

struct Ext {
    std::vector<std::uint16_t> ids;
    BitWords table; ///< bit per extension id
};

struct Size {
    ClosedRange<std::uint64_t> range;
};

struct Date {
    ClosedRange<std::uint32_t> range;
};

/// The entry lies in a folder whose name, or the name of one above it, holds the text.
struct PathDir {
    BitWords entries;
};

/// The text occurs in the entry's full path.
struct PathFull {
    BitWords entries;
};

struct Kind {
    bool folder{};
};

struct Junk {};

struct Audio {
    BitWords entries;
};

} // namespace ops

class OpSet {
  public:
    /// The kinds of ops; the name of each says which column it looks at.
    enum class K : std::uint8_t {
        name,
        nameCS,
        glob,
        regex,
        ext,
        size,
        date,
        pathDir,
        pathFull,
        kind,
        junk,
        audio
    };

    struct Op {
        K k{};
        bool neg{};
        std::variant<ops::Text,
                     ops::Glob,
                     ops::Regex,
                     ops::Ext,
                     ops::Size,
                     ops::Date,
                     ops::PathDir,
                     ops::PathFull,
                     ops::Kind,
                     ops::Junk,
                     ops::Audio>
            test;
    };

    /// Compiles the terms for the entries below n; `threads` may be used for what walks columns.
    [[nodiscard]] static OpSet compile(const VolumeIndex& index,
                                       std::span<const Term> terms,
                                       std::uint32_t n,
                                       unsigned threads);

    /// Cheap tests first, so that most entries are decided before a name is read; equal costs keep
    /// the order of their terms.
    [[nodiscard]] static int cost(K k);

    [[nodiscard]] const VolumeIndex& index() const { return *index_; }

    [[nodiscard]] std::uint32_t entries() const { return entries_; }

    /// In the order of their costs.
    [[nodiscard]] std::span<const Op> ops() const { return ops_; }

  private:
    OpSet(const VolumeIndex& index, std::uint32_t n) : index_(&index), entries_(n) {}

    const VolumeIndex* index_;
    std::uint32_t entries_;
    std::vector<Op> ops_;
};

} // namespace quarrydex
