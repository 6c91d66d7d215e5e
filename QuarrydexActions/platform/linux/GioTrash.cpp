#include "QuarrydexActions/platform/linux/GioTrash.h"

#include "QuarrydexActions/platform/linux/HeldItem.h"

#include <cerrno>
#include <memory>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <gio/gio.h>
#include <unistd.h>

namespace quarrydex {

namespace {

struct Unref {
    void operator()(GFile* file) const { g_object_unref(file); }

    void operator()(GError* error) const { g_error_free(error); }
};

using Kind = TrashResult::Kind;

TrashResult failed(int error) {
    if (error == ESTALE)
        return {Kind::gone, {}};
    return {Kind::failed, std::generic_category().message(error)};
}

/// The reason why the item cannot leave its folder, or 0. The library finds out only after it has
/// made a Trash folder on the drive. What it makes of a read-only drive is better left to it.
int obstacle(const HeldItem& item) {
    if (::faccessat(item.folder(), ".", W_OK | X_OK, AT_EACCESS) != 0 && errno != EROFS)
        return errno;
    return 0;
}

} // namespace

TrashResult GioTrash::take(const Item& item) const {
    HeldItem held;
    if (const int error = held.open(item))
        return failed(error);
    if (const int error = obstacle(held))
        return failed(error);

    // The local files of the library itself: the desktop's modules are not loaded for this.
    const std::unique_ptr<GFile, Unref> file(
        g_vfs_get_file_for_path(g_vfs_get_local(), item.path.c_str()));
    if (!held.isInPlace())
        return failed(ESTALE);
    GError* raised = nullptr;
    if (g_file_trash(file.get(), nullptr, &raised)) {
        std::string path = held.currentPath();
        return {Kind::moved, path == item.path ? std::string() : std::move(path)};
    }
    const std::unique_ptr<GError, Unref> error(raised);
    const bool isUnsupported = g_error_matches(raised, G_IO_ERROR, G_IO_ERROR_NOT_SUPPORTED);
    return {isUnsupported ? Kind::unsupported : Kind::failed, raised->message};
}

} // namespace quarrydex
