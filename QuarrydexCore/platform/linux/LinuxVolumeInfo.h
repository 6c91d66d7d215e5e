/// Volumes by the mount table, a handful of ioctls, the links of /dev/disk and /sys/dev/block.
/// No daemon and no library is asked.
#pragma once

#include "QuarrydexCore/platform/MountTable.h"
#include "QuarrydexCore/platform/VolumeInfo.h"

#include <chrono>
#include <string>

namespace quarrydex {

class LinuxVolumeInfo final : public VolumeInfo {
  public:
    struct Options {
        std::chrono::milliseconds limit{3000}; ///< for one question
        std::string byUuid = "/dev/disk/by-uuid";
        std::string sysBlock = "/sys/dev/block";
    };

    explicit LinuxVolumeInfo(const MountTable& mounts) : LinuxVolumeInfo(mounts, Options{}) {}

    LinuxVolumeInfo(const MountTable& mounts, Options options)
        : mounts_(mounts), options_(std::move(options)) {}

    [[nodiscard]] std::optional<std::string> uuid(const std::string& path) const override;
    [[nodiscard]] std::string label(const std::string& path) const override;
    [[nodiscard]] std::string fsType(const std::string& path) const override;
    [[nodiscard]] bool isDiskImage(const std::string& path) const override;
    [[nodiscard]] std::optional<FileIdentity> identity(const std::string& path) const override;

  private:
    /// What the file system itself says, and the mount that answered.
    struct Answer;
    [[nodiscard]] Answer ask(const std::string& path) const;

    const MountTable& mounts_;
    const Options options_;
};

} // namespace quarrydex
