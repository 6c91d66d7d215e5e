/// Moving chosen bits of a word together and apart, within loops that are compiled once for each
/// instruction set: include it after highway.h, behind foreach_target.h.
#if defined(QDX_MOVE_BITS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef QDX_MOVE_BITS_INL_H
#undef QDX_MOVE_BITS_INL_H
#else
#define QDX_MOVE_BITS_INL_H
#endif

#include <cstdint>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();

namespace quarrydex::HWY_NAMESPACE {

/// The bits of `bits` at the places where `places` is set, moved together.
HWY_INLINE std::uint64_t gatherBits(std::uint64_t bits, std::uint64_t places) {
#if HWY_ARCH_X86_64 && HWY_TARGET <= HWY_AVX2
    return _pext_u64(bits, places);
#else
    std::uint64_t out = 0;
    for (unsigned k = 0; places != 0; places &= places - 1, ++k)
        out |= std::uint64_t{(bits & places & (~places + 1)) != 0} << k;
    return out;
#endif
}

/// The lowest bits of `bits`, spread over the places where `places` is set.
HWY_INLINE std::uint64_t scatterBits(std::uint64_t bits, std::uint64_t places) {
#if HWY_ARCH_X86_64 && HWY_TARGET <= HWY_AVX2
    return _pdep_u64(bits, places);
#else
    std::uint64_t out = 0;
    for (; places != 0; places &= places - 1, bits >>= 1)
        out |= (bits & 1) * (places & (~places + 1));
    return out;
#endif
}

} // namespace quarrydex::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#endif
