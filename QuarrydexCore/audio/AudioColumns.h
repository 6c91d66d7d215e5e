/// The columns of an audio table as a list, in the order in which its file holds them.
#pragma once

#include "QuarrydexCore/audio/AudioTable.h"

#include <cstddef>
#include <tuple>

namespace quarrydex {

inline constexpr std::tuple audioColumns{
    &AudioTable::Cols::entry, &AudioTable::Cols::mtime,   &AudioTable::Cols::dur,
    &AudioTable::Cols::rate,  &AudioTable::Cols::bitrate, &AudioTable::Cols::bpm,
    &AudioTable::Cols::year,  &AudioTable::Cols::bits,    &AudioTable::Cols::channels,
    &AudioTable::Cols::codec, &AudioTable::Cols::flags,   &AudioTable::Cols::artist,
    &AudioTable::Cols::title, &AudioTable::Cols::album,   &AudioTable::Cols::genre,
    &AudioTable::Cols::key};

/// Calls f(member pointer) for every column.
template <typename F> constexpr void forEachAudioColumn(F&& f) {
    std::apply([&](auto... column) { (f(column), ...); }, audioColumns);
}

} // namespace quarrydex
