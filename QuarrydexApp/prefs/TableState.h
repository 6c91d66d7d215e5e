/// How the columns of the results stand, as the user left them. A plain value.
/// Threads: any. Fails: never.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace quarrydex {

struct TableState {
    std::vector<std::string> order;    ///< column ids, from the left; empty: as built
    std::map<std::string, int> widths; ///< by column id, device-independent pixels
    std::string sortKey = "name";      ///< rawValue() of a SortKey
    bool sortDesc = false;

    bool operator==(const TableState&) const = default;

    [[nodiscard]] nlohmann::json json() const;

    /// What is missing or of the wrong type is as in a fresh table.
    [[nodiscard]] static TableState fromJson(const nlohmann::json& value);
};

} // namespace quarrydex
