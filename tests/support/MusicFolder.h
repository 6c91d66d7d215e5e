/// Folders of made-up music files with their catalogues and audio tables, for duplicate runs.
#pragma once

#include "QuarrydexAudio/dupes/DuplicateFinder.h"
#include "QuarrydexCore/base/Bytes.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"

#include "tests/support/TempTree.h"

#include <algorithm>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex::testing {

/// Bytes that no compression or chance makes equal to those of another seed.
inline std::string noise(std::size_t size, unsigned seed) {
    std::mt19937_64 random(seed);
    std::string bytes((size + 7) / 8 * 8, '\0');
    for (std::size_t i = 0; i < bytes.size(); i += 8)
        storeLE<std::uint64_t>(bytes.data() + i, random());
    bytes.resize(size);
    return bytes;
}

class MusicFolder {
  public:
    TempTree tree;
    std::vector<std::shared_ptr<VolumeIndex>> volumes;

    /// Catalogues a folder of the tree as a further volume.
    VolumeIndex& scan(const std::string& rel = "") {
        auto index = std::make_shared<VolumeIndex>(1U << 16, 1U << 22);
        const std::string roots[] = {rel.empty() ? tree.path() : tree.path(rel)};
        index->scan(roots, 2);
        volumes.push_back(index);
        return *index;
    }

    /// Gives a catalogued file a row in the audio table of every volume that has it.
    void tag(const std::string& rel, const AudioMeta& meta) {
        int times = 0;
        for (const auto& index : volumes)
            for (EntryId id = 0; id < index->count(); ++id)
                if (index->path(id) == tree.path(rel)) {
                    const AudioTable::Analysed row{id, index->mtime(id), meta};
                    index->audio().upsert(std::span(&row, 1));
                    ++times;
                }
        EXPECT_GT(times, 0) << rel;
    }

    [[nodiscard]] DupVolumes dupVolumes() const { return {volumes.begin(), volumes.end()}; }

    /// What stands behind the tree's path and "/".
    [[nodiscard]] std::string rel(const std::string& path) const {
        return path.substr(tree.path().size() + 1);
    }

    /// The members' paths in the tree, the one to keep first, the others by name.
    [[nodiscard]] std::vector<std::string> paths(const DupGroup& group) const {
        std::vector<std::string> out;
        for (const DupMember& member : group.members)
            out.push_back(rel(member.path));
        std::rotate(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(group.keep),
                    out.begin() + static_cast<std::ptrdiff_t>(group.keep) + 1);
        std::sort(out.begin() + 1, out.end());
        return out;
    }

    /// The groups of a kind as sets of paths in the tree.
    [[nodiscard]] std::set<std::set<std::string>> sets(const std::vector<DupGroup>& groups,
                                                       DupKind kind) const {
        std::set<std::set<std::string>> out;
        for (const DupGroup& group : groups) {
            if (group.kind != kind)
                continue;
            const std::vector<std::string> names = paths(group);
            EXPECT_EQ(std::set(names.begin(), names.end()).size(), names.size());
            EXPECT_TRUE(out.emplace(names.begin(), names.end()).second) << "a group twice";
        }
        return out;
    }
};

/// What must hold of the groups of any run: largest surplus first, at least two members, unique
/// ids, and no file to be kept here and surplus there.
inline void expectSound(const std::vector<DupGroup>& groups) {
    std::set<int> ids;
    std::set<std::string> kept;
    std::set<std::string> surplus;
    for (std::size_t i = 0; i < groups.size(); ++i) {
        const DupGroup& group = groups[i];
        EXPECT_TRUE(ids.insert(group.id).second);
        ASSERT_GE(group.members.size(), 2U);
        EXPECT_EQ(group.keep, best(group.members));
        for (std::size_t m = 0; m < group.members.size(); ++m)
            (m == group.keep ? kept : surplus).insert(group.members[m].path);
        if (i > 0) {
            const DupGroup& before = groups[i - 1];
            EXPECT_TRUE(before.surplusBytes() > group.surplusBytes() ||
                        (before.surplusBytes() == group.surplusBytes() && before.id < group.id));
        }
    }
    for (const std::string& path : kept)
        EXPECT_FALSE(surplus.contains(path)) << path;
}

} // namespace quarrydex::testing
