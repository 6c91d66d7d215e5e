#include "QuarrydexCore/search/Needle.h"

#include <algorithm>

namespace quarrydex {

ByteCounts sampleBytes(std::string_view heap) {
    constexpr std::size_t stretches = 16;
    constexpr std::size_t stretchBytes = 1024;
    ByteCounts counts{};
    for (std::size_t i = 0; i < stretches; ++i) {
        const std::string_view stretch = heap.substr(heap.size() / stretches * i, stretchBytes);
        for (char c : stretch)
            ++counts[static_cast<unsigned char>(c)];
    }
    return counts;
}

Needle::Needle(std::string bytes, const ByteCounts& counts) : bytes_(std::move(bytes)) {
    probes_.reserve(bytes_.size());
    for (std::size_t i = 0; i < bytes_.size(); ++i)
        probes_.push_back({static_cast<std::uint16_t>(i), static_cast<std::uint8_t>(bytes_[i])});
    std::ranges::stable_sort(probes_, {}, [&](const Probe& probe) { return counts[probe.byte]; });
}

} // namespace quarrydex
