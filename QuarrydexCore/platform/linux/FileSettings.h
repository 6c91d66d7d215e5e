/// Settings in one JSON file that a person can read and edit: an object with a member for each key,
/// sorted, indented.
///
/// The file is read at the first question and again whenever something is written: then, under an
/// advisory lock on "<file>.lock", the new value goes into what the file holds at that moment, so
/// that no process undoes what another one stored, and the file is replaced as a whole. Members
/// that this program does not know are kept.
///
/// A file that is not such an object is renamed to "settings.damaged.json" (or -2, -3, …) and the
/// defaults serve. One that cannot be read or put aside is never overwritten: what is set then
/// holds until the program ends.
///
/// Threads: any, several objects and processes on one file. Locks: lock_, a leaf, held while the
/// file is read and written.
#pragma once

#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/platform/SettingsStore.h"

#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace quarrydex {

class FileSettings final : public SettingsStore {
  public:
    /// Does not touch the file yet.
    explicit FileSettings(std::string path) : path_(std::move(path)) {}

    bool update(std::string_view key, const Change& change) override QDX_EXCLUDES(lock_);
    [[nodiscard]] std::string damagedCopy() const override QDX_EXCLUDES(lock_);

  protected:
    [[nodiscard]] nlohmann::json stored(std::string_view key) const override QDX_EXCLUDES(lock_);

  private:
    void loadOnce() const QDX_REQUIRES(lock_);
    [[nodiscard]] bool store(std::string_view key, const Change& change) QDX_REQUIRES(lock_);
    void noteDamaged(std::string copy) const QDX_REQUIRES(lock_);

    const std::string path_;
    mutable Mutex lock_;
    mutable bool isLoaded_ QDX_GUARDED_BY(lock_) = false;
    mutable nlohmann::json values_ QDX_GUARDED_BY(lock_); ///< object: what is in force
    /// Key and change, in their order, of what could not be stored yet; made again on what the file
    /// holds when it can be.
    std::vector<std::pair<std::string, Change>> unsaved_ QDX_GUARDED_BY(lock_);
    mutable std::string damagedCopy_ QDX_GUARDED_BY(lock_);
};

} // namespace quarrydex
