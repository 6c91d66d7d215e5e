#include "QuarrydexAudio/dupes/DupTypes.h"

#include "QuarrydexCore/text/Characters.h"
#include "QuarrydexCore/text/tr.h"

#include <tuple>

namespace quarrydex {

namespace {

/// What `best` compares, most important first; more is better.
using Rank = std::tuple<std::uint64_t, std::size_t, std::int64_t, std::int64_t>;

std::uint64_t qualityScore(const AudioMeta& meta) {
    if (!isLossless(meta.codec))
        return meta.bitrateKbps;
    return meta.sampleRate / 1000 + 100'000 + std::uint64_t{meta.bits} * 100;
}

std::size_t tagScore(const AudioMeta& meta) {
    std::size_t score = 0;
    for (const std::string* text : {&meta.artist, &meta.title, &meta.album, &meta.genre, &meta.key})
        score += characterCount(*text);
    return score + (meta.year != 0 ? 4 : 0) + (meta.bpm10 != 0 ? 3 : 0);
}

Rank rankOf(const DupMember& member) {
    return {member.meta ? qualityScore(*member.meta) : 0, member.meta ? tagScore(*member.meta) : 0,
            -std::int64_t{member.mtime}, -static_cast<std::int64_t>(characterCount(member.path))};
}

bool isLosslessFile(const DupMember& member) {
    return member.meta && isLossless(member.meta->codec);
}

} // namespace

std::string_view caseName(DupStage stage) {
    static constexpr std::array<std::string_view, allDupStages.size()> names = {
        "size", "quickHash", "fullHash", "sameSong", "fingerprint"};
    return names[static_cast<std::size_t>(stage)];
}

std::optional<DupStage> dupStageNamed(std::string_view name) {
    for (DupStage stage : allDupStages)
        if (caseName(stage) == name)
            return stage;
    return std::nullopt;
}

std::string title(DupStage stage) {
    switch (stage) {
    case DupStage::size:
        return tr("Same size");
    case DupStage::quickHash:
        return tr("Hash of start + end (64 KB)");
    case DupStage::fullHash:
        return tr("Full hash (BLAKE3)");
    case DupStage::sameSong:
        return tr("Same song, different format");
    case DupStage::fingerprint:
        return tr("Acoustic fingerprint (fpcalc)");
    }
    return {};
}

std::string_view rawValue(DupKind kind) {
    return kind == DupKind::identical ? "identical" : "sameSong";
}

std::uint64_t DupGroup::surplusBytes() const {
    std::uint64_t bytes = 0;
    for (std::size_t i = 0; i < members.size(); ++i)
        if (i != keep)
            bytes += members[i].size;
    return bytes;
}

std::size_t best(const std::vector<DupMember>& members) {
    if (members.size() < 2)
        return 0;
    std::size_t best = 0;
    Rank bestRank = rankOf(members[0]);
    for (std::size_t i = 1; i < members.size(); ++i) {
        const Rank rank = rankOf(members[i]);
        if (rank > bestRank) {
            best = i;
            bestRank = rank;
        }
    }
    return best;
}

KeepReason keepReason(const std::vector<DupMember>& members) {
    const std::size_t first = best(members);
    std::size_t second = first == 0 ? 1 : 0;
    for (std::size_t i = second + 1; i < members.size(); ++i)
        if (i != first && rankOf(members[i]) > rankOf(members[second]))
            second = i;
    const auto [quality, tags, age, path] = rankOf(members[first]);
    const auto [otherQuality, otherTags, otherAge, otherPath] = rankOf(members[second]);
    if (quality != otherQuality) {
        if (!isLosslessFile(members[first]))
            return KeepReason::bitRate;
        return isLosslessFile(members[second]) ? KeepReason::resolution : KeepReason::lossless;
    }
    if (tags != otherTags)
        return KeepReason::tags;
    if (age != otherAge)
        return KeepReason::age;
    return path != otherPath ? KeepReason::path : KeepReason::position;
}

} // namespace quarrydex
