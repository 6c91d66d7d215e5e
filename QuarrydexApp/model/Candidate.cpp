#include "QuarrydexApp/model/Candidate.h"

#include "QuarrydexCore/catalog/VolumeID.h"
#include "QuarrydexCore/platform/Drives.h"
#include "QuarrydexCore/text/tr.h"

namespace quarrydex {

namespace {

Candidate candidateOf(const Mount& mount, const Platform& platform, bool isInternal) {
    std::string name = platform.volumes.label(mount.path);
    if (name.empty())
        name = mount.path == "/" ? quarrydex::tr("System")
                                 : mount.path.substr(mount.path.rfind('/') + 1);
    return {VolumeID(platform.volumes).identity(mount.path), std::move(name), mount.path,
            isInternal};
}

/// A single file may be mounted too. A share is not asked: it may not answer.
bool isFolder(const Mount& mount, const Platform& platform) {
    std::uint64_t device = 0;
    return mount.isNetwork || platform.dirReader.probeFolder(mount.path, device) == 0;
}

} // namespace

std::vector<Candidate> findCandidates(const Platform& platform, bool withDiskImages) {
    const std::vector<Mount> mounts = platform.mounts.mounts();
    const Drives drives = drivesOf(mounts);
    std::vector<Candidate> found;
    for (const Mount& mount : drives.internal)
        if (isFolder(mount, platform))
            found.push_back(candidateOf(mount, platform, true));
    for (const Mount& mount : drives.external)
        if (isFolder(mount, platform) &&
            (withDiskImages || !platform.volumes.isDiskImage(mount.path)))
            found.push_back(candidateOf(mount, platform, false));
    return found;
}

} // namespace quarrydex
