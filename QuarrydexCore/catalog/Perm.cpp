#include "QuarrydexCore/catalog/Perm.h"

#include "QuarrydexCore/base/FaultGuard.h"
#include "QuarrydexCore/store/fidx_snapshot.h"

namespace quarrydex {

namespace {

/// A part of a file, mapped until the last order that shows it is gone.
struct MappedIds {
    MappedIds(const void* mappedAt, std::size_t mappedBytes)
        : address(mappedAt), bytes(mappedBytes) {
        guard.watch(const_cast<void*>(address), bytes);
    }

    ~MappedIds() {
        guard = FaultGuard(); // not a moment longer than the addresses are ours
        fidx_unmap(address, bytes);
    }

    MappedIds(const MappedIds&) = delete;
    MappedIds& operator=(const MappedIds&) = delete;

    const void* address;
    std::size_t bytes;
    FaultGuard guard;
};

} // namespace

std::optional<Perm> Perm::map(const std::string& path, std::uint64_t offset, std::size_t count) {
    const std::size_t bytes = count * sizeof(EntryId);
    const void* address = fidx_map_ro(path.c_str(), offset, bytes);
    if (address == nullptr)
        return std::nullopt;
    const auto file = std::make_shared<const MappedIds>(address, bytes);
    Perm perm;
    perm.ids_ = {static_cast<const EntryId*>(address), count};
    perm.guard_ = &file->guard;
    perm.owner_ = file;
    return perm;
}

bool Perm::isDamaged() const {
    return guard_ != nullptr && guard_->wasHit();
}

} // namespace quarrydex
