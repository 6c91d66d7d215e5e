// Holds the translations in po/, as the program carries them, to the texts in the sources.

#include "QuarrydexCore/text/Catalogues.h"
#include "QuarrydexCore/text/Lang.h"
#include "QuarrydexCore/text/MoFile.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

/// Texts that are right in a language as they are in English.
const std::map<std::string, std::set<std::string>> sameInBoth = {
    {"de",
     {"&Symbol", "Album", "Audio", "Audio / Video", "Codec", "Genre", "Link", "N&ame", "Name",
      "Stereo", "System", "Video"}},
    {"es", {"Audio", "General", "{size} ({count} byte)"}},
    {"fr",
     {"Album", "Archive", "Archives", "Audio", "Codec", "Dimensions", "Document", "Documents",
      "Extension", "Genre", "Image", "Images", "Menu", "Pages", "Sections", "{count} copy",
      "{count} page"}},
    {"it",
     {"Album", "Audio", "Audio / Video", "Codec", "File", "Menu", "Stereo", "Video", "{count} bit",
      "{size} ({count} byte)"}},
    {"nl",
     {"Album", "Audio", "Audio / Video", "Codec", "Document", "Genre", "Menu", "Stereo", "Video",
      "{count} bit", "{size} ({count} byte)"}},
    {"pt-BR", {"Codec", "Link", "Menu", "{size} ({count} byte)"}},
};
const std::set<std::string> sameEverywhere = {
    // Units, names of fields and what is made of placeholders.
    " KB",
    " s",
    "BPM",
    "Mono",
    "{key}: {value}",
    "{rate} kHz",
    "{rate} kbit/s",
    "{type} · {kind}",
    "Ø {rate} kbit/s"};

/// Texts with a {count} that has one form only, because the count is always large or belongs to an
/// older text.
const std::set<std::string> countsWithoutForms = {
    "The request is longer than {count} bytes",
    "{count} bit",
    "{number} of {count}",
};

/// The forms of a text: one, or one for each plural form.
std::vector<std::string> formsOf(const std::string& text) {
    std::vector<std::string> forms(1);
    for (const char c : text)
        if (c == '\0')
            forms.emplace_back();
        else
            forms.back() += c;
    return forms;
}

/// The texts of the sources, as tools/update_po.py finds them, each its own translation.
const Texts& sourceTexts() {
    static const Texts texts = [] {
        std::string bytes;
        std::FILE* pipe = ::popen("python3 '" QDX_SOURCE "/tools/update_po.py' --pot | "
                                  "msgen - | msgfmt --output-file=- -",
                                  "r");
        std::array<char, 4096> piece;
        while (const std::size_t n = std::fread(piece.data(), 1, piece.size(), pipe))
            bytes.append(piece.data(), n);
        EXPECT_EQ(::pclose(pipe), 0);
        return readMo(bytes).value_or(Texts());
    }();
    return texts;
}

/// The {placeholders} and --options of a text: what a translation must hold too, and nothing else.
std::set<std::string> fixedParts(const std::string& text) {
    const auto isNameCharacter = [](char c) { return (c >= 'a' && c <= 'z') || c == '-'; };
    std::set<std::string> out;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool isOption = text.compare(at, 2, "--") == 0;
        if (text[at] != '{' && !isOption)
            continue;
        std::size_t end = at + 1;
        while (end < text.size() && isNameCharacter(text[end]))
            ++end;
        const bool isClosed = end < text.size() && text[end] == '}' && end > at + 1;
        if (isOption || isClosed)
            out.insert(text.substr(at, end - at + (isOption ? 0 : 1)));
        at = std::max(at, end - 1);
    }
    return out;
}

/// Calls check(code, translations) for every offered language but English. What is fuzzy or not
/// translated is not in a catalogue.
template <typename Check> void forEachLanguage(const Check& check) {
    EXPECT_EQ(catalogues().size(), Lang::supported.size() - 1);
    for (const Lang::Language& language : Lang::supported) {
        if (language.code == "en")
            continue;
        SCOPED_TRACE(language.code);
        const auto catalogue = std::ranges::find(catalogues(), language.code, &Catalogue::code);
        ASSERT_NE(catalogue, catalogues().end());
        const std::optional<Texts> texts = readMo(catalogue->bytes);
        ASSERT_TRUE(texts);
        check(std::string(language.code), *texts);
    }
}

TEST(LanguagesTest, SourcesAreRead) {
    EXPECT_GT(sourceTexts().size(), 70U);
    EXPECT_TRUE(sourceTexts().contains("“{name}” no longer exists."));
}

TEST(LanguagesTest, EveryTextIsTranslatedInAllItsFormsAndNothingElse) {
    forEachLanguage([](const std::string& code, const Texts& translations) {
        for (const auto& [id, source] : sourceTexts()) {
            const auto found = translations.find(id);
            if (found == translations.end()) {
                ADD_FAILURE() << "no translation: run tools/update_po.py\n" << id;
                continue;
            }
            const std::vector<std::string> forms = formsOf(found->second);
            EXPECT_EQ(forms.size(), code == "ja" ? 1U : formsOf(source).size()) << id;
            EXPECT_EQ(std::ranges::count(forms, ""), 0) << "not translated\n" << id;
        }
        for (const auto& [id, translation] : translations)
            EXPECT_TRUE(sourceTexts().contains(id)) << "no longer in use\n" << id;
        const Lang lang({code}, catalogues());
        EXPECT_EQ(lang.code(), code);
        EXPECT_NE(lang.text("Folders"), "Folders");
    });
}

TEST(LanguagesTest, TranslationsHoldThePlaceholdersAndOptionsOfTheirText) {
    forEachLanguage([](const std::string&, const Texts& translations) {
        for (const auto& [id, translation] : translations) {
            const auto source = sourceTexts().find(id);
            if (source == sourceTexts().end())
                continue;
            for (const std::string& form : formsOf(translation))
                EXPECT_EQ(fixedParts(form), fixedParts(formsOf(source->second).back())) << form;
        }
    });
}

TEST(LanguagesTest, OnlyReviewedTextsStayEnglish) {
    std::map<std::string, std::set<std::string>> same;
    forEachLanguage([&](const std::string& code, const Texts& translations) {
        for (const auto& [id, source] : sourceTexts()) {
            const auto found = translations.find(id);
            if (found == translations.end() || sameEverywhere.contains(id))
                continue;
            for (const std::string& form : formsOf(found->second))
                if (std::ranges::count(formsOf(source), form) > 0)
                    same[code].insert(id);
        }
    });
    EXPECT_EQ(same, sameInBoth);
}

TEST(LanguagesTest, CountsChooseAFormOfTheirText) {
    for (const Lang::Language& language : Lang::supported)
        for (const std::uint64_t count : {0, 1, 2, 1000000}) {
            const bool isAboveOne = language.code == "fr" || language.code == "pt-BR";
            const bool isMany = isAboveOne ? count > 1 : count != 1 && language.code != "ja";
            EXPECT_EQ(Lang::pluralForm(language.code, count), isMany ? 1U : 0U) << language.code;
        }
    std::set<std::string> uncounted;
    for (const auto& [id, source] : sourceTexts())
        if (formsOf(source).size() == 1 && source.find("{count}") != std::string::npos)
            uncounted.insert(id);
    EXPECT_EQ(uncounted, countsWithoutForms);
}

TEST(LanguagesTest, FixedPartsAreFound) {
    using Parts = std::set<std::string>;
    EXPECT_EQ(fixedParts("a {b} {c-d} {} { e} {F} {\"g\": 1}"), (Parts{"{b}", "{c-d}"}));
    EXPECT_EQ(fixedParts("--sort KEY, --no-persist: -h — x"), (Parts{"--sort", "--no-persist"}));
}

} // namespace
} // namespace quarrydex
