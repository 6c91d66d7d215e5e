/// Renaming by renameat2 with RENAME_NOREPLACE, and by other exclusive means where a file system
/// does not know that flag.
#pragma once

#include "QuarrydexActions/platform/Rename.h"

#include <string>

namespace quarrydex {

class LinuxRename final : public Rename {
  public:
    [[nodiscard]] int
    perform(const Item& item, const std::string& name, const RenameOptions& options) const override;
};

} // namespace quarrydex
