/// The walk that WAV and AIFF share.
///
///     form    id[4]  size[4]  type[4]  chunk…
///     chunk   id[4]  size[4]  data, and a byte of padding where the size is odd
///
/// Threads: any; no state. Fails: ends where a header does not fit in the file.
#pragma once

#include "QuarrydexAudio/tags/Window.h"

#include <cstddef>
#include <cstdint>

namespace quarrydex {

struct Chunk {
    FourCC id{};
    std::uint64_t at{}; ///< of the data, in the file
    std::uint32_t size{};
};

inline constexpr std::size_t formHeaderSize = 12;
inline constexpr std::size_t chunkHeaderSize = 8;
inline constexpr int mostChunks = 64;

using ChunkWindow = Window<64>;

/// Calls take(chunk) for each chunk of a form at the beginning of the file. `sizeOf` reads the size
/// of a chunk, by u32le or u32be. The window is the one that take() reads small pieces through.
template <typename SizeOf, typename Take>
void forEachChunk(const Reader& reader, ChunkWindow& window, SizeOf sizeOf, Take&& take) {
    // The first chunk is most often the one with the properties: it comes along. Of every other
    // the type of a list does.
    constexpr std::size_t firstAhead = 40;
    constexpr std::size_t laterAhead = 4;
    std::uint64_t at = formHeaderSize;
    for (int i = 0; i < mostChunks && at + chunkHeaderSize <= reader.size(); ++i) {
        const Bytes header = window.get(at, chunkHeaderSize, i == 0 ? firstAhead : laterAhead);
        if (header.size() < chunkHeaderSize)
            break;
        const Chunk chunk{fourCC(header, 0), at + chunkHeaderSize, sizeOf(header, 4)};
        take(chunk);
        at = chunk.at + chunk.size + chunk.size % 2;
    }
}

} // namespace quarrydex
