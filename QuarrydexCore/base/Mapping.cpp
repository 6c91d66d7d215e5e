#include "QuarrydexCore/base/Mapping.h"

#include <cstdio>
#include <cstdlib>

#include <sys/mman.h>

#if defined(__SANITIZE_THREAD__)
#define QDX_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define QDX_TSAN 1
#endif
#endif

#ifdef QDX_TSAN
extern "C" void AnnotateIgnoreWritesBegin(const char* file, int line);
extern "C" void AnnotateIgnoreWritesEnd(const char* file, int line);
#endif

namespace quarrydex {

namespace {

/// The thread sanitizer takes a mapping for a write to all of it. It is none: whoever reads there
/// meanwhile sees the same bytes before and after.
class SilentMapping {
  public:
#ifdef QDX_TSAN
    SilentMapping() {
        AnnotateIgnoreWritesBegin(__FILE__, __LINE__);
    }

    ~SilentMapping() {
        AnnotateIgnoreWritesEnd(__FILE__, __LINE__);
    }
#else
    SilentMapping() {}
#endif
    SilentMapping(const SilentMapping&) = delete;
    SilentMapping& operator=(const SilentMapping&) = delete;
};

bool mapOver(void* place, std::size_t bytes, int flags, int fd, std::uint64_t offset) {
    const SilentMapping silent;
    return ::mmap(place, bytes, PROT_READ | PROT_WRITE,
                  MAP_PRIVATE | MAP_FIXED | MAP_NORESERVE | flags, fd,
                  static_cast<off_t>(offset)) != MAP_FAILED;
}

} // namespace

bool mapFileOver(void* place, std::size_t bytes, int fd, std::uint64_t offset) {
    return mapOver(place, bytes, 0, fd, offset);
}

bool mapZerosOver(void* place, std::size_t bytes) {
    return mapOver(place, bytes, MAP_ANONYMOUS, -1, 0);
}

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
