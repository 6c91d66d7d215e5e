/// The ".aud" file of an audio table: a header of 32 bytes, the columns back to back, the pool.
/// docs/formats/aud.md has the byte table.
#include "QuarrydexCore/audio/AudioColumns.h"
#include "QuarrydexCore/audio/AudioTable.h"
#include "QuarrydexCore/base/Bytes.h"

#include <algorithm>
#include <functional>

namespace quarrydex {

namespace {

constexpr std::string_view magic = "QRDXAUD2";

struct Header {
    std::array<char, 8> magic;
    std::uint64_t storeID;
    std::uint64_t rows;
    std::uint64_t poolBytes;
};

static_assert(sizeof(Header) == 32);

constexpr std::uint64_t rowBytes = std::apply(
    [](auto... column) {
        return (sizeof(typename std::remove_reference_t<decltype(std::declval<AudioTable::Cols&>().*
                                                                 column)>::value_type) +
                ...);
    },
    audioColumns);
static_assert(rowBytes == 46, "the file format fixes the columns and their widths");

/// The length of a file with this header, or nothing when no file can be that long.
std::optional<std::uint64_t> fileLength(const Header& header) {
    const std::optional columns = checkedMul(header.rows, rowBytes);
    const std::optional body = columns ? checkedAdd(*columns, header.poolBytes) : std::nullopt;
    return body ? checkedAdd(*body, std::uint64_t{sizeof(Header)}) : std::nullopt;
}

/// An offset beyond the pool stands for the empty text. It must go on doing so when the pool grows.
void boundOffsets(AudioTable::Cols& cols, std::uint64_t poolBytes) {
    using Cols = AudioTable::Cols;
    for (auto column : {&Cols::artist, &Cols::title, &Cols::album, &Cols::genre, &Cols::key})
        for (std::uint32_t& offset : cols.*column)
            offset = offset < poolBytes ? offset : 0;
}

} // namespace

std::string AudioTable::serialize(std::uint64_t storeID) const {
    const std::shared_ptr<const Cols> cols = snapshot();
    Header header{
        .magic = {}, .storeID = storeID, .rows = cols->count(), .poolBytes = cols->pool.size()};
    std::ranges::copy(magic, header.magic.begin());

    std::string out;
    out.reserve(sizeof header + rowBytes * cols->count() + cols->pool.size());
    const auto write = [&](const void* data, std::size_t bytes) {
        out.append(static_cast<const char*>(data), bytes);
    };
    write(&header, sizeof header);
    forEachAudioColumn([&](auto column) {
        const auto& values = (*cols).*column;
        write(values.data(), values.size() * sizeof values[0]);
    });
    out += cols->pool;
    return out;
}

std::unique_ptr<AudioTable>
AudioTable::deserialize(std::string_view bytes, std::uint64_t storeID, EntryId entries) {
    Header header{};
    if (bytes.size() < sizeof header)
        return nullptr;
    std::memcpy(&header, bytes.data(), sizeof header);
    if (!std::ranges::equal(header.magic, magic) || header.storeID != storeID ||
        fileLength(header) != bytes.size() || header.poolBytes > TextPool::maxBytes)
        return nullptr;
    if (header.rows == 0)
        return std::make_unique<AudioTable>();

    Cols cols;
    const char* from = bytes.data() + sizeof header;
    forEachAudioColumn([&](auto column) {
        auto& values = cols.*column;
        values.resize(header.rows);
        std::memcpy(values.data(), from, values.size() * sizeof values[0]);
        from += values.size() * sizeof values[0];
    });
    const bool ascending =
        std::ranges::adjacent_find(cols.entry, std::greater_equal{}) == cols.entry.end();
    if (!ascending)
        return nullptr;
    const auto known = static_cast<std::size_t>(std::ranges::lower_bound(cols.entry, entries) -
                                                cols.entry.begin());
    forEachAudioColumn([&](auto column) { (cols.*column).resize(known); });
    boundOffsets(cols, header.poolBytes);
    cols.pool = {from, header.poolBytes};
    return std::unique_ptr<AudioTable>(new AudioTable(std::move(cols)));
}

} // namespace quarrydex
