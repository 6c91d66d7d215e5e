/// The user's folders by the XDG variables and the desktop's user-dirs.dirs.
#pragma once

#include "QuarrydexCore/platform/AppFolders.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

class LinuxAppFolders final : public AppFolders {
  public:
    /// Returns the value of an environment variable, empty when it is not set.
    using Variable = std::function<std::string(const char* name)>;

    /// Reads the variables once, here.
    explicit LinuxAppFolders(const Variable& variable = environment);

    [[nodiscard]] std::string home() const override { return home_; }

    [[nodiscard]] std::string data() const override { return data_; }

    [[nodiscard]] std::string config() const override { return configBase_ + "/quarrydex"; }

    /// $XDG_RUNTIME_DIR; where that is not set, as under cron, the folder that it would name, else
    /// the data folder: two processes of one user must meet here.
    [[nodiscard]] std::string runtime() const override { return runtime_; }

    [[nodiscard]] std::vector<std::string> namedFolders() const override;

    [[nodiscard]] static std::string environment(const char* name);

  private:
    std::string home_;
    std::string data_;
    std::string configBase_;
    std::string runtime_;
};

/// The folders that a user-dirs.dirs file names, as AppFolders::namedFolders returns them. Lines
/// are XDG_MUSIC_DIR="$HOME/Musik" or ="/absolute"; the last one for a purpose counts, and the home
/// folder itself means that there is none.
[[nodiscard]] std::vector<std::string> parseUserDirs(std::string_view text,
                                                     const std::string& home);

} // namespace quarrydex
