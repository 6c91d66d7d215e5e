#include "QuarrydexCore/platform/linux/FanotifyBackend.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

#include <fcntl.h>
#include <limits.h>
#include <sys/fanotify.h>
#include <sys/stat.h>
#include <sys/vfs.h>

namespace quarrydex {

namespace {

constexpr std::uint64_t markMask = FAN_CREATE | FAN_DELETE | FAN_MOVED_FROM | FAN_MOVED_TO |
                                   FAN_CLOSE_WRITE | FAN_ATTRIB | FAN_ONDIR;
/// Room for a handle of any file system.
constexpr std::size_t handleRoom = 128;

struct HandleBuffer {
    alignas(file_handle) std::array<char, sizeof(file_handle) + handleRoom> bytes{};

    [[nodiscard]] file_handle* get() { return reinterpret_cast<file_handle*>(bytes.data()); }
};

std::uint64_t fileSystemOf(const int (&words)[2]) {
    return (std::uint64_t{static_cast<std::uint32_t>(words[0])} << 32) |
           static_cast<std::uint32_t>(words[1]);
}

std::optional<std::uint64_t> fileSystemOf(const std::string& path) {
    struct statfs st;
    if (::statfs(path.c_str(), &st) != 0)
        return std::nullopt;
    int words[2];
    static_assert(sizeof words == sizeof st.f_fsid);
    std::memcpy(words, &st.f_fsid, sizeof words);
    return fileSystemOf(words);
}

std::string realPathOf(const std::string& path) {
    std::array<char, PATH_MAX> buffer;
    return ::realpath(path.c_str(), buffer.data()) != nullptr ? std::string(buffer.data()) : path;
}

/// The path that an open folder has now; empty when it has none.
std::string pathOf(int folder) {
    struct stat st;
    if (::fstat(folder, &st) != 0 || st.st_nlink == 0)
        return {};
    std::array<char, PATH_MAX> buffer;
    const std::string link = "/proc/self/fd/" + std::to_string(folder);
    const ssize_t n = ::readlink(link.c_str(), buffer.data(), buffer.size());
    // A path that fills the buffer may have been cut.
    if (n <= 0 || n == static_cast<ssize_t>(buffer.size()) || buffer[0] != '/')
        return {};
    return {buffer.data(), static_cast<std::size_t>(n)};
}

/// True when folders of the file system can be opened by handle.
bool canOpenHandles(const std::string& path) {
    HandleBuffer handle;
    handle.get()->handle_bytes = handleRoom;
    int mount = 0;
    if (::name_to_handle_at(AT_FDCWD, path.c_str(), handle.get(), &mount, AT_SYMLINK_FOLLOW) != 0)
        return false;
    const Fd root(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return root && Fd(::open_by_handle_at(root.get(), handle.get(), O_PATH | O_CLOEXEC));
}

} // namespace

std::unique_ptr<FanotifyBackend> FanotifyBackend::open(const ChangeBatch& scope) {
    Fd queue(static_cast<int>(
        ::fanotify_init(FAN_CLASS_NOTIF | FAN_CLOEXEC | FAN_NONBLOCK | FAN_REPORT_DFID_NAME,
                        O_RDONLY | O_CLOEXEC)));
    if (!queue)
        return nullptr;
    std::vector<Root> roots;
    for (const std::string& path : scope.roots()) {
        const std::optional<std::uint64_t> fileSystem = fileSystemOf(path);
        if (!fileSystem || !canOpenHandles(path) ||
            ::fanotify_mark(queue.get(), FAN_MARK_ADD | FAN_MARK_FILESYSTEM, markMask, AT_FDCWD,
                            path.c_str()) != 0)
            return nullptr;
        roots.push_back({.path = path, .realPath = realPathOf(path), .fileSystem = *fileSystem});
    }
    return std::unique_ptr<FanotifyBackend>(
        new FanotifyBackend(std::move(queue), std::move(roots)));
}

FanotifyBackend::FanotifyBackend(Fd queue, std::vector<Root> roots)
    : queue_(std::move(queue)), roots_(std::move(roots)) {}

StreamStatus FanotifyBackend::status() const {
    return {.kind = StreamKind::fanotify};
}

bool FanotifyBackend::translate(std::string_view bytes, ChangeBatch& /*out*/) {
    bool isWhole = true;
    while (bytes.size() >= sizeof(fanotify_event_metadata)) {
        fanotify_event_metadata event; // events are aligned to four bytes, this asks for eight
        std::memcpy(&event, bytes.data(), sizeof event);
        if (event.vers != FANOTIFY_METADATA_VERSION || event.event_len > bytes.size() ||
            event.metadata_len < sizeof event || event.event_len < event.metadata_len)
            return false;
        if ((event.mask & FAN_Q_OVERFLOW) != 0)
            isWhole = false;
        else
            translateOne(event.mask, bytes.substr(0, event.event_len).substr(event.metadata_len));
        bytes.remove_prefix(event.event_len);
    }
    return isWhole;
}

void FanotifyBackend::translateOne(std::uint64_t mask, std::string_view record) {
    if (record.size() < sizeof(fanotify_event_info_fid) + sizeof(file_handle))
        return;
    const auto& info = *reinterpret_cast<const fanotify_event_info_fid*>(record.data());
    if (info.hdr.info_type != FAN_EVENT_INFO_TYPE_DFID_NAME)
        return;
    const auto& handle = *reinterpret_cast<const file_handle*>(info.handle);
    const std::size_t handleBytes = sizeof(file_handle) + handle.handle_bytes;
    int words[2];
    std::memcpy(words, &info.fsid, sizeof words);
    Children& children =
        dirty_[{fileSystemOf(words), {reinterpret_cast<const char*>(&handle), handleBytes}}];
    const char* name = reinterpret_cast<const char*>(&handle) + handleBytes;
    if ((mask & FAN_ONDIR) == 0 || std::string_view(name) == ".")
        return;
    if ((mask & (FAN_CREATE | FAN_MOVED_TO)) != 0)
        children[name] |= ChangeFlags::mustScanSubDirs;
    else if ((mask & FAN_ATTRIB) != 0)
        children[name] |= 0;
}

void FanotifyBackend::finishRound(ChangeBatch& out) {
    if (dirty_.empty())
        return;
    for (const Root& root : roots_)
        resolve(root, out);
    dirty_.clear();
}

void FanotifyBackend::recover(ChangeBatch& /*out*/) {
    dirty_.clear();
}

void FanotifyBackend::resolve(const Root& root, ChangeBatch& out) const {
    const Fd top(::open(root.path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!top)
        return;
    for (auto it = dirty_.lower_bound({root.fileSystem, {}});
         it != dirty_.end() && it->first.first == root.fileSystem; ++it) {
        HandleBuffer handle;
        const std::string& bytes = it->first.second;
        std::memcpy(handle.bytes.data(), bytes.data(), std::min(bytes.size(), handle.bytes.size()));
        const Fd folder(::open_by_handle_at(top.get(), handle.get(), O_PATH | O_CLOEXEC));
        const std::string real = folder ? pathOf(folder.get()) : std::string();
        if (real.empty() || !isWithin(real, root.realPath))
            continue;
        const std::size_t prefix = root.realPath == "/" ? 0 : root.realPath.size();
        std::string path = (root.path == "/" ? "" : root.path) + real.substr(prefix);
        if (path.ends_with('/') && path.size() > 1)
            path.pop_back();
        for (const auto& [name, flags] : it->second)
            out.add((path == "/" ? "" : path) + "/" + name, flags);
        out.add(std::move(path), 0);
    }
}

} // namespace quarrydex
