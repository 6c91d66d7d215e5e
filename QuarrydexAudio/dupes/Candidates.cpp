#include "QuarrydexAudio/dupes/Candidates.h"

#include <algorithm>
#include <bitset>

namespace quarrydex {

namespace {

constexpr std::int64_t nsPerSecond = 1'000'000'000;

/// The whole seconds of a time, also before 1970.
std::int64_t secondsOf(std::int64_t ns) {
    return ns / nsPerSecond - (ns % nsPerSecond < 0 ? 1 : 0);
}

} // namespace

std::size_t Candidates::InodeHash::operator()(const Inode& inode) const {
    return std::hash<std::uint64_t>()(inode.number * 0x9E3779B97F4A7C15ULL ^ inode.device);
}

Candidates::Candidates(const DupVolumes& volumes, const Wanted& wanted, const FileReads& reads)
    : reads_(reads) {
    for (const std::shared_ptr<const VolumeIndex>& index : volumes) {
        volumes_.push_back({index, index->audio().snapshot()});
        collect(static_cast<std::uint32_t>(volumes_.size() - 1), wanted);
    }
}

void Candidates::collect(std::uint32_t vol, const Wanted& wanted) {
    const VolumeIndex& index = *volumes_[vol].index;
    const std::uint32_t count = index.count();
    std::bitset<fidx_max_ext + 1> isWanted;
    for (std::uint16_t ext : index.extIDs(wanted.extensions))
        isWanted.set(ext);
    constexpr std::uint8_t notAFile =
        EntryFlags::dir | EntryFlags::symlink | EntryFlags::root | EntryFlags::deleted;
    for (EntryId id = 0; id < count; ++id) {
        if (!isWanted.test(index.extID(id)) || (index.flags(id) & notAFile) != 0)
            continue;
        const std::uint64_t size = index.size(id);
        if (size >= wanted.minSize)
            cands_.push_back({.size = size, .entry = id, .vol = vol, .mtime = index.mtime(id)});
    }
}

std::string_view Candidates::name(CandId id) const {
    return volumes_[cands_[id].vol].index->name(cands_[id].entry);
}

std::string Candidates::path(CandId id) const {
    return volumes_[cands_[id].vol].index->path(cands_[id].entry);
}

std::optional<AudioMeta> Candidates::meta(CandId id) const {
    const Cand& cand = cands_[id];
    const AudioTable::Cols& audio = *volumes_[cand.vol].audio;
    const std::optional<std::size_t> row = AudioTable::row(cand.entry, audio);
    if (!row || (audio.mtime[*row] != cand.mtime && audio.mtime[*row] != AudioTable::noTime))
        return std::nullopt;
    AudioMeta meta = AudioTable::meta(audio, *row);
    return meta.isEmpty() ? std::nullopt : std::optional(std::move(meta));
}

DupMember Candidates::member(CandId id) const {
    const Cand& cand = cands_[id];
    return {.vol = cand.vol,
            .entry = cand.entry,
            .path = path(id),
            .size = cand.size,
            .mtime = cand.mtime,
            .meta = meta(id)};
}

void Candidates::lookAt(CandId id) {
    const Cand& cand = cands_[id];
    const std::optional<FileState> state = reads_.look(path(id));
    Sight& seen = sight(id);
    if (!state)
        return;
    seen.state = *state;
    seen.takesPart =
        state->size == cand.size && fidx_seconds(secondsOf(state->mtimeNs)) == cand.mtime;
}

void Candidates::look(std::vector<CandId>& ids, const StageRun& run) {
    std::vector<CandId> unseen;
    for (CandId id : ids) {
        if (cands_[id].sight != 0)
            continue;
        unseen.push_back(id);
        cands_[id].sight = static_cast<std::uint32_t>(sights_.size() + unseen.size());
    }
    sights_.resize(sights_.size() + unseen.size());
    run.prepare(unseen.size(), [&](std::size_t i) { lookAt(unseen[i]); });

    for (CandId id : unseen) {
        Sight& seen = sight(id);
        if (!seen.takesPart) {
            leftOut_.changed += run.isStopped() ? 0 : 1;
            continue;
        }
        seen.takesPart = files_.try_emplace({seen.state.device, seen.state.inode}, id).second;
        leftOut_.sameFile += seen.takesPart ? 0 : 1;
    }
    std::erase_if(ids, [this](CandId id) { return !sight(id).takesPart; });
}

bool Candidates::isUnchanged(CandId id) const {
    return reads_.look(path(id)) == sight(id).state;
}

} // namespace quarrydex
