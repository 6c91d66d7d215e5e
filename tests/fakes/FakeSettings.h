/// Settings in memory. Threads: any, as SettingsStore.
#pragma once

#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/platform/SettingsStore.h"

#include <string>

#include <nlohmann/json.hpp>

namespace quarrydex {

class FakeSettings final : public SettingsStore {
  public:
    explicit FakeSettings(nlohmann::json values = nlohmann::json::object())
        : values_(std::move(values)) {}

    bool update(std::string_view key, const Change& change) override {
        const MutexLock held(lock_);
        nlohmann::json& value = values_[std::string(key)];
        change(value);
        if (value.is_null())
            values_.erase(std::string(key));
        return true;
    }

    /// Everything that is stored.
    [[nodiscard]] nlohmann::json values() const {
        const MutexLock held(lock_);
        return values_;
    }

  protected:
    [[nodiscard]] nlohmann::json stored(std::string_view key) const override {
        const MutexLock held(lock_);
        return values_.value(std::string(key), nlohmann::json());
    }

  private:
    mutable Mutex lock_;
    nlohmann::json values_ QDX_GUARDED_BY(lock_);
};

} // namespace quarrydex
