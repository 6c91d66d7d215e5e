#include "QuarrydexCore/text/MoFile.h"

#include "QuarrydexCore/base/Bytes.h"
#include "QuarrydexCore/text/Catalogues.h"

#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

using namespace std::string_literals;
using Pairs = std::vector<std::pair<std::string, std::string>>;

void put(std::string& out, std::uint64_t value) {
    char bytes[4];
    storeLE(bytes, static_cast<std::uint32_t>(value));
    out.append(bytes, sizeof bytes);
}

/// A catalogue as msgfmt --no-hash lays it out.
std::string moOf(const Pairs& texts) {
    std::string head;
    const std::uint64_t tableBytes = texts.size() * 8;
    for (const std::uint64_t value :
         {std::uint64_t{0x950412DE}, std::uint64_t{0}, texts.size(), std::uint64_t{28},
          28 + tableBytes, std::uint64_t{0}, 28 + 2 * tableBytes})
        put(head, value);
    std::string heap;
    for (const bool isTranslation : {false, true})
        for (const auto& [original, translation] : texts) {
            const std::string& text = isTranslation ? translation : original;
            put(head, text.size());
            put(head, 28 + 2 * tableBytes + heap.size());
            heap += text + '\0';
        }
    return head + heap;
}

const Pairs somePairs = {{"", "Language: de\n"},
                         {"Size", "Größe"},
                         {"{n} file\0{n} files"s, "{n} Datei\0{n} Dateien"s},
                         {"menu\4Open"s, "Öffnen"},
                         {"Empty", ""}};

/// In a block of its own size, so that a read behind the end is seen by the address sanitizer.
std::optional<Texts> readCopy(const std::string& bytes) {
    const std::vector<char> copy(bytes.begin(), bytes.end());
    return readMo({copy.data(), copy.size()});
}

TEST(MoFileTest, TextsAreReadWithAllTheirForms) {
    EXPECT_EQ(readCopy(moOf(somePairs)),
              (Texts{{"Size", "Größe"}, {"{n} file", "{n} Datei\0{n} Dateien"s}, {"Empty", ""}}));
    EXPECT_EQ(readCopy(moOf({})), Texts{});
}

TEST(MoFileTest, WhatIsNoCatalogueHasNoTexts) {
    const std::string whole = moOf(somePairs);
    EXPECT_EQ(readCopy(""), std::nullopt);
    EXPECT_EQ(readCopy(std::string(64, 'x')), std::nullopt);
    for (std::size_t size = 0; size + 1 < whole.size(); ++size) // the last NUL is not read
        EXPECT_EQ(readCopy(whole.substr(0, size)), std::nullopt) << size;

    struct Damage {
        std::size_t offset;
        std::uint32_t value;
    };

    constexpr Damage damages[] = {
        {0, 0xDE120495},                    // the other byte order
        {4, 0x00020000},                    // a revision that is not known
        {8, 0xFFFFFFFF},  {8, 0x20000001},  // a count whose tables wrap around
        {12, 0xFFFFFFFF}, {16, 0xFFFFFFF8}, // tables behind the end
        {28, 0xFFFFFFFF}, {32, 0xFFFFFFFF}, // a length, an offset
        {72, 0x7FFFFFFF}, {76, 0x80000000}, // the same among the translations
    };
    for (const Damage& damage : damages) {
        std::string bytes = whole;
        storeLE(bytes.data() + damage.offset, damage.value);
        EXPECT_EQ(readCopy(bytes), std::nullopt) << damage.offset;
    }
}

TEST(MoFileTest, NoDamageLeadsOutsideTheFile) {
    std::mt19937 random(3);
    const std::string whole = moOf(somePairs);
    for (int i = 0; i < 20'000; ++i) {
        std::string bytes = whole;
        for (auto n = 1 + random() % 4; n > 0; --n)
            bytes[random() % bytes.size()] = static_cast<char>(random());
        const std::optional<Texts> texts = readCopy(bytes);
        EXPECT_LE(texts ? texts->size() : 0, somePairs.size() + bytes.size());
    }
}

} // namespace
} // namespace quarrydex
