#include "QuarrydexCore/search/Kernels.h"

#include "QuarrydexCore/base/Bits.h"

#include "tests/support/EveryTarget.h"

#include <random>
#include <string>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

/// Names in a heap of exactly their size, so that a read past the end is a fault under asan.
struct Heap {
    std::vector<std::string> names;
    std::vector<std::uint32_t> offsets;
    std::vector<char> bytes;

    explicit Heap(std::vector<std::string> list) : names(std::move(list)) {
        for (const std::string& name : names) {
            offsets.push_back(static_cast<std::uint32_t>(bytes.size()));
            bytes.insert(bytes.end(), name.c_str(), name.c_str() + name.size() + 1);
        }
        offsets.push_back(static_cast<std::uint32_t>(bytes.size()));
        bytes.shrink_to_fit();
    }

    [[nodiscard]] NameBlock block() const {
        return {bytes.data(), bytes.data() + bytes.size(), offsets.data(), names.size()};
    }

    [[nodiscard]] Needle needle(const std::string& text) const {
        return {text, sampleBytes({bytes.data(), bytes.size()})};
    }

    /// What every way of matching must find.
    [[nodiscard]] BitWords expected(const std::string& text) const {
        BitWords bits((names.size() + 63) / 64);
        for (std::size_t i = 0; i < names.size(); ++i)
            if (names[i].find(text) != std::string::npos)
                setBit(bits, i);
        return bits;
    }
};

void expectAllWaysAgree(const Heap& heap, const std::string& text) {
    SCOPED_TRACE(text);
    const BitWords expected = heap.expected(text);
    const Needle needle = heap.needle(text);
    BitWords found(expected.size());
    kernels::matchDense(heap.block(), needle, found.data());
    EXPECT_EQ(found, expected) << "dense";
    found.assign(expected.size(), ~std::uint64_t{0});
    kernels::matchSparse(heap.block(), needle, found.data());
    EXPECT_EQ(found, expected) << "sparse";

    // Only asked entries may be looked at, and none may be added.
    BitWords asked(expected.size());
    for (std::size_t i = 0; i < heap.names.size(); i += 3)
        setBit(asked, i);
    BitWords listed = asked;
    kernels::matchListed(heap.block(), needle, listed.data());
    for (std::size_t w = 0; w < asked.size(); ++w)
        EXPECT_EQ(listed[w], asked[w] & expected[w]) << "listed";
}

class KernelsTest : public testing::EveryTarget {};

INSTANTIATE_TEST_SUITE_P(Targets, KernelsTest, testing::targetsHere(), testing::targetName);

TEST_P(KernelsTest, EveryWayOfMatchingFindsWhatFindDoes) {
    std::mt19937 random(7);
    for (int round = 0; round < 60; ++round) {
        std::vector<std::string> names(1 + random() % 400);
        const unsigned longest = round % 3 == 0 ? 300 : 24;
        for (std::string& name : names) {
            name.resize(1 + random() % longest);
            for (char& c : name)
                c = static_cast<char>(random() % 20 == 0 ? 1 + random() % 255 : 'a' + random() % 3);
        }
        const Heap heap(std::move(names));
        for (std::size_t length : {1, 2, 3, 4, 7, 12, 40}) {
            const std::string& from = heap.names[random() % heap.names.size()];
            expectAllWaysAgree(heap, from.substr(random() % from.size(), length));
        }
        expectAllWaysAgree(heap, "abcabcabcaz");
    }
}

TEST_P(KernelsTest, MatchesAtBlockEdgesAndAcrossSixtyFourBytes) {
    // A name that spans several 64-byte steps, a match in the last bytes of the heap, and a needle
    // that would only match across two names.
    const Heap heap({std::string(150, 'x') + "needle", "need", "le", std::string(200, 'y'),
                     "needle" + std::string(130, 'z'), "needle"});
    for (const char* text : {"needle", "dle", "x", "yy", "z", "eedl", "e"})
        expectAllWaysAgree(heap, text);
    expectAllWaysAgree(heap, std::string(512, 'y'));
    for (std::size_t before = 0; before < 80; ++before) // the needle across any end of a step
        expectAllWaysAgree(Heap({std::string(before, 'x') + "needle"}), "needle");

    // The heap goes on behind the block: what stands there is in none of its names.
    NameBlock block = heap.block();
    block.entries = 3;
    for (const auto& [text, expected] : {std::pair{"le", 0b101U}, {"yy", 0U}, {"y", 0U}}) {
        std::uint64_t dense = 0;
        std::uint64_t sparse = 0;
        kernels::matchDense(block, heap.needle(text), &dense);
        kernels::matchSparse(block, heap.needle(text), &sparse);
        EXPECT_EQ(dense, expected) << text;
        EXPECT_EQ(sparse, expected) << text;
    }
}

TEST_P(KernelsTest, ColumnTestsKeepExactlyTheWantedAndOnlyClearBits) {
    std::mt19937_64 random(11);
    for (std::size_t n : {1U, 63U, 64U, 65U, 1000U, 5000U, blockEntries}) {
        std::vector<std::uint8_t> flags(n);
        std::vector<std::uint16_t> exts(n);
        std::vector<std::uint32_t> times(n);
        std::vector<std::uint64_t> sizes(n);
        BitWords start((n + 63) / 64);
        for (std::size_t i = 0; i < n; ++i) {
            flags[i] = static_cast<std::uint8_t>(random());
            exts[i] = static_cast<std::uint16_t>(random() % 5);
            times[i] = static_cast<std::uint32_t>(random() >> (32 + random() % 30));
            sizes[i] = random() >> (random() % 62);
            if (random() % 4 != 0)
                setBit(start, i);
        }
        const auto check = [&](auto kernel, auto&& wanted, const char* what) {
            SCOPED_TRACE(what);
            BitWords bits = start;
            kernel(bits.data());
            for (std::size_t i = 0; i < n; ++i)
                ASSERT_EQ(testBit(bits, i), testBit(start, i) && wanted(i)) << i << " of " << n;
        };
        check([&](auto* bits) { kernels::testFlags(flags.data(), n, 0x9A, 0, bits); },
              [&](std::size_t i) { return (flags[i] & 0x9A) == 0; }, "flags clear");
        check([&](auto* bits) { kernels::testFlags(flags.data(), n, 0x11, 0x01, bits); },
              [&](std::size_t i) { return (flags[i] & 0x11) == 0x01; }, "flags want");
        for (bool negated : {false, true}) {
            for (auto [lo, hi] : {std::pair<std::uint64_t, std::uint64_t>{0, 0},
                                  {0, ~std::uint64_t{0}},
                                  {100, 1'000'000},
                                  {std::uint64_t{1} << 63, ~std::uint64_t{0}}}) {
                check(
                    [&, l = lo, h = hi](auto* bits) {
                        kernels::testRange64(sizes.data(), n, l, h, negated, bits);
                    },
                    [&, l = lo, h = hi](std::size_t i) {
                        return (l <= sizes[i] && sizes[i] <= h) != negated;
                    },
                    "64-bit range");
                const auto lo32 = static_cast<std::uint32_t>(lo);
                const auto hi32 = static_cast<std::uint32_t>(hi);
                check(
                    [&](auto* bits) {
                        kernels::testRange32(times.data(), n, lo32, hi32, negated, bits);
                    },
                    [&](std::size_t i) {
                        return (lo32 <= times[i] && times[i] <= hi32) != negated;
                    },
                    "32-bit range");
            }
            const std::vector<std::uint16_t> wanted = {1, 4};
            check([&](auto* bits) { kernels::testAnyOf16(exts.data(), n, wanted, negated, bits); },
                  [&](std::size_t i) { return (exts[i] == 1 || exts[i] == 4) != negated; },
                  "any of");
        }
    }
}

TEST_P(KernelsTest, RunsBeginWhereTheValueChangesAndBitsAreCounted) {
    std::mt19937_64 random(12);
    for (std::size_t n : {1U, 63U, 64U, 65U, 1000U, blockEntries}) {
        std::vector<std::uint32_t> column(n);
        for (std::size_t i = 0; i < n; ++i)
            column[i] =
                i > 0 && random() % 4 != 0 ? column[i - 1] : static_cast<std::uint32_t>(random());
        for (std::uint32_t previous : {column[0], column[0] + 1}) {
            BitWords expected((n + 63) / 64);
            for (std::size_t i = 0; i < n; ++i)
                if (column[i] != (i == 0 ? previous : column[i - 1]))
                    setBit(expected, i);
            BitWords found(expected.size(), ~std::uint64_t{0});
            kernels::markRuns(column.data(), n, previous, found.data());
            EXPECT_EQ(found, expected) << n;
            EXPECT_EQ(kernels::countBits(found), countBits(expected)) << n;
        }
    }
}

} // namespace

} // namespace quarrydex
