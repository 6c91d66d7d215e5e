#include "QuarrydexApp/headless/Explanation.h"

#include "QuarrydexApp/model/VolumeState.h"
#include "QuarrydexCore/base/Files.h"
#include "QuarrydexCore/text/Fold.h"
#include "QuarrydexCore/text/tr.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

namespace quarrydex {

namespace {

/// How far the catalogue knows a path.
struct Lookup {
    EntryId deepest{};       ///< the last component that has an entry
    std::string deepestPath; ///< its path
    std::string missing;     ///< the next component; empty when the whole path was found
};

std::optional<EntryId> findChild(const VolumeIndex& index, EntryId folder, std::string_view name) {
    const std::uint32_t count = index.count();
    for (EntryId id = folder + 1; id < count; ++id)
        if (index.base().parent[id] == folder && index.name(id) == name &&
            (index.flags(id) & EntryFlags::deleted) == 0)
            return id;
    return std::nullopt;
}

Lookup lookUp(const VolumeIndex& index, const std::string& root, std::string_view path) {
    Lookup lookup{index.roots().front(), root, {}};
    std::string_view rest = path.substr(root.size());
    for (;;) {
        rest.remove_prefix(std::min(rest.find_first_not_of('/'), rest.size()));
        if (rest.empty())
            return lookup;
        const std::string_view name = rest.substr(0, rest.find('/'));
        const std::optional<EntryId> child = findChild(index, lookup.deepest, name);
        if (!child) {
            lookup.missing = name;
            return lookup;
        }
        lookup.deepest = *child;
        lookup.deepestPath = childPath(lookup.deepestPath, name);
        rest.remove_prefix(name.size());
    }
}

/// The outermost folder (or the entry itself) from which the flag comes down to the entry.
EntryId sourceOf(std::uint8_t flag, EntryId id, const VolumeIndex& index) {
    for (std::optional<EntryId> up = index.parent(id); up && (index.flags(*up) & flag) != 0;
         up = index.parent(*up))
        id = *up;
    return id;
}

/// Why hidden or junk entries are left out, naming where that begins.
std::string reasonFor(std::uint8_t flag, EntryId id, const VolumeIndex& index) {
    const EntryId source = sourceOf(flag, id, index);
    if (flag == EntryFlags::junk)
        return source == id ? tr("It is a system file (junk).")
                            : tr("It lies in the system folder “{folder}” (junk).",
                                 {{"folder", index.path(source)}});
    return source == id
               ? tr("It is hidden.")
               : tr("It lies in the hidden folder “{folder}”.", {{"folder", index.path(source)}});
}

Explanation explainEntry(EntryId id, const VolumeState& volume) {
    const VolumeIndex& index = *volume.index;
    const std::uint8_t flags = index.flags(id);
    const std::string path = index.path(id);
    Explanation out;
    if ((flags & EntryFlags::root) != 0) {
        out.lines = {tr("Not found: “{path}”", {{"path", path}}),
                     tr("It is the folder that is searched; what is in it is found.")};
        return out;
    }
    for (const std::uint8_t flag : {EntryFlags::junk, EntryFlags::hidden})
        if ((flags & flag) != 0)
            out.lines.push_back(reasonFor(flag, id, index));
    if (!out.lines.empty())
        out.lines.push_back(tr("A search with --show-junk finds it."));
    if (volume.hidden)
        out.lines.push_back(
            tr("“{drive}” is hidden: searches leave it out.", {{"drive", volume.name}}));
    out.isFound = out.lines.empty();
    out.lines.insert(out.lines.begin(), out.isFound ? tr("Found: “{path}”", {{"path", path}})
                                                    : tr("Not found: “{path}”", {{"path", path}}));
    char hex[8];
    std::snprintf(hex, sizeof hex, "0x%02x", flags);
    out.lines.push_back(tr("Entry {id} of “{drive}”, flags {flags}.",
                           {{"id", id}, {"drive", volume.name}, {"flags", hex}}));
    return out;
}

/// Why the scan did not enter the folder, or nothing when it did.
std::optional<std::string> whyNotEntered(EntryId id,
                                         const std::string& folder,
                                         const VolumeIndex& index,
                                         const DirReader& reader) {
    const std::uint8_t flags = index.flags(id);
    const bool isRoot = (flags & EntryFlags::root) != 0;
    if ((flags & EntryFlags::symlink) != 0)
        return tr("“{path}” is a symbolic link; links are not followed.", {{"path", folder}});
    if ((flags & EntryFlags::dir) == 0)
        return tr("“{path}” is not a folder.", {{"path", folder}});
    if (std::ranges::find(index.excludes(), folder) != index.excludes().end())
        return tr("The folder “{path}” is excluded.", {{"path", folder}});
    PathStatus status;
    if (!isRoot && reader.status(folder, status) == 0 && status.isMountPoint)
        return tr("Another file system begins at “{path}”: add --root {path} to search it.",
                  {{"path", folder}});
    std::uint64_t device = 0;
    if (const int error = reader.probeFolder(folder, device); error != 0)
        return tr("The folder “{path}” cannot be read: {reason}",
                  {{"path", folder}, {"reason", std::generic_category().message(error)}});
    return std::nullopt;
}

bool hasChildren(EntryId folder, const VolumeIndex& index) {
    const std::uint32_t count = index.count();
    EntryId id = folder + 1;
    while (id < count && index.base().parent[id] != folder)
        ++id;
    return id < count;
}

/// True when the type filter lets a file of this name through.
bool passesTypes(std::string_view name, const std::vector<std::string>& exts) {
    const std::size_t dot = name.rfind('.');
    if (exts.empty() || dot == std::string_view::npos || dot == 0)
        return exts.empty();
    const std::string ext = fold(name.substr(dot + 1));
    return std::ranges::any_of(exts,
                               [&](const std::string& wanted) { return fold(wanted) == ext; });
}

/// Why the scan has no entry for a path whose folder it has.
std::string whyMissing(const Lookup& lookup, const VolumeIndex& index, const DirReader& reader) {
    if (auto reason = whyNotEntered(lookup.deepest, lookup.deepestPath, index, reader))
        return *reason;
    const std::string path = childPath(lookup.deepestPath, lookup.missing);
    PathStatus status;
    if (const int error = reader.status(path, status); error != 0)
        return error == ENOENT
                   ? tr("“{path}” does not exist.", {{"path", path}})
                   : tr("“{path}” cannot be examined: {reason}",
                        {{"path", path}, {"reason", std::generic_category().message(error)}});
    if (status.type != ObjectType::folder && !passesTypes(lookup.missing, index.includeExts()))
        return tr("The type filter (--types) leaves it out.");
    if (index.overflowed())
        return tr("The catalogue is full.");
    if (index.stats().nested > 0 && !hasChildren(lookup.deepest, index))
        return tr("The folder “{path}” was not entered because its path repeats itself.",
                  {{"path", lookup.deepestPath}});
    return tr("It came into being after the scan.");
}

} // namespace

Explanation explain(const std::string& path, const VolumeState& volume, const DirReader& reader) {
    const Lookup lookup = lookUp(*volume.index, volume.root, path);
    if (lookup.missing.empty())
        return explainEntry(lookup.deepest, volume);
    return {.isFound = false,
            .lines = {tr("Not found: “{path}”", {{"path", path}}),
                      whyMissing(lookup, *volume.index, reader)}};
}

} // namespace quarrydex
