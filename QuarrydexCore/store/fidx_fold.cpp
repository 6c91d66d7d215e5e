#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/store/fidx_priv.h"

#include <atomic>
#include <cstring>

namespace quarrydex {

namespace {

std::atomic<fidx_fold> foldRoutine = nullptr;

/// Lower-cases A–Z and leaves every other byte. Returns all bytes OR-ed together.
std::uint8_t lowerAscii(const char* from, char* to, std::size_t n) {
    std::uint8_t seen = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const auto c = static_cast<std::uint8_t>(from[i]);
        const bool isUpper = static_cast<std::uint8_t>(c - 'A') < 26;
        to[i] = static_cast<char>(c | (isUpper ? 0x20 : 0));
        seen |= c;
    }
    return seen;
}

bool hasHighByte(const char* bytes, std::size_t n) {
    std::uint8_t seen = 0;
    for (std::size_t i = 0; i < n; ++i)
        seen |= static_cast<std::uint8_t>(bytes[i]);
    return seen >= 0x80;
}

} // namespace

void fidx_set_fold(fidx_fold routine) {
    foldRoutine.store(routine, std::memory_order_release);
}

void fidx_fold_listing(fidx_listing& listing) {
    // The whole heap in one pass, its NULs included: single names are looked at only in the rare
    // folder that holds a name beyond ASCII.
    const std::string& names = listing.names;
    listing.folded.resize(names.size());
    if (lowerAscii(names.data(), listing.folded.data(), names.size()) < 0x80)
        return;
    const fidx_fold routine = foldRoutine.load(std::memory_order_acquire);
    for (fidx_record& record : listing.records) {
        const char* name = names.data() + record.name;
        const std::size_t length = std::strlen(name);
        if (!hasHighByte(name, length))
            continue;
        record.flags |= EntryFlags::nonAscii;
        if (routine != nullptr)
            routine(name, length, listing.folded.data() + record.name);
    }
}

} // namespace quarrydex
