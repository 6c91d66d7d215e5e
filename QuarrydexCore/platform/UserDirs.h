/// The text of a user-dirs.dirs file, in which a desktop keeps the folders that its user chose.
/// Threads: any; no state. Fails: never; lines that are none are left out.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

struct UserDir {
    std::string_view purpose; ///< "XDG_MUSIC_DIR"; views the text
    std::string path;         ///< absolute; empty when the user has no folder for it

    bool operator==(const UserDir&) const = default;
};

/// Every assignment in its order: XDG_MUSIC_DIR="$HOME/Musik" or ="/absolute". The home folder
/// itself means that there is none.
[[nodiscard]] std::vector<UserDir> userDirsIn(std::string_view text, const std::string& home);

} // namespace quarrydex
