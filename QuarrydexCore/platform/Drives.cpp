#include "QuarrydexCore/platform/Drives.h"

#include <algorithm>
#include <optional>
#include <string>
#include <unordered_map>

namespace quarrydex {

namespace {

std::string_view parentPath(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    return slash == 0 || slash == std::string_view::npos ? "/" : path.substr(0, slash);
}

/// What of `path` follows `folder`, with its leading "/"; empty when they are the same.
std::optional<std::string_view> below(std::string_view folder, std::string_view path) {
    if (folder == "/")
        return path == "/" ? "" : path;
    if (!path.starts_with(folder))
        return std::nullopt;
    path.remove_prefix(folder.size());
    if (!path.empty() && path.front() != '/')
        return std::nullopt;
    return path;
}

/// True when what `mount` shows is also seen inside `other`, at a place that the mount itself does
/// not cover.
bool isSeenIn(const Mount& mount, const Mount& other) {
    if (mount.device != other.device)
        return false;
    const auto rest = below(other.root, mount.root);
    if (!rest)
        return false;
    const std::string base = other.path == "/" ? "" : other.path;
    const std::string place = base + std::string(*rest);
    return (place.empty() ? "/" : place) != mount.path;
}

/// Of two mounts that show the same, one has to stay.
bool isDouble(std::span<const Mount> candidates, std::size_t index) {
    const Mount& mount = candidates[index];
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        if (i == index || !isSeenIn(mount, candidates[i]))
            continue;
        const bool isMutual = mount.root == candidates[i].root;
        if (!isMutual || i < index)
            return true;
    }
    return false;
}

/// Mounts that can hold a drive and are not covered by a later one, "/" first, then by path.
std::vector<Mount> candidatesOf(std::span<const Mount> mounts) {
    std::unordered_map<std::string_view, std::size_t> topmost;
    for (std::size_t i = 0; i < mounts.size(); ++i)
        topmost[mounts[i].path] = i;

    std::vector<Mount> out;
    for (std::size_t i = 0; i < mounts.size(); ++i) {
        const Mount& mount = mounts[i];
        const bool isWanted =
            mount.path == "/" || (!mount.isPseudo && (!mount.isNetwork || isExternalDrive(mount)));
        if (isWanted && topmost[mount.path] == i)
            out.push_back(mount);
    }
    std::ranges::sort(out, {}, &Mount::path);
    return out;
}

} // namespace

bool Mount::isSameMount(const Mount& other) const {
    return id == other.id && serial == other.serial && device == other.device &&
           path == other.path && root == other.root && fsType == other.fsType;
}

Drives drivesOf(std::span<const Mount> mounts) {
    const std::vector<Mount> candidates = candidatesOf(mounts);
    Drives out;
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        if (isDouble(candidates, i))
            continue;
        const Mount& mount = candidates[i];
        (isExternalDrive(mount) ? out.external : out.internal).push_back(mount);
    }
    return out;
}

bool isExternalDrive(const Mount& mount) {
    return isExternalPlace(parentPath(mount.path));
}

const Mount* mountOf(std::span<const Mount> mounts, std::string_view path) {
    const Mount* best = nullptr;
    for (const Mount& mount : mounts)
        if (below(mount.path, path) && (best == nullptr || mount.path.size() >= best->path.size()))
            best = &mount;
    return best;
}

MountChanges changesBetween(std::span<const Mount> before, std::span<const Mount> after) {
    const auto missingFrom = [](std::span<const Mount> others, std::span<const Mount> mounts) {
        std::unordered_map<std::uint64_t, const Mount*> byId;
        for (const Mount& other : others)
            byId[other.id] = &other;
        std::vector<Mount> out;
        for (const Mount& mount : mounts) {
            const auto same = byId.find(mount.id);
            if (same == byId.end() || !same->second->isSameMount(mount))
                out.push_back(mount);
        }
        return out;
    };
    return {.added = missingFrom(before, after), .removed = missingFrom(after, before)};
}

} // namespace quarrydex
