/// The file behind FileSettings: reading, judging, putting aside, replacing.
///
/// Threads: any; no state. Functions that change the folder need the lock. Failure: as results.
#pragma once

#include "QuarrydexCore/base/Fd.h"

#include <cstdint>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

namespace quarrydex {

/// The file that a link at the path leads to, or the path itself.
[[nodiscard]] std::string settingsTarget(const std::string& path);

enum class SettingsState : std::uint8_t {
    good,       ///< read, or absent, which is the empty object
    damaged,    ///< read, and not an object in JSON
    unreadable, ///< there may be settings in it: it must not be replaced
};

struct SettingsContent {
    SettingsState state;
    nlohmann::json values; ///< an object, empty unless good
    bool exists;
};

[[nodiscard]] SettingsContent readSettings(const std::string& target);

/// The lock of the file, held until it is closed. Makes the folder where it is missing. Waits a
/// second for another process, then gives up: no Fd.
[[nodiscard]] Fd lockSettings(const std::string& target);

/// Renames a damaged file to a name that is free. Returns the new path, absent on failure.
[[nodiscard]] std::optional<std::string> putAside(const std::string& target);

[[nodiscard]] bool writeSettings(const std::string& target, const nlohmann::json& values);

} // namespace quarrydex
