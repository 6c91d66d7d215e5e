/// The desktop's Trash.
///
/// Threads: any. Failure: a result; the file system is then as it was, apart from an empty Trash
/// folder that may have been made.
#pragma once

#include "QuarrydexActions/platform/Item.h"

#include <cstdint>
#include <string>

namespace quarrydex {

struct TrashResult {
    enum class Kind : std::uint8_t {
        moved,
        gone,        ///< the path no longer leads to the object that was checked
        unsupported, ///< the volume has no Trash and can have none
        failed,
    };

    Kind kind{};
    /// moved: where the object lies now, empty when the system does not tell. failed: the reason in
    /// the system's words.
    std::string text;
};

class Trash {
  public:
    virtual ~Trash() = default;

    /// Moves the item to the Trash of its volume, a link itself and never its target.
    ///
    /// The item is compared with what was checked immediately before the call. The window that
    /// remains is the service's own: it works by path, and an object (or a folder on the way to it)
    /// that another process puts in the place within those microseconds is trashed instead. Even
    /// then nothing is lost, since it lies in the Trash, and a link is not followed.
    [[nodiscard]] virtual TrashResult take(const Item& item) const = 0;
};

} // namespace quarrydex
