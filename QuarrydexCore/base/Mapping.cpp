#include "QuarrydexCore/base/Mapping.h"

#include <cstdio>
#include <cstdlib>

#include <sys/mman.h>

namespace quarrydex {

Mapping Mapping::reserve(std::size_t bytes) {
    void* data = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (data == MAP_FAILED) {
        std::perror("reserving memory for a catalogue");
        std::abort();
    }
    return Mapping(data, bytes);
}

Mapping& Mapping::operator=(Mapping&& other) noexcept {
    if (this != &other) {
        if (data_ != nullptr)
            ::munmap(data_, size_);
        data_ = std::exchange(other.data_, nullptr);
        size_ = std::exchange(other.size_, 0);
    }
    return *this;
}

Mapping::~Mapping() {
    if (data_ != nullptr)
        ::munmap(data_, size_);
}

} // namespace quarrydex
