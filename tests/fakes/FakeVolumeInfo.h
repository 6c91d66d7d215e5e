/// Volumes as a test describes them, by mount point: a path belongs to the longest one above it.
///
/// Threads: filled first, then read by any number of threads.
#pragma once

#include "QuarrydexCore/platform/VolumeInfo.h"

#include <map>
#include <optional>
#include <string>

namespace quarrydex {

class FakeVolumeInfo final : public VolumeInfo {
  public:
    struct Volume {
        std::optional<std::string> uuid = std::nullopt;
        std::string label{};
        std::string fsType = "ext4";
        bool isDiskImage = false;
    };

    std::map<std::string, Volume> volumes; ///< by mount point

    [[nodiscard]] std::optional<std::string> uuid(const std::string& path) const override {
        return volumeOf(path).uuid;
    }

    [[nodiscard]] std::string label(const std::string& path) const override {
        return volumeOf(path).label;
    }

    [[nodiscard]] std::string fsType(const std::string& path) const override {
        return volumeOf(path).fsType;
    }

    [[nodiscard]] bool isDiskImage(const std::string& path) const override {
        return volumeOf(path).isDiskImage;
    }

    [[nodiscard]] std::optional<FileIdentity> identity(const std::string&) const override {
        return std::nullopt;
    }

  private:
    [[nodiscard]] Volume volumeOf(const std::string& path) const {
        Volume best{.fsType = ""};
        for (const auto& [root, volume] : volumes) // longer ones come later
            if (root == "/" || path == root || path.starts_with(root + "/"))
                best = volume;
        return best;
    }
};

} // namespace quarrydex
