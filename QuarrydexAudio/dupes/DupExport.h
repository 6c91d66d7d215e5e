/// Duplicate groups as lists to act on elsewhere: a table of everything, and playlists.
///
/// A list is text. Writing it is the caller's business, once mayWriteTo() has said yes.
///
/// What a playlist of the surplus names can be deleted as a whole without losing the last file of
/// any group: a path that some group keeps is never among it, nor is anything of a group whose
/// `keep` is none of its members.
///
/// Threads: any; no state. Failure: building a text cannot fail.
#pragma once

#include "QuarrydexAudio/dupes/DupTypes.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace quarrydex {

class DupExport {
  public:
    enum class Which : std::uint8_t {
        surplus, ///< every member but each group's `keep`
        keep,    ///< each group's `keep`
        all,
    };

    /// How the default name of a surplus playlist ends.
    static constexpr std::string_view surplusEnding = "-duplicates-surplus.m3u";

    /// `csv(groups)`: a header and one line a member. Times are ISO 8601 in UTC
    /// ("2024-05-01T17:03:20Z"). Quoted cells may hold line breaks, as the format permits.
    [[nodiscard]] static std::string csv(std::span<const DupGroup> groups);

    /// `m3u(groups, which:)`: each file once, also when several groups hold it. The title of a file
    /// without tags is its name without the extension; control characters in it become spaces.
    [[nodiscard]] static std::string m3u(std::span<const DupGroup> groups, Which which);

    /// How many files m3u leaves out because their paths hold a line break, which a playlist cannot
    /// tell from two entries.
    [[nodiscard]] static std::size_t unlistable(std::span<const DupGroup> groups, Which which);

    /// `surplusBytes(groups)`: the total of the groups' surplusBytes, but a file that is surplus in
    /// several groups counts once.
    [[nodiscard]] static std::uint64_t surplusBytes(std::span<const DupGroup> groups);

    /// True for a ".csv" or ".m3u" file in a folder that is not where drives are mounted, or below,
    /// links followed.
    [[nodiscard]] static bool mayWriteTo(const std::string& path);

    /// What the user is told where it says no: an alert's title and text.
    [[nodiscard]] static std::string refusalTitle();
    [[nodiscard]] static std::string refusalText();
};

} // namespace quarrydex
