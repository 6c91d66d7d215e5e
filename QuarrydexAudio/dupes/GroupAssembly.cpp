#include "QuarrydexAudio/dupes/GroupAssembly.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <utility>

namespace quarrydex {

namespace {

class Assembly {
  public:
    explicit Assembly(Candidates& cands) : cands_(cands) {}

    void addIdentical(const std::vector<CandId>& found) {
        std::vector<DupMember> members;
        for (CandId id : found)
            if (isSound(id))
                members.push_back(cands_.member(id));
        const std::size_t standIn = standIns_.size();
        for (CandId id : found)
            standInOf_[id] = standIn;
        if (members.empty()) {
            standIns_.push_back({});
            return;
        }
        const std::size_t keep = best(members);
        const std::size_t spare = keep == 0 ? 1 : 0;
        if (members.size() < 2)
            standIns_.push_back({.keep = members[0], .spare = std::nullopt});
        else
            standIns_.push_back({.keep = members[keep], .spare = members[spare]});
        add(DupKind::identical, std::move(members), keep, std::nullopt);
    }

    void addSong(const SongGroup& song) {
        std::vector<DupMember> members;
        std::vector<std::optional<DupMember>> spares;
        for (CandId id : song.files) {
            const auto found = standInOf_.find(id);
            if (found != standInOf_.end()) {
                const StandIn& standIn = standIns_[found->second];
                if (!standIn.keep)
                    continue;
                members.push_back(*standIn.keep);
                spares.push_back(standIn.spare);
            } else if (isSound(id)) {
                members.push_back(cands_.member(id));
                spares.push_back(std::nullopt);
            }
        }
        // A spare ranks no higher than what it stands in for, so the choice stays what it is.
        const std::size_t keep = best(members);
        for (std::size_t i = 0; i < members.size(); ++i)
            if (i != keep && spares[i])
                members[i] = *spares[i];
        add(DupKind::sameSong, std::move(members), keep, song.confirmed);
    }

    /// Largest surplus first; ids ascend before.
    [[nodiscard]] std::vector<DupGroup> take() {
        std::vector<std::pair<std::uint64_t, std::size_t>> order;
        for (std::size_t i = 0; i < groups_.size(); ++i)
            order.emplace_back(~groups_[i].surplusBytes(), i);
        std::sort(order.begin(), order.end());
        std::vector<DupGroup> sorted;
        sorted.reserve(groups_.size());
        for (const auto& [surplus, position] : order)
            sorted.push_back(std::move(groups_[position]));
        return sorted;
    }

  private:
    /// Who speaks in a song group for a group of identical files.
    struct StandIn {
        std::optional<DupMember> keep{};  ///< absent: nothing of the group is left
        std::optional<DupMember> spare{}; ///< another one, to be surplus
    };

    bool isSound(CandId id) {
        const bool is = cands_.isUnchanged(id);
        cands_.leftOut().changed += is ? 0 : 1;
        return is;
    }

    void add(DupKind kind,
             std::vector<DupMember> members,
             std::size_t keep,
             std::optional<bool> confirmed) {
        if (members.size() < 2)
            return;
        groups_.push_back({.id = static_cast<int>(groups_.size()),
                           .kind = kind,
                           .members = std::move(members),
                           .keep = keep,
                           .confirmed = confirmed});
    }

    Candidates& cands_;
    std::vector<DupGroup> groups_;
    std::vector<StandIn> standIns_;
    std::unordered_map<CandId, std::size_t> standInOf_; ///< by every member of identical groups
};

} // namespace

std::vector<DupGroup> assembleGroups(Candidates& cands,
                                     const IdenticalFiles::Groups& identical,
                                     const std::vector<SongGroup>& songs) {
    Assembly assembly(cands);
    for (const std::vector<CandId>& group : identical)
        assembly.addIdentical(group);
    for (const SongGroup& song : songs)
        assembly.addSong(song);
    return assembly.take();
}

} // namespace quarrydex
