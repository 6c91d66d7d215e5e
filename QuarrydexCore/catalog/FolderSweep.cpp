#include "QuarrydexCore/catalog/FolderSweep.h"

#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/platform/DirReader.h"

#include <algorithm>
#include <cerrno>

namespace quarrydex {

namespace {

constexpr std::size_t chunk = 4096;
constexpr std::int64_t slackSeconds = 2; ///< file times come from a clock that lags a little

} // namespace

FolderSweep::FolderSweep(const VolumeIndex& index, Options options)
    : index_(index), options_(options) {}

/// Live folders, most recently changed first: where only a part of them can be watched afterwards,
/// those are worth most.
std::vector<EntryId> FolderSweep::folders() const {
    std::vector<std::pair<std::uint32_t, EntryId>> keyed; // (time, most recent first)
    for (EntryId id : index_.folderIds(index_.count()).ids)
        if ((index_.flags(id) & EntryFlags::deleted) == 0)
            keyed.emplace_back(index_.parent(id) ? ~index_.mtime(id) : 0, id);
    std::sort(keyed.begin(), keyed.end());
    std::vector<EntryId> ids;
    ids.reserve(keyed.size());
    for (const auto& [key, id] : keyed)
        ids.push_back(id);
    return ids;
}

FolderSweep::Finding FolderSweep::examine(EntryId id, const std::string& path) const {
    if (!index_.parent(id))
        return Finding::differs;
    PathStatus status;
    if (const int error = fidx_dir_reader().status(path, status))
        return error == ENOENT || error == ENOTDIR ? Finding::differs : Finding::same;
    if (status.type != ObjectType::folder)
        return Finding::differs;
    const auto isRecent = [&](std::int64_t time) {
        return options_.reference && time >= *options_.reference - slackSeconds;
    };
    const bool wasMoved = status.moveTime != 0 && isRecent(status.moveTime);
    if (wasMoved || fidx_seconds(status.birthTime) != index_.ctime(id))
        return Finding::replaced;
    const std::uint32_t known = index_.mtime(id);
    return isRecent(known) || fidx_seconds(status.mtime) != known ? Finding::differs
                                                                  : Finding::same;
}

void FolderSweep::run(const SweepCalls& calls) const {
    const std::vector<EntryId> ids = folders();
    const auto threads = static_cast<unsigned>(std::max(options_.threads, 1));
    std::vector<std::string> paths(std::min(chunk, ids.size()));
    std::vector<Finding> findings(paths.size());
    for (std::size_t start = 0; start < ids.size(); start += chunk) {
        if (calls.mayGoOn && !calls.mayGoOn())
            return;
        const std::size_t n = std::min(chunk, ids.size() - start);
        parallelFor(n, threads, [&](std::size_t i) {
            paths[i] = index_.path(ids[start + i]);
            if (calls.enter)
                calls.enter(paths[i]);
            findings[i] = examine(ids[start + i], paths[i]);
        });
        for (std::size_t i = 0; i < n; ++i)
            if (findings[i] != Finding::same)
                calls.differs(paths[i], findings[i] == Finding::replaced);
    }
}

} // namespace quarrydex
