/// Memory taken from the system in whole pages. Move-only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

namespace quarrydex {

class Mapping {
  public:
    Mapping() = default;

    /// Reserves `bytes` of zeroed, private, writable memory without committing any: pages are
    /// backed when first written. A reservation that fails ends the process.
    [[nodiscard]] static Mapping reserve(std::size_t bytes);

    Mapping(Mapping&& other) noexcept
        : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}

    Mapping& operator=(Mapping&& other) noexcept;
    ~Mapping();

    [[nodiscard]] void* data() const { return data_; }

    /// Length in bytes, as asked for.
    [[nodiscard]] std::size_t size() const { return size_; }

  private:
    Mapping(void* data, std::size_t size) : data_(data), size_(size) {}

    void* data_ = nullptr;
    std::size_t size_ = 0;
};

/// Puts a part of a file in the place of `bytes` of mapped memory: private, writable, pages read on
/// first touch and copied on first write. Readers of the place see its old or its new bytes. The
/// place and the offset begin on a page. False when the system refuses; the place is as before.
[[nodiscard]] bool mapFileOver(void* place, std::size_t bytes, int fd, std::uint64_t offset);

/// Puts zeros there. Safe in a signal handler.
[[nodiscard]] bool mapZerosOver(void* place, std::size_t bytes);

} // namespace quarrydex
