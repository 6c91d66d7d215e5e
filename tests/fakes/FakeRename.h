/// A rename that does and answers what a test says, and notes what it was asked for.
/// Threads: one.
#pragma once

#include "QuarrydexActions/platform/Rename.h"

#include <functional>
#include <string>
#include <vector>

namespace quarrydex {

class FakeRename final : public Rename {
  public:
    using Answer =
        std::function<int(const Item& item, const std::string& name, const RenameOptions& options)>;

    Answer answer = [](const Item&, const std::string&, const RenameOptions&) { return 0; };
    mutable std::vector<std::string> asked; ///< "path → name"

    [[nodiscard]] int perform(const Item& item,
                              const std::string& name,
                              const RenameOptions& options) const override {
        asked.push_back(item.path + " → " + name);
        return answer(item, name, options);
    }
};

} // namespace quarrydex
