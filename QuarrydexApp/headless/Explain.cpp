#include "QuarrydexApp/headless/Explain.h"

#include "QuarrydexApp/headless/Explanation.h"
#include "QuarrydexApp/headless/Output.h"
#include "QuarrydexApp/headless/Terminal.h"
#include "QuarrydexApp/model/Roots.h"
#include "QuarrydexApp/model/StatusText.h"
#include "QuarrydexCore/text/tr.h"

#include <algorithm>
#include <iterator>

#include <unistd.h>

namespace quarrydex {

namespace {

/// A path as the catalogue of one volume spells it.
struct Place {
    const VolumeState* volume{};
    std::string path;

    /// Bytes below the volume's root: the fewer, the closer the root.
    [[nodiscard]] std::size_t depth() const { return path.size() - volume->root.size(); }
};

/// Where the path itself, a link at its end not followed, stands below the root; empty: nowhere.
std::string spelledBelow(const std::string& root, const std::string& path) {
    if (path == root)
        return root;
    const std::size_t slash = path.rfind('/');
    const std::string folder = pathBelow(root, slash == 0 ? "/" : path.substr(0, slash));
    return folder.empty() ? "" : (folder == "/" ? "" : folder) + path.substr(slash);
}

/// The volume with the innermost root around the path.
Place findPlace(const Model& model, const std::string& path) {
    Place best;
    for (const auto& volume : model.volumes()) {
        if (volume->failure)
            continue;
        std::string spelled = spelledBelow(volume->root, path);
        if (spelled.empty())
            spelled = pathBelow(volume->root, path); // a link into the tree from outside
        if (spelled.empty())
            continue;
        const Place place{volume.get(), std::move(spelled)};
        if (best.volume == nullptr || place.depth() < best.depth())
            best = place;
    }
    return best;
}

std::size_t folderCount(const VolumeIndex& index) {
    std::size_t folders = 0;
    for (EntryId id = 0; id < index.count(); ++id)
        folders += (index.flags(id) & (EntryFlags::dir | EntryFlags::deleted)) == EntryFlags::dir;
    return folders;
}

/// What holds for everything of the volume.
std::vector<std::string> notesOn(const VolumeState& volume) {
    if (volume.offline)
        return {statusSentence(volume)};
    const StreamStatus stream =
        systemPlatform().changeStreams.open({.paths = {volume.root}})->status();
    const std::size_t folders = folderCount(*volume.index);
    if (stream.watchLimit == 0 || folders <= stream.watchLimit)
        return {};
    return {tr("Of the {folders} folders of “{drive}” the system lets programs watch "
               "{limit}; changes in the others show late. Raise "
               "fs.inotify.max_user_watches to change that.",
               {{"folders", folders}, {"drive", volume.name}, {"limit", stream.watchLimit}})};
}

Explanation explainPath(const Model& model, const std::string& path) {
    const Place place = findPlace(model, path);
    if (place.volume != nullptr) {
        Explanation out = explain(place.path, *place.volume, systemPlatform().dirReader);
        std::ranges::move(notesOn(*place.volume), std::back_inserter(out.lines));
        return out;
    }
    Explanation out{.lines = {tr("Not found: “{path}”", {{"path", path}}),
                              tr("It lies outside the folders that are searched:")}};
    for (const auto& volume : model.volumes())
        out.lines.push_back("  " + volume->root);
    return out;
}

} // namespace

ExitStatus runExplain(const Options& options) {
    Session session(options, {.keepsOrders = false});
    session.scan();
    const Explanation explanation = explainPath(session.model(), cleanPath(options.explainPath));
    Output out(STDOUT_FILENO);
    session.finish();
    for (const std::string& line : explanation.lines)
        out.append((isTerminal(STDOUT_FILENO) ? escaped(line) : line) + '\n');
    if (!out.finish() || session.hasFailures())
        return ExitStatus::error;
    return explanation.isFound ? ExitStatus::success : ExitStatus::noHits;
}

} // namespace quarrydex
