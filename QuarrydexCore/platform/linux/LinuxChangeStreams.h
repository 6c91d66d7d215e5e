/// Chooses, by trying, how a folder tree is watched: a mark for its file system where the program
/// may set one, else a watch for each folder; nothing where changes made elsewhere would not be
/// told (network and FUSE mounts).
///
/// Threads: any.
#pragma once

#include "QuarrydexCore/base/SerialQueue.h"
#include "QuarrydexCore/platform/ChangeStream.h"
#include "QuarrydexCore/platform/MountTable.h"
#include "QuarrydexCore/platform/VolumeInfo.h"
#include "QuarrydexCore/platform/linux/EventIds.h"
#include "QuarrydexCore/platform/linux/StreamBackend.h"
#include "QuarrydexCore/platform/linux/WatchBudget.h"

#include <memory>
#include <string>

namespace quarrydex {

class LinuxChangeStreams final : public ChangeStreams {
  public:
    /// Both outlive this object and its streams.
    LinuxChangeStreams(MountTable& mounts, const VolumeInfo& volumes);

    [[nodiscard]] std::uint64_t currentEventId() const override;
    [[nodiscard]] std::string historyIdentity(const std::string& path) const override;
    [[nodiscard]] std::unique_ptr<ChangeStream> open(StreamOptions options) override;

  private:
    [[nodiscard]] bool tellsOfChanges(const std::string& path) const;
    [[nodiscard]] std::unique_ptr<StreamBackend> backendFor(const StreamOptions& options) const;

    MountTable& mounts_;
    const VolumeInfo& volumes_;
    mutable EventIds ids_;
    const std::shared_ptr<WatchBudget> budget_;
    SerialQueue closing_; ///< closes watches; last, so that it ends first
};

} // namespace quarrydex
