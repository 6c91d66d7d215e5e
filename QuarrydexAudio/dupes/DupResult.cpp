#include "QuarrydexAudio/dupes/DupResult.h"

#include <string_view>
#include <unordered_map>
#include <utility>

namespace quarrydex {

DupResult::DupResult(std::vector<DupGroup> groups) : groups_(std::move(groups)) {
    std::unordered_map<std::string_view, std::size_t> identicalWith;
    for (std::size_t g = 0; g < groups_.size(); ++g)
        if (groups_[g].kind == DupKind::identical)
            for (const DupMember& member : groups_[g].members)
                identicalWith[member.path] = g;
    for (std::size_t g = 0; g < groups_.size(); ++g) {
        if (groups_[g].kind != DupKind::sameSong)
            continue;
        for (std::size_t m = 0; m < groups_[g].members.size(); ++m) {
            const auto found = identicalWith.find(groups_[g].members[m].path);
            if (found != identicalWith.end() &&
                standInOf_.try_emplace(found->second, Place{g, m}).second)
                standsInFor_[{g, m}] = found->second;
        }
    }
    for (std::size_t g = 0; g < groups_.size(); ++g)
        addSurplus(g);
}

std::vector<std::size_t> DupResult::setKeep(std::size_t group, std::size_t member) {
    if (group >= groups_.size() || member >= groups_[group].members.size() ||
        groups_[group].keep == member)
        return {};
    const Place chosen{group, member};
    std::vector<std::size_t> touched = groupsAround(chosen);
    for (std::size_t g : touched)
        subtractSurplus(g);
    if (groups_[group].kind == DupKind::identical)
        keepIdentical(chosen);
    else
        keepInSong(chosen);
    for (std::size_t g : touched)
        addSurplus(g);
    return touched;
}

/// The group and those that share a file with what it keeps, before or after.
std::vector<std::size_t> DupResult::groupsAround(Place chosen) const {
    std::vector<std::size_t> around = {chosen.group};
    if (const auto song = standInOf_.find(chosen.group); song != standInOf_.end())
        around.push_back(song->second.group);
    for (std::size_t member : {groups_[chosen.group].keep, chosen.member})
        if (const auto copies = standsInFor_.find({chosen.group, member});
            copies != standsInFor_.end())
            around.push_back(copies->second);
    return around;
}

void DupResult::keepIdentical(Place chosen) {
    DupGroup& group = groups_[chosen.group];
    group.keep = chosen.member;
    const auto found = standInOf_.find(chosen.group);
    if (found == standInOf_.end())
        return;
    DupGroup& song = groups_[found->second.group];
    DupMember& standIn = song.members[found->second.member];
    standIn =
        song.keep == found->second.member ? group.members[chosen.member] : spareOf(chosen.group);
}

void DupResult::keepInSong(Place chosen) {
    DupGroup& song = groups_[chosen.group];
    const Place before{chosen.group, song.keep};
    song.keep = chosen.member;
    if (const auto copies = standsInFor_.find(before); copies != standsInFor_.end())
        song.members[before.member] = spareOf(copies->second);
    if (const auto copies = standsInFor_.find(chosen); copies != standsInFor_.end()) {
        DupGroup& group = groups_[copies->second];
        for (std::size_t m = 0; m < group.members.size(); ++m)
            if (group.members[m].path == song.members[chosen.member].path)
                group.keep = m;
    }
}

const DupMember& DupResult::spareOf(std::size_t identical) const {
    const DupGroup& group = groups_[identical];
    return group.members[group.keep == 0 ? 1 : 0];
}

// --- Adding up ----------------------------------------------------------------------------------

void DupResult::addSurplus(std::size_t group) {
    const Surplus own = surplusOf(group);
    surplus_.files += own.files;
    surplus_.bytes += own.bytes;
}

void DupResult::subtractSurplus(std::size_t group) {
    const Surplus own = surplusOf(group);
    surplus_.files -= own.files;
    surplus_.bytes -= own.bytes;
}

/// Without stand-ins, which count in the group of their copies.
DupResult::Surplus DupResult::surplusOf(std::size_t group) const {
    Surplus sum;
    const DupGroup& one = groups_[group];
    for (std::size_t m = 0; m < one.members.size(); ++m) {
        if (m == one.keep || standsInFor_.contains({group, m}))
            continue;
        ++sum.files;
        sum.bytes += one.members[m].size;
    }
    return sum;
}

} // namespace quarrydex
