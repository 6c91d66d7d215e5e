/// The texts of an audio table: appended once, never changed, found by their 32-bit offset.
///
///   offset   0    1
///          [ \0 | Sigur Rós \0 sigur ros \0 | Ágætis byrjun \0 … ]
///           ""    a text       its folded copy
///
/// Every text is followed by its folded copy, so that matching costs no folding. Offset 0 is the
/// empty text. Texts that repeat are interned: equal ones share an offset.
///
/// Memory: the pool is reserved at its largest on the first append and never moves, so a reader may
/// keep the bytes of a moment (with memory(), which keeps them alive) while more are appended.
/// Threads: one writer; readers use only bytes() that were handed to them in a synchronised way.
/// Fails: a pool that would pass 4 GiB ends the process.
#pragma once

#include "QuarrydexCore/base/Mapping.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <unordered_map>

namespace quarrydex {

class TextPool {
  public:
    static constexpr std::size_t maxBytes = std::size_t{1} << 32;

    /// The pool of an empty table.
    static constexpr std::string_view emptyBytes{"\0", 1};

    TextPool() = default;

    /// Starts from a pool that was read from a file, whatever its contents.
    /// REQUIRES: bytes.size() ≤ maxBytes.
    explicit TextPool(std::string_view bytes);

    /// The offset of a text: a new one, or that of an equal text interned before. Texts are cut at
    /// an embedded NUL; the empty text is 0.
    std::uint32_t intern(std::string_view text);

    /// The same without looking for an equal text, for texts that rarely repeat.
    std::uint32_t append(std::string_view text);

    /// Lets later interning find a text that the pool already holds. An offset at which no whole
    /// text begins is ignored.
    void adopt(std::uint32_t offset);

    /// Everything appended so far. Stays valid as long as memory() is held.
    [[nodiscard]] std::string_view bytes() const { return bytes_; }

    [[nodiscard]] std::shared_ptr<const Mapping> memory() const { return memory_; }

    /// The text at an offset of a pool, which may come from a damaged file: never reads outside the
    /// pool, and an offset beyond it is the empty text.
    [[nodiscard]] static std::string_view textAt(std::string_view pool, std::uint32_t offset) {
        if (offset == 0 || offset >= pool.size())
            return {};
        const std::string_view rest = pool.substr(offset);
        return rest.substr(0, rest.find('\0'));
    }

  private:
    void appendTerminated(std::string_view text);

    std::shared_ptr<Mapping> memory_;     ///< null while nothing was appended
    std::string_view bytes_ = emptyBytes; ///< into memory_, or emptyBytes
    std::unordered_map<std::string_view, std::uint32_t> interned_; ///< keys lie in memory_
};

} // namespace quarrydex
