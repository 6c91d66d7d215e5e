#include "QuarrydexCore/platform/linux/FileSettings.h"

#include "QuarrydexCore/base/Log.h"
#include "QuarrydexCore/platform/linux/SettingsFile.h"

#include <utility>

namespace quarrydex {

using Json = nlohmann::json;

namespace {

void apply(const std::string& key, const SettingsStore::Change& change, Json& values) {
    Json value = values.value(key, Json());
    change(value);
    if (value.is_null())
        values.erase(key);
    else
        values[key] = std::move(value);
}

} // namespace

Json FileSettings::stored(std::string_view key) const {
    const MutexLock held(lock_);
    loadOnce();
    const auto found = values_.find(std::string(key));
    return found == values_.end() ? Json() : *found;
}

std::string FileSettings::damagedCopy() const {
    const MutexLock held(lock_);
    loadOnce();
    return damagedCopy_;
}

bool FileSettings::update(std::string_view key, const Change& change) {
    const MutexLock held(lock_);
    loadOnce();
    if (store(key, change))
        return true;
    logLine("settings: " + path_ + " cannot be written");
    apply(std::string(key), change, values_);
    unsaved_.emplace_back(key, change);
    return false;
}

void FileSettings::loadOnce() const {
    if (std::exchange(isLoaded_, true))
        return;
    const std::string target = settingsTarget(path_);
    SettingsContent content = readSettings(target);
    if (content.state == SettingsState::damaged) {
        // Again, with the lock: another process may have put it aside and written a new one.
        const Fd lock = lockSettings(target);
        if (lock)
            content = readSettings(target);
        if (lock && content.state == SettingsState::damaged)
            noteDamaged(putAside(target).value_or(""));
    }
    values_ = std::move(content.values);
}

bool FileSettings::store(std::string_view key, const Change& change) {
    const std::string target = settingsTarget(path_);
    const Fd lock = lockSettings(target);
    if (!lock)
        return false;
    SettingsContent content = readSettings(target);
    if (content.state == SettingsState::damaged) {
        auto aside = putAside(target);
        if (!aside)
            return false;
        noteDamaged(std::move(*aside));
    }
    if (content.state == SettingsState::unreadable)
        return false;

    Json values = content.values;
    for (const auto& [name, earlier] : unsaved_)
        apply(name, earlier, values);
    apply(std::string(key), change, values);
    if (values != content.values && !writeSettings(target, values))
        return false;
    values_ = std::move(values);
    unsaved_.clear();
    return true;
}

void FileSettings::noteDamaged(std::string copy) const {
    if (!copy.empty())
        logLine("settings: not understood, kept as " + copy);
    damagedCopy_ = std::move(copy);
}

} // namespace quarrydex
