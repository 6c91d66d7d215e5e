/// What stays true of a run's groups whatever the user chooses to keep.
#include "QuarrydexAudio/dupes/DupResult.h"

#include "QuarrydexAudio/dupes/DupExport.h"

#include <algorithm>
#include <random>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace quarrydex {
namespace {

DupMember file(const std::string& path, std::uint64_t size) {
    DupMember member{.path = path};
    member.size = size;
    return member;
}

DupGroup group(int id, DupKind kind, std::vector<DupMember> members, std::size_t keep = 0) {
    return {.id = id, .kind = kind, .members = std::move(members), .keep = keep};
}

/// Identical files a = b = c, of which b speaks for them in a song; d = e, of which d is the copy
/// of the song to keep; and another song.
std::vector<DupGroup> linkedGroups() {
    return {group(0, DupKind::identical, {file("/a", 70), file("/b", 70), file("/c", 70)}),
            group(1, DupKind::identical, {file("/d", 90), file("/e", 90)}),
            group(2, DupKind::sameSong, {file("/b", 70), file("/d", 90), file("/f", 50)}, 1),
            group(3, DupKind::sameSong, {file("/g", 10), file("/h", 11)})};
}

void expectOneRoleEach(const DupResult& result) {
    std::set<std::string> kept;
    std::set<std::string> surplus;
    std::uint64_t bytes = 0;
    for (const DupGroup& one : result.groups()) {
        std::set<std::string> paths;
        for (std::size_t m = 0; m < one.members.size(); ++m) {
            EXPECT_TRUE(paths.insert(one.members[m].path).second) << "a file twice in one group";
            if (m == one.keep)
                kept.insert(one.members[m].path);
            else if (surplus.insert(one.members[m].path).second)
                bytes += one.members[m].size;
        }
    }
    for (const std::string& path : kept)
        EXPECT_FALSE(surplus.contains(path)) << path;
    EXPECT_EQ(result.surplus(), (DupResult::Surplus{surplus.size(), bytes}));
    EXPECT_EQ(result.surplus().bytes, DupExport::surplusBytes(result.groups()));
}

TEST(DupResultTest, AFileHasOneRoleWhateverIsChosen) {
    DupResult result(linkedGroups());
    expectOneRoleEach(result);
    std::mt19937 random(1);
    for (int i = 0; i < 300; ++i) {
        const std::size_t g = random() % 4;
        const std::size_t m = random() % result.groups()[g].members.size();
        const std::string wanted = result.groups()[g].members[m].path;
        const std::vector<DupGroup> before = result.groups();
        const std::vector<std::size_t> touched = result.setKeep(g, m);
        EXPECT_EQ(result.groups()[g].keep, m);
        EXPECT_EQ(result.groups()[g].members[m].path, wanted) << "what was chosen is what is kept";
        for (std::size_t other = 0; other < before.size(); ++other) {
            const bool isSame =
                before[other].keep == result.groups()[other].keep &&
                std::ranges::equal(before[other].members, result.groups()[other].members, {},
                                   &DupMember::path, &DupMember::path);
            EXPECT_TRUE(isSame || std::ranges::find(touched, other) != touched.end()) << other;
        }
        expectOneRoleEach(result);
    }
}

TEST(DupResultTest, AChoiceInASongIsMadeForItsCopiesToo) {
    DupResult result(linkedGroups());
    result.setKeep(2, 0); // b in place of d
    EXPECT_EQ(result.groups()[0].keep, 1U) << "b is kept among its copies";
    EXPECT_EQ(result.groups()[2].members[1].path, "/e") << "d stays where it is the last of two";
    result.setKeep(0, 2); // c in place of b
    EXPECT_EQ(result.groups()[2].members[0].path, "/c");
    EXPECT_EQ(DupExport::m3u(result.groups(), DupExport::Which::surplus),
              "#EXTM3U\n#EXTINF:-1,a\n/a\n#EXTINF:-1,b\n/b\n#EXTINF:-1,e\n/e\n"
              "#EXTINF:-1,f\n/f\n#EXTINF:-1,h\n/h\n");
}

TEST(DupResultTest, WhatIsNotThereOrChosenAlreadyChangesNothing) {
    DupResult result(linkedGroups());
    EXPECT_TRUE(result.setKeep(4, 0).empty());
    EXPECT_TRUE(result.setKeep(3, 2).empty());
    EXPECT_TRUE(result.setKeep(2, 1).empty());
    EXPECT_EQ(result.setKeep(3, 1), std::vector<std::size_t>{3});
}

} // namespace
} // namespace quarrydex
