#include "QuarrydexApp/windows/IndexLimits.h"

#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/model/StatusText.h"

#include <algorithm>
#include <bit>

namespace quarrydex {

namespace {

/// What the system gives by itself on small machines.
constexpr std::uint64_t fewestWatches = 524'288;

std::string shellQuoted(const std::string& text) {
    std::string out = "'";
    for (const char c : text)
        out += c == '\'' ? std::string(R"('\'')") : std::string(1, c);
    return out + "'";
}

} // namespace

std::vector<IndexLimit> indexLimits(const Model& model) {
    std::vector<IndexLimit> out;
    for (const auto& volume : model.volumes()) {
        if (volume->offline || !volume->index)
            continue;
        IndexLimit limit{.name = volume->name,
                         .root = volume->root,
                         .unreadable = volume->index->stats().errors,
                         .watchNotice = quarrydex::watchNotice(*volume),
                         .isScanning = volume->scanning};
        if (volume->watcher)
            if (const StreamStatus stream = volume->watcher->status().stream; stream.limitReached) {
                limit.watched = stream.watchedFolders;
                limit.unwatched = stream.polledFolders;
            }
        if (limit.unreadable > 0 || limit.unwatched > 0)
            out.push_back(std::move(limit));
    }
    return out;
}

std::string listCommand(const IndexLimit& limit) {
    return "find " + shellQuoted(limit.root) +
           R"( -xdev -type d ! \( -readable -executable \) 2>/dev/null)";
}

/// Half of the user's watches are left to other programs.
std::string watchCommand(std::span<const IndexLimit> limits) {
    std::uint64_t folders = 0;
    bool isLimited = false;
    for (const IndexLimit& limit : limits) {
        folders += limit.watched + limit.unwatched;
        isLimited = isLimited || limit.unwatched > 0;
    }
    if (!isLimited)
        return {};
    const std::uint64_t watches = std::max(fewestWatches, std::bit_ceil(folders * 2));
    return "echo fs.inotify.max_user_watches=" + std::to_string(watches) +
           " | sudo tee /etc/sysctl.d/60-quarrydex.conf && sudo sysctl --system";
}

} // namespace quarrydex
