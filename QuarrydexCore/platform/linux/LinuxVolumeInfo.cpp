#include "QuarrydexCore/platform/linux/LinuxVolumeInfo.h"

#include "QuarrydexCore/base/Bytes.h"
#include "QuarrydexCore/platform/Drives.h"
#include "QuarrydexCore/platform/linux/TimedAnswer.h"
#include "QuarrydexCore/platform/linux/VolumeProbe.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <utility>
#include <vector>

namespace quarrydex {

namespace {

constexpr std::size_t maxIdentityBytes = 47;

/// Stands for the part of a file system that a mount shows; nothing for all of it.
std::string partSuffix(const Mount& mount) {
    if (mount.root == "/")
        return {};
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "-%08x", fnv1a32(mount.root));
    return text.data();
}

/// The block devices below a mount: file systems that span devices have a number of their own, and
/// the source then names one.
std::vector<std::uint64_t> devicesOf(const Mount& mount) {
    std::vector<std::uint64_t> out = {mount.device};
    if (mount.source.starts_with("/dev/"))
        if (const std::uint64_t device = deviceOfFile(mount.source); device != 0)
            out.push_back(device);
    return out;
}

std::string_view lastPart(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

} // namespace

struct LinuxVolumeInfo::Answer {
    std::optional<Mount> mount;
    VolumeProbe probe;
};

LinuxVolumeInfo::Answer LinuxVolumeInfo::ask(const std::string& path) const {
    const std::vector<Mount> mounts = mounts_.mounts();
    Answer out;
    if (const Mount* mount = mountOf(mounts, path))
        out.mount = *mount;
    if (out.mount && out.mount->isNetwork)
        return out;
    out.probe =
        askWithin(options_.limit, [path] { return probeVolume(path); }).value_or(VolumeProbe{});
    // A link may have led to another mount than the path's own.
    const auto asked = std::ranges::find(mounts, out.probe.mountId, &Mount::id);
    if (out.probe.mountId != 0 && asked != mounts.end())
        out.mount = *asked;
    return out;
}

std::optional<std::string> LinuxVolumeInfo::uuid(const std::string& path) const {
    const auto [mount, probe] = ask(path);
    if (!mount || !probe.isAnswered || mount->isPseudo || mount->isNetwork)
        return std::nullopt;
    std::string uuid = probe.uuid;
    if (uuid.empty())
        for (std::uint64_t device : devicesOf(*mount))
            if (uuid.empty())
                uuid = linkToDevice(options_.byUuid, device);
    const std::string suffix = partSuffix(*mount);
    if (uuid.empty() || uuid.size() + suffix.size() > maxIdentityBytes)
        return std::nullopt;
    return uuid + suffix;
}

std::string LinuxVolumeInfo::label(const std::string& path) const {
    auto [mount, probe] = ask(path);
    if (!probe.label.empty())
        return std::move(probe.label);
    return std::string(mount ? lastPart(mount->path) : std::string_view());
}

std::string LinuxVolumeInfo::fsType(const std::string& path) const {
    const auto [mount, probe] = ask(path);
    return mount ? mount->fsType : std::string();
}

bool LinuxVolumeInfo::isDiskImage(const std::string& path) const {
    if (path.starts_with("/Library/Developer/CoreSimulator/Volumes"))
        return true;
    const auto [mount, probe] = ask(path);
    return mount && !mount->isNetwork && !mount->isPseudo &&
           std::ranges::any_of(devicesOf(*mount), [&](std::uint64_t device) {
               return isOnLoopDevice(options_.sysBlock, device);
           });
}

std::optional<FileIdentity> LinuxVolumeInfo::identity(const std::string& path) const {
    const auto probe = askWithin(options_.limit, [path] { return probeVolume(path); });
    return probe && probe->isAnswered ? std::optional(probe->identity) : std::nullopt;
}

} // namespace quarrydex
