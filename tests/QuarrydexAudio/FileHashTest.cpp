#include "QuarrydexAudio/dupes/FileHash.h"

#include "tests/fakes/WatchedReads.h"
#include "tests/support/MusicFolder.h"

#include <string_view>

#include <blake3.h>
#include <fcntl.h>

namespace quarrydex {
namespace {

using testing::noise;

/// The digest by its definition: the size, then the bytes, by one call of the library each.
Digest128 digestOf(std::uint64_t size, std::string_view bytes) {
    std::array<unsigned char, 8> prefix;
    for (unsigned i = 0; i < 8; ++i)
        prefix[i] = static_cast<unsigned char>(size >> (8 * i));
    blake3_hasher hasher;
    blake3_hasher_init(&hasher);
    blake3_hasher_update(&hasher, prefix.data(), prefix.size());
    blake3_hasher_update(&hasher, bytes.data(), bytes.size());
    std::array<unsigned char, 16> out;
    blake3_hasher_finalize(&hasher, out.data(), out.size());
    Digest128 digest;
    for (unsigned i = 0; i < 8; ++i) {
        digest.a |= std::uint64_t{out[i]} << (8 * i);
        digest.b |= std::uint64_t{out[8 + i]} << (8 * i);
    }
    return digest;
}

constexpr std::size_t k64 = 65'536;
constexpr std::size_t k128 = 131'072;
constexpr std::size_t m1 = 1'048'576;

struct Case {
    std::size_t size;
    std::vector<std::size_t> quickAsked; ///< bytes of each read
};

TEST(FileHashTest, ReadsExactlyTheStatedBytesAndHashesThem) {
    const Case cases[] = {{0, {}},
                          {1, {1}},
                          {k64 - 1, {k64 - 1}},
                          {k64, {k64}},
                          {k64 + 1, {k64, 1}},
                          {100 * 1024, {k64, 100 * 1024 - k64}},
                          {k128 - 1, {k64, k64 - 1}},
                          {k128, {k64, k64}},
                          {k128 + 1, {k64, k64}},
                          {m1, {k64, k64}},
                          {2 * m1 + 5, {k64, k64}}};
    TempTree tree;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.size);
        const std::string bytes = noise(c.size, 7);
        tree.file("f", bytes);
        const std::string path = tree.path("f");
        const bool whole = c.size <= k128;
        const std::string ends = whole ? bytes : bytes.substr(0, k64) + bytes.substr(c.size - k64);

        const WatchedReads quickReads;
        const auto quick = FileHash(quickReads).quick(path, c.size);
        ASSERT_TRUE(quick);
        EXPECT_EQ(quick->whole, whole);
        EXPECT_EQ(quick->digest, digestOf(c.size, ends));
        EXPECT_EQ(quickReads.tally(path).asked, c.quickAsked);
        EXPECT_EQ(quickReads.tally(path).bytes, ends.size());
        if (!whole) {
            EXPECT_EQ(quickReads.tally(path).offsets,
                      (std::vector<std::uint64_t>{0, c.size - k64}));
        }

        const WatchedReads fullReads;
        EXPECT_EQ(FileHash(fullReads).full(path, c.size), digestOf(c.size, bytes));
        EXPECT_EQ(fullReads.tally(path).bytes, c.size);
        for (std::size_t asked : fullReads.tally(path).asked)
            EXPECT_EQ(asked, m1);
        tree.remove("f");
    }
}

TEST(FileHashTest, WhatIsNoReadableRegularFileOfThatSizeHasNoHash) {
    TempTree tree;
    tree.folder("folder.mp3");
    tree.fifo("pipe.mp3");
    tree.socket("socket.mp3");
    tree.file("real.mp3", noise(4096, 1));
    tree.link("link.mp3", "real.mp3");
    const FileHash hash;
    for (const char* name :
         {"folder.mp3", "pipe.mp3", "socket.mp3", "link.mp3", "missing.mp3", "real.mp3/x"}) {
        EXPECT_FALSE(hash.quick(tree.path(name), 0)) << name;
        EXPECT_FALSE(hash.quick(tree.path(name), 4096)) << name;
        EXPECT_FALSE(hash.full(tree.path(name), 4096)) << name;
    }
    for (std::uint64_t size : {0, 4095, 4097}) {
        EXPECT_FALSE(hash.quick(tree.path("real.mp3"), size)) << size;
        EXPECT_FALSE(hash.full(tree.path("real.mp3"), size)) << size;
    }
    EXPECT_TRUE(hash.quick(tree.path("real.mp3"), 4096));
}

TEST(FileHashTest, AFileThatChangesWhileItIsReadHasNoFullHash) {
    struct Change {
        const char* what;
        std::function<void(TempTree&)> make;
    };

    const Change changes[] = {
        {"grows", [](TempTree& tree) { tree.file("f", noise(3 * m1 + 1, 1)); }},
        {"shrinks", [](TempTree& tree) { tree.file("f", noise(m1 + 9, 1)); }},
        {"is emptied", [](TempTree& tree) { tree.file("f", std::string_view()); }},
        {"is overwritten", [](TempTree& tree) { tree.setTimes("f", 1'000'000'000); }},
    };
    for (const Change& change : changes) {
        TempTree tree;
        tree.file("f", noise(3 * m1, 1));
        WatchedReads reads;
        bool isDone = false;
        reads.afterRead = [&](const std::string&) {
            if (!std::exchange(isDone, true))
                change.make(tree);
        };
        EXPECT_FALSE(FileHash(reads).full(tree.path("f"), 3 * m1)) << change.what;
        EXPECT_TRUE(isDone);
    }
}

TEST(FileHashTest, AFileThatNeverEndsIsReadNoFurtherThanItsSize) {
    TempTree tree;
    tree.file("f", noise(2 * m1, 1));
    WatchedReads reads;
    reads.afterRead = [&](const std::string& path) { // a writer that keeps ahead of the reader
        const Fd fd(::open(path.c_str(), O_WRONLY | O_APPEND));
        const std::string more = noise(2 * m1, 2);
        ASSERT_TRUE(::write(fd.get(), more.data(), more.size()) > 0);
    };
    EXPECT_FALSE(FileHash(reads).full(tree.path("f"), 2 * m1));
    EXPECT_EQ(reads.tally(tree.path("f")).asked.size(), 3U);
}

TEST(FileHashTest, AFailedReadGivesNoHash) {
    TempTree tree;
    tree.file("f", noise(3 * m1, 1));
    WatchedReads reads;
    int left = 1;
    reads.readFails = [&](const std::string&) { return left-- == 0; }; // the second one
    EXPECT_FALSE(FileHash(reads).quick(tree.path("f"), 3 * m1));
    left = 2;
    EXPECT_FALSE(FileHash(reads).full(tree.path("f"), 3 * m1));
}

TEST(FileHashTest, StoppedALongFileIsReadNoFurther) {
    TempTree tree;
    tree.file("f", noise(8 * m1, 1));
    std::stop_source stop;
    WatchedReads reads;
    reads.afterRead = [&](const std::string&) { stop.request_stop(); };
    EXPECT_FALSE(FileHash(reads).full(tree.path("f"), 8 * m1, stop.get_token()));
    EXPECT_EQ(reads.tally(tree.path("f")).asked.size(), 1U);
}

} // namespace
} // namespace quarrydex
