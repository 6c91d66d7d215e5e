#include "QuarrydexApp/prefs/ColumnSets.h"

#include <algorithm>

#include <nlohmann/json.hpp>

namespace quarrydex {

using Json = nlohmann::json;

namespace {

std::vector<std::string> withForced(std::vector<std::string> columns) {
    if (std::ranges::find(columns, ColumnSets::forced) == columns.end())
        columns.insert(columns.begin(), std::string(ColumnSets::forced));
    return columns;
}

} // namespace

std::vector<std::string> ColumnSets::visible(std::string_view category) const {
    const Json sets = settings_.value(key);
    const auto found = sets.is_object() ? sets.find(std::string(category)) : sets.end();
    auto columns = found != sets.end() ? textsOfJson(*found) : std::nullopt;
    return withForced(columns ? std::move(*columns) : defaults(category));
}

void ColumnSets::set(const std::vector<std::string>& columns, std::string_view category) {
    if (withForced(columns) == visible(category))
        return;
    settings_.update(key, [id = std::string(category), list = withForced(columns)](Json& sets) {
        if (!sets.is_object())
            sets = Json::object();
        sets[id] = list;
    });
}

std::vector<std::string> ColumnSets::defaults(std::string_view category) {
    if (category == "audio")
        return {"name", "artist", "title", "bpm", "duration", "bitrate", "size", "drive", "path"};
    if (category == "video")
        return {"name", "duration", "dims", "size", "date", "drive", "path"};
    if (category == "images")
        return {"name", "dims", "size", "date", "drive", "path"};
    if (category == "docs")
        return {"name", "pages", "size", "date", "drive", "path"};
    return {"name", "size", "date", "kind", "drive", "path"};
}

} // namespace quarrydex
