/// What a duplicate run speaks in: its stages, the files and the groups that it reports.
/// Plain values. Threads: any. Fails: never.
#pragma once

#include "QuarrydexCore/audio/AudioMeta.h"
#include "QuarrydexCore/base/EntryId.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

// --- Stages -------------------------------------------------------------------------------------

/// In the order in which they run, each one dearer than the one before.
enum class DupStage : std::uint8_t {
    size = 0,
    quickHash = 1,
    fullHash = 2,
    sameSong = 3,
    fingerprint = 4
};

inline constexpr std::array allDupStages = {DupStage::size, DupStage::quickHash, DupStage::fullHash,
                                            DupStage::sameSong, DupStage::fingerprint};

/// The case's name: "size", "quickHash", …
[[nodiscard]] std::string_view caseName(DupStage stage);

[[nodiscard]] std::optional<DupStage> dupStageNamed(std::string_view caseName);

/// What the progress line says of it, in the user's language.
[[nodiscard]] std::string title(DupStage stage);

class DupStages {
  public:
    constexpr DupStages(std::initializer_list<DupStage> stages) {
        for (DupStage stage : stages)
            insert(stage);
    }

    constexpr void insert(DupStage stage) { bits_ |= bit(stage); }

    [[nodiscard]] constexpr bool contains(DupStage stage) const {
        return (bits_ & bit(stage)) != 0;
    }

    bool operator==(const DupStages&) const = default;

  private:
    static constexpr unsigned bit(DupStage stage) { return 1U << static_cast<unsigned>(stage); }

    unsigned bits_ = 0;
};

// --- Groups -------------------------------------------------------------------------------------

enum class DupKind : std::uint8_t {
    identical, ///< the same bytes
    sameSong,  ///< the same recording, as far as tags, names and lengths tell
};

/// "identical" or "sameSong", as lists have it; not translated.
[[nodiscard]] std::string_view rawValue(DupKind kind);

/// The first 16 bytes of a BLAKE3 hash as two little-endian words.
struct Digest128 {
    std::uint64_t a{};
    std::uint64_t b{};

    auto operator<=>(const Digest128&) const = default;
};

/// One file.
struct DupMember {
    std::uint32_t vol{}; ///< position in the finder's list of volumes
    EntryId entry{};
    std::string path;                ///< full path, raw bytes
    std::uint64_t size{};            ///< bytes
    std::uint32_t mtime{};           ///< seconds since 1970-01-01 UTC, as the catalogue has it
    std::optional<AudioMeta> meta{}; ///< absent when nothing is known of the file as it is now
};

struct DupGroup {
    int id{}; ///< unique within one run, in order of creation
    DupKind kind = DupKind::identical;
    std::vector<DupMember> members; ///< at least 2
    std::size_t keep{};             ///< position of the member suggested to keep
    /// Absent: no fingerprints were compared. True: they agree. False: they do not, or there were
    /// none.
    std::optional<bool> confirmed{};

    /// Bytes of all members but the one to keep.
    [[nodiscard]] std::uint64_t surplusBytes() const;
};

// --- Choosing what to keep ----------------------------------------------------------------------

/// `best(members)`: the position of the member to keep: the best quality (anything lossless before
/// anything lossy), then the fullest tags, the oldest, the one with the shortest path; the first of
/// equals. 0 for fewer than two.
[[nodiscard]] std::size_t best(const std::vector<DupMember>& members);

/// What decided for the best member over the next best.
enum class KeepReason : std::uint8_t {
    lossless,   ///< all others lose something
    resolution, ///< more bits or a higher sample rate, among lossless ones
    bitRate,    ///< among lossy ones
    tags,
    age,
    path,
    position, ///< they are equals; it comes first
};

/// REQUIRES: at least two members.
[[nodiscard]] KeepReason keepReason(const std::vector<DupMember>& members);

} // namespace quarrydex
