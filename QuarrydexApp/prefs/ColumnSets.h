/// Which columns the results show, by category. Threads: any; SettingsStore's rules for writing.
/// Fails: never; a stored list that is none counts as unset.
#pragma once

#include "QuarrydexCore/platform/SettingsStore.h"

#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

class ColumnSets {
  public:
    static constexpr std::string_view key = "columnSets";

    /// The column that is always shown.
    static constexpr std::string_view forced = "name";

    explicit ColumnSets(SettingsStore& settings) : settings_(settings) {}

    /// Column ids in the order in which they stand, for a category id or "" for none: the stored
    /// list, else the default one; "name" in front where the list lacks it.
    [[nodiscard]] std::vector<std::string> visible(std::string_view category) const;

    /// `set(_:for:)`: stores the list unless it is what is visible already.
    void set(const std::vector<std::string>& columns, std::string_view category);

    [[nodiscard]] static std::vector<std::string> defaults(std::string_view category);

  private:
    SettingsStore& settings_;
};

} // namespace quarrydex
