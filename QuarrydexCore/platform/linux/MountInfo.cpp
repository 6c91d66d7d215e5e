#include "QuarrydexCore/platform/linux/MountInfo.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string>

#include <sys/sysmacros.h>

namespace quarrydex {

namespace {

/// Made by the kernel or by a running program; nothing in them lasts, or all of it is also seen
/// elsewhere (overlay).
constexpr std::string_view pseudoTypes[] = {
    "anon_inodefs",
    "autofs",
    "bdev",
    "binder",
    "binfmt_misc",
    "bpf",
    "cgroup",
    "cgroup2",
    "configfs",
    "cpuset",
    "debugfs",
    "devpts",
    "devtmpfs",
    "efivarfs",
    "fuse.lxcfs",
    "fuse.portal",
    "fusectl",
    "hugetlbfs",
    "mqueue",
    "nfsd",
    "nsfs",
    "overlay",
    "pipefs",
    "proc",
    "pstore",
    "ramfs",
    "resctrl",
    "rootfs",
    "rpc_pipefs",
    "securityfs",
    "selinuxfs",
    "smackfs",
    "sockfs",
    "sysfs",
    "tmpfs",
    "tracefs",
    "aufs",
    "fuse.gvfsd-fuse",
    "fuse.fuse-overlayfs",
    "fuse.revokefs-fuse",
    "none",
};

/// Beside these, every source in the form of a share is one.
constexpr std::string_view networkTypes[] = {
    "9p",        "afs",           "beegfs",         "ceph",       "cifs",           "coda",
    "davfs",     "fuse.ceph",     "fuse.curlftpfs", "fuse.davfs", "fuse.glusterfs", "fuse.rclone",
    "fuse.s3fs", "fuse.smbnetfs", "fuse.sshfs",     "gfs2",       "glusterfs",      "lustre",
    "ncpfs",     "nfs",           "nfs4",           "orangefs",   "smb3",           "smbfs",
};

bool isPseudo(std::string_view type) {
    // A program packed into one file shows its content as a mount while it runs.
    return std::ranges::find(pseudoTypes, type) != std::end(pseudoTypes) ||
           type.ends_with(".AppImage");
}

bool isNetwork(std::string_view type, std::string_view source) {
    return std::ranges::find(networkTypes, type) != std::end(networkTypes) ||
           source.starts_with("//") || source.find(":/") != std::string_view::npos;
}

/// The kernel writes space, tab, newline and backslash as a backslash and three octal digits.
std::string unescaped(std::string_view field) {
    const auto isOctal = [](char c) { return c >= '0' && c <= '7'; };
    std::string out;
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && field.size() - i > 3 && field[i + 1] <= '3' &&
            std::all_of(&field[i + 1], &field[i] + 4, isOctal)) {
            out += static_cast<char>((field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 +
                                     (field[i + 3] - '0'));
            i += 3;
        } else {
            out += field[i];
        }
    }
    return out;
}

bool hasOption(std::string_view options, std::string_view wanted) {
    while (!options.empty()) {
        const std::size_t comma = std::min(options.find(','), options.size());
        if (options.substr(0, comma) == wanted)
            return true;
        options.remove_prefix(std::min(comma + 1, options.size()));
    }
    return false;
}

std::optional<std::uint64_t> number(std::string_view digits) {
    std::uint64_t value{};
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc{} || end != digits.data() + digits.size())
        return std::nullopt;
    return value;
}

std::optional<std::uint64_t> deviceNumber(std::string_view text) {
    const std::size_t colon = std::min(text.find(':'), text.size());
    const auto high = number(text.substr(0, colon));
    const auto low = number(text.substr(std::min(colon + 1, text.size())));
    if (!high || !low)
        return std::nullopt;
    return makedev(static_cast<unsigned>(*high), static_cast<unsigned>(*low));
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> out;
    for (;;) {
        const std::size_t end = text.find(separator);
        out.push_back(text.substr(0, end));
        if (end == std::string_view::npos)
            return out;
        text.remove_prefix(end + 1);
    }
}

/// "36 35 98:0 /root /path rw,noatime shared:1 master:2 - ext4 /dev/sda1 rw,errors=continue"
std::optional<Mount> parseLine(std::string_view line) {
    const std::vector<std::string_view> fields = split(line, ' ');
    const auto dash = std::find(fields.begin() + std::min<std::ptrdiff_t>(6, std::ssize(fields)),
                                fields.end(), "-");
    if (fields.end() - dash < 4)
        return std::nullopt;
    const auto id = number(fields[0]);
    const auto parentId = number(fields[1]);
    const auto device = deviceNumber(fields[2]);
    if (!id || !parentId || !device || !fields[4].starts_with('/'))
        return std::nullopt;

    Mount mount;
    mount.id = *id;
    mount.parentId = *parentId;
    mount.device = *device;
    mount.root = unescaped(fields[3]);
    mount.path = unescaped(fields[4]);
    mount.fsType = unescaped(dash[1]);
    mount.source = unescaped(dash[2]);
    mount.options = std::string(fields[5]) + ',' + std::string(dash[3]);
    mount.readOnly = hasOption(mount.options, "ro");
    mount.isPseudo = isPseudo(mount.fsType);
    mount.isNetwork = !mount.isPseudo && isNetwork(mount.fsType, mount.source);
    return mount;
}

} // namespace

std::vector<Mount> parseMountInfo(std::string_view text) {
    std::vector<Mount> out;
    for (std::string_view line : split(text, '\n'))
        if (auto mount = parseLine(line))
            out.push_back(std::move(*mount));
    return out;
}

} // namespace quarrydex
