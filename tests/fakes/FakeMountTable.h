/// A mount table that a test fills. Observers are called by set(), on its thread.
///
/// Threads: any; one of them at a time sets.
#pragma once

#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/platform/Drives.h"
#include "QuarrydexCore/platform/MountTable.h"

#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace quarrydex {

class FakeMountTable final : public MountTable {
  public:
    explicit FakeMountTable(std::vector<Mount> mounts = {}) : state_(std::make_shared<State>()) {
        state_->mounts = std::move(mounts);
    }

    /// Replaces the table and tells the observers of the difference.
    void set(std::vector<Mount> mounts) {
        MountChanges changes;
        std::map<int, std::shared_ptr<Observer>> observers;
        {
            const MutexLock held(state_->lock);
            changes = changesBetween(state_->mounts, mounts);
            state_->mounts = std::move(mounts);
            observers = state_->observers;
        }
        if (changes.added.empty() && changes.removed.empty())
            return;
        for (const auto& [token, observer] : observers)
            (*observer)(changes.added, changes.removed);
    }

    [[nodiscard]] std::vector<Mount> mounts() const override {
        const MutexLock held(state_->lock);
        return state_->mounts;
    }

    [[nodiscard]] std::unique_ptr<Subscription> observe(Observer observer) override {
        return std::make_unique<Observation>(state_, std::move(observer));
    }

  private:
    struct State {
        Mutex lock;
        std::vector<Mount> mounts QDX_GUARDED_BY(lock);
        std::map<int, std::shared_ptr<Observer>> observers QDX_GUARDED_BY(lock); ///< by token
        int lastToken QDX_GUARDED_BY(lock) = 0;
    };

    class Observation final : public Subscription {
      public:
        Observation(std::shared_ptr<State> state, Observer observer) : state_(std::move(state)) {
            const MutexLock held(state_->lock);
            token_ = ++state_->lastToken;
            state_->observers[token_] = std::make_shared<Observer>(std::move(observer));
        }

        ~Observation() override {
            const MutexLock held(state_->lock);
            state_->observers.erase(token_);
        }

      private:
        const std::shared_ptr<State> state_;
        int token_;
    };

    const std::shared_ptr<State> state_;
};

/// A mount of a whole file system, as tests need most of the time.
inline Mount aMount(std::uint64_t id, std::string path, std::string fsType = "ext4") {
    Mount mount;
    mount.id = id;
    mount.path = std::move(path);
    mount.root = "/";
    mount.fsType = std::move(fsType);
    mount.source = "/dev/sd" + std::to_string(id);
    mount.options = "rw";
    mount.device = id;
    return mount;
}

} // namespace quarrydex
