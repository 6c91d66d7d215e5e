#include "QuarrydexActions/File.h"

#include "QuarrydexActions/Protected.h"
#include "QuarrydexCore/base/AppInfo.h"
#include "QuarrydexCore/base/Files.h"
#include "QuarrydexCore/text/Characters.h"
#include "QuarrydexCore/text/Utf8.h"
#include "QuarrydexCore/text/tr.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include <sys/stat.h>

namespace quarrydex::File {

namespace {

constexpr std::size_t longestName = 255; ///< bytes

std::string lastComponent(const std::string& path) {
    const std::size_t end = path.find_last_not_of('/');
    if (end == std::string::npos)
        return path.empty() ? path : "/";
    const std::size_t slash = path.rfind('/', end);
    return path.substr(slash + 1, end - slash); // npos + 1 is 0
}

/// The one form in which a path is compared and used; empty when it is none that may be used.
std::string usablePath(std::string_view path) {
    return realPath(cleanPath(path));
}

/// The object that `check` lets through.
Item checkedItem(std::string_view path, const ActionsPlatform& platform) {
    const std::string real = usablePath(path);
    if (real.empty() || isProtectedPath(real, platform.paths))
        throw Failure::protected_(real.empty() ? std::string(path) : real);
    struct stat st;
    if (::lstat(real.c_str(), &st) != 0)
        throw Failure::missing(real);
    return {.path = real, .device = st.st_dev, .inode = st.st_ino, .type = st.st_mode & S_IFMT};
}

bool isWhiteSpace(CodePoint c) {
    return c.value == '\t' || (c.isValid() && utf8proc_category(c.value) == UTF8PROC_CATEGORY_ZS);
}

/// Without spaces of any kind and tabs at both ends; line breaks stay.
std::string_view trimmed(std::string_view text) {
    std::size_t begin = 0;
    std::size_t end = 0; // behind the last character that stays
    bool hasBegun = false;
    for (std::size_t at = 0; at < text.size();) {
        const CodePoint c = firstCodePoint(text.substr(at));
        if (!isWhiteSpace(c)) {
            begin = hasBegun ? begin : at;
            hasBegun = true;
            end = at + c.byteCount;
        }
        at += c.byteCount;
    }
    return text.substr(begin, end - begin);
}

/// The name as it will be, or the reason why it cannot be.
std::string validName(std::string_view text) {
    std::string name(trimmed(text));
    if (name.empty())
        throw Failure::invalidName(tr("The name cannot be empty."));
    if (name == "." || name == ".." || name.find_first_of(std::string_view("/\0", 2)) != name.npos)
        throw Failure::invalidName(tr("The name cannot contain “/” and cannot be “.” or “..”."));
    if (name.size() > longestName)
        throw Failure::invalidName(tr("The name is too long (255 bytes at most)."));
    return name;
}

RenameOptions optionsFor(const std::string& oldName, const std::string& newName) {
    const std::string lower = lowerCased(newName);
    if (lowerCased(oldName) != lower)
        return {};
    return {.isSpelling = [lower](std::string_view name) { return lowerCased(name) == lower; }};
}

} // namespace

Failure Failure::missing(std::string path) {
    const std::string text = tr("“{name}” no longer exists.", {{"name", lastComponent(path)}});
    return {Case::missing, std::move(path), text};
}

Failure Failure::protected_(std::string path) {
    const std::string text =
        tr("“{name}” is a protected folder (drive, user, application or system folder) and is "
           "never changed by {app}.",
           {{"name", lastComponent(path)}, {"app", appName}});
    return {Case::protected_, std::move(path), text};
}

Failure Failure::invalidName(std::string message) {
    const std::string text = message;
    return {Case::invalidName, std::move(message), text};
}

Failure Failure::exists(std::string name) {
    const std::string text =
        tr("There is already something named “{name}” here.", {{"name", name}});
    return {Case::exists, std::move(name), text};
}

Failure Failure::noTrash(std::string path) {
    const std::string text =
        tr("There is no Trash for “{name}” (e.g. a network or read-only drive).",
           {{"name", lastComponent(path)}});
    return {Case::noTrash, std::move(path), text};
}

Failure Failure::system(std::string message) {
    const std::string text = message;
    return {Case::system, std::move(message), text};
}

std::string realPath(std::string_view path) {
    constexpr std::string_view dataVolume = "/System/Volumes/Data";
    if (path.starts_with(dataVolume) && path.substr(dataVolume.size()).starts_with('/'))
        path.remove_prefix(dataVolume.size());
    return std::string(path);
}

bool isMountPoint(const std::string& path, const ActionsPlatform& platform) {
    return platform.paths.isMountPoint(path);
}

bool isProtected(std::string_view path, const ActionsPlatform& platform) {
    const std::string real = usablePath(path);
    return real.empty() || isProtectedPath(real, platform.paths);
}

std::string check(std::string_view path, const ActionsPlatform& platform) {
    return checkedItem(path, platform).path;
}

std::optional<std::string> moveToTrash(std::string_view path, const ActionsPlatform& platform) {
    const Item item = checkedItem(path, platform);
    const TrashResult result = platform.trash.take(item);
    switch (result.kind) {
    case TrashResult::Kind::moved:
        break;
    case TrashResult::Kind::gone:
        throw Failure::missing(item.path);
    case TrashResult::Kind::unsupported:
        throw Failure::noTrash(item.path);
    case TrashResult::Kind::failed:
        throw Failure::system(tr("Cannot move to the Trash: {reason}", {{"reason", result.text}}));
    }
    return result.text.empty() ? std::nullopt : std::optional(result.text);
}

std::string
changeName(std::string_view path, std::string_view newName, const ActionsPlatform& platform) {
    const Item item = checkedItem(path, platform);
    const std::string name = validName(newName);
    const std::string folder = folderOf(item.path);
    std::string target = (folder == "/" ? "" : folder) + "/" + name;
    if (target == item.path)
        return target;
    switch (const int error =
                platform.rename.perform(item, name, optionsFor(lastComponent(item.path), name))) {
    case 0:
        return target;
    case EEXIST:
        throw Failure::exists(name);
    case ESTALE:
        throw Failure::missing(item.path);
    default:
        throw Failure::system(
            tr("Cannot rename: {reason}", {{"reason", std::generic_category().message(error)}}));
    }
}

} // namespace quarrydex::File
