/// Settings for the main thread: what is set is in force at once, and stored in the background, in
/// the order in which it was set. Writing flushes to the disk, which takes longer than a frame.
///
/// What other processes have stored shows after the next write of this one.
/// Threads: any. Locks: lock_, a leaf but for keys that were not named, whose first reading asks
/// the store. Ownership: refers to the store, which outlives it. Failure: as the store's, but told
/// by nobody: update() is always true.
#pragma once

#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/base/SerialQueue.h"
#include "QuarrydexCore/platform/SettingsStore.h"

#include <cstddef>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace quarrydex {

class QueuedSettings final : public SettingsStore {
  public:
    /// Reads these keys now, so that reading one of them never waits for a write.
    QueuedSettings(SettingsStore& store, std::span<const std::string_view> keys);

    /// Returns when everything is stored.
    ~QueuedSettings() override;

    QueuedSettings(const QueuedSettings&) = delete;
    QueuedSettings& operator=(const QueuedSettings&) = delete;

    /// Returns when all that was set before the call is stored. Not for the main thread.
    void drain() QDX_EXCLUDES(lock_);

    bool update(std::string_view key, const Change& change) override QDX_EXCLUDES(lock_);

    [[nodiscard]] std::string damagedCopy() const override { return store_.damagedCopy(); }

  protected:
    [[nodiscard]] nlohmann::json stored(std::string_view key) const override QDX_EXCLUDES(lock_);

  private:
    struct Known {
        nlohmann::json value;    ///< null when unset
        std::size_t pending = 0; ///< changes of it that are not stored yet
    };

    Known& known(std::string_view key) const QDX_REQUIRES(lock_);
    void write(const std::string& key, const Change& change) QDX_EXCLUDES(lock_);

    SettingsStore& store_;
    mutable Mutex lock_;
    mutable std::map<std::string, Known, std::less<>> known_ QDX_GUARDED_BY(lock_);
    std::shared_ptr<SerialQueue> queue_ QDX_GUARDED_BY(lock_); ///< made by the first change
};

} // namespace quarrydex
