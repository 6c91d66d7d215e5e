/// A folder of made-up music, its catalogue, and what is known of the files in it.
#pragma once

#include "QuarrydexAudio/index/AudioIndexer.h"

#include "tests/support/AudioBytes.h"
#include "tests/support/TempTree.h"

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex::testing {

/// Of the same size for names of the same length: a file that is read again shows itself by its
/// artist alone.
inline std::string mp3By(std::string_view artist) {
    return bytes::id3Tag(4, bytes::id3Text(4, "TPE1", artist)) + bytes::mpegFrames(3);
}

class AudioFolder : public ::testing::Test {
  protected:
    using Index = std::shared_ptr<VolumeIndex>;
    using Names = std::set<std::string>;

    static constexpr std::int64_t longAgo = 1'600'000'000;

    /// A file of some time long ago, known to a catalogue after the next scan or refresh.
    void file(const std::string& rel, std::string_view content, std::int64_t mtime = longAgo) {
        tree.file(rel, content);
        tree.setTimes(rel, mtime);
    }

    [[nodiscard]] Index scanned(const std::string& root) const {
        auto fresh = std::make_shared<VolumeIndex>(1U << 20, 1U << 26);
        fresh->scan(std::vector{root}, 2);
        return fresh;
    }

    void scan() { index = scanned(tree.path()); }

    void refresh() const { index->refresh(std::vector{tree.path()}, {.recursive = true}); }

    std::size_t run(unsigned threads = 2) const { return AudioIndexer(index, threads).run(); }

    [[nodiscard]] Names names(const std::vector<EntryId>& ids) const {
        Names out;
        for (EntryId id : ids)
            EXPECT_TRUE(out.insert(index->path(id).substr(tree.path().size() + 1)).second);
        return out;
    }

    [[nodiscard]] Names pendingNames() const {
        return names(AudioIndexer(index, 1).pending().todo);
    }

    [[nodiscard]] EntryId idOf(const std::string& wanted) const {
        for (EntryId id = 0; id < index->count(); ++id)
            if ((index->flags(id) & EntryFlags::deleted) == 0 &&
                index->path(id) == tree.path(wanted))
                return id;
        ADD_FAILURE() << wanted;
        return 0;
    }

    /// The files whose artist holds that text, by a search's own means.
    [[nodiscard]] std::vector<EntryId> by(const std::string& artist) const {
        BitWords bits(bitWords(index->count()));
        index->audio().fill({.field = AudioCond::Field::artist, .text = artist}, bits,
                            index->count());
        std::vector<EntryId> ids;
        forEachBit(bits, [&](std::size_t id) { ids.push_back(static_cast<EntryId>(id)); });
        return ids;
    }

    TempTree tree;
    Index index;
};

} // namespace quarrydex::testing
