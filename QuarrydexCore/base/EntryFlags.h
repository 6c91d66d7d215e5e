/// The bits of the flags column.
#pragma once

#include <cstdint>

namespace quarrydex {

struct EntryFlags {
    static constexpr std::uint8_t dir = 0x01;         ///< a folder
    static constexpr std::uint8_t hidden = 0x02;      ///< hidden itself or below something hidden
    static constexpr std::uint8_t symlink = 0x04;     ///< a symbolic link, never followed
    static constexpr std::uint8_t junk = 0x08;        ///< system clutter, or inside some
    static constexpr std::uint8_t root = 0x10;        ///< root of a scanned tree; named by its path
    static constexpr std::uint8_t nonAscii = 0x20;    ///< the name holds a byte ≥ 0x80
    static constexpr std::uint8_t otherDevice = 0x40; ///< transient, in a listing only: not entered
    static constexpr std::uint8_t deleted = 0x80;     ///< gone; the id stays taken
};

} // namespace quarrydex
