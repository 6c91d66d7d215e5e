#include "QuarrydexCore/platform/linux/RootIdentity.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace quarrydex {

std::optional<RootIdentity> rootIdentity(const std::string& path) {
    struct statx st;
    constexpr unsigned mask = STATX_TYPE | STATX_INO | STATX_BTIME | STATX_MNT_ID;
    if (::statx(AT_FDCWD, path.c_str(), AT_NO_AUTOMOUNT, mask, &st) != 0 || !S_ISDIR(st.stx_mode))
        return std::nullopt;
    RootIdentity identity{.device = makedev(st.stx_dev_major, st.stx_dev_minor),
                          .inode = st.stx_ino,
                          .birthTimeNs = 0,
                          .mount = (st.stx_mask & STATX_MNT_ID) != 0 ? st.stx_mnt_id : 0};
    if ((st.stx_mask & STATX_BTIME) != 0)
        identity.birthTimeNs = st.stx_btime.tv_sec * 1'000'000'000 + st.stx_btime.tv_nsec;
    return identity;
}

} // namespace quarrydex
