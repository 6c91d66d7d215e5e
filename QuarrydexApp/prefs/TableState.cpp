#include "QuarrydexApp/prefs/TableState.h"

#include "QuarrydexCore/platform/SettingsStore.h"

#include <nlohmann/json.hpp>

namespace quarrydex {

using Json = nlohmann::json;

namespace {

constexpr const char* orderField = "order";
constexpr const char* widthsField = "widths";
constexpr const char* sortField = "sort";
constexpr const char* descField = "desc";

/// No stored width is taken that a column could not have.
constexpr int widest = 10'000;

} // namespace

Json TableState::json() const {
    return {
        {orderField, order}, {widthsField, widths}, {sortField, sortKey}, {descField, sortDesc}};
}

TableState TableState::fromJson(const Json& value) {
    TableState state;
    if (!value.is_object())
        return state;
    if (const auto order = value.find(orderField); order != value.end())
        state.order = textsOfJson(*order).value_or(std::vector<std::string>());
    if (const auto widths = value.find(widthsField); widths != value.end() && widths->is_object())
        for (const auto& [id, width] : widths->items())
            if (width.is_number_integer() && width > 0 && width <= widest)
                state.widths[id] = width.get<int>();
    if (const auto sort = value.find(sortField); sort != value.end() && sort->is_string())
        state.sortKey = sort->get<std::string>();
    if (const auto desc = value.find(descField); desc != value.end() && desc->is_boolean())
        state.sortDesc = desc->get<bool>();
    return state;
}

} // namespace quarrydex
