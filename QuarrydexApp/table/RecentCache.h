/// Values of the rows that were looked at last, and no more than so many.
///
/// Two generations: what is used moves to the young one; when that is full the old one is let go.
/// Threads: one. Fails: never.
#pragma once

#include "QuarrydexApp/table/ShownResults.h"

#include <cstddef>
#include <unordered_map>
#include <utility>

namespace quarrydex {

template <typename Value> class RecentCache {
  public:
    /// Holds at most this many values, and the half of it that was used last.
    explicit RecentCache(std::size_t capacity) : half_(capacity / 2) {}

    /// Null when there is none. Lives until the next call.
    Value* find(const RowKey& key) {
        if (const auto found = young_.find(key); found != young_.end())
            return &found->second;
        auto node = old_.extract(key);
        if (node.empty())
            return nullptr;
        return &put(key, std::move(node.mapped()));
    }

    Value& put(const RowKey& key, Value value) {
        if (young_.size() >= half_) {
            old_ = std::move(young_);
            young_.clear();
        }
        return young_.insert_or_assign(key, std::move(value)).first->second;
    }

    void clear() {
        young_.clear();
        old_.clear();
    }

    [[nodiscard]] std::size_t size() const { return young_.size() + old_.size(); }

  private:
    using Map = std::unordered_map<RowKey, Value, RowKeyHash>;

    std::size_t half_;
    Map young_;
    Map old_;
};

} // namespace quarrydex
