#include "QuarrydexCore/platform/SettingsStore.h"

#include <charconv>
#include <utility>

#include <nlohmann/json.hpp>

namespace quarrydex {

using Json = nlohmann::json;

namespace {

constexpr const char* bytesField = "percentEncoded";

/// The library's own check, so that what passes here can be written.
bool isUtf8(std::string_view text) {
    try {
        (void)Json(std::string(text)).dump();
        return true;
    } catch (const Json::type_error&) {
        return false;
    }
}

std::string percentEncoded(std::string_view bytes) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string out;
    for (char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte < 0x7F && c != '%')
            out += c;
        else
            out.append({'%', digits[byte >> 4], digits[byte & 15]});
    }
    return out;
}

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out += text[i];
            continue;
        }
        unsigned byte{};
        const char* digits = text.data() + i + 1;
        if (text.size() - i < 3 || std::from_chars(digits, digits + 2, byte, 16).ptr != digits + 2)
            return std::nullopt;
        out += static_cast<char>(byte);
        i += 2;
    }
    return out;
}

Json jsonOfTexts(const std::vector<std::string>& texts) {
    Json out = Json::array();
    for (const std::string& text : texts)
        out.push_back(jsonOfText(text));
    return out;
}

} // namespace

Json SettingsStore::value(std::string_view key) const {
    {
        const MutexLock held(lock_);
        if (const auto found = overrides_.find(key); found != overrides_.end())
            return jsonOfText(found->second);
    }
    return stored(key);
}

std::optional<bool> SettingsStore::boolean(std::string_view key) const {
    const Json found = value(key);
    return found.is_boolean() ? std::optional(found.get<bool>()) : std::nullopt;
}

std::optional<std::int64_t> SettingsStore::integer(std::string_view key) const {
    const Json found = value(key);
    if (!found.is_number_integer())
        return std::nullopt;
    if (found.is_number_unsigned() && found.get<std::uint64_t>() > INT64_MAX)
        return std::nullopt;
    return found.get<std::int64_t>();
}

std::optional<std::string> SettingsStore::text(std::string_view key) const {
    return textOfJson(value(key));
}

std::optional<std::vector<std::string>> SettingsStore::texts(std::string_view key) const {
    return textsOfJson(value(key));
}

bool SettingsStore::setBoolean(std::string_view key, bool value) {
    return update(key, [value](Json& slot) { slot = value; });
}

bool SettingsStore::setInteger(std::string_view key, std::int64_t value) {
    return update(key, [value](Json& slot) { slot = value; });
}

bool SettingsStore::setText(std::string_view key, std::string_view value) {
    return update(key, [json = jsonOfText(value)](Json& slot) { slot = json; });
}

bool SettingsStore::setTexts(std::string_view key, const std::vector<std::string>& values) {
    return update(key, [json = jsonOfTexts(values)](Json& slot) { slot = json; });
}

bool SettingsStore::remove(std::string_view key) {
    return update(key, [](Json& slot) { slot = nullptr; });
}

void SettingsStore::overrideText(std::string_view key, std::string_view value) {
    const MutexLock held(lock_);
    overrides_.insert_or_assign(std::string(key), std::string(value));
}

Json jsonOfText(std::string_view text) {
    if (isUtf8(text))
        return std::string(text);
    Json out = Json::object();
    out[bytesField] = percentEncoded(text);
    return out;
}

std::optional<std::string> textOfJson(const Json& value) {
    if (value.is_string())
        return value.get<std::string>();
    if (value.is_object() && value.size() == 1 && value.contains(bytesField) &&
        value[bytesField].is_string())
        return percentDecoded(value[bytesField].get_ref<const std::string&>());
    return std::nullopt;
}

std::optional<std::vector<std::string>> textsOfJson(const Json& value) {
    if (!value.is_array())
        return std::nullopt;
    std::vector<std::string> out;
    for (const Json& element : value) {
        auto text = textOfJson(element);
        if (!text)
            return std::nullopt;
        out.push_back(std::move(*text));
    }
    return out;
}

} // namespace quarrydex
