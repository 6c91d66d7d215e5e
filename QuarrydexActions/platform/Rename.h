/// Another name for an object in its folder, never in place of something else.
///
/// Threads: any. Failure: errno values as results, 0 for success; the file system is then as it
/// was.
#pragma once

#include "QuarrydexActions/platform/Item.h"

#include <functional>
#include <string>
#include <string_view>

namespace quarrydex {

struct RenameOptions {
    /// Set when the new name differs from the old one in case alone: tells of any name whether it
    /// is one more spelling of the two. Where names are found in any case, the new one is then
    /// taken although it seems to exist.
    std::function<bool(std::string_view name)> isSpelling;
};

class Rename {
  public:
    virtual ~Rename() = default;

    /// Gives the item the name, which holds no "/" and no NUL. EEXIST when there is something by
    /// that name; ESTALE when the path no longer leads to the object that was checked.
    ///
    /// The item is compared with what was checked immediately before the call, in a folder that is
    /// held open, so that no folder on the way can be changed for another one. Windows that remain,
    /// each between two calls to the system:
    /// - Another process puts another object in the item's place: that one gets the new name.
    /// - A file system without an exclusive rename: the name is first taken by an empty
    /// placeholder,
    ///   which is then replaced. What another process puts in place of that is lost.
    /// - A change of case alone, which needs a replacing rename: the one name that the folder
    /// listed
    ///   has been joined by another one since. This takes a file system that tells them apart.
    [[nodiscard]] virtual int
    perform(const Item& item, const std::string& name, const RenameOptions& options) const = 0;
};

} // namespace quarrydex
