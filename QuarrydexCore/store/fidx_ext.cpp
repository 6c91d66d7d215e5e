#include "QuarrydexCore/base/Bytes.h"
#include "QuarrydexCore/store/fidx_priv.h"

#include <cstring>

namespace quarrydex {

namespace {

/// The text after the last dot; empty for none, for a dot at either end, and beyond 15 bytes.
std::string_view extensionOf(std::string_view folded) {
    while (!folded.empty() && folded.back() == 0x01) // filler of a fold that became shorter
        folded.remove_suffix(1);
    const std::size_t dot = folded.rfind('.');
    if (dot == std::string_view::npos || dot == 0)
        return {};
    const std::string_view ext = folded.substr(dot + 1);
    return ext.size() < fidx_ext_slot ? ext : std::string_view();
}

bool equals(const char* slot, std::string_view ext) {
    return std::memcmp(slot, ext.data(), ext.size()) == 0 && slot[ext.size()] == 0;
}

/// The hash slot that holds `ext`, or the empty one where it belongs. There always is an empty one:
/// the table has twice as many slots as there are ids.
std::uint16_t& findSlot(const fidx* store, fidx_priv& priv, std::string_view ext)
    QDX_REQUIRES(priv.append) {
    std::size_t slot = fnv1a32(ext) % fidx_ext_hash_slots;
    while (priv.extHash[slot] != 0 && !equals(store->ext_names[priv.extHash[slot]], ext))
        slot = (slot + 1) % fidx_ext_hash_slots;
    return priv.extHash[slot];
}

void enter(const fidx* store, fidx_priv& priv, std::uint32_t id) QDX_REQUIRES(priv.append) {
    findSlot(store, priv, store->ext_names[id]) = static_cast<std::uint16_t>(id);
}

} // namespace

std::uint16_t fidx_ext_id(fidx* store, fidx_priv& priv, std::string_view folded) {
    const std::string_view ext = extensionOf(folded);
    if (ext.empty())
        return 0;
    const std::uint32_t id = store->ext_count.load(std::memory_order_relaxed);
    for (; priv.extsEntered < id; ++priv.extsEntered) // those that a snapshot came with
        enter(store, priv, priv.extsEntered);
    std::uint16_t& slot = findSlot(store, priv, ext);
    if (slot != 0)
        return slot;
    if (id >= fidx_max_ext)
        return 0;
    std::memcpy(store->ext_names[id], ext.data(), ext.size());
    store->ext_count.store(id + 1, std::memory_order_release); // readers look at the text below it
    slot = static_cast<std::uint16_t>(id);
    priv.extsEntered = id + 1;
    return slot;
}

void fidx_ext_insert(fidx* store, fidx_priv* priv, std::uint32_t id) {
    const MutexLock hold(priv->append);
    enter(store, *priv, id);
}

} // namespace quarrydex
