#include "QuarrydexAudio/tags/Atoms.h"

namespace quarrydex {

std::optional<Atom> AtomReader::header(Range range) {
    constexpr std::size_t shortHeader = 8;
    constexpr std::size_t longHeader = 16;
    const Bytes bytes = this->bytes(range.first(longHeader));
    std::size_t headerSize = shortHeader;
    std::uint64_t size = u32be(bytes, 0);
    if (size == 1) {
        headerSize = longHeader;
        size = u64be(bytes, 8);
    } else if (size == 0) {
        size = range.size();
    }
    if (bytes.size() < headerSize || size < headerSize)
        return std::nullopt;
    const Range whole = range.first(size);
    return Atom{fourCC(bytes, 4), whole, whole.from(headerSize), size};
}

std::optional<Atom> AtomReader::first(Range range) {
    const auto atom = header(range);
    return atom && atom->statedSize <= range.size() ? atom : std::nullopt;
}

Range AtomReader::child(Range range, FourCC type) {
    while (const auto atom = first(range)) {
        if (atom->type == type)
            return atom->contents;
        range.begin = atom->whole.end;
    }
    return {};
}

Bytes AtomReader::bytes(Range range) {
    const auto count = static_cast<std::size_t>(std::min(range.size(), reader_.size()));
    if (count > largestPiece)
        return reader_.read(range.begin, scratch_.take(count));
    const Range ahead{range.end, std::max(range.end, aheadTo_)};
    return window_.get(range.begin, count, static_cast<std::size_t>(ahead.first(mostAhead).size()));
}

} // namespace quarrydex
