#include "QuarrydexApp/prefs/Category.h"

#include "QuarrydexCore/query/ExtPatterns.h"
#include "QuarrydexCore/text/tr.h"

#include <algorithm>
#include <iterator>

#include <nlohmann/json.hpp>

namespace quarrydex {

using Json = nlohmann::json;

namespace {

/// The names that earlier versions stored with the built-in ids, in English and in German.
struct LegacyName {
    std::string_view id, name;
};

constexpr LegacyName legacyNames[] = {
    {"folders", "Folders"},   {"folders", "Ordner"},   {"audio", "Audio"},    {"video", "Video"},
    {"images", "Images"},     {"images", "Bilder"},    {"docs", "Documents"}, {"docs", "Dokumente"},
    {"archives", "Archives"}, {"archives", "Archive"},
};

/// The id's name in the language in effect; empty unless it is built in.
std::string builtInName(std::string_view id) {
    if (id == Category::foldersId)
        return tr("Folders");
    if (id == "audio")
        return tr("Audio");
    if (id == "video")
        return tr("Video");
    if (id == "images")
        return tr("Images");
    if (id == "docs")
        return tr("Documents");
    if (id == "archives")
        return tr("Archives");
    return {};
}

} // namespace

const std::vector<Category>& Category::defaults() {
    static const std::vector<Category> categories = {
        {"audio", "", "music.note",
         "*.mp3;*.flac;*.wav;*.aiff;*.aif;*.m4a;*.ogg;*.wma;*.aac;*.opus;*.alac;*.ape"},
        {"video", "", "film", "*.mp4;*.mov;*.mkv;*.avi;*.m4v;*.wmv;*.webm;*.mpg;*.mpeg;*.flv"},
        {"images", "", "photo",
         "*.jpg;*.jpeg;*.png;*.gif;*.heic;*.tiff;*.tif;*.bmp;*.webp;*.raw;*.cr2;*.nef;*.arw;"
         "*.dng;*.svg;*.psd"},
        {"docs", "", "doc.text",
         "*.pdf;*.doc;*.docx;*.xls;*.xlsx;*.ppt;*.pptx;*.txt;*.md;*.rtf;*.pages;*.numbers;"
         "*.key;*.csv;*.odt"},
        {"archives", "", "archivebox", "*.zip;*.rar;*.7z;*.tar;*.gz;*.tgz;*.bz2;*.xz;*.dmg;*.iso"},
    };
    return categories;
}

bool Category::isLegacyName(std::string_view id, std::string_view name) {
    return std::ranges::any_of(legacyNames, [&](const LegacyName& legacy) {
        return legacy.id == id && legacy.name == name;
    });
}

std::string Category::displayName() const {
    const std::string builtIn = builtInName(id);
    const bool isOwnName = !name.empty() && !isLegacyName(id, name);
    return isOwnName || builtIn.empty() ? name : builtIn;
}

Term Category::term() const {
    if (id == foldersId)
        return {.neg = false, .pred = preds::Kind{true}, .caseSensitive = false};
    return {.neg = false,
            .pred = preds::Ext{ExtPatterns::parse(patterns).exts},
            .caseSensitive = false};
}

Json Category::json() const {
    return {{"id", id}, {"name", name}, {"symbol", symbol}, {"patterns", patterns}};
}

std::optional<Category> Category::fromJson(const Json& value) {
    if (!value.is_object())
        return std::nullopt;
    const auto text = [&](const char* field) {
        const Json found = value.value(field, Json());
        return found.is_string() ? std::optional(found.get<std::string>()) : std::nullopt;
    };
    auto id = text("id"), name = text("name"), symbol = text("symbol"), patterns = text("patterns");
    if (!id || id->empty() || !name || !symbol || !patterns)
        return std::nullopt;
    if (isLegacyName(*id, *name))
        name->clear();
    return Category{std::move(*id), std::move(*name), std::move(*symbol), std::move(*patterns)};
}

} // namespace quarrydex
