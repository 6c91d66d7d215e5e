#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/base/Log.h"
#include "QuarrydexCore/platform/Platform.h"
#include "QuarrydexCore/store/fidx_priv.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace quarrydex {

namespace {

std::atomic<const DirReader*> installedReader = nullptr;

/// True when the name ends in a dot, not its first byte, and one of the extensions in any case.
bool hasIncludedExt(std::string_view name, const std::vector<std::string>& exts) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0)
        return false;
    const std::string_view own = name.substr(dot + 1);
    return std::any_of(exts.begin(), exts.end(), [&](std::string_view ext) {
        return std::equal(own.begin(), own.end(), ext.begin(), ext.end(),
                          [](char a, char b) { return fidx_lower(a) == fidx_lower(b); });
    });
}

std::uint8_t flagsOf(const DirChild& child, std::string_view name, std::uint8_t inherited) {
    const bool isFolder = child.type == ObjectType::folder;
    std::uint8_t flags = inherited;
    if (isFolder)
        flags |= EntryFlags::dir;
    if (child.type == ObjectType::symlink)
        flags |= EntryFlags::symlink;
    if (child.isHidden || name.starts_with('.'))
        flags |= EntryFlags::hidden;
    if (fidx_is_junk(name, isFolder))
        flags |= EntryFlags::junk;
    if (isFolder && child.isMountPoint)
        flags |= EntryFlags::otherDevice;
    return flags;
}

void count(const DirChild& child, fidx_stats& stats) {
    switch (child.type) {
    case ObjectType::folder:
        ++stats.dirs;
        break;
    case ObjectType::file:
        ++stats.files;
        stats.bytes += child.size;
        break;
    case ObjectType::symlink:
    case ObjectType::other:
        ++stats.other;
        break;
    }
}

void countFailure(const std::string& path, int error, fidx_stats& stats) {
    if (error == ENOENT) {
        ++stats.enoent;
        return;
    }
    ++stats.errors;
    if (isVerbose())
        logLine("open " + path + ": " + std::generic_category().message(error));
}

bool isRoot(const fidx* store, std::string_view path) {
    fidx_priv& priv = *store->priv;
    const MutexLock hold(priv.rootsLock);
    return std::any_of(priv.roots.begin(), priv.roots.end(), [&](EntryId id) {
        return path ==
               std::string_view(store->names + store->name_off[id], fidx_name_length(*store, id));
    });
}

} // namespace

void fidx_set_dir_reader(const DirReader* reader) {
    installedReader.store(reader, std::memory_order_release);
}

const DirReader& fidx_dir_reader() {
    const DirReader* reader = installedReader.load(std::memory_order_acquire);
    return reader != nullptr ? *reader : systemPlatform().dirReader;
}

int fidx_read_dir(
    const fidx* store, const fidx_job& job, DirListing& raw, fidx_listing& out, fidx_stats& stats) {
    const std::vector<std::string>& includeExts = store->priv->includeExts;
    const int error = fidx_dir_reader().list(
        job.path, {.device = store->priv->scanDevice, .followLink = job.followLink}, raw);
    if (error != 0)
        countFailure(job.path, error, stats);
    out.records.clear();
    out.names.clear();
    for (const DirChild& child : raw.children) {
        const std::string_view name = raw.name(child);
        if (child.type != ObjectType::folder && !includeExts.empty() &&
            !hasIncludedExt(name, includeExts))
            continue;
        count(child, stats);
        out.records.push_back({.size = child.type == ObjectType::file ? child.size : 0,
                               .name = static_cast<std::uint32_t>(out.names.size()),
                               .mtime = fidx_seconds(child.mtime),
                               .ctime = fidx_seconds(child.birthTime),
                               .flags = flagsOf(child, name, job.inherited & fidx_inherited_mask)});
        out.names.append(name.data(), name.size() + 1);
    }
    fidx_fold_listing(out);
    return error;
}

int fidx_list(const fidx* store, const char* path, std::uint8_t inherited, fidx_listing* out) {
    const fidx_job job{.path = path,
                       .folder = noParent,
                       .inherited = inherited,
                       .followLink = isRoot(store, path)};
    DirListing raw;
    fidx_stats ignored{};
    const int error = fidx_read_dir(store, job, raw, *out, ignored);
    if (error == 0)
        return fidx_ok;
    errno = error;
    return fidx_error;
}

void fidx_listing_free(fidx_listing* listing) {
    *listing = fidx_listing();
}

} // namespace quarrydex
