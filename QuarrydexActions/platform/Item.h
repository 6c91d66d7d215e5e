/// An object of the file system as it was when it was checked.
#pragma once

#include <cstdint>
#include <string>

namespace quarrydex {

/// What is done to an item is done only while its path still leads to the object that was checked.
struct Item {
    std::string path; ///< absolute, raw bytes, no "/" at its end
    std::uint64_t device{};
    std::uint64_t inode{};
    std::uint32_t type{}; ///< S_IFMT bits of the mode: a folder, a link, …
};

} // namespace quarrydex
