#include "QuarrydexApp/windows/CandidateFinder.h"

#include "QuarrydexApp/prefs/SourceConfig.h"

#include <utility>

namespace quarrydex {

namespace {

std::vector<FoundDrive> findDrives(const Platform& platform, bool withDiskImages) {
    std::vector<FoundDrive> found;
    const std::vector<Mount> mounts = platform.mounts.mounts();
    for (Candidate& drive : findCandidates(platform, withDiskImages)) {
        found.push_back({.drive = std::move(drive)});
        FoundDrive& last = found.back();
        if (last.drive.isInternal)
            last.personalFolders =
                SourceConfig::personalFoldersOn(last.drive.root, platform.folders, mounts);
    }
    return found;
}

} // namespace

CandidateFinder::CandidateFinder(const Platform& platform, QObject* parent)
    : QObject(parent), platform_(platform),
      mountWatch_(platform.mounts.observe(
          [this](const std::vector<Mount>& /*added*/, const std::vector<Mount>& /*removed*/) {
              background_.mainQueue().post([this] { look(withDiskImages_); });
          })) {}

void CandidateFinder::look(bool withDiskImages) {
    withDiskImages_ = withDiskImages;
    if (isLooking_) {
        looksAgain_ = true;
        return;
    }
    isLooking_ = true;
    background_.run([this, platform = platform_, withDiskImages]() -> Background::Answer {
        auto drives =
            std::make_shared<std::vector<FoundDrive>>(findDrives(platform, withDiskImages));
        return [this, drives] { take(std::move(*drives)); }; // only run while this lives
    });
}

void CandidateFinder::take(std::vector<FoundDrive> drives) {
    isLooking_ = false;
    if (std::exchange(looksAgain_, false)) {
        look(withDiskImages_);
        return;
    }
    drives_ = std::move(drives);
    Q_EMIT found();
}

} // namespace quarrydex
