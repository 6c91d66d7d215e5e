/// Homes, mounts and links as a test names them. Threads: filled first, then read by any number.
#pragma once

#include "QuarrydexActions/platform/ProtectedPaths.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace quarrydex {

class FakeProtectedPaths final : public ProtectedPaths {
  public:
    std::vector<HomeFolder> homeFolders;
    std::set<std::string> mountPoints;
    std::map<std::string, std::string> links; ///< folder → the folder that it is a link to

    [[nodiscard]] std::vector<HomeFolder> homes(const std::string&) const override {
        return homeFolders;
    }

    [[nodiscard]] bool isMountPoint(const std::string& path) const override {
        return mountPoints.contains(path);
    }

    [[nodiscard]] std::string resolved(const std::string& path) const override {
        for (const auto& [link, target] : links)
            if (path.starts_with(link + "/"))
                return target + path.substr(link.size());
        return path;
    }
};

} // namespace quarrydex
