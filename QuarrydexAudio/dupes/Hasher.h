/// BLAKE3, of which the first 16 bytes are kept. Threads: one. Fails: never.
#pragma once

#include "QuarrydexAudio/dupes/DupTypes.h"
#include "QuarrydexCore/base/Bytes.h"

#include <array>
#include <cstddef>
#include <cstdint>

#include <blake3.h>

namespace quarrydex {

class Hasher {
  public:
    Hasher() { ::blake3_hasher_init(&state_); }

    void update(const void* bytes, std::size_t count) {
        ::blake3_hasher_update(&state_, bytes, count);
    }

    [[nodiscard]] Digest128 digest() const {
        std::array<std::uint8_t, 16> out;
        ::blake3_hasher_finalize(&state_, out.data(), out.size());
        return {loadLE<std::uint64_t>(out.data()), loadLE<std::uint64_t>(out.data() + 8)};
    }

  private:
    ::blake3_hasher state_;
};

} // namespace quarrydex
