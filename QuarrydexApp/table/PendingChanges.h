/// What was done to files from the table and the catalogue does not know yet: until its watcher has
/// seen the change, a trashed row is shown as gone and a renamed one under its new name.
///
/// A mark ends by itself after a few seconds: by then the catalogue tells the truth, and a file
/// that was put back meanwhile must not stay marked.
///
/// Threads: the main thread. Fails: never.
#pragma once

#include "QuarrydexApp/table/ShownResults.h"

#include <QDeadlineTimer>

#include <optional>
#include <string>
#include <unordered_map>

namespace quarrydex {

class PendingChanges {
  public:
    void markGone(const RowKey& key) { marks_[key] = {std::nullopt, QDeadlineTimer(lifetimeMs)}; }

    void markRenamed(const RowKey& key, std::string newName) {
        marks_[key] = {std::move(newName), QDeadlineTimer(lifetimeMs)};
    }

    [[nodiscard]] bool isGone(const RowKey& key) const {
        const auto found = marks_.find(key);
        return found != marks_.end() && !found->second.newName;
    }

    /// Null when the row is called what the catalogue says.
    [[nodiscard]] const std::string* newName(const RowKey& key) const {
        const auto found = marks_.find(key);
        return found != marks_.end() && found->second.newName ? &*found->second.newName : nullptr;
    }

    /// Drops what is over: called with each new result.
    void tidy(const ShownResults& results) {
        std::erase_if(marks_, [&](const auto& mark) {
            return mark.second.end.hasExpired() || !results.holds(mark.first.index);
        });
    }

  private:
    static constexpr int lifetimeMs = 10'000;

    struct Mark {
        std::optional<std::string> newName; ///< absent: the file is gone
        QDeadlineTimer end;
    };

    std::unordered_map<RowKey, Mark, RowKeyHash> marks_;
};

} // namespace quarrydex
