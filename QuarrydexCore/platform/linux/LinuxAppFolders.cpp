#include "QuarrydexCore/platform/linux/LinuxAppFolders.h"

#include "QuarrydexCore/base/Files.h"
#include "QuarrydexCore/platform/UserDirs.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iterator>
#include <utility>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quarrydex {

namespace {

constexpr std::size_t maxUserDirsBytes = 65536;
constexpr std::array<std::string_view, 6> purposes = {"XDG_DESKTOP_DIR",  "XDG_DOCUMENTS_DIR",
                                                      "XDG_DOWNLOAD_DIR", "XDG_VIDEOS_DIR",
                                                      "XDG_MUSIC_DIR",    "XDG_PICTURES_DIR"};

/// Only absolute paths are valid in the variables.
std::string folderIn(const std::string& value, std::string otherwise) {
    return value.starts_with('/') ? std::string(withoutEndSlashes(value)) : std::move(otherwise);
}

std::string homeOf(uid_t user) {
    std::array<char, 16384> buffer;
    passwd entry;
    passwd* found = nullptr;
    if (::getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr)
        return found->pw_dir;
    return "/";
}

bool isOwnFolder(const std::string& path) {
    struct stat st;
    return ::lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && st.st_uid == ::geteuid();
}

} // namespace

LinuxAppFolders::LinuxAppFolders(const Variable& variable) : home_(folderIn(variable("HOME"), "")) {
    if (home_.empty())
        home_ = withoutEndSlashes(homeOf(::geteuid()));
    const std::string inHome = home_ == "/" ? "" : home_;
    data_ = folderIn(variable("XDG_DATA_HOME"), inHome + "/.local/share") + "/quarrydex";
    configBase_ = folderIn(variable("XDG_CONFIG_HOME"), inHome + "/.config");
    const std::string usual = "/run/user/" + std::to_string(::geteuid());
    runtime_ = folderIn(variable("XDG_RUNTIME_DIR"), isOwnFolder(usual) ? usual : "");
    runtime_ = runtime_.empty() ? data_ : runtime_ + "/quarrydex";
}

std::vector<std::string> LinuxAppFolders::namedFolders() const {
    std::string text;
    if (readFile(configBase_ + "/user-dirs.dirs", maxUserDirsBytes, text) != 0)
        return {};
    return parseUserDirs(text, home_);
}

std::string LinuxAppFolders::environment(const char* name) {
    const char* value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): nobody writes it
    return value != nullptr ? value : "";
}

std::vector<std::string> parseUserDirs(std::string_view text, const std::string& home) {
    std::array<std::string, purposes.size()> found;
    for (const UserDir& dir : userDirsIn(text, home)) {
        const auto purpose = std::ranges::find(purposes, dir.purpose);
        if (purpose != purposes.end())
            found[static_cast<std::size_t>(std::distance(purposes.begin(), purpose))] = dir.path;
    }
    std::vector<std::string> out;
    for (std::string& path : found)
        if (!path.empty())
            out.push_back(std::move(path));
    return out;
}

} // namespace quarrydex
