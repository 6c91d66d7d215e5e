#include "QuarrydexApp/model/OpenVolume.h"

#include "QuarrydexCore/catalog/LoadedCatalog.h"
#include "QuarrydexCore/platform/MountTable.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace quarrydex {

namespace {

/// Makes the snapshot's catalogue the volume's, if it is the right one and worth keeping.
void load(OpenedVolume& volume, const VolumePlan& plan) {
    std::optional<LoadedCatalog> saved = VolumeIndex::load(volume.snapshotPath, plan.excludes);
    if (!saved || saved->info.exclHash != volume.configHash)
        return;
    const std::uint64_t count = saved->index->count();
    if (count <= 4 * (count - saved->index->liveCount()))
        return; // mostly deleted entries: a scan makes a smaller one
    volume.resume = VolumeID::resume(
        saved->info, {.uuid = volume.uuid, .root = plan.root, .fseUUID = volume.historyId});
    if (volume.resume == VolumeID::Resume::invalid)
        return;
    saved->index->setIncludeExts(plan.includeExts);
    saved->index->loadAudio(volume.snapshotPath);
    volume.index = std::move(saved->index);
    volume.loaded = std::move(saved->info);
}

} // namespace

/// The lock's name stands for the whole path: programs with other data folders may share the
/// runtime folder.
std::shared_ptr<const FileLock> lockCatalog(const Platform& platform,
                                            const std::string& snapshotPath) {
    char name[32];
    std::snprintf(name, sizeof name, "/%016llx.lock",
                  static_cast<unsigned long long>(VolumeID::fnv(snapshotPath)));
    return FileLock::acquire(platform.folders.runtime() + name);
}

OpenedVolume openVolume(const VolumePlan& plan, const Platform& platform, bool persist) {
    OpenedVolume volume;
    volume.uuid = VolumeID(platform.volumes).identity(plan.root);
    volume.configHash = VolumeID::configHash(plan.excludes, plan.scopes, plan.includeExts);
    if (persist) {
        volume.historyId = platform.changeStreams.historyIdentity(plan.root);
        volume.snapshotPath =
            VolumeID::snapshotPath(volume.uuid, plan.root, VolumeID::directory(platform.folders));
        volume.lock = lockCatalog(platform, volume.snapshotPath);
        load(volume, plan);
    }
    if (!volume.index) {
        volume.index = std::make_shared<VolumeIndex>(
            VolumeIndex::defaultMaxEntries, VolumeIndex::defaultMaxNameBytes, plan.excludes);
        volume.index->setIncludeExts(plan.includeExts);
    }
    return volume;
}

std::vector<OfflineCatalog> offlineCatalogs(const Platform& platform,
                                            const std::vector<std::string>& skipping) {
    std::vector<OfflineCatalog> found;
    std::error_code error;
    const std::string folder = VolumeID::directory(platform.folders);
    for (const auto& file : std::filesystem::directory_iterator(folder, error)) {
        const std::string path = file.path().string();
        if (!path.ends_with(".idx"))
            continue;
        const auto header = VolumeIndex::peek(path);
        if (!header || !isExternalPlace(header->info.root) ||
            std::ranges::find(skipping, header->info.uuid) != skipping.end())
            continue;
        if (auto saved = VolumeIndex::load(path, {})) {
            saved->index->loadAudio(path);
            found.push_back({path, std::move(saved->index), std::move(saved->info)});
        }
    }
    std::ranges::sort(found, {}, &OfflineCatalog::snapshotPath);
    return found;
}

} // namespace quarrydex
