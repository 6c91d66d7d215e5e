#include "QuarrydexApp/prefs/QueuedSettings.h"

#include <utility>
#include <vector>

namespace quarrydex {

using Json = nlohmann::json;

QueuedSettings::QueuedSettings(SettingsStore& store, std::span<const std::string_view> keys)
    : store_(store) {
    const MutexLock held(lock_);
    for (const std::string_view key : keys)
        (void)known(key);
}

QueuedSettings::~QueuedSettings() {
    drain();
}

void QueuedSettings::drain() {
    std::shared_ptr<SerialQueue> queue;
    {
        const MutexLock held(lock_);
        queue = queue_;
    }
    if (queue)
        queue->drain();
}

QueuedSettings::Known& QueuedSettings::known(std::string_view key) const {
    const auto found = known_.find(key);
    if (found != known_.end())
        return found->second;
    return known_.emplace(key, Known{.value = store_.value(key)}).first->second;
}

Json QueuedSettings::stored(std::string_view key) const {
    const MutexLock held(lock_);
    return known(key).value;
}

bool QueuedSettings::update(std::string_view key, const Change& change) {
    const MutexLock held(lock_);
    Known& entry = known(key);
    change(entry.value);
    ++entry.pending;
    if (!queue_)
        queue_ = std::make_shared<SerialQueue>();
    queue_->post([this, id = std::string(key), change] { write(id, change); });
    return true;
}

/// On the queue. The change is made anew on what is stored by now, so that it goes together with
/// what other processes have changed.
void QueuedSettings::write(const std::string& key, const Change& change) {
    (void)store_.update(key, change); // what could not be stored stays in force there

    std::vector<std::string> keys;
    {
        const MutexLock held(lock_);
        --known(key).pending;
        for (const auto& [id, entry] : known_)
            keys.push_back(id);
    }
    for (const std::string& id : keys) {
        Json now = store_.value(id);
        const MutexLock held(lock_);
        Known& entry = known(id);
        if (entry.pending == 0) // else a newer change has been made to it
            entry.value = std::move(now);
    }
}

} // namespace quarrydex
