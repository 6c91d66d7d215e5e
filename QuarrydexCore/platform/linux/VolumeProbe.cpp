#include "QuarrydexCore/platform/linux/VolumeProbe.h"

#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/base/Files.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <span>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <linux/btrfs.h>
#include <linux/fs.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>

namespace quarrydex {

namespace fs = std::filesystem;

namespace {

/// Newer than the headers of some systems that the program is built on.
struct FsUuid {
    std::uint8_t size;
    std::uint8_t bytes[16];
};

constexpr unsigned long getFsUuid = _IOR(0x15, 0, FsUuid); // FS_IOC_GETFSUUID
constexpr unsigned mountIdMask = 0x1000;                   // STATX_MNT_ID

/// "6a1f…-….": empty when all bytes are 0.
std::string uuidText(std::span<const std::uint8_t, 16> bytes) {
    if (std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; }))
        return {};
    constexpr std::string_view digits = "0123456789abcdef";
    std::string out;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10)
            out += '-';
        out += {digits[bytes[i] >> 4], digits[bytes[i] & 15]};
    }
    return out;
}

std::string uuidOf(int folder) {
    struct statfs type;
    btrfs_ioctl_fs_info_args info{};
    if (::fstatfs(folder, &type) == 0 && type.f_type == BTRFS_SUPER_MAGIC &&
        ::ioctl(folder, BTRFS_IOC_FS_INFO, &info) == 0)
        return uuidText(info.fsid);
    FsUuid uuid{};
    // A shorter one is written in the file system's own way, as only the device links have it.
    if (::ioctl(folder, getFsUuid, &uuid) == 0 && uuid.size == sizeof uuid.bytes)
        return uuidText(uuid.bytes);
    return {};
}

std::string labelOf(int folder) {
    std::array<char, FSLABEL_MAX> label{};
    if (::ioctl(folder, FS_IOC_GETFSLABEL, label.data()) != 0)
        return {};
    return {label.data(), ::strnlen(label.data(), label.size())};
}

bool isLoopName(std::string_view name) {
    return name.starts_with("loop") && name.size() > 4 && name[4] >= '0' && name[4] <= '9';
}

/// "<sysBlock>/253:1"
fs::path sysFolder(const std::string& sysBlock, std::uint64_t device) {
    return fs::path(sysBlock) /
           (std::to_string(major(device)) + ':' + std::to_string(minor(device)));
}

/// `depth` bounds what is mapped onto what.
bool isOnLoop(const std::string& sysBlock, const fs::path& folder, int depth) {
    std::error_code error;
    for (const fs::path& part : fs::canonical(folder, error))
        if (isLoopName(part.string()))
            return true;
    if (depth == 0)
        return false;
    for (fs::directory_iterator at(folder / "slaves", error), end; !error && at != end;
         at.increment(error)) {
        std::string number;
        if (readFile((at->path() / "dev").string(), 64, number) != 0)
            continue;
        number.erase(std::min(number.find('\n'), number.size()));
        if (isOnLoop(sysBlock, fs::path(sysBlock) / number, depth - 1))
            return true;
    }
    return false;
}

} // namespace

VolumeProbe probeVolume(const std::string& path) {
    VolumeProbe out;
    const Fd place(::open(path.c_str(), O_PATH | O_CLOEXEC));
    struct statx st;
    if (!place || ::statx(place.get(), "", AT_EMPTY_PATH | AT_NO_AUTOMOUNT,
                          STATX_INO | STATX_TYPE | STATX_BTIME | mountIdMask, &st) != 0)
        return out;
    out.isAnswered = true;
    out.mountId = (st.stx_mask & mountIdMask) != 0 ? st.stx_mnt_id : 0;
    out.identity.device = makedev(st.stx_dev_major, st.stx_dev_minor);
    out.identity.inode = st.stx_ino;
    if ((st.stx_mask & STATX_BTIME) != 0)
        out.identity.birthTimeNs =
            st.stx_btime.tv_sec * 1'000'000'000 + static_cast<std::int64_t>(st.stx_btime.tv_nsec);
    if (!S_ISDIR(st.stx_mode))
        return out;
    const Fd folder(::openat(place.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder) {
        out.uuid = uuidOf(folder.get());
        out.label = labelOf(folder.get());
    }
    return out;
}

std::uint64_t deviceOfFile(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 && S_ISBLK(st.st_mode) ? st.st_rdev : 0;
}

std::string linkToDevice(const std::string& folder, std::uint64_t device) {
    std::error_code error;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error))
        if (device != 0 && deviceOfFile(at->path().string()) == device)
            return at->path().filename().string();
    return {};
}

bool isOnLoopDevice(const std::string& sysBlock, std::uint64_t device) {
    constexpr unsigned loopMajor = 7;
    constexpr int maxLoops = 8; // images within images
    return major(device) == loopMajor || isOnLoop(sysBlock, sysFolder(sysBlock, device), maxLoops);
}

} // namespace quarrydex
