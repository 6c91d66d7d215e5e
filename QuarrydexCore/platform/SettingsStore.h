/// The user's settings: short camel-case keys with JSON values, in two layers.
///
/// A key is looked up among the overrides first, which hold for this run only and are never stored
/// (what the command line says), then among the stored values. A stored value of another type than
/// the one asked for counts as unset.
///
/// Threads: any. Writing goes to the disk before it returns: not while a user waits for a frame.
/// Failure: a value that could not be stored is in force until the program ends, and is stored
/// together with the next one; the setter returns false.
#pragma once

#include "QuarrydexCore/base/Mutex.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace quarrydex {

class SettingsStore {
  public:
    /// Receives the stored value (null when unset) and changes it; null removes the key.
    /// Must not call the store. It may be called later and more than once: it owns what it uses.
    using Change = std::function<void(nlohmann::json&)>;

    virtual ~SettingsStore() = default;

    // --- Reading: override, else stored value, else nothing --------------------------------------

    /// null when unset.
    [[nodiscard]] nlohmann::json value(std::string_view key) const;
    [[nodiscard]] std::optional<bool> boolean(std::string_view key) const;
    [[nodiscard]] std::optional<std::int64_t> integer(std::string_view key) const;
    [[nodiscard]] std::optional<std::string> text(std::string_view key) const;
    [[nodiscard]] std::optional<std::vector<std::string>> texts(std::string_view key) const;

    // --- Writing the stored value ----------------------------------------------------------------

    bool setBoolean(std::string_view key, bool value);
    bool setInteger(std::string_view key, std::int64_t value);
    bool setText(std::string_view key, std::string_view value);
    bool setTexts(std::string_view key, const std::vector<std::string>& values);
    bool remove(std::string_view key);

    /// Changes the value as it is at that moment, with what other processes have stored since: the
    /// way to change one part of a value without losing their changes of another part.
    virtual bool update(std::string_view key, const Change& change) = 0;

    // --- Overrides -------------------------------------------------------------------------------

    /// A text that is in force until the program ends.
    void overrideText(std::string_view key, std::string_view value) QDX_EXCLUDES(lock_);

    /// Where stored settings that could not be understood were put aside; empty when they could.
    [[nodiscard]] virtual std::string damagedCopy() const { return {}; }

  protected:
    /// null when unset.
    [[nodiscard]] virtual nlohmann::json stored(std::string_view key) const = 0;

  private:
    mutable Mutex lock_;
    std::map<std::string, std::string, std::less<>> overrides_ QDX_GUARDED_BY(lock_);
};

/// A path or another text of any bytes as a JSON value: a string, or {"percentEncoded": …} where
/// the bytes are not UTF-8, which JSON cannot hold.
[[nodiscard]] nlohmann::json jsonOfText(std::string_view text);

/// The reverse; absent for any other value.
[[nodiscard]] std::optional<std::string> textOfJson(const nlohmann::json& value);

/// A list of such texts; absent unless every element is one.
[[nodiscard]] std::optional<std::vector<std::string>> textsOfJson(const nlohmann::json& value);

} // namespace quarrydex
