#include "QuarrydexCore/platform/linux/LinuxAppFolders.h"

#include "QuarrydexCore/base/Files.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iterator>
#include <optional>
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

std::string withoutEndSlashes(std::string path) {
    while (path.size() > 1 && path.ends_with('/'))
        path.pop_back();
    return path;
}

/// Only absolute paths are valid in the variables.
std::string folderIn(const std::string& value, std::string otherwise) {
    return value.starts_with('/') ? withoutEndSlashes(value) : std::move(otherwise);
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

/// What stands between the first quotes, with backslashes taken away.
std::optional<std::string> quoted(std::string_view text) {
    if (!text.starts_with('"'))
        return std::nullopt;
    std::string out;
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (text[i] == '"')
            return out;
        if (text[i] == '\\' && ++i == text.size())
            break;
        out += text[i];
    }
    return std::nullopt;
}

/// The absolute path that a value means; absent for none.
std::optional<std::string> namedPath(std::string_view value, const std::string& home) {
    constexpr std::string_view homeVariable = "$HOME";
    const auto text = quoted(value);
    if (!text)
        return std::nullopt;
    std::string path;
    if (text->starts_with('/'))
        path = *text;
    else if (*text == homeVariable || text->starts_with("$HOME/"))
        path = home + text->substr(homeVariable.size());
    path = withoutEndSlashes(path);
    return path.empty() || path == home ? std::nullopt : std::optional(path);
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
    std::array<std::optional<std::string>, purposes.size()> found;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));

        line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
        const std::size_t equals = line.find('=');
        if (equals == std::string_view::npos)
            continue;
        const auto purpose = std::ranges::find(purposes, line.substr(0, equals));
        if (purpose != purposes.end())
            found[static_cast<std::size_t>(std::distance(purposes.begin(), purpose))] =
                namedPath(line.substr(equals + 1), home);
    }
    std::vector<std::string> out;
    for (std::optional<std::string>& path : found)
        if (path)
            out.push_back(std::move(*path));
    return out;
}

} // namespace quarrydex
