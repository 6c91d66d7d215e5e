#include "QuarrydexCore/catalog/Entries.h"

#include "QuarrydexCore/text/Fold.h"

#include <cstring>

namespace quarrydex {

namespace {

/// Bytes; far beyond what can be reached folder by folder.
constexpr std::size_t longestPath = std::size_t{1} << 24;

} // namespace

std::uint64_t Entries::arrayBytes() const {
    return 2 * fidx_name_bytes(base_) + 27 * std::uint64_t{count()} + 4;
}

std::string_view Entries::foldedName(EntryId id) const {
    const std::string_view folded{base_->folded + base_->name_off[id],
                                  fidx_name_length(*base_, id)};
    // Only names beyond ASCII are filled up; in another, the byte is part of the name.
    const bool isFilled = folded.ends_with(foldFiller) && (flags(id) & EntryFlags::nonAscii) != 0;
    return isFilled ? withoutFiller(folded) : folded;
}

std::optional<std::string_view> Entries::ext(EntryId id) const {
    const std::uint16_t extension = extID(id);
    return extension == 0 ? std::nullopt : std::optional(extName(extension));
}

std::string_view Entries::extName(std::uint16_t extId) const {
    const char* slot = base_->ext_names[extId];
    return {slot, ::strnlen(slot, fidx_ext_slot)};
}

std::vector<std::uint16_t> Entries::extIDs(std::span<const std::string> exts) const {
    const std::uint32_t known = base_->ext_count.load(std::memory_order_acquire);
    std::vector<std::uint16_t> ids;
    for (const std::string& asked : exts) {
        const std::string folded = fold(asked);
        for (std::uint32_t id = 1; id < known; ++id) {
            if (extName(static_cast<std::uint16_t>(id)) == folded) {
                ids.push_back(static_cast<std::uint16_t>(id));
                break;
            }
        }
    }
    return ids;
}

std::string Entries::path(EntryId id) const {
    // A parent has a lower id than its children. Where damage says otherwise the walk ends, as it
    // does where there is more than any path can have.
    std::vector<EntryId> chain{id};
    std::size_t length = name(id).size();
    for (std::optional<EntryId> up = parent(id); up && *up < chain.back() && length < longestPath;
         up = parent(*up)) {
        chain.push_back(*up);
        length += name(*up).size() + 1;
    }

    std::string text;
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
        if (it != chain.rbegin())
            text += '/';
        text += name(*it);
    }
    if (text.starts_with("//"))
        text.erase(0, 1);
    return text;
}

std::vector<EntryId> Entries::roots() const {
    std::vector<EntryId> ids(4);
    for (;;) {
        const std::size_t n = fidx_roots(base_, ids.data(), ids.size());
        if (n < ids.size()) {
            ids.resize(n);
            return ids;
        }
        ids.resize(ids.size() * 2);
    }
}

} // namespace quarrydex
