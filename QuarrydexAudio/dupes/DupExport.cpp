#include "QuarrydexAudio/dupes/DupExport.h"

#include "QuarrydexAudio/dupes/SongKey.h"
#include "QuarrydexCore/base/Calendar.h"
#include "QuarrydexCore/base/Files.h"
#include "QuarrydexCore/platform/MountTable.h"
#include "QuarrydexCore/text/tr.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <unordered_set>
#include <vector>

namespace quarrydex {

namespace {

std::string_view nameOf(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

// --- Cells --------------------------------------------------------------------------------------

std::string quoted(std::string_view text) {
    std::string out = "\"";
    for (char c : text) {
        if (c == '"')
            out += c;
        out += c;
    }
    return out + '"';
}

/// Seconds with one decimal, rounded as "%.1f" does, with a "." whatever the locale.
std::string secondsCell(std::uint32_t ms) {
    std::array<char, 32> text;
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), ms / 1000.0,
                                            std::chars_format::fixed, 1);
    return {text.data(), end};
}

std::string timeCell(std::uint32_t seconds) {
    constexpr std::uint32_t day = 86'400;
    const CivilDate date = civilFromDays(seconds / day);
    const std::uint32_t rest = seconds % day;
    std::array<char, 32> text;
    const int length =
        std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT%02u:%02u:%02uZ",
                      static_cast<int>(date.year), static_cast<int>(date.month),
                      static_cast<int>(date.day), rest / 3600, rest / 60 % 60, rest % 60);
    return {text.data(), static_cast<std::size_t>(length)};
}

std::string confirmedCell(std::optional<bool> confirmed) {
    if (!confirmed)
        return "";
    return *confirmed ? "true" : "false";
}

void appendLine(std::string& out, const DupGroup& group, std::size_t position) {
    const DupMember& member = group.members[position];
    const AudioMeta none;
    const AudioMeta& meta = member.meta ? *member.meta : none;
    const std::array<std::string, 12> cells = {std::to_string(group.id),
                                               std::string(rawValue(group.kind)),
                                               confirmedCell(group.confirmed),
                                               position == group.keep ? "keep" : "surplus",
                                               quoted(member.path),
                                               std::to_string(member.size),
                                               std::string(label(meta.codec)),
                                               member.meta ? std::to_string(meta.bitrateKbps) : "",
                                               member.meta ? secondsCell(meta.durationMs) : "",
                                               quoted(meta.artist),
                                               quoted(meta.title),
                                               timeCell(member.mtime)};
    for (std::size_t i = 0; i < cells.size(); ++i) {
        if (i > 0)
            out += ',';
        out += cells[i];
    }
    out += '\n';
}

// --- Playlists ----------------------------------------------------------------------------------

/// The members that a playlist is about, each path once.
std::vector<const DupMember*> selected(std::span<const DupGroup> groups, DupExport::Which which) {
    using Which = DupExport::Which;
    std::unordered_set<std::string_view> taken;
    if (which == Which::surplus)
        for (const DupGroup& group : groups)
            if (group.keep < group.members.size())
                taken.insert(group.members[group.keep].path);

    std::vector<const DupMember*> out;
    for (const DupGroup& group : groups) {
        if (which == Which::surplus && group.keep >= group.members.size())
            continue;
        for (std::size_t i = 0; i < group.members.size(); ++i) {
            const bool isKept = i == group.keep;
            if (which == Which::all || isKept == (which == Which::keep))
                if (taken.insert(group.members[i].path).second)
                    out.push_back(&group.members[i]);
        }
    }
    return out;
}

bool isListable(const DupMember& member) {
    return member.path.find_first_of("\r\n") == std::string::npos;
}

std::string displayTitle(const DupMember& member) {
    std::string text = member.meta && !member.meta->artist.empty() && !member.meta->title.empty()
                           ? member.meta->artist + " - " + member.meta->title
                           : std::string(withoutExtension(nameOf(member.path)));
    for (char& c : text)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
            c = ' ';
    return text;
}

// --- Places -------------------------------------------------------------------------------------

bool hasListEnding(std::string_view name) {
    if (name.size() < 5) // something before the dot
        return false;
    std::string ending(name.substr(name.size() - 4));
    for (char& c : ending)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c + ('a' - 'A'));
    return ending == ".csv" || ending == ".m3u";
}

/// The folder with links and dots resolved; as it is when there is none.
std::string realFolder(const std::string& folder) {
    char* const resolved = ::realpath(folder.c_str(), nullptr);
    if (resolved == nullptr)
        return folder;
    std::string real = resolved;
    std::free(resolved);
    return real;
}

} // namespace

std::string DupExport::csv(std::span<const DupGroup> groups) {
    std::string out = "group,kind,confirmed,keep,path,size_bytes,codec,bitrate_kbps,duration_s,"
                      "artist,title,modified\n";
    for (const DupGroup& group : groups)
        for (std::size_t i = 0; i < group.members.size(); ++i)
            appendLine(out, group, i);
    return out;
}

std::string DupExport::m3u(std::span<const DupGroup> groups, Which which) {
    std::string out = "#EXTM3U\n";
    for (const DupMember* member : selected(groups, which)) {
        if (!isListable(*member))
            continue;
        const std::string seconds =
            member->meta ? std::to_string((std::uint64_t{member->meta->durationMs} + 500) / 1000)
                         : "-1";
        out += "#EXTINF:" + seconds + "," + displayTitle(*member) + "\n" + member->path + "\n";
    }
    return out;
}

std::size_t DupExport::unlistable(std::span<const DupGroup> groups, Which which) {
    std::size_t count = 0;
    for (const DupMember* member : selected(groups, which))
        count += isListable(*member) ? 0 : 1;
    return count;
}

std::uint64_t DupExport::surplusBytes(std::span<const DupGroup> groups) {
    std::unordered_set<std::string_view> counted;
    std::uint64_t bytes = 0;
    for (const DupGroup& group : groups)
        for (std::size_t i = 0; i < group.members.size(); ++i)
            if (i != group.keep && counted.insert(group.members[i].path).second)
                bytes += group.members[i].size;
    return bytes;
}

bool DupExport::mayWriteTo(const std::string& path) {
    const std::string folder = folderOf(path);
    return hasListEnding(nameOf(path)) && !isExternalPlace(folder) &&
           !isExternalPlace(realFolder(folder));
}

std::string DupExport::refusalTitle() {
    return tr("Export not possible");
}

std::string DupExport::refusalText() {
    return tr("Lists are only written as .csv/.m3u and never to external drives (/Volumes). "
              "Choose a folder on the internal volume.");
}

} // namespace quarrydex
