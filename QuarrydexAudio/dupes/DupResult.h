/// The groups of a run with the choice of what to keep, which the user may change.
///
/// A file plays one role in all groups that hold it, whatever is chosen: it is kept in each of
/// them, or surplus in each. In a song group one of several identical files stands in for all of
/// them; it is the kept one of these where it is the copy of the song to keep, and else one of
/// their surplus. So a choice in one group may change another one, too.
///
/// Threads: one at a time; a plain value. Fails: never.
#pragma once

#include "QuarrydexAudio/dupes/DupTypes.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

namespace quarrydex {

class DupResult {
  public:
    /// What is not kept, each file once.
    struct Surplus {
        std::size_t files{};
        std::uint64_t bytes{};

        bool operator==(const Surplus&) const = default;
    };

    DupResult() = default;

    /// Groups as a run reports them.
    explicit DupResult(std::vector<DupGroup> groups);

    [[nodiscard]] const std::vector<DupGroup>& groups() const { return groups_; }

    [[nodiscard]] const Surplus& surplus() const { return surplus_; }

    /// Keeps that member of that group (positions). Returns the groups that may look different now;
    /// none when the choice is what it was, or there is no such member.
    std::vector<std::size_t> setKeep(std::size_t group, std::size_t member);

  private:
    struct Place {
        std::size_t group;
        std::size_t member;

        auto operator<=>(const Place&) const = default;
    };

    [[nodiscard]] std::vector<std::size_t> groupsAround(Place chosen) const;
    void keepIdentical(Place chosen);
    void keepInSong(Place chosen);
    [[nodiscard]] const DupMember& spareOf(std::size_t identical) const;
    void addSurplus(std::size_t group);
    void subtractSurplus(std::size_t group);
    [[nodiscard]] Surplus surplusOf(std::size_t group) const;

    std::vector<DupGroup> groups_;
    std::map<std::size_t, Place> standInOf_;   ///< by identical group: who speaks for it in a song
    std::map<Place, std::size_t> standsInFor_; ///< the reverse
    Surplus surplus_;
};

} // namespace quarrydex
