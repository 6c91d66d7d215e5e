#include "QuarrydexApp/table/Columns.h"

#include "QuarrydexCore/text/tr.h"

#include <algorithm>

namespace quarrydex {

namespace {

/// Lets the extraction of texts find those of a constant table; they are translated when shown.
struct Later {
    static constexpr std::string_view tr(std::string_view english) { return english; }
};

constexpr std::string_view tags = Later::tr("Audio tags");
constexpr std::string_view sound = Later::tr("Audio / Video");
constexpr std::string_view picture = Later::tr("Image / Video");
constexpr std::string_view document = Later::tr("Document");
constexpr std::string_view file = Later::tr("File");

constexpr std::optional<SortKey> none = std::nullopt;

} // namespace

const std::array<ColumnDef, ColumnDef::count> ColumnDef::all = {{
    {"name", Later::tr("Name"), 280, SortKey::name, "", false, false},
    {"artist", Later::tr("Artist"), 150, none, tags, false, false},
    {"title", Later::tr("Title"), 170, none, tags, false, false},
    {"album", Later::tr("Album"), 150, none, tags, false, false},
    {"genre", Later::tr("Genre"), 90, none, tags, false, false},
    {"year", Later::tr("Year"), 46, none, tags, false, true},
    {"bpm", Later::tr("BPM"), 50, none, tags, false, true},
    {"key", Later::tr("Key"), 55, none, tags, false, false},
    {"duration", Later::tr("Duration"), 60, none, sound, true, true},
    {"bitrate", Later::tr("Bit rate"), 104, none, sound, true, true},
    {"rate", Later::tr("Sample rate"), 80, none, sound, true, true},
    {"codec", Later::tr("Codec"), 80, none, sound, false, false},
    {"bits", Later::tr("Bit depth"), 62, none, sound, false, true},
    {"channels", Later::tr("Channels"), 60, none, sound, false, false},
    {"dims", Later::tr("Dimensions"), 84, none, picture, true, true},
    {"pages", Later::tr("Pages"), 56, none, document, true, true},
    {"size", Later::tr("Size"), 78, SortKey::size, file, false, true},
    {"date", Later::tr("Modified"), 76, SortKey::date, file, false, true},
    {"created", Later::tr("Created"), 76, SortKey::created, file, false, true},
    {"atime", Later::tr("Last opened"), 100, none, file, true, true},
    {"ext", Later::tr("Extension"), 64, none, file, false, false},
    {"kind", Later::tr("Kind"), 110, none, file, false, false},
    {"drive", Later::tr("Drive"), 118, none, file, false, false},
    {"path", Later::tr("Path"), 240, SortKey::path, file, false, false},
}};

std::string ColumnDef::shownTitle() const {
    return tr(title);
}

std::string ColumnDef::shownGroup() const {
    return group.empty() ? std::string() : tr(group);
}

std::optional<Column> ColumnDef::byID(std::string_view id) {
    const auto found = std::ranges::find(all, id, &ColumnDef::id);
    if (found == all.end())
        return std::nullopt;
    return static_cast<Column>(found - all.begin());
}

const ColumnDef& ColumnDef::of(Column column) {
    return all[static_cast<std::size_t>(column)];
}

} // namespace quarrydex
