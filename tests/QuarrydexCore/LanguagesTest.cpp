// Holds the translations in po/ to the texts in the sources.

#include "QuarrydexCore/text/Catalogues.h"
#include "QuarrydexCore/text/Lang.h"
#include "QuarrydexCore/text/MoFile.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

/// One entry of a .po file.
struct Message {
    std::string id;
    std::string plural;             ///< empty unless the text is counted
    std::vector<std::string> forms; ///< translations: one, or one for each plural form
    bool isFuzzy = false;           ///< msgfmt leaves it out
};

using Messages = std::map<std::string, Message>; ///< by id

/// Texts that are right in a language as they are in English: its codes by text.
const std::map<std::string, std::set<std::string>> sameInBoth = {
    {"Album", {"de", "fr", "it", "nl"}},
    {"Archive", {"fr"}},
    {"Archives", {"fr"}},
    {"Audio", {"de", "es", "fr", "it", "nl"}},
    {"Audio / Video", {"de", "it", "nl"}},
    {"Codec", {"de", "fr", "it", "nl", "pt-BR"}},
    {"Dimensions", {"fr"}},
    {"Document", {"fr", "nl"}},
    {"Documents", {"fr"}},
    {"Extension", {"fr"}},
    {"File", {"it"}},
    {"General", {"es"}},
    {"Genre", {"de", "fr", "nl"}},
    {"Image", {"fr"}},
    {"Images", {"fr"}},
    {"Link", {"de", "pt-BR"}},
    {"Menu", {"fr", "it", "nl", "pt-BR"}},
    {"N&ame", {"de"}},
    {"Name", {"de"}},
    {"Pages", {"fr"}},
    {"Sections", {"fr"}},
    {"Stereo", {"de", "it", "nl"}},
    {"System", {"de"}},
    {"Video", {"de", "it", "nl"}},
    {"&Symbol", {"de"}},
    {"{count} bit", {"it", "nl"}},
    {"{count} copy", {"fr"}},
    {"{count} page", {"fr"}},
    {"{size} ({count} byte)", {"es", "it", "nl", "pt-BR"}},
};
const std::set<std::string> sameEverywhere = {" KB",
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

/// The text between the quotes of a line of a .po file.
std::string unquoted(const std::string& line) {
    const std::size_t first = line.find('"');
    std::string out;
    for (std::size_t i = first + 1; i < line.rfind('"'); ++i) {
        if (line[i] == '\\' && line[++i] == 'n')
            out += '\n';
        else if (line[i] == 't' && line[i - 1] == '\\')
            out += '\t';
        else
            out += line[i];
    }
    return out;
}

Messages parsePo(std::istream& in) {
    Messages out;
    Message message;
    std::string* current = nullptr;
    const auto finish = [&] {
        if (!message.forms.empty())
            out[message.id] = message;
        message = {};
        current = nullptr;
    };
    for (std::string line; std::getline(in, line);) {
        if (line.empty())
            finish();
        else if (line.starts_with("#,") && line.find("fuzzy") != std::string::npos)
            message.isFuzzy = true;
        else if (line.starts_with("msgid_plural"))
            current = &message.plural;
        else if (line.starts_with("msgid"))
            current = &message.id;
        else if (line.starts_with("msgstr"))
            current = &message.forms.emplace_back();
        if (current != nullptr && line.front() != '#')
            *current += unquoted(line);
    }
    finish();
    return out;
}

/// The texts of the sources, as tools/update_po.py finds them.
const Messages& sourceTexts() {
    static const Messages texts = [] {
        std::string output;
        std::FILE* pipe = ::popen("python3 '" QDX_SOURCE "/tools/update_po.py' --pot", "r");
        std::array<char, 4096> piece;
        while (const std::size_t n = std::fread(piece.data(), 1, piece.size(), pipe))
            output.append(piece.data(), n);
        EXPECT_EQ(::pclose(pipe), 0);
        std::istringstream in(output);
        Messages found = parsePo(in);
        found.erase("");
        return found;
    }();
    return texts;
}

Messages translationsOf(std::string_view code) {
    std::ifstream in(QDX_SOURCE "/po/" + std::string(code) + ".po");
    EXPECT_TRUE(in) << code;
    return parsePo(in);
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

/// Calls check(code, translations) for every offered language but English.
template <typename Check> void forEachLanguage(const Check& check) {
    for (const Lang::Language& language : Lang::supported)
        if (language.code != "en") {
            SCOPED_TRACE(language.code);
            check(std::string(language.code), translationsOf(language.code));
        }
}

TEST(LanguagesTest, SourcesAreRead) {
    EXPECT_GT(sourceTexts().size(), 70U);
    EXPECT_TRUE(sourceTexts().contains("“{name}” no longer exists."));
}

TEST(LanguagesTest, EveryTextIsTranslatedAndNothingElse) {
    forEachLanguage([](const std::string&, const Messages& translations) {
        for (const auto& [id, source] : sourceTexts()) {
            const auto found = translations.find(id);
            if (found == translations.end()) {
                ADD_FAILURE() << "no translation: run tools/update_po.py\n" << id;
                continue;
            }
            EXPECT_FALSE(found->second.isFuzzy) << id;
            EXPECT_EQ(found->second.plural, source.plural) << id;
            for (const std::string& form : found->second.forms)
                EXPECT_NE(form, "") << "not translated\n" << id;
        }
        for (const auto& [id, message] : translations)
            EXPECT_TRUE(id.empty() || sourceTexts().contains(id)) << "no longer in use\n" << id;
    });
}

TEST(LanguagesTest, TranslationsHoldThePlaceholdersAndOptionsOfTheirText) {
    forEachLanguage([](const std::string&, const Messages& translations) {
        for (const auto& [id, message] : translations) {
            if (id.empty())
                continue;
            const auto expected = fixedParts(message.plural.empty() ? id : message.plural);
            for (const std::string& form : message.forms)
                EXPECT_EQ(fixedParts(form), expected) << id << "\n" << form;
        }
    });
}

TEST(LanguagesTest, OnlyReviewedTextsStayEnglish) {
    std::map<std::string, std::set<std::string>> same;
    forEachLanguage([&](const std::string& code, const Messages& translations) {
        for (const auto& [id, message] : translations)
            for (const std::string& form : message.forms)
                if ((form == id || form == message.plural) && !sameEverywhere.contains(id))
                    same[id].insert(code);
    });
    EXPECT_EQ(same, sameInBoth);
}

TEST(LanguagesTest, CountedTextsHaveEveryPluralForm) {
    const std::string notOne = "nplurals=2; plural=(n != 1);";
    const std::string aboveOne = "nplurals=2; plural=(n > 1);";
    const std::map<std::string, std::string> rules = {{"de", notOne},
                                                      {"es", notOne},
                                                      {"it", notOne},
                                                      {"fr", aboveOne},
                                                      {"pt-BR", aboveOne},
                                                      {"nl", notOne},
                                                      {"ja", "nplurals=1; plural=0;"}};
    forEachLanguage([&](const std::string& code, const Messages& translations) {
        const std::string& rule = rules.at(code);
        EXPECT_NE(translations.at("").forms.at(0).find("Plural-Forms: " + rule + "\n"),
                  std::string::npos);
        const std::size_t forms = rule == notOne || rule == aboveOne ? 2 : 1;
        for (const std::uint64_t count : {0, 1, 2, 1000000})
            EXPECT_EQ(Lang::pluralForm(code, count),
                      (rule == notOne && count != 1) || (rule == aboveOne && count > 1) ? 1U : 0U);
        for (const auto& [id, message] : translations)
            EXPECT_EQ(message.forms.size(), message.plural.empty() ? 1 : forms) << id;
    });
    std::set<std::string> uncounted;
    for (const auto& [id, message] : sourceTexts())
        if (message.plural.empty() && id.find("{count}") != std::string::npos)
            uncounted.insert(id);
    EXPECT_EQ(uncounted, countsWithoutForms);
}

TEST(LanguagesTest, TheProgramCarriesWhatIsInTheFiles) {
    EXPECT_EQ(catalogues().size(), Lang::supported.size() - 1);
    forEachLanguage([](const std::string& code, const Messages& translations) {
        const auto catalogue = std::ranges::find(catalogues(), code, &Catalogue::code);
        ASSERT_NE(catalogue, catalogues().end());
        Texts expected;
        for (const auto& [id, message] : translations) {
            std::string& forms = expected[id];
            for (const std::string& form : message.forms)
                forms +=
                    (&form == &message.forms.front() ? std::string() : std::string(1, '\0')) + form;
        }
        expected.erase("");
        const std::optional<Texts> texts = readMo(catalogue->bytes);
        ASSERT_TRUE(texts);
        EXPECT_EQ(*texts, expected);

        Lang lang({code}, catalogues());
        EXPECT_EQ(lang.code(), code);
        EXPECT_EQ(lang.text("Folders"), translations.at("Folders").forms.at(0));
    });
}

TEST(LanguagesTest, FixedPartsAreFound) {
    using Parts = std::set<std::string>;
    EXPECT_EQ(fixedParts("a {b} {c-d} {} { e} {F} {\"g\": 1}"), (Parts{"{b}", "{c-d}"}));
    EXPECT_EQ(fixedParts("--sort KEY, --no-persist: -h — x"), (Parts{"--sort", "--no-persist"}));
}

} // namespace
} // namespace quarrydex
