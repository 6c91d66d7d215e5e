/// Any bytes as an ".aud" file: loading, reading every row, searching every column, adding to it
/// and saving it again must stay within the bytes.
#include "QuarrydexCore/audio/AudioTable.h"
#include "QuarrydexCore/base/Bits.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

using namespace quarrydex;

namespace {

constexpr std::uint64_t storeID = 0x2A;

void require(bool holds) {
    if (!holds)
        std::abort();
}

void search(const AudioTable& table, const std::string& text) {
    constexpr std::size_t entries = 1'000;
    for (int field = 0; field <= static_cast<int>(AudioCond::Field::codec); ++field) {
        BitWords bits(bitWords(entries));
        const AudioCond cond{.field = static_cast<AudioCond::Field>(field), .text = text};
        table.fill(cond, bits, entries);
        forEachBit(bits, [&](std::size_t id) {
            require(id < entries && table.meta(static_cast<EntryId>(id)).has_value());
        });
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The magic and the store id are given, so that every input gets past them.
    const std::string bytes = std::string("QRDXAUD2\x2A\0\0\0\0\0\0\0", 16) +
                              std::string(reinterpret_cast<const char*>(data), size);
    const auto table = AudioTable::deserialize(bytes, storeID);
    if (table == nullptr)
        return 0;
    const auto cols = table->snapshot();
    for (std::size_t row = 0; row < cols->count(); ++row)
        require(table->meta(cols->entry[row]) == AudioTable::meta(*cols, row));
    search(*table, size == 0 ? "a" : std::string(1, static_cast<char>(data[size - 1])));
    search(*table, "ab");

    table->upsert(std::vector<AudioTable::Analysed>{{7, 1, {.artist = "ab", .title = "Ab"}}});
    search(*table, "ab");
    const auto again = AudioTable::deserialize(table->serialize(storeID), storeID);
    require(again != nullptr && again->meta(7) == table->meta(7));
    require(again->meta(7)->artist == "ab");
    return 0;
}
