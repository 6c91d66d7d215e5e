#include "QuarrydexCore/text/MoFile.h"

#include "QuarrydexCore/base/Bytes.h"

#include <cstddef>
#include <cstdint>
#include <utility>

namespace quarrydex {

namespace {

constexpr std::uint32_t magic = 0x950412DE;
constexpr std::size_t headerBytes = 20;    ///< magic, revision, count, two table offsets
constexpr std::size_t descriptorBytes = 8; ///< length and offset of one text
constexpr char contextSeparator = '\x04';

/// The descriptors from `offset` on, one for each text, or nothing when they do not fit.
std::optional<std::string_view>
tableAt(std::string_view bytes, std::uint32_t offset, std::uint32_t count) {
    const std::uint64_t size = std::uint64_t{count} * descriptorBytes;
    if (offset > bytes.size() || size > bytes.size() - offset)
        return std::nullopt;
    return bytes.substr(offset, size);
}

std::optional<std::string_view>
textAt(std::string_view bytes, std::string_view table, std::size_t index) {
    const char* const descriptor = table.data() + index * descriptorBytes;
    const auto length = loadLE<std::uint32_t>(descriptor);
    const auto offset = loadLE<std::uint32_t>(descriptor + sizeof length);
    if (offset > bytes.size() || length > bytes.size() - offset)
        return std::nullopt;
    return bytes.substr(offset, length);
}

} // namespace

std::optional<Texts> readMo(std::string_view bytes) {
    if (bytes.size() < headerBytes || loadLE<std::uint32_t>(bytes.data()) != magic)
        return std::nullopt;
    const auto revision = loadLE<std::uint32_t>(bytes.data() + 4);
    const auto count = loadLE<std::uint32_t>(bytes.data() + 8);
    const auto originals = tableAt(bytes, loadLE<std::uint32_t>(bytes.data() + 12), count);
    const auto translations = tableAt(bytes, loadLE<std::uint32_t>(bytes.data() + 16), count);
    if (revision >> 16 > 1 || !originals || !translations)
        return std::nullopt;

    Texts texts;
    for (std::size_t i = 0; i < count; ++i) {
        const auto original = textAt(bytes, *originals, i);
        const auto translation = textAt(bytes, *translations, i);
        if (!original || !translation)
            return std::nullopt;
        const std::string_view key = original->substr(0, original->find('\0'));
        if (!key.empty() && key.find(contextSeparator) == key.npos)
            texts.emplace(key, *translation);
    }
    return texts;
}

} // namespace quarrydex
