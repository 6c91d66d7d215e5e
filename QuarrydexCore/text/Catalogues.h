/// The translations that are part of the program: po/*.po, compiled and embedded by the build
/// (cmake/QdxCatalogues.cmake), so that they are there wherever the program runs from.
/// Threads: any; constants.
#pragma once

#include <span>
#include <string_view>

namespace quarrydex {

struct Catalogue {
    std::string_view code;  ///< as in Lang::supported
    std::string_view bytes; ///< a .mo file
};

[[nodiscard]] std::span<const Catalogue> catalogues();

} // namespace quarrydex
