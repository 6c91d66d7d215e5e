#include "QuarrydexActions/platform/linux/LinuxProtectedPaths.h"

#include "QuarrydexCore/base/Files.h"
#include "QuarrydexCore/platform/UserDirs.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <utility>

#include <sys/stat.h>

namespace quarrydex {

namespace {

constexpr std::size_t maxUserDirsBytes = 65536;
constexpr std::size_t maxPasswordBytes = std::size_t{4} << 20;
constexpr std::uint32_t firstPerson = 1000;
constexpr std::uint32_t nobody = 65534;

/// All links followed; empty when the path leads nowhere.
std::string resolvedWhole(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> found(::realpath(path.c_str(), nullptr),
                                                            &std::free);
    return found ? std::string(found.get()) : std::string();
}

bool isBelow(std::string_view folder, std::string_view path) {
    return path.size() > folder.size() + 1 && path.starts_with(folder) &&
           path[folder.size()] == '/';
}

std::vector<std::string> namedFolders(const std::string& configFolder, const std::string& home) {
    std::string text;
    if (readFile(configFolder + "/user-dirs.dirs", maxUserDirsBytes, text) != 0)
        return {};
    std::vector<std::string> out;
    for (UserDir& dir : userDirsIn(text, home))
        if (!dir.path.empty())
            out.push_back(std::move(dir.path));
    return out;
}

} // namespace

LinuxProtectedPaths::LinuxProtectedPaths(const MountTable& mounts,
                                         const AppFolders& folders,
                                         Users users)
    : mounts_(mounts), folders_(folders), users_(std::move(users)) {}

HomeFolder LinuxProtectedPaths::ownHome() const {
    HomeFolder own{folders_.home(), namedFolders(folderOf(folders_.config()), folders_.home())};
    for (std::string& named : namedFolders(own.path + "/.config", own.path))
        own.named.push_back(std::move(named));
    for (std::string& named : folders_.namedFolders())
        own.named.push_back(std::move(named));
    return own;
}

std::vector<HomeFolder> LinuxProtectedPaths::homes(const std::string& path) const {
    std::vector<HomeFolder> out{ownHome()};
    if (std::string real = resolvedWhole(out.front().path);
        !real.empty() && real != folders_.home())
        out.push_back({real, namedFolders(real + "/.config", real)});

    std::vector<std::string> others;
    if (std::string text; readFile(users_.passwordFile, maxPasswordBytes, text) == 0)
        others = peoplesHomes(text);
    others.push_back(users_.rootHome);
    if (isBelow(users_.homes, path))
        others.push_back(path.substr(0, path.find('/', users_.homes.size() + 1)));
    for (const std::string& home : others)
        if (isBelow(home, path)) // what its user names elsewhere does not count
            out.push_back({home, namedFolders(home + "/.config", home)});
        else
            out.push_back({home, {}});
    return out;
}

bool LinuxProtectedPaths::isMountPoint(const std::string& path) const {
    const std::vector<Mount> mounts = mounts_.mounts();
    if (std::ranges::find(mounts, path, &Mount::path) != mounts.end())
        return true;
    struct stat own;
    struct stat parent;
    return ::lstat(path.c_str(), &own) == 0 && ::lstat(folderOf(path).c_str(), &parent) == 0 &&
           own.st_dev != parent.st_dev;
}

std::string LinuxProtectedPaths::resolved(const std::string& path) const {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos || path == "/")
        return path;
    const std::string folder = resolvedWhole(folderOf(path));
    if (folder.empty())
        return path;
    return (folder == "/" ? "" : folder) + path.substr(slash);
}

std::vector<std::string> peoplesHomes(std::string_view passwordFile) {
    std::vector<std::string> out;
    while (!passwordFile.empty()) {
        const std::size_t end = std::min(passwordFile.find('\n'), passwordFile.size());
        std::string_view line = passwordFile.substr(0, end);
        passwordFile.remove_prefix(std::min(end + 1, passwordFile.size()));

        std::array<std::string_view, 6> fields; // name, password, user, group, comment, home
        std::size_t count = 0;
        for (; count < fields.size() && line.find(':') != line.npos; ++count) {
            fields[count] = line.substr(0, line.find(':'));
            line.remove_prefix(fields[count].size() + 1);
        }
        std::uint32_t user = 0;
        const std::string_view number = fields[2];
        const auto read = std::from_chars(number.data(), number.data() + number.size(), user);
        const bool isNumber = read.ec == std::errc() && read.ptr == number.data() + number.size();
        if (count == fields.size() && isNumber && user >= firstPerson && user != nobody &&
            fields[5].starts_with('/'))
            out.emplace_back(fields[5]);
    }
    return out;
}

} // namespace quarrydex
