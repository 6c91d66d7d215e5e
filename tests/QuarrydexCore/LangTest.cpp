#include "QuarrydexCore/text/Lang.h"

#include "QuarrydexCore/text/tr.h"

#include <atomic>
#include <limits>
#include <map>
#include <string_view>
#include <thread>
#include <tuple>

#include <gtest/gtest.h>

using namespace quarrydex;

namespace {

using Variables = std::map<std::string, std::string>;

std::vector<std::string> languages(const Variables& variables) {
    return Lang::systemLanguages([&](const char* name) {
        const auto found = variables.find(name);
        return found == variables.end() ? std::string() : found->second;
    });
}

} // namespace

TEST(LangTest, SystemLanguagesFollowTheEnvironment) {
    using Tags = std::vector<std::string>;
    const std::pair<Variables, Tags> cases[] = {
        {{}, {}},
        {{{"LANG", "C.UTF-8"}}, {}},
        {{{"LANG", "POSIX"}, {"LANGUAGE", "de"}}, {}},
        {{{"LANG", "de_AT.UTF-8"}}, {"de-AT"}},
        {{{"LANG", "de_DE"}, {"LC_MESSAGES", "pt_BR.UTF-8@euro"}}, {"pt-BR"}},
        {{{"LANG", "de_DE"}, {"LC_MESSAGES", "fr"}, {"LC_ALL", "it_IT"}}, {"it-IT"}},
        {{{"LANG", "de_DE"}, {"LC_ALL", ""}}, {"de-DE"}},
        {{{"LANG", "de_DE"}, {"LC_ALL", "C"}}, {}},
        {{{"LANG", "de_DE"}, {"LANGUAGE", "es_MX:C::ja"}}, {"es-MX", "ja", "de-DE"}},
    };
    for (const auto& [variables, expected] : cases)
        EXPECT_EQ(languages(variables), expected) << testing::PrintToString(variables);
}

TEST(LangTest, ResolvesToALanguageThatCanBeShown) {
    struct Case {
        std::vector<std::string> preferred;
        std::string choice;
        std::string code;
    };

    const Case cases[] = {
        {{}, "system", "en"},
        {{"de-AT"}, "system", "de"},
        {{"pt"}, "system", "pt-BR"},
        {{"pt-PT"}, "system", "pt-BR"},
        {{"fr", "de"}, "system", "de"},
        {{"en-GB", "de"}, "system", "en"},
        {{"xx", "deu"}, "system", "en"},
        {{"de"}, "en", "en"},
        {{}, "de", "de"},
        {{"de"}, "fr", "en"},
        {{"de"}, "tlh", "en"},
    };
    for (const Case& test : cases) {
        Lang lang(test.preferred);
        EXPECT_EQ(lang.code(), "en") << "no texts yet";
        lang.install("de", {});
        lang.install("pt-BR", {});
        lang.setChoice(test.choice);
        EXPECT_EQ(lang.code(), test.code) << testing::PrintToString(test.preferred) << test.choice;
        EXPECT_EQ(lang.choice(), test.choice);
    }
}

TEST(LangTest, AChangeSwitchesTextsAndIsToldOnce) {
    Lang lang({});
    lang.install("de", {{"Size", "Größe"}});
    EXPECT_EQ(lang.text("Size"), "Size");
    std::vector<std::string> heard;
    const auto first = lang.addListener([&] { heard.push_back("first " + lang.text("Size")); });
    lang.addListener([&] { heard.push_back("second"); });

    lang.setChoice("de");
    EXPECT_EQ(heard, (std::vector<std::string>{"first Größe", "second"}));
    EXPECT_EQ(lang.text("Name"), "Name") << "a text without a translation";
    lang.setChoice("de");
    EXPECT_EQ(heard.size(), 2U);

    lang.removeListener(first);
    lang.setChoice("system");
    EXPECT_EQ(heard, (std::vector<std::string>{"first Größe", "second", "second"}));
    EXPECT_EQ(lang.text("Size"), "Size");
    EXPECT_EQ(Lang::didChange, "quarrydex.languageChanged");
}

TEST(LangTest, CatalogueIsReadWhenItsLanguageIsChosen) {
    const Catalogue given[] = {{"de", "no catalogue at all"}, {"fr", catalogues()[0].bytes}};
    Lang lang({"de", "fr"}, given);
    EXPECT_EQ(lang.code(), "fr") << "one that cannot be read is passed over";
    EXPECT_EQ(lang.locale(), "fr");
    EXPECT_NE(lang.text("Folders"), "Folders");
    lang.setChoice("de");
    EXPECT_EQ(lang.code(), "en");
    EXPECT_EQ(lang.text("Folders"), "Folders");
}

TEST(LangTest, CountedTextsTakeTheFormOfTheCount) {
    constexpr std::string_view one = "{count} file";
    constexpr std::string_view many = "{count} files";
    using namespace std::string_literals;
    Lang lang({});
    for (const char* code : {"de", "fr", "nl"})
        lang.install(code, {{std::string(one), "ONE\0MANY"s}});
    lang.install("ja", {{std::string(one), "ALL"s}});
    lang.install("it", {{std::string(one), "ONLY"s}}); // one form too few
    const std::tuple<const char*, std::uint64_t, std::string_view> cases[] = {
        {"en", 0, many},   {"en", 1, one},    {"en", 2, many},  {"de", 0, "MANY"},
        {"de", 1, "ONE"},  {"de", 5, "MANY"}, {"fr", 0, "ONE"}, {"fr", 1, "ONE"},
        {"fr", 2, "MANY"}, {"ja", 1, "ALL"},  {"ja", 7, "ALL"}, {"it", 1, "ONLY"},
        {"it", 2, "ONLY"}, {"es", 1, one},    {"es", 2, many},
    };
    for (const auto& [code, count, text] : cases) {
        lang.setChoice(code);
        EXPECT_EQ(lang.text(one, many, count), text) << code << " " << count;
    }
    lang.setChoice("de");
    EXPECT_EQ(lang.text(one), "ONE");

    Lang::shared().setChoice("en");
    EXPECT_EQ(trn("{count} file in {name}", "{count} files in {name}", 2, {{"name", "{count}"}}),
              "2 files in {count}");
    EXPECT_EQ(trn("{count} file", "{count} files", 1), "1 file");
}

TEST(LangTest, ArgumentsReplaceTheirPlaceholders) {
    Lang::shared().setChoice("en");
    EXPECT_EQ(tr("No arguments: {x}"), "No arguments: {x}");
    EXPECT_EQ(tr("{key}: needs a value", {{"key", "ext"}}), "ext: needs a value");
    EXPECT_EQ(tr("{b}{a}{b}", {{"a", 1}, {"b", std::string("x")}}), "x1x");
    EXPECT_EQ(tr("{a} {other}", {{"a", "{other}"}, {"b", 0}}), "{other} {other}");
    EXPECT_EQ(tr("{a", {{"a", "x"}}), "{a");
    EXPECT_EQ(tr("{ {a} {}}", {{"a", "x"}}), "{ x {}}");
    EXPECT_EQ(tr("{n}", {{"n", std::numeric_limits<std::uint64_t>::max()}}),
              "18446744073709551615");
    EXPECT_EQ(tr("{n}", {{"n", std::numeric_limits<std::int64_t>::min()}}), "-9223372036854775808");
}

TEST(LangTest, TextsAreWholeWhileTheLanguageChanges) {
    Lang& lang = Lang::shared();
    lang.install("de", {{"{n} files", "{n} Dateien"}});
    lang.setChoice("en");
    std::atomic<bool> done = false;
    std::atomic<int> torn = 0;
    std::thread reader([&] {
        while (!done) {
            const std::string text = tr("{n} files", {{"n", 7}});
            if (text != "7 files" && text != "7 Dateien")
                ++torn;
        }
    });
    for (int i = 0; i < 500; ++i) {
        lang.setChoice(i % 2 == 0 ? "de" : "en");
        EXPECT_EQ(tr("{n} files", {{"n", i}}),
                  std::to_string(i) + (i % 2 == 0 ? " Dateien" : " files"));
    }
    done = true;
    reader.join();
    EXPECT_EQ(torn, 0);
    lang.setChoice(Lang::system);
}
