#include "QuarrydexAudio/dupes/SongGroups.h"

#include "QuarrydexAudio/dupes/SameSong.h"
#include "QuarrydexAudio/dupes/SongKey.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <numeric>
#include <span>

namespace quarrydex {

namespace {

constexpr int secondsHeard = 90;
constexpr double leastSimilarity = 0.75;

/// A file's part in the clustering, if it has a key.
std::optional<SongFile> songFile(const Candidates& cands, CandId id) {
    const std::optional<AudioMeta> meta = cands.meta(id);
    const auto key = songKey(cands.name(id), meta ? &*meta : nullptr);
    if (!key)
        return std::nullopt;
    return SongFile{songDigest(*key), meta ? meta->durationMs : 0, id};
}

/// The part of a group of identical files: that of the one to keep, or of the first with a key.
std::optional<SongFile> songFile(const Candidates& cands, const std::vector<CandId>& group) {
    std::vector<DupMember> members;
    members.reserve(group.size());
    for (CandId id : group)
        members.push_back(cands.member(id));
    std::optional<SongFile> file = songFile(cands, group[best(members)]);
    for (std::size_t i = 0; i < group.size() && !file; ++i)
        file = songFile(cands, group[i]);
    return file;
}

/// Everything that has a key.
std::vector<SongFile>
keyedFiles(const Candidates& cands, const IdenticalFiles::Groups& identical, StageRun& run) {
    std::vector<bool> isSpokenFor(cands.count());
    for (const std::vector<CandId>& group : identical)
        for (CandId id : group)
            isSpokenFor[id] = true;

    constexpr std::size_t chunk = 1024;
    std::vector<std::vector<SongFile>> found(cands.count() / chunk + 1); // by chunk
    run.forEachChunk(cands.count(), chunk, [&](std::size_t begin, std::size_t end) {
        for (auto id = static_cast<CandId>(begin); id < end; ++id)
            if (!isSpokenFor[id])
                if (const auto file = songFile(cands, id))
                    found[begin / chunk].push_back(*file);
    });
    std::vector<std::optional<SongFile>> groupFiles(identical.size());
    run.prepare(identical.size(),
                [&](std::size_t i) { groupFiles[i] = songFile(cands, identical[i]); });

    std::vector<SongFile> files;
    for (const std::vector<SongFile>& some : found)
        files.insert(files.end(), some.begin(), some.end());
    for (const std::optional<SongFile>& file : groupFiles)
        if (file)
            files.push_back(*file);
    return files;
}

/// Takes out the files that take no part.
void dropAbsent(std::vector<SongFile>& files, Candidates& cands, const StageRun& run) {
    std::vector<CandId> ids;
    ids.reserve(files.size());
    for (const SongFile& file : files)
        ids.push_back(file.cand);
    std::sort(ids.begin(), ids.end());
    cands.look(ids, run);
    std::erase_if(files, [&](const SongFile& f) { return !cands.sight(f.cand).takesPart; });
}

// --- Fingerprints -------------------------------------------------------------------------------

/// The files of a group as sets that are connected by matches, as far as one has two or more.
class Matches {
  public:
    Matches(const std::vector<CandId>& files, std::span<const std::optional<Fingerprint>> prints)
        : files_(files), leader_(files.size()) {
        std::iota(leader_.begin(), leader_.end(), std::size_t{0});
        for (std::size_t i = 0; i < files.size(); ++i)
            for (std::size_t j = i + 1; j < files.size(); ++j)
                if (prints[i] && prints[j] && find(i) != find(j) &&
                    similarity(*prints[i], *prints[j]) >= leastSimilarity)
                    leader_[find(j)] = find(i);
    }

    [[nodiscard]] std::vector<std::vector<CandId>> sets() {
        std::vector<std::vector<CandId>> byLeader(files_.size());
        for (std::size_t i = 0; i < files_.size(); ++i)
            byLeader[find(i)].push_back(files_[i]);
        std::erase_if(byLeader, [](const std::vector<CandId>& set) { return set.size() < 2; });
        return byLeader;
    }

  private:
    std::size_t find(std::size_t i) {
        while (leader_[i] != i)
            i = leader_[i] = leader_[leader_[i]];
        return i;
    }

    const std::vector<CandId>& files_;
    std::vector<std::size_t> leader_; ///< by position; a set's leader leads itself
};

/// What becomes of a group once all its files were heard.
void decide(SongGroup group,
            std::span<const std::optional<Fingerprint>> prints,
            std::vector<SongGroup>& out) {
    std::vector<std::vector<CandId>> sets = Matches(group.files, prints).sets();
    if (sets.empty()) {
        group.confirmed = false;
        out.push_back(std::move(group));
    }
    for (std::vector<CandId>& set : sets)
        out.push_back({.files = std::move(set), .confirmed = true});
}

} // namespace

std::vector<SongGroup> findSongs(Candidates& cands,
                                 const IdenticalFiles::Groups& identical,
                                 std::uint32_t toleranceMs,
                                 RunContext& context) {
    StageRun run(context, DupStage::sameSong, cands.count());
    std::vector<SongFile> files = keyedFiles(cands, identical, run);
    dropLoneKeys(files);
    dropAbsent(files, cands, run);
    std::vector<SongGroup> songs;
    if (!run.isStopped())
        for (std::vector<std::uint32_t>& cluster : clusterSongs(std::move(files), toleranceMs))
            songs.push_back({.files = std::move(cluster)});
    context.groups += songs.size();
    run.finish(context.groups);
    return songs;
}

void confirmWithFingerprints(std::vector<SongGroup>& songs,
                             Candidates& cands,
                             const std::string& fpcalc,
                             const ProcessLauncher& launcher,
                             RunContext& context) {
    std::size_t total = 0;
    for (const SongGroup& song : songs)
        total += song.files.size();
    StageRun run(context, DupStage::fingerprint, total);

    // Some groups at a time: fingerprints of all of them could be too much to hold.
    const std::size_t batch = std::size_t{32} * context.threads;
    std::vector<SongGroup> decided;
    std::size_t next = 0;
    while (next < songs.size()) {
        std::vector<CandId> files;
        std::size_t end = next;
        for (; end < songs.size() && files.size() < batch; ++end)
            files.insert(files.end(), songs[end].files.begin(), songs[end].files.end());
        std::vector<std::optional<Fingerprint>> prints(files.size());
        run.forEach(files.size(), [&](std::size_t i) {
            prints[i] =
                fingerprint(cands.path(files[i]), fpcalc, secondsHeard, launcher, run.stop());
        });
        // The last of the batch may not have been heard: none of it is decided.
        if (run.isStopped())
            break;
        cands.leftOut().withoutFingerprint +=
            static_cast<std::size_t>(std::count(prints.begin(), prints.end(), std::nullopt));
        for (std::span<const std::optional<Fingerprint>> rest(prints); next < end; ++next) {
            const std::size_t count = songs[next].files.size();
            decide(std::move(songs[next]), rest.first(count), decided);
            rest = rest.subspan(count);
        }
    }
    context.groups += decided.size() - next;
    std::move(songs.begin() + static_cast<std::ptrdiff_t>(next), songs.end(),
              std::back_inserter(decided));
    songs = std::move(decided);
    run.finish(context.groups);
}

} // namespace quarrydex
