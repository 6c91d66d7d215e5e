#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/model/Roots.h"
#include "QuarrydexApp/prefs/Prefs.h"
#include "QuarrydexCore/query/ExtPatterns.h"

#include <algorithm>
#include <utility>

namespace quarrydex {

namespace {

bool isAtOrBelow(const std::string& path, const std::string& folder) {
    return path == folder || folder == "/" ||
           (path.starts_with(folder) && path[folder.size()] == '/');
}

} // namespace

// --- Sources ------------------------------------------------------------------------------------

void Model::startScans() {
    observeMounts();
    timer_.start(tickPeriod);
    if (options_.roots.empty()) {
        addOfflineCatalogs();
        findSources();
    } else {
        for (ScanRoot& root : scanRoots(options_.roots, excludedPaths())) {
            VolumePlan plan{.root = std::move(root.path), .excludes = std::move(root.excludes)};
            plan.scopes = {plan.root};
            plan.includeExts = includeExts();
            volumes_.push_back(makeVolume(std::move(plan)));
            openInBackground(volumes_.back());
        }
    }
    runSearch(true);
}

std::vector<std::string> Model::excludedPaths() const {
    if (options_.excludes)
        return *options_.excludes;
    return options_.prefs != nullptr ? options_.prefs->excludedPaths() : std::vector<std::string>{};
}

std::vector<std::string> Model::includeExts() const {
    if (options_.includeExts)
        return *options_.includeExts;
    if (options_.prefs == nullptr)
        return {};
    return ExtPatterns::parse(options_.prefs->includeOnly()).exts;
}

void Model::findSources() {
    const bool withImages = options_.prefs != nullptr && options_.prefs->indexDiskImages();
    ++scouting_;
    scoutQueue_.post([this, withImages] {
        auto found =
            std::make_shared<std::vector<Candidate>>(findCandidates(platform_, withImages));
        mainQueue_.post([this, found] {
            --scouting_;
            sourcesFound(std::move(*found));
        });
    });
}

void Model::applySources() {
    if (options_.roots.empty())
        findSources();
}

/// Makes, replaces and drops volumes until they are the chosen ones.
void Model::sourcesFound(std::vector<Candidate> candidates) {
    candidates_ = std::move(candidates);
    for (const VolumePtr& volume : std::vector(volumes_)) {
        const bool isMounted =
            std::ranges::find(candidates_, volume->id, &Candidate::identity) != candidates_.end();
        if (isMounted && !isChosen(volume->id))
            dropVolume(volume);
    }
    for (const Candidate& drive : candidates_)
        discover(drive);
    refreshNewDrives();
    runSearch(false);
    Q_EMIT volumesChanged();
}

bool Model::isChosen(const std::string& identity) const {
    return options_.prefs != nullptr && options_.prefs->isKnown(identity) &&
           options_.prefs->source(identity, {}).enabled;
}

/// A drive that is there: made a volume if it was chosen, or brought in line with the settings.
void Model::discover(const Candidate& drive) {
    if (!isChosen(drive.identity))
        return;
    VolumePlan plan = planOf(drive);
    const VolumePtr known = volumeOf(drive.identity);
    if (plan.scopes.empty()) {
        if (known)
            dropVolume(known);
    } else if (!known) {
        VolumePtr volume = makeVolume(std::move(plan));
        volume->id = drive.identity;
        volumes_.push_back(volume);
        openInBackground(volume);
    } else if (known->offline || known->plan.root != plan.root ||
               known->plan.scopes != plan.scopes || known->plan.excludes != plan.excludes ||
               known->plan.includeExts != plan.includeExts) {
        replaceBy(known, std::move(plan));
    }
}

VolumePlan Model::planOf(const Candidate& drive) const {
    const SourceConfig source =
        options_.prefs->source(drive.identity, {.internal = drive.isInternal, .root = drive.root});
    return {.root = drive.root,
            .scopes = source.scopes(drive.root),
            .excludes = excludedPaths(),
            .includeExts = includeExts(),
            .name = drive.name,
            .isInternal = drive.isInternal};
}

std::shared_ptr<VolumeState> Model::volumeOf(const std::string& identity) const {
    const auto it = std::ranges::find_if(
        volumes_, [&](const VolumePtr& volume) { return volume->id == identity; });
    return it == volumes_.end() ? nullptr : *it;
}

/// A volume made anew by another plan takes the place of the old one at once; until it is opened it
/// shows what the old one held.
void Model::replaceBy(const VolumePtr& old, VolumePlan plan) {
    const auto place = std::ranges::find(volumes_, old);
    if (place == volumes_.end())
        return;
    VolumePtr volume = makeVolume(std::move(plan));
    volume->id = old->id;
    volume->hidden = old->hidden;
    volume->count = old->count;
    if (old->bg)
        volume->bg = old->bg; // behind a save of the old one
    setIndex(*volume, old->index);
    volume->before = old->lastComplete();
    old->lock.reset();
    retire(*old);
    *place = volume;
    openInBackground(volume);
}

// --- New drives ---------------------------------------------------------------------------------

void Model::refreshNewDrives() {
    std::vector<Candidate> offered;
    if (options_.prefs != nullptr && options_.prefs->configured())
        std::ranges::copy_if(candidates_, std::back_inserter(offered), [&](const Candidate& drive) {
            return !options_.prefs->isKnown(drive.identity);
        });
    if (offered == newDrives_)
        return;
    newDrives_ = std::move(offered);
    Q_EMIT newDrivesChanged();
}

void Model::indexNewDrive(const Candidate& drive) {
    SourceConfig source =
        options_.prefs->source(drive.identity, {.internal = drive.isInternal, .root = drive.root});
    source.enabled = true;
    options_.prefs->setSource(drive.identity, source);
    discover(drive);
    refreshNewDrives();
}

void Model::ignoreNewDrive(const Candidate& drive) {
    options_.prefs->setSource(drive.identity, {.enabled = false, .whole = true, .folders = {}});
    refreshNewDrives();
}

// --- Drives that come and go --------------------------------------------------------------------

void Model::observeMounts() {
    if (!options_.persist || !options_.watches)
        return;
    mountWatch_ = platform_.mounts.observe(
        [this](const std::vector<Mount>& added, const std::vector<Mount>& removed) {
            mainQueue_.post([this, added, removed] { mountsChanged(added, removed); });
        });
}

void Model::mountsChanged(const std::vector<Mount>& added, const std::vector<Mount>& removed) {
    for (const VolumePtr& volume : std::vector(volumes_))
        if (!volume->offline && std::ranges::any_of(removed, [&](const Mount& mount) {
                return isAtOrBelow(volume->root, mount.path);
            }))
            removeVolume(volume);
    if (options_.roots.empty()) {
        findSources(); // knows what is to be indexed of a drive that is back
        return;
    }
    for (const VolumePtr& volume : std::vector(volumes_))
        if (volume->offline && std::ranges::any_of(added, [&](const Mount& mount) {
                return isAtOrBelow(volume->root, mount.path);
            }))
            lookWhetherBack(volume);
}

/// Something was mounted where an offline volume was: is it that one?
void Model::lookWhetherBack(const VolumePtr& volume) {
    scoutQueue_.post([this, weak = std::weak_ptr(volume), root = volume->root] {
        const std::string identity = VolumeID(platform_.volumes).identity(root);
        onMain(weak, [this, identity](const VolumePtr& held) {
            if (held->offline && held->id == identity)
                replaceBy(held, held->plan);
        });
    });
}

/// The volume's root is gone.
void Model::removeVolume(const VolumePtr& volume) {
    const bool keeps = options_.prefs == nullptr || options_.prefs->keepOffline();
    if (keeps && options_.persist && isExternalPlace(volume->root) && !volume->scanning) {
        goOffline(*volume);
        return;
    }
    if (!volume->scanning && volume->bg && hasNews(*volume))
        saveSnapshot(*volume, false);
    dropVolume(volume);
    runSearch(false);
}

/// What the watcher has not applied yet is not: the root shows something else by now. Coming back
/// catches up.
void Model::goOffline(VolumeState& volume) {
    if (hasNews(volume))
        saveSnapshot(volume, false);
    retire(volume);
    volume.offline = true;
    volume.scanning = false;
    volume.updating = false;
    volume.catalogDate = platform_.clock.now();
    runSearch(false);
    Q_EMIT volumesChanged();
}

void Model::dropVolume(const VolumePtr& volume) {
    retire(*volume);
    retireQueue_.post([bg = volume->bg]() mutable {
        if (bg)
            bg->drain(); // its last save
        bg.reset();
    });
    std::erase(volumes_, volume);
    Q_EMIT volumesChanged();
}

void Model::forgetCatalog(const VolumePtr& volume) {
    dropVolume(volume);
    retireQueue_.post([this, path = volume->snapshotPath, lock = volume->lock] {
        if (!path.empty() && (lock || lockCatalog(platform_, path)))
            VolumeIndex::forgetCatalog(path);
    });
    runSearch(false);
}

/// Loads the catalogues of drives that are not there. One that turns out to be there is replaced
/// when the drives have been asked.
void Model::addOfflineCatalogs() {
    if (!options_.persist || (options_.prefs != nullptr && !options_.prefs->keepOffline()))
        return;
    ++scouting_;
    scoutQueue_.post([this] {
        auto found = std::make_shared<std::vector<OfflineCatalog>>(offlineCatalogs(platform_, {}));
        mainQueue_.post([this, found] {
            --scouting_;
            for (OfflineCatalog& saved : *found) {
                VolumePtr volume = makeVolume({.root = saved.info.root});
                volume->id = saved.info.uuid;
                volume->historyId = saved.info.fseUUID;
                volume->snapshotPath = std::move(saved.snapshotPath);
                volume->count = saved.index->liveCount();
                volume->catalogDate = saved.info.savedAt;
                volume->offline = true;
                volume->scanning = false;
                setIndex(*volume, std::move(saved.index));
                volumes_.push_back(volume);
                volume->bg->post([this, weak = std::weak_ptr(volume), index = volume->index] {
                    if (!index->validate())
                        onMain(weak, [this](const VolumePtr& held) { dropVolume(held); });
                });
            }
            runSearch(false);
            Q_EMIT volumesChanged();
        });
    });
}

} // namespace quarrydex
