/// A duplicate run over made-up music, with stand-ins for what it reaches the system by.
#pragma once

#include "QuarrydexAudio/dupes/DuplicateFinder.h"

#include "tests/fakes/FakeLauncher.h"
#include "tests/fakes/WatchedReads.h"
#include "tests/support/MusicFolder.h"

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex::testing {

using Sets = std::set<std::set<std::string>>;
using Progress = DuplicateFinder::Progress;

inline constexpr std::size_t k100 = 100 * 1024;
inline constexpr std::size_t m1 = 1'048'576;

/// One run with everything that can be seen of it.
struct Seen {
    std::vector<DupGroup> groups;
    std::vector<Progress> told;
    LeftOut leftOut;

    [[nodiscard]] std::vector<DupStage> stages() const {
        std::vector<DupStage> out;
        for (const Progress& p : told)
            if (out.empty() || out.back() != p.stage)
                out.push_back(p.stage);
        return out;
    }
};

struct Setting {
    DuplicateFinder::Options options{};
    WatchedReads reads{};
    FakeLauncher launcher{};
    std::optional<std::string> fpcalc{};
    std::function<void(DuplicateFinder&, const Progress&)> onProgress{};

    Seen run(const MusicFolder& music) {
        Seen out;
        DuplicateFinder finder(music.dupVolumes(), options,
                               {reads, launcher, [this] { return fpcalc; }});
        out.groups = finder.run([&, caller = std::this_thread::get_id()](const Progress& now) {
            EXPECT_EQ(std::this_thread::get_id(), caller);
            out.told.push_back(now);
            if (onProgress)
                onProgress(finder, now);
        });
        out.leftOut = finder.leftOut();
        expectSound(out.groups);
        return out;
    }
};

} // namespace quarrydex::testing
