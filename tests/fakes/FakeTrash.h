/// A Trash that does and answers what a test says, and notes what it was asked to take.
/// Threads: one.
#pragma once

#include "QuarrydexActions/platform/Trash.h"

#include <functional>
#include <string>
#include <vector>

namespace quarrydex {

class FakeTrash final : public Trash {
  public:
    std::function<TrashResult(const Item&)> answer = [](const Item&) {
        return TrashResult{TrashResult::Kind::moved, "/trash/item"};
    };
    mutable std::vector<std::string> taken;

    [[nodiscard]] TrashResult take(const Item& item) const override {
        taken.push_back(item.path);
        return answer(item);
    }
};

} // namespace quarrydex
