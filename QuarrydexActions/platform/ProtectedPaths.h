/// What this machine adds to the rules about protected folders: its homes, mounts and links.
///
/// Threads: any. Failure: what cannot be read is left out; the fixed rules hold all the same.
#pragma once

#include <string>
#include <vector>

namespace quarrydex {

struct HomeFolder {
    std::string path; ///< absolute
    std::vector<std::string>
        named; ///< folders that its user chose for music, pictures, …; absolute

    bool operator==(const HomeFolder&) const = default;
};

class ProtectedPaths {
  public:
    virtual ~ProtectedPaths() = default;

    /// The homes that the path may have to do with: wherever they are, those of the user and of
    /// others who log in; and the one below the usual folder of homes in which the path lies.
    [[nodiscard]] virtual std::vector<HomeFolder> homes(const std::string& path) const = 0;

    /// True when something is mounted at the path, or its device is not that of its parent folder.
    [[nodiscard]] virtual bool isMountPoint(const std::string& path) const = 0;

    /// The path with the links on the way to it resolved, the last component as it is; unchanged
    /// when they lead nowhere.
    [[nodiscard]] virtual std::string resolved(const std::string& path) const = 0;
};

} // namespace quarrydex
