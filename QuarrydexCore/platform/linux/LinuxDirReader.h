/// Reads folders with getdents64 and one statx a child, relative to the open folder.
///
/// Paths of any length are taken: one beyond PATH_MAX is walked piece by piece. Mount points and
/// automount triggers are told by the attributes of statx; before Linux 5.8, which reports no mount
/// points, by the device. Nothing here makes an automount happen.
#pragma once

#include "QuarrydexCore/platform/DirReader.h"

namespace quarrydex {

class LinuxDirReader final : public DirReader {
  public:
    [[nodiscard]] int
    list(const std::string& path, ListOptions options, DirListing& out) const override;
    [[nodiscard]] int status(const std::string& path, PathStatus& out) const override;
    [[nodiscard]] int probeFolder(const std::string& path, std::uint64_t& device) const override;
};

} // namespace quarrydex
