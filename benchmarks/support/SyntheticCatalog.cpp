#include "benchmarks/support/SyntheticCatalog.h"

#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/platform/DirReader.h"
#include "QuarrydexCore/store/fidx.h"
#include "QuarrydexCore/text/Fold.h"

#include "benchmarks/support/Bench.h"
#include "benchmarks/support/NameMaker.h"
#include "benchmarks/support/Random.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <numeric>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex::bench {

namespace {

constexpr std::uint64_t seed = 0x51A7E5C0FFEE;
constexpr double meanNameLength = 19;
constexpr double hiddenFileShare = 0.027; ///< the rest of the 3 % stands below hidden folders
constexpr double hiddenFolderShare = 0.01;
constexpr double junkFileShare = 0.011; ///< of the files: 1 % of all
constexpr double deletedShare = 0.005;
constexpr std::uint32_t oldest = 1'420'070'400; ///< 2015-01-01 UTC
constexpr std::uint32_t tenYears = 315'576'000;

/// Share of the folders that lie at each depth below the root.
constexpr std::array<double, 11> depthProfile = {.0003, .002, .01, .03, .08,  .15,
                                                 .2,    .21,  .16, .1,  .0577};

/// Which folder holds which, and how many files each holds. Folder 0 is the root.
struct Tree {
    std::vector<std::uint32_t> firstChild; ///< [folders + 1] into children
    std::vector<std::uint32_t> children;   ///< [folders − 1] folder numbers, grouped by parent
    std::vector<std::uint32_t> files;      ///< [folders] files directly inside
    std::vector<std::uint8_t> depth;       ///< [folders]

    [[nodiscard]] std::span<const std::uint32_t> childrenOf(std::uint32_t folder) const {
        return std::span(children).subspan(firstChild[folder],
                                           firstChild[folder + 1] - firstChild[folder]);
    }
};

/// The parent of every folder, level by level. Early folders of a level get most of the children.
std::vector<std::uint32_t> drawParents(Random& random, std::size_t folders, Tree& tree) {
    std::vector<std::uint32_t> parents = {0};
    tree.depth = {0};
    std::size_t levelBegin = 0;
    for (std::size_t level = 0; parents.size() < folders; ++level) {
        const std::size_t levelEnd = parents.size();
        const bool last = level + 1 >= depthProfile.size();
        const auto wanted = static_cast<std::size_t>(
            depthProfile[std::min(level, depthProfile.size() - 1)] * static_cast<double>(folders));
        const std::size_t left = folders - levelEnd;
        const std::size_t size = last ? left : std::clamp<std::size_t>(wanted, 1, left);
        for (std::size_t i = 0; i < size; ++i) {
            const double skewed = std::pow(random.fraction(), 2.5);
            parents.push_back(static_cast<std::uint32_t>(
                levelBegin +
                static_cast<std::size_t>(skewed * static_cast<double>(levelEnd - levelBegin))));
            tree.depth.push_back(static_cast<std::uint8_t>(level + 1));
        }
        levelBegin = levelEnd;
    }
    return parents;
}

/// Shares the files out: most folders hold a handful, a few hold thousands.
std::vector<std::uint32_t> drawFileCounts(Random& random, std::size_t folders, std::size_t files) {
    constexpr double heaviest = 5000; ///< some 10,000 files
    std::vector<double> weights(folders);
    for (double& weight : weights)
        weight = random.chance(0.15)
                     ? 0
                     : std::min(std::pow(1 - random.fraction(), -1 / 1.25) - 0.7, heaviest);
    const double scale =
        static_cast<double>(files) / std::accumulate(weights.begin(), weights.end(), 0.0);
    std::vector<std::uint32_t> counts;
    double exact = 0;
    std::size_t given = 0;
    for (double weight : weights) {
        exact += weight * scale;
        const std::size_t upTo = std::min(files, static_cast<std::size_t>(exact));
        counts.push_back(static_cast<std::uint32_t>(upTo - given));
        given = upTo;
    }
    counts.back() += static_cast<std::uint32_t>(files - given);
    return counts;
}

Tree drawTree(Random& random, std::size_t entries) {
    Tree tree;
    const std::size_t folders = std::max<std::size_t>(entries / 10, 2);
    const std::vector<std::uint32_t> parents = drawParents(random, folders, tree);
    tree.files = drawFileCounts(random, folders, entries - folders);

    tree.firstChild.assign(folders + 1, 0);
    for (std::size_t i = 1; i < folders; ++i)
        ++tree.firstChild[parents[i] + 1];
    std::partial_sum(tree.firstChild.begin(), tree.firstChild.end(), tree.firstChild.begin());
    std::vector<std::uint32_t> next(tree.firstChild.begin(), tree.firstChild.end() - 1);
    tree.children.resize(folders - 1);
    for (std::size_t i = 1; i < folders; ++i)
        tree.children[next[parents[i]]++] = static_cast<std::uint32_t>(i);
    return tree;
}

/// The names taken in one folder: open addressing over their hashes.
class TakenNames {
  public:
    void reset(std::size_t names) { slots_.assign(std::bit_ceil(names * 2 + 1), 0); }

    /// False when the name was taken before.
    bool take(std::string_view name) {
        const std::uint64_t hash = std::hash<std::string_view>()(name) | 1;
        for (std::size_t at = hash >> 1;; ++at) {
            std::uint64_t& slot = slots_[at & (slots_.size() - 1)];
            if (slot == hash)
                return false;
            if (slot == 0) {
                slot = hash;
                return true;
            }
        }
    }

  private:
    std::vector<std::uint64_t> slots_;
};

/// Shows scans one empty folder, whatever its path, so that a root can be added.
class EmptyFolder final : public DirReader {
  public:
    [[nodiscard]] int list(const std::string&, ListOptions, DirListing& out) const override {
        out.clear();
        return 0;
    }

    [[nodiscard]] int status(const std::string&, PathStatus& out) const override {
        out = {.type = ObjectType::folder};
        return 0;
    }

    [[nodiscard]] int probeFolder(const std::string&, std::uint64_t& device) const override {
        device = 1;
        return 0;
    }
};

/// Turns a drawn tree into the entries of a store, folder by folder, depth first, as a scan does.
class Filler {
  public:
    Filler(fidx* store, const Tree& tree, const NameMaker& names, Random& random)
        : store_(store), tree_(tree), names_(names), random_(random) {}

    void fill(EntryId root) {
        pending_ = {{.folder = 0, .id = root, .inherited = 0}};
        while (!pending_.empty()) {
            const Pending next = pending_.back();
            pending_.pop_back();
            appendFolder(next);
        }
    }

  private:
    struct Pending {
        std::uint32_t folder;
        EntryId id;
        std::uint8_t inherited;
    };

    void appendFolder(const Pending& at) {
        const auto children = tree_.childrenOf(at.folder);
        const std::size_t total = children.size() + tree_.files[at.folder];
        if (total == 0)
            return;
        startListing(total);
        const std::size_t firstPending = pending_.size();
        for (std::size_t i = 0; i < total; ++i) {
            const std::size_t foldersLeft = children.size() - (pending_.size() - firstPending);
            if (random_.below(total - i) < foldersLeft) {
                const std::uint32_t child = children[pending_.size() - firstPending];
                const std::uint8_t flags = addFolder(child, at.inherited);
                // The id is known once the listing has been appended; until then the position.
                pending_.push_back({child, static_cast<EntryId>(i), flags});
            } else {
                addFile(at.inherited);
            }
        }
        const EntryId first = fidx_append(store_, at.id, listing_, indices_.data(), total);
        if (first == noParent)
            std::abort();
        for (std::size_t i = firstPending; i < pending_.size(); ++i)
            pending_[i].id += first;
    }

    void startListing(std::size_t total) {
        listing_.records.clear();
        listing_.names.clear();
        taken_.reset(total);
        folderTime_ = oldest + static_cast<std::uint32_t>(random_.below(tenYears));
        while (indices_.size() < total)
            indices_.push_back(static_cast<std::uint32_t>(indices_.size()));
    }

    /// Returns the bits that everything below the folder inherits.
    std::uint8_t addFolder(std::uint32_t folder, std::uint8_t inherited) {
        std::uint8_t flags = inherited;
        names_.makeFolder(random_, name_);
        if (tree_.childrenOf(folder).empty() && random_.chance(hiddenFolderShare)) {
            name_.insert(0, 1, '.');
            flags |= EntryFlags::hidden;
        }
        addRecord(0, flags | EntryFlags::dir);
        return flags;
    }

    void addFile(std::uint8_t inherited) {
        std::uint8_t flags = inherited;
        if (random_.chance(junkFileShare)) {
            names_.makeFile(random_, name_);
            name_.insert(0, "._");
            flags |= EntryFlags::hidden | EntryFlags::junk;
        } else {
            names_.makeFile(random_, name_);
            if (random_.chance(hiddenFileShare - junkFileShare)) {
                name_.insert(0, 1, '.');
                flags |= EntryFlags::hidden;
            }
        }
        addRecord(drawSize(), flags);
    }

    void addRecord(std::uint64_t size, int flags) {
        while (!taken_.take(name_))
            name_ += '~' + std::to_string(random_.below(1'000'000));
        const std::size_t at = listing_.names.size();
        listing_.names.append(name_.c_str(), name_.size() + 1);
        const std::uint32_t mtime = drawTime();
        listing_.records.push_back({.size = size,
                                    .name = static_cast<std::uint32_t>(at),
                                    .mtime = mtime,
                                    .ctime = random_.chance(0.7) ? mtime : drawTime(),
                                    .flags = static_cast<std::uint8_t>(flags)});
    }

    std::uint64_t drawSize() {
        constexpr std::array<std::uint64_t, 8> common = {0, 0, 0, 1, 512, 1024, 4096, 65536};
        if (random_.chance(0.25))
            return random_.pick(common);
        return static_cast<std::uint64_t>(
            std::exp2(4 + 12 * (random_.fraction() + random_.fraction())));
    }

    /// Most of what stands in a folder came there at one time.
    std::uint32_t drawTime() {
        return random_.chance(0.6) ? folderTime_
                                   : oldest + static_cast<std::uint32_t>(random_.below(tenYears));
    }

    fidx* store_;
    const Tree& tree_;
    const NameMaker& names_;
    Random& random_;
    std::vector<Pending> pending_;
    fidx_listing listing_;
    std::vector<std::uint32_t> indices_; ///< 0, 1, 2 …
    TakenNames taken_;
    std::string name_;
    std::uint32_t folderTime_ = 0;
};

/// Adds the root through a scan, since only a scan makes roots.
EntryId addRoot(fidx* store) {
    static const EmptyFolder reader;
    fidx_stats stats{};
    fidx_set_fold(&foldName);
    fidx_set_dir_reader(&reader);
    const int result = fidx_scan(store, "/synthetic", 1, &stats);
    fidx_set_dir_reader(nullptr);
    if (result != fidx_ok)
        std::abort();
    return 0;
}

void deleteSome(VolumeIndex& index, Random& random) {
    const auto wanted = static_cast<std::size_t>(deletedShare * index.count());
    for (std::size_t done = 0; done < wanted;) {
        const auto id = static_cast<EntryId>(random.below(index.count()));
        if ((index.flags(id) & (EntryFlags::dir | EntryFlags::deleted)) != 0)
            continue;
        index.markDeleted(id);
        ++done;
    }
}

std::shared_ptr<VolumeIndex> build(std::size_t entries) {
    static const NameMaker names(meanNameLength);
    Random random(seed);
    const Tree tree = drawTree(random, entries);
    fidx* store = fidx_new(static_cast<std::uint32_t>(entries + 1), entries * 64 + (1U << 20));
    Filler(store, tree, names, random).fill(addRoot(store));
    std::shared_ptr<VolumeIndex> index = VolumeIndex::adopting(store, seed, {});
    deleteSome(*index, random);
    return index;
}

} // namespace

std::shared_ptr<VolumeIndex> syntheticCatalog(std::size_t entries) {
    static std::map<std::size_t, std::shared_ptr<VolumeIndex>> made;
    std::shared_ptr<VolumeIndex>& index = made[entries];
    if (!index) {
        const Sample took = timeOnce([&] { index = build(entries); });
        const double count = index->count();
        const double nameBytes = static_cast<double>(fidx_name_bytes(&index->base())) / count - 1;
        std::fprintf(stderr, "  (synthetic catalogue: %.0f entries, names %.1f bytes, %.1f s)\n",
                     count, nameBytes, took.wallMs / 1e3);
    }
    return index;
}

} // namespace quarrydex::bench
