#include "QuarrydexApp/prefs/SourceConfig.h"

#include "QuarrydexCore/base/Files.h"
#include "QuarrydexCore/platform/Drives.h"
#include "QuarrydexCore/platform/SettingsStore.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include <nlohmann/json.hpp>

namespace quarrydex {

namespace fs = std::filesystem;
using Json = nlohmann::json;

namespace {

constexpr const char* enabledField = "enabled";
constexpr const char* wholeField = "whole";
constexpr const char* foldersField = "folders";

bool isBelow(std::string_view folder, std::string_view path) {
    const auto rest = SourceConfig::relative(folder, path);
    return rest && !rest->empty();
}

/// Adds the folder by its real path, unless it does not exist or holds the home folder.
void addFolder(std::vector<std::string>& out, const std::string& path, const std::string& home) {
    std::error_code error;
    const fs::path real = fs::canonical(path, error);
    if (error || !fs::is_directory(real, error) || SourceConfig::relative(real.native(), home))
        return;
    if (std::ranges::find(out, real.native()) == out.end())
        out.push_back(real.native());
}

} // namespace

std::vector<std::string> SourceConfig::scopes(const std::string& root) const {
    const std::string base(withoutEndSlashes(root));
    if (whole)
        return {base};
    std::vector<std::string> out;
    for (const std::string& folder : folders) {
        fs::path path = base;
        bool leadsOut = false;
        for (const fs::path& part : fs::path(folder).relative_path()) {
            leadsOut = leadsOut || part == "..";
            if (!part.empty() && part != ".")
                path /= part;
        }
        if (!leadsOut && std::ranges::find(out, path.native()) == out.end())
            out.push_back(path.native());
    }
    return out;
}

std::optional<std::string> SourceConfig::relative(std::string_view root, std::string_view path) {
    if (root == path)
        return "";
    if (!root.ends_with('/'))
        return path.starts_with(root) && path[root.size()] == '/'
                   ? std::optional<std::string>(path.substr(root.size() + 1))
                   : std::nullopt;
    return path.starts_with(root) ? std::optional<std::string>(path.substr(root.size()))
                                  : std::nullopt;
}

std::vector<std::string> SourceConfig::personalFolders(const AppFolders& folders) {
    std::error_code error;
    const std::string home = folders.home();
    const fs::path realHome = fs::canonical(home, error);
    const std::string place = error ? home : realHome.string();

    std::vector<std::string> found;
    for (const char* name : {"Desktop", "Documents", "Downloads", "Movies", "Music", "Pictures"})
        addFolder(found, (fs::path(home) / name).string(), place);
    for (const std::string& folder : folders.namedFolders())
        addFolder(found, folder, place);

    std::vector<std::string> out;
    for (const std::string& folder : found)
        if (std::ranges::none_of(found,
                                 [&](const std::string& other) { return isBelow(other, folder); }))
            out.push_back(folder);
    return out;
}

std::vector<std::string> SourceConfig::personalFoldersOn(const std::string& root,
                                                         const AppFolders& folders,
                                                         std::span<const Mount> mounts) {
    std::vector<std::string> out;
    for (const std::string& folder : personalFolders(folders)) {
        const Mount* mount = mountOf(mounts, folder);
        auto place = relative(root, folder);
        if (place && (mount == nullptr || mount->path == root))
            out.push_back(std::move(*place));
    }
    return out;
}

Json SourceConfig::json() const {
    Json list = Json::array();
    for (const std::string& folder : folders)
        list.push_back(jsonOfText(folder));
    return {{enabledField, enabled}, {wholeField, whole}, {foldersField, std::move(list)}};
}

std::optional<SourceConfig> SourceConfig::fromJson(const Json& value) {
    if (!value.is_object())
        return std::nullopt;
    const Json enabled = value.value(enabledField, Json());
    const Json whole = value.value(wholeField, Json());
    const auto folders = textsOfJson(value.value(foldersField, Json::array()));
    if (!enabled.is_boolean() || !whole.is_boolean() || !folders)
        return std::nullopt;
    return SourceConfig{enabled.get<bool>(), whole.get<bool>(), *folders};
}

} // namespace quarrydex
