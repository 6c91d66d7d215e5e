/// Homes by the password file and the folders of homes, named folders by each home's
/// user-dirs.dirs, mount points by the mount table.
///
/// Foreign files are read up to a bound, and what they name can only protect more. The file of
/// another user's home counts only for folders inside that home.
/// Threads: any. Ownership: keeps references to both arguments.
#pragma once

#include "QuarrydexActions/platform/ProtectedPaths.h"
#include "QuarrydexCore/platform/AppFolders.h"
#include "QuarrydexCore/platform/MountTable.h"

#include <string>
#include <vector>

namespace quarrydex {

class LinuxProtectedPaths final : public ProtectedPaths {
  public:
    /// Where the machine keeps its users.
    struct Users {
        std::string homes = "/home";
        std::string rootHome = "/root";
        std::string passwordFile = "/etc/passwd";
    };

    LinuxProtectedPaths(const MountTable& mounts, const AppFolders& folders)
        : LinuxProtectedPaths(mounts, folders, Users{}) {}

    LinuxProtectedPaths(const MountTable& mounts, const AppFolders& folders, Users users);

    /// The user's own home as it is named and as it is resolved, root's, those of people in the
    /// password file, and the one below the folder of homes in which the path lies.
    [[nodiscard]] std::vector<HomeFolder> homes(const std::string& path) const override;

    /// Asks the table first, which needs no answer from a drive.
    [[nodiscard]] bool isMountPoint(const std::string& path) const override;

    [[nodiscard]] std::string resolved(const std::string& path) const override;

  private:
    [[nodiscard]] HomeFolder ownHome() const;

    const MountTable& mounts_;
    const AppFolders& folders_;
    const Users users_;
};

/// Home folders of people in a password file: users with a number from 1000 on, apart from the one
/// that stands for nobody.
[[nodiscard]] std::vector<std::string> peoplesHomes(std::string_view passwordFile);

} // namespace quarrydex
