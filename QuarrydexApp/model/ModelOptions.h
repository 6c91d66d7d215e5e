/// What a Model works on, and how much it does about it. A plain value.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace quarrydex {

class Prefs;

struct ModelOptions {
    /// `rootsOverride`: folders to search, as the user named them. Empty: the configured sources.
    std::vector<std::string> roots{};
    /// Folders never entered, and the only extensions recorded if not empty. Absent: as configured.
    std::optional<std::vector<std::string>> excludes{};
    std::optional<std::vector<std::string>> includeExts{};
    /// Builds missing orders in the background when a result is too long to be sorted each time.
    /// Off where one search is all there will be.
    bool keepsOrders = true;
    bool persist = false;      ///< catalogues are loaded from disk and saved
    bool watches = true;       ///< with persist: volumes are kept current, else only caught up once
    bool analysesAudio = true; ///< tags are read in the background, for searches in them
    Prefs* prefs = nullptr;    ///< outlives the model; null: everything as by default
};

} // namespace quarrydex
