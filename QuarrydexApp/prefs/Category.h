/// A chip above the results: a name for a set of file types. A plain value.
/// Threads: any. Fails: never.
#pragma once

#include "QuarrydexCore/query/Query.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace quarrydex {

struct Category {
    std::string id;
    std::string name;     ///< as the user named it; empty for a built-in one
    std::string symbol;   ///< name of the symbol on the chip
    std::string patterns; ///< "*.mp3;*.flac"

    bool operator==(const Category&) const = default;

    /// The id whose chip finds folders instead of file types.
    static constexpr std::string_view foldersId = "folders";

    /// The chips of a first run, in their order.
    [[nodiscard]] static const std::vector<Category>& defaults();

    /// True for a name that an earlier version stored for the built-in id.
    [[nodiscard]] static bool isLegacyName(std::string_view id, std::string_view name);

    /// In the language in effect for a built-in id that has no name of its own, else `name`.
    [[nodiscard]] std::string displayName() const;

    /// What the chip adds to the query.
    [[nodiscard]] Term term() const;

    [[nodiscard]] nlohmann::json json() const;

    /// Absent for anything but a record of four texts with an id.
    [[nodiscard]] static std::optional<Category> fromJson(const nlohmann::json& value);
};

} // namespace quarrydex
