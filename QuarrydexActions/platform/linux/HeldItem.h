/// An item held open for the moment in which something is done to it.
///
/// While it is held its inode number belongs to no other object, and its folder stays the same
/// folder whatever is moved or linked to its path meanwhile.
/// Threads: one at a time. Failure: errno values as results, 0 for success.
#pragma once

#include "QuarrydexActions/platform/Item.h"
#include "QuarrydexCore/base/Fd.h"

#include <string>

#include <sys/stat.h>

namespace quarrydex {

class HeldItem {
  public:
    /// ESTALE when the path does not lead to the object that was checked.
    [[nodiscard]] int open(const Item& item);

    /// The folder, without the right to read it; for the *at calls.
    [[nodiscard]] int folder() const { return folder_.get(); }

    /// The item's name in its folder.
    [[nodiscard]] const char* name() const { return name_.c_str(); }

    /// True while the name in the folder is that of the object.
    [[nodiscard]] bool isInPlace() const;

    /// Where the object lies now; empty when the system does not tell.
    [[nodiscard]] std::string currentPath() const;

    [[nodiscard]] bool isFolder() const { return S_ISDIR(status_.st_mode); }

  private:
    Fd folder_;
    Fd object_;
    std::string name_;

    struct stat status_ {};
};

} // namespace quarrydex
