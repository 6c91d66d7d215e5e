#include "QuarrydexCore/platform/linux/LinuxMountTable.h"

#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/base/Log.h"
#include "QuarrydexCore/platform/Drives.h"
#include "QuarrydexCore/platform/linux/MountInfo.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>

namespace quarrydex {

namespace {

constexpr const char* tablePath = "/proc/self/mountinfo";
constexpr std::size_t maxTableBytes = std::size_t{64} << 20;

Fd openTable() {
    Fd fd(::open(tablePath, O_RDONLY | O_CLOEXEC));
    if (!fd)
        logLine("mounts: the table cannot be opened");
    return fd;
}

std::string readOnce(const Fd& table) {
    std::string text;
    if (::lseek(table.get(), 0, SEEK_SET) != 0)
        return text;
    char piece[16384];
    while (text.size() < maxTableBytes) {
        const ssize_t n = ::read(table.get(), piece, sizeof piece);
        if (n == 0 || (n < 0 && errno != EINTR))
            break;
        text.append(piece, static_cast<std::size_t>(std::max<ssize_t>(n, 0)));
    }
    return text;
}

/// True when the table has changed since it was opened or since this was last asked.
bool hasChanged(const Fd& table) {
    pollfd fd{table.get(), POLLPRI, 0};
    return ::poll(&fd, 1, 0) > 0 && (fd.revents & (POLLPRI | POLLERR)) != 0;
}

/// The kernel hands the table out in pieces; one that changes between them may lack a row.
std::string readTable(const Fd& table) {
    std::string text = readOnce(table);
    for (int tries = 0; tries < 10 && hasChanged(table); ++tries)
        text = readOnce(table);
    return text;
}

/// The id that is never used again, or 0; from Linux 6.8 on. What is cached answers, so that this
/// does not wait for a drive.
std::uint64_t serialOf(const Mount& mount) {
    constexpr unsigned mountId = 0x1000;       // STATX_MNT_ID
    constexpr unsigned mountIdUnique = 0x4000; // STATX_MNT_ID_UNIQUE
    constexpr int flags = AT_NO_AUTOMOUNT | AT_SYMLINK_NOFOLLOW | AT_STATX_DONT_SYNC;
    struct statx st;
    if (::statx(AT_FDCWD, mount.path.c_str(), flags, mountId, &st) != 0 ||
        (st.stx_mask & mountId) == 0 || st.stx_mnt_id != mount.id)
        return 0; // another mount lies over this one
    if (::statx(AT_FDCWD, mount.path.c_str(), flags, mountIdUnique, &st) != 0 ||
        (st.stx_mask & mountIdUnique) == 0)
        return 0;
    return st.stx_mnt_id;
}

std::vector<Mount> mountsIn(const Fd& table) {
    std::vector<Mount> mounts = parseMountInfo(readTable(table));
    for (Mount& mount : mounts)
        if (isExternalDrive(mount) && !mount.isNetwork && !mount.isPseudo)
            mount.serial = serialOf(mount);
    return mounts;
}

class Observation final : public Subscription {
  public:
    explicit Observation(MountTable::Observer observer)
        : observer_(std::move(observer)), table_(openTable()),
          stop_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (!table_ || !stop_)
            return;
        known_ = mountsIn(table_);
        thread_ = std::thread([this] { run(); });
    }

    ~Observation() override {
        if (!thread_.joinable())
            return;
        ::eventfd_write(stop_.get(), 1);
        thread_.join();
    }

  private:
    void run() {
        for (;;) {
            pollfd fds[] = {{table_.get(), POLLPRI, 0}, {stop_.get(), POLLIN, 0}};
            if (::poll(fds, 2, -1) < 0 && errno != EINTR)
                return;
            if (fds[1].revents != 0)
                return;
            if (fds[0].revents != 0)
                compare();
        }
    }

    void compare() {
        std::vector<Mount> now = mountsIn(table_);
        const MountChanges changes = changesBetween(known_, now);
        known_ = std::move(now);
        if (!changes.added.empty() || !changes.removed.empty())
            observer_(changes.added, changes.removed);
    }

    const MountTable::Observer observer_;
    const Fd table_;
    const Fd stop_;
    std::vector<Mount> known_; ///< of thread_ once that runs
    std::thread thread_;
};

} // namespace

bool isExternalPlace(std::string_view path) {
    constexpr std::string_view places[] = {"/Volumes", "/media", "/run/media", "/mnt"};
    return std::ranges::any_of(places, [&](std::string_view place) {
        return path.starts_with(place) &&
               (path.size() == place.size() || path[place.size()] == '/');
    });
}

std::vector<Mount> LinuxMountTable::mounts() const {
    const Fd table = openTable();
    return table ? mountsIn(table) : std::vector<Mount>{};
}

std::unique_ptr<Subscription> LinuxMountTable::observe(Observer observer) {
    return std::make_unique<Observation>(std::move(observer));
}

} // namespace quarrydex
