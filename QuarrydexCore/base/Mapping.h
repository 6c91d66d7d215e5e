/// Memory taken from the system in whole pages. Move-only.
#pragma once

#include <cstddef>
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

} // namespace quarrydex
