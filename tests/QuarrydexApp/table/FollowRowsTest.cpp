#include "QuarrydexApp/table/FollowRows.h"

#include "tests/support/RandomCatalog.h"

#include <algorithm>
#include <memory>
#include <set>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

using testing::below;
using testing::Random;

// --- Ranges -------------------------------------------------------------------------------------

TEST(RowSelectionTest, RangesSayTheSameAsSingleRows) {
    constexpr std::size_t rows = 40;
    Random random(1);
    for (int round = 0; round < 200; ++round) {
        RowSelection selection;
        std::set<std::size_t> plain;
        for (int step = 0; step < 30; ++step) {
            const std::size_t begin = below(random, rows);
            const std::size_t end = begin + below(random, 8);
            const std::uint32_t change = below(random, 3);
            if (change == 0)
                selection.add({begin, end});
            else if (change == 1)
                selection.remove({begin, end});
            else
                selection.toggle(begin);
            for (std::size_t at = begin; at < (change == 2 ? begin + 1 : end); ++at)
                if ((plain.erase(at) == 0 && change != 1) || change == 0)
                    plain.insert(at);
            std::set<std::size_t> said;
            for (std::size_t at = 0; at < rows + 10; ++at)
                if (selection.contains(at))
                    said.insert(at);
            ASSERT_EQ(said, plain);
            ASSERT_EQ(selection.count(), plain.size());
            RowSelection rebuilt; // ranges that touch are one
            for (const std::size_t at : plain)
                rebuilt.append(at);
            ASSERT_EQ(selection, rebuilt);
        }
    }
}

// --- From one result to the next ----------------------------------------------------------------

class FollowRowsTest : public ::testing::Test {
  protected:
    static constexpr std::uint32_t entries = 60;

    FollowRowsTest() {
        for (int v = 0; v < 3; ++v) {
            std::vector<testing::PlainEntry> plain(entries, {.name = "x", .parent = 0});
            plain[0] = {"/v" + std::to_string(v), noParent, EntryFlags::dir | EntryFlags::root};
            auto volume = std::make_shared<VolumeState>();
            volume->index = testing::catalogOf(plain);
            volumes_.push_back(volume);
        }
    }

    /// Some rows of some of the volumes, in any order.
    ShownResults randomResults() {
        auto set = std::make_shared<ResultSet>();
        auto volumes = volumes_;
        std::ranges::shuffle(volumes, random_);
        volumes.resize(1 + below(random_, 3));
        set->setVolumes(volumes);
        for (std::uint32_t v = 0; v < set->vols.size(); ++v)
            for (EntryId entry = 1; entry < entries; ++entry)
                if (below(random_, 3) > 0)
                    set->rows.push_back(makeRow(v, entry));
        std::ranges::shuffle(set->rows, random_);
        if (below(random_, 20) == 0)
            set->rows.clear();
        return ShownResults(set);
    }

    Places randomPlaces(const ShownResults& results) {
        Places places;
        const auto count = static_cast<std::uint32_t>(results.count());
        if (count == 0)
            return places;
        for (std::uint32_t at = 0; at < count; ++at)
            if (below(random_, 2) == 0)
                places.selected.add({at, at + 1});
        places.top = below(random_, count);
        if (below(random_, 2) == 0)
            places.current = below(random_, count);
        if (below(random_, 2) == 0)
            places.anchor = below(random_, count);
        return places;
    }

    static std::optional<std::size_t> placeOf(const ShownResults& in, const RowKey& key) {
        for (std::size_t at = 0; at < in.count(); ++at)
            if (in.row(at).key() == key)
                return at;
        return std::nullopt;
    }

    /// The place of the row, or of the next one below that is still there.
    static std::size_t heir(const ShownResults& from, const ShownResults& to, std::size_t row) {
        for (std::size_t at = row; at < from.count() && at <= row + 64; ++at)
            if (const auto place = placeOf(to, from.row(at).key()))
                return *place;
        return to.count() == 0 ? 0 : std::min(row, to.count() - 1);
    }

    static Places slowly(const ShownResults& from, const ShownResults& to, const Places& places) {
        Places out;
        for (std::size_t at = 0; at < to.count(); ++at)
            if (const auto before = placeOf(from, to.row(at).key());
                before && places.selected.contains(*before))
                out.selected.append(at);
        out.top = heir(from, to, places.top);
        if (places.current && to.count() > 0)
            out.current = heir(from, to, *places.current);
        if (places.anchor)
            out.anchor = placeOf(to, from.row(*places.anchor).key());
        return out;
    }

    Random random_{7};
    std::vector<std::shared_ptr<VolumeState>> volumes_;
};

TEST_F(FollowRowsTest, EveryRowIsFoundWhereverItWent) {
    int nearAnswers = 0;
    for (int round = 0; round < 400; ++round) {
        const ShownResults from = randomResults();
        const ShownResults to = randomResults();
        const Places places = randomPlaces(from);
        const Places expected = slowly(from, to, places);
        const RowsOf before(from);
        const RowsOf after(to);
        ASSERT_EQ(follow(before, after, places), expected);
        if (const auto quick = followNear(before, after, places)) {
            ASSERT_EQ(*quick, expected);
            ++nearAnswers;
        }
    }
    EXPECT_GT(nearAnswers, 0);
}

TEST_F(FollowRowsTest, RowsOfAVolumeWithAnotherCatalogueAreOtherRows) {
    auto set = std::make_shared<ResultSet>();
    set->setVolumes({volumes_[0]});
    set->rows = {makeRow(0, 5)};
    const ShownResults from(set);
    volumes_[0]->index = testing::catalogOf(
        std::vector<testing::PlainEntry>(entries, {.name = "y", .parent = noParent}));
    const auto next = std::make_shared<ResultSet>(*set);
    next->setVolumes({volumes_[0]});
    const ShownResults to(next);
    Places places;
    places.selected.append(0);
    EXPECT_TRUE(follow(RowsOf(from), RowsOf(to), places).selected.empty());
}

} // namespace
} // namespace quarrydex
