#include "QuarrydexCore/platform/linux/SettingsFile.h"

#include "QuarrydexCore/base/AtomicFile.h"
#include "QuarrydexCore/base/Files.h"

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace quarrydex {

using Json = nlohmann::json;

namespace {

constexpr std::size_t maxBytes = std::size_t{16} << 20;
constexpr int maxDepth = 64; ///< deeper nests are nobody's settings, and writing one recurses

/// Discarded unless the text is an object.
Json parsed(const std::string& text) {
    if (text.find('\0') != std::string::npos)
        return Json(Json::value_t::discarded); // the parser would take it for the end
    bool isDeep = false;
    const auto watchDepth = [&](int depth, Json::parse_event_t, Json&) {
        isDeep = isDeep || depth > maxDepth;
        return !isDeep;
    };
    Json values = Json::parse(text, watchDepth, false);
    return isDeep || !values.is_object() ? Json(Json::value_t::discarded) : values;
}

/// "folder/settings.json" → "folder/settings.damaged-2.json"
std::string asideName(const std::string& target, int number) {
    const std::filesystem::path path(target);
    std::string name = path.stem().string() + ".damaged";
    if (number > 1)
        name += '-' + std::to_string(number);
    return (path.parent_path() / (name + path.extension().string())).string();
}

} // namespace

std::string settingsTarget(const std::string& path) {
    std::error_code error;
    const auto target = std::filesystem::canonical(path, error);
    return error ? path : target.string();
}

SettingsContent readSettings(const std::string& target) {
    std::string text;
    const int error = readFile(target, maxBytes, text);
    if (error == ENOENT)
        return {SettingsState::good, Json::object(), false};
    if (error != 0)
        return {SettingsState::unreadable, Json::object(), true};
    Json values = parsed(text);
    if (values.is_discarded())
        return {SettingsState::damaged, Json::object(), true};
    return {SettingsState::good, std::move(values), true};
}

Fd lockSettings(const std::string& target) {
    using namespace std::chrono_literals;
    (void)makeFolders(folderOf(target)); // opening tells
    Fd fd(::open((target + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!fd)
        return fd;
    // Who holds it writes a small file; a process that is stopped meanwhile must not stop us.
    for (int tries = 0; tries < 100; ++tries) {
        if (::flock(fd.get(), LOCK_EX | LOCK_NB) == 0)
            return fd;
        if (errno != EWOULDBLOCK && errno != EINTR)
            break;
        std::this_thread::sleep_for(10ms);
    }
    return Fd();
}

std::optional<std::string> putAside(const std::string& target) {
    for (int number = 1; number < 1000; ++number) {
        const std::string aside = asideName(target, number);
        struct stat st;
        if (::lstat(aside.c_str(), &st) == 0)
            continue;
        if (errno != ENOENT || ::rename(target.c_str(), aside.c_str()) != 0)
            return std::nullopt;
        return aside;
    }
    return std::nullopt;
}

bool writeSettings(const std::string& target, const Json& values) {
    const std::string text = values.dump(4, ' ', false, Json::error_handler_t::replace) + '\n';
    AtomicFile file(target, 0600);
    if (!file.isOpen() || !file.write(text.data(), text.size(), 0) || !file.commit())
        return false;
    const Fd folder(::open(folderOf(target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder)
        ::fsync(folder.get()); // the new file is in place whatever this says
    return true;
}

} // namespace quarrydex
