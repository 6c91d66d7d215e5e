#include "QuarrydexActions/Protected.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace quarrydex {

namespace {

/// One rule, as a pattern of path components:
///     name   that name          lib*   every name that begins so
///     *      any name           **     the path so far and everything below it; stands last
///     ~      a home's standard folder (Desktop, Documents, …)
struct ProtectedRule {
    std::string_view pattern;
    /// The rule is about folders in which drives are mounted, and does not hold while a drive is
    /// mounted on this folder itself: what lies there is then the drive's contents.
    std::string_view unlessMounted{};
};

/// The rules of every system at once: the names of one are harmless on another.
constexpr ProtectedRule rules[] = {
    {"/"},
    {"/*"},

    // Drives, where they are mounted for the user.
    {"/Volumes/*"},
    {"/media/*", "/media"},
    {"/mnt/*", "/mnt"},
    {"/run/media"},
    {"/run/media/*", "/run/media"},

    // Homes and their standard folders.
    {"/Users/*"},
    {"/Users/*/~"},
    {"/home/*"},
    {"/home/*/~"},
    {"/home/*/Templates"},
    {"/home/*/Videos"},
    {"/root/~"},
    {"/root/Templates"},
    {"/root/Videos"},

    // The system.
    {"/System/**"},
    {"/bin/**"},
    {"/boot/**"},
    {"/cores/**"},
    {"/dev/**"},
    {"/etc/**"},
    {"/lib*/**"},
    {"/proc/**"},
    {"/sbin/**"},
    {"/sys/**"},
    {"/usr/**"},
};

/// The rules for what lies in a home that is not below the usual folders, relative to it.
constexpr std::string_view homeRules[] = {"/~", "/Templates", "/Videos"};

constexpr std::string_view standardFolders[] = {"Desktop",      "Documents", "Downloads", "Library",
                                                "Movies",       "Music",     "Pictures",  "Public",
                                                "Applications", "Sites"};

/// Takes the first component away, with the "/" before it; empty at the end.
std::string_view takeComponent(std::string_view& path) {
    path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
    const std::string_view name = path.substr(0, path.find('/'));
    path.remove_prefix(name.size());
    return name;
}

bool matchesName(std::string_view pattern, std::string_view name) {
    if (pattern == "~")
        return std::ranges::find(standardFolders, name) != std::end(standardFolders);
    if (pattern.ends_with('*'))
        return name.starts_with(pattern.substr(0, pattern.size() - 1));
    return pattern == name;
}

bool matches(std::string_view pattern, std::string_view path) {
    for (;;) {
        const std::string_view wanted = takeComponent(pattern);
        const std::string_view name = takeComponent(path);
        if (wanted == "**")
            return true;
        if (wanted.empty() || name.empty())
            return wanted.empty() && name.empty();
        if (!matchesName(wanted, name))
            return false;
    }
}

bool isAtOrBelow(std::string_view folder, std::string_view path) {
    return path.starts_with(folder) &&
           (path.size() == folder.size() || folder == "/" || path[folder.size()] == '/');
}

bool isProtectedByHome(const std::string& path, const HomeFolder& home) {
    const std::string folder = cleanPath(home.path);
    if (folder.empty())
        return false;
    if (isAtOrBelow(path, folder))
        return true; // it is the home, or holds it
    if (isAtOrBelow(folder, path)) {
        const std::string_view rest =
            std::string_view(path).substr(folder == "/" ? 0 : folder.size());
        if (std::ranges::any_of(homeRules, [&](auto rule) { return matches(rule, rest); }))
            return true;
    }
    return std::ranges::any_of(home.named,
                               [&](const std::string& named) { return cleanPath(named) == path; });
}

bool isCovered(const std::string& path, const ProtectedPaths& paths) {
    const auto holds = [&](const ProtectedRule& rule) {
        return matches(rule.pattern, path) &&
               (rule.unlessMounted.empty() || !paths.isMountPoint(std::string(rule.unlessMounted)));
    };
    if (std::ranges::any_of(rules, holds))
        return true;
    const std::vector<HomeFolder> homes = paths.homes(path);
    return std::ranges::any_of(
        homes, [&](const HomeFolder& home) { return isProtectedByHome(path, home); });
}

} // namespace

bool isProtectedPath(const std::string& path, const ProtectedPaths& paths) {
    if (isCovered(path, paths))
        return true;
    const std::string resolved = paths.resolved(path);
    return (resolved != path && isCovered(resolved, paths)) || paths.isMountPoint(resolved);
}

std::string cleanPath(std::string_view path) {
    if (!path.starts_with('/') || path.find('\0') != std::string_view::npos)
        return {};
    std::string clean;
    for (std::string_view rest = path;;) {
        const std::string_view name = takeComponent(rest);
        if (name == "..")
            return {};
        if (name.empty())
            break;
        if (name != ".")
            clean.append("/").append(name);
    }
    return clean.empty() ? "/" : clean;
}

} // namespace quarrydex
