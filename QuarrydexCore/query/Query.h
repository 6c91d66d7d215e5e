/// A parsed query: an OR of AND-groups of terms. Plain values, made by QueryParser.
#pragma once

#include "QuarrydexCore/audio/AudioCond.h"

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace quarrydex {

/// Both ends inclusive.
template <typename T> struct ClosedRange {
    T lo{};
    T hi{};
    bool operator==(const ClosedRange&) const = default;
};

namespace preds {

struct Name { ///< substring of the name
    std::string text;
    bool operator==(const Name&) const = default;
};

struct Glob { ///< shell-style pattern (* and ?) on the whole name
    std::string pattern;
    bool operator==(const Glob&) const = default;
};

struct Regex { ///< POSIX extended regular expression on the name
    std::string pattern;
    bool operator==(const Regex&) const = default;
};

struct Ext { ///< one of these extensions, lower case, without dots
    std::vector<std::string> exts;
    bool operator==(const Ext&) const = default;
};

struct Size { ///< bytes
    ClosedRange<std::uint64_t> range;
    bool operator==(const Size&) const = default;
};

struct Date { ///< modification time, seconds since 1970-01-01 UTC
    ClosedRange<std::uint32_t> range;
    bool operator==(const Date&) const = default;
};

struct Path { ///< text that must occur in the folder path
    std::string text;
    bool operator==(const Path&) const = default;
};

struct Kind { ///< true = folder, false = file
    bool folder{};
    bool operator==(const Kind&) const = default;
};

struct Audio {
    AudioCond cond;
    bool operator==(const Audio&) const = default;
};

struct Junk {
    bool operator==(const Junk&) const = default;
};

} // namespace preds

/// One predicate on an entry.
using Pred = std::variant<preds::Name,
                          preds::Glob,
                          preds::Regex,
                          preds::Ext,
                          preds::Size,
                          preds::Date,
                          preds::Path,
                          preds::Kind,
                          preds::Audio,
                          preds::Junk>;

struct Term {
    bool neg{}; ///< the entry must not satisfy pred
    Pred pred;
    bool caseSensitive{}; ///< governs name, glob and regex
    bool operator==(const Term&) const = default;
};

struct Query {
    /// A hit satisfies every term of at least one group. No groups: everything matches.
    std::vector<std::vector<Term>> groups;

    /// `Query.and`: this query with the term appended to every group; with no groups, one group
    /// that holds only the term.
    [[nodiscard]] Query and_(const Term& term) const;

    /// True when some term looks into audio metadata.
    [[nodiscard]] bool asksForAudio() const;

    bool operator==(const Query&) const = default;
};

} // namespace quarrydex
