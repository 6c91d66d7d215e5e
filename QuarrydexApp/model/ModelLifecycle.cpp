#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/prefs/Prefs.h"
#include "QuarrydexAudio/index/CarryOver.h"
#include "QuarrydexCore/base/Log.h"
#include "QuarrydexCore/text/tr.h"

#include <algorithm>
#include <utility>

namespace quarrydex {

namespace {

constexpr int scanThreads = 8;
constexpr int refreshThreads = 8;
constexpr double watcherDebounce = 0.5;
constexpr std::int64_t reconcilePeriod = 300; ///< seconds

/// Ids are never used again, so a catalogue that is mostly deleted entries is made anew.
constexpr std::uint64_t rescanCount = 100'000;

std::string displayName(const std::string& root) {
    return root == "/" ? quarrydex::tr("System") : root.substr(root.rfind('/') + 1);
}

/// Seconds between two saves: a large catalogue is saved less often.
std::int64_t savePeriod(const VolumeIndex& index) {
    return std::max<std::int64_t>(
        60, static_cast<std::int64_t>(static_cast<double>(index.arrayBytes()) * 1.4 / 500'000));
}

bool isWornOut(const VolumeIndex& index) {
    const std::uint64_t count = index.count();
    return index.overflowed() || index.isDamaged() ||
           (count > rescanCount && count <= 4 * (count - index.liveCount()));
}

} // namespace

// --- Making -------------------------------------------------------------------------------------

std::shared_ptr<VolumeState> Model::makeVolume(VolumePlan plan) {
    auto volume = std::make_shared<VolumeState>();
    volume->name = plan.name.empty() ? displayName(plan.root) : plan.name;
    volume->root = plan.root;
    volume->isInternal = plan.isInternal;
    volume->plan = std::move(plan);
    volume->scanning = true;
    volume->bg = std::make_shared<SerialQueue>();
    setIndex(*volume, std::make_shared<VolumeIndex>(1, 1)); // until its own is there
    return volume;
}

void Model::addVolume(std::string root, std::shared_ptr<VolumeIndex> index) {
    auto volume = std::make_shared<VolumeState>();
    volume->name = displayName(root);
    volume->root = std::move(root);
    volume->plan.root = volume->root;
    volume->count = index->liveCount();
    setIndex(*volume, std::move(index));
    volumes_.push_back(std::move(volume));
    Q_EMIT volumesChanged();
}

void Model::setIndex(VolumeState& volume, std::shared_ptr<VolumeIndex> index) {
    volume.searcher = std::make_shared<Searcher>(*index);
    volume.index = std::move(index);
}

/// True for a volume of the list and for one that is to replace one of these.
bool Model::isOurs(const VolumePtr& volume) const {
    return std::ranges::find(volumes_, volume) != volumes_.end() ||
           std::ranges::find(replacements_, volume) != replacements_.end();
}

void Model::onMain(std::weak_ptr<VolumeState> volume, std::function<void(const VolumePtr&)> f) {
    // Only the main thread may hold a volume: whoever lets go of it last ends its queue.
    mainQueue_.post([this, weak = std::move(volume), f = std::move(f)] {
        if (const VolumePtr held = weak.lock(); held && isOurs(held))
            f(held);
    });
}

void Model::openInBackground(const VolumePtr& volume) {
    volume->bg->post([this, weak = std::weak_ptr(volume), plan = volume->plan] {
        auto opened = std::make_shared<OpenedVolume>(openVolume(plan, platform_, options_.persist));
        onMain(weak,
               [this, opened](const VolumePtr& held) { volumeOpened(held, std::move(*opened)); });
    });
}

void Model::volumeOpened(const VolumePtr& volume, OpenedVolume opened) {
    volume->id = std::move(opened.uuid);
    volume->historyId = std::move(opened.historyId);
    volume->snapshotPath = std::move(opened.snapshotPath);
    volume->configHash = opened.configHash;
    volume->loaded = std::move(opened.loaded);
    volume->resume = opened.resume;
    volume->lock = std::move(opened.lock);
    if (options_.prefs != nullptr) {
        const auto hidden = options_.prefs->hiddenVolumes();
        volume->hidden = std::ranges::find(hidden, volume->id) != hidden.end();
    }
    if (volume->loaded || (volume->before && volume->before->audio().count() == 0))
        volume->before.reset(); // its tags are loaded too, or it has none
    setIndex(*volume, std::move(opened.index));
    start(volume);
}

void Model::start(const VolumePtr& volume) {
    volume->offline = false;
    volume->catalogDate.reset();
    if (!volume->loaded) {
        startScan(volume);
        return;
    }
    volume->scanning = false;
    volume->updating = true;
    volume->count = volume->index->liveCount();
    volume->scanEventID = volume->loaded->eventID;
    volume->lastSave = volume->loaded->savedAt;
    runSearch(false);
    Q_EMIT volumesChanged();
    volume->bg->post([this, weak = std::weak_ptr(volume), index = volume->index] {
        const bool isSound = index->validateEntries();
        onMain(weak, [this, isSound](const VolumePtr& held) {
            if (isSound)
                catchUp(held);
            else
                rescan(held);
        });
    });
    if (!options_.watches) // ends before that is done, and sorts without unchecked orders
        return;
    orderQueue_.post([this, weak = std::weak_ptr(volume), index = volume->index] {
        if (!index->validateOrders())
            onMain(weak, [this](const VolumePtr& held) { rescan(held); });
    });
}

/// Brings a loaded catalogue up to date. Where its change history goes on, the watcher compares the
/// folders' times itself once it watches, so that nothing slips through in between.
void Model::catchUp(const VolumePtr& volume) {
    if (canWatch(*volume) && volume->resume == VolumeID::Resume::replay)
        startWatcher(volume, volume->loaded->eventID);
    else
        reconcile(volume);
}

// --- Scanning -----------------------------------------------------------------------------------

void Model::startScan(const VolumePtr& volume) {
    volume->scanning = true;
    volume->failure.reset();
    volume->scanEventID = options_.persist ? platform_.changeStreams.currentEventId() : 0;
    Q_EMIT volumesChanged();
    volume->attaching = canWatch(*volume);
    if (volume->attaching)
        startWatcher(volume, std::nullopt); // goes on with postScan when it watches
    else
        postScan(volume);
}

void Model::postScan(const VolumePtr& volume) {
    volume->attaching = false;
    volume->bg->post([this, weak = std::weak_ptr(volume), index = volume->index,
                      before = volume->before, scopes = volume->plan.scopes] {
        std::optional<std::string> failure;
        try {
            index->scan(scopes, scanThreads);
            if (before)
                carryOver(*before, index);
        } catch (const IndexError& error) {
            failure = error.what();
        }
        onMain(weak, [this, failure](const VolumePtr& held) { scanFinished(held, failure); });
    });
}

void Model::scanFinished(const VolumePtr& volume, std::optional<std::string> failure) {
    if (volume->offline || !takePlace(volume))
        return;
    volume->seconds = volume->index->scanSeconds();
    volume->failure = std::move(failure);
    volume->count = volume->index->liveCount();
    volume->scanning = false;
    volume->lastReconcile = platform_.clock.now();
    if (volume->failure) {
        dropWatcher(*volume);
    } else {
        volume->before.reset();
        saveSnapshot(*volume, false);
        if (volume->watcher) {
            volume->updating = true;
            volume->watcher->release(); // applies what happened during the scan
        }
    }
    runSearch(false);
    Q_EMIT volumesChanged();
}

/// Puts a rescanned volume where the old one stands. False when that one is gone.
bool Model::takePlace(const VolumePtr& volume) {
    const auto it = std::ranges::find(replacements_, volume);
    if (it == replacements_.end())
        return true;
    replacements_.erase(it);
    const VolumePtr old = volume->replacing.lock();
    const auto place = std::ranges::find(volumes_, old);
    if (place == volumes_.end()) {
        retire(*volume);
        return false;
    }
    volume->hidden = old->hidden;
    *place = volume;
    old->replacement.reset();
    retire(*old);
    return true;
}

void Model::rescan(const VolumePtr& volume) {
    if (!volume->replacement.expired() || volume->offline || volume->scanning)
        return;
    VolumePtr fresh = makeVolume(volume->plan);
    fresh->id = volume->id;
    fresh->historyId = volume->historyId;
    fresh->snapshotPath = volume->snapshotPath;
    fresh->configHash = volume->configHash;
    fresh->lock = volume->lock;
    fresh->bg = volume->bg;
    fresh->replacing = volume;
    fresh->before = volume->lastComplete();
    volume->replacement = fresh;
    volume->updating = true;
    auto index = std::make_shared<VolumeIndex>(
        VolumeIndex::defaultMaxEntries, VolumeIndex::defaultMaxNameBytes, volume->plan.excludes);
    index->setIncludeExts(volume->plan.includeExts);
    setIndex(*fresh, std::move(index));
    replacements_.push_back(fresh);
    startScan(fresh);
}

bool Model::anyScanning() const {
    return scouting_ > 0 ||
           std::ranges::any_of(volumes_, [](const auto& volume) { return volume->scanning; });
}

bool Model::anyUpdating() const {
    return anyScanning() || !replacements_.empty() ||
           std::ranges::any_of(volumes_, [](const auto& volume) { return volume->updating; });
}

// --- Watching -----------------------------------------------------------------------------------

bool Model::canWatch(const VolumeState& volume) const {
    return options_.persist && options_.watches && !volume.historyId.empty();
}

/// With `since` the watcher catches up from there; without, it holds what happens until the scan
/// that follows is done.
void Model::startWatcher(const VolumePtr& volume, std::optional<std::uint64_t> since) {
    const std::weak_ptr weak(volume);
    VolumeWatcher::Callbacks callbacks{
        .onApplied =
            [this, weak](const RefreshStats& stats) {
                if (stats.changedAnything())
                    onMain(weak, [this](const VolumePtr& held) { filesChanged(*held); });
            },
        .onCaughtUp =
            [this, weak] {
                onMain(weak, [this](const VolumePtr& held) {
                    held->updating = false;
                    filesChanged(*held);
                });
            },
        .onNeedsRescan =
            [this, weak](bool rootMissing) {
                onMain(weak, [this, rootMissing](const VolumePtr& held) {
                    needsRescan(held, rootMissing);
                });
            },
        .onAttached =
            [this, weak] {
                onMain(weak, [this](const VolumePtr& held) {
                    if (held->attaching)
                        postScan(held);
                });
            },
        .onDeepPassDone = {}};
    VolumeWatcher::Options options;
    options.root = volume->root;
    options.scopes = volume->plan.scopes;
    options.since = since;
    options.debounce = watcherDebounce;
    options.threads = refreshThreads;
    options.isHeld = !since;
    options.deepPass = since.has_value();
    options.ignored = {platform_.folders.data()};
    volume->watcher =
        std::make_shared<VolumeWatcher>(volume->index, std::move(options), std::move(callbacks),
                                        platform_.changeStreams, platform_.clock);
    volume->watcher->start();
}

void Model::filesChanged(VolumeState& volume) {
    volume.count = volume.index->liveCount();
    runSearch(false);
    Q_EMIT volumesChanged();
}

void Model::needsRescan(const VolumePtr& volume, bool rootMissing) {
    if (volume->offline) // known already
        return;
    if (volume->scanning) { // goes on unwatched; a root that is missing fails the scan
        dropWatcher(*volume);
        if (volume->attaching)
            postScan(volume);
        return;
    }
    if (rootMissing)
        removeVolume(volume);
    else
        rescan(volume);
}

void Model::reconcile(const VolumePtr& volume) {
    volume->updating = true;
    const std::int64_t reference = eventSeconds(volume->scanEventID);
    const std::uint64_t begin = platform_.changeStreams.currentEventId();
    volume->bg->post([this, weak = std::weak_ptr(volume), index = volume->index, reference, begin] {
        const RefreshStats stats = index->reconcileByFolderMtime(
            {.threads = refreshThreads, .reference = reference, .mayGoOn = {}});
        onMain(weak, [this, stats, begin](const VolumePtr& held) {
            held->scanEventID = begin; // what changed after that is for the next one
            reconciled(held, stats);
        });
    });
}

void Model::reconciled(const VolumePtr& volume, const RefreshStats& stats) {
    volume->updating = false;
    volume->lastReconcile = platform_.clock.now();
    if (stats.rootMissing)
        removeVolume(volume);
    else if (stats.fullRescan)
        rescan(volume);
    else
        filesChanged(*volume);
    if (!stats.rootMissing && !stats.fullRescan && canWatch(*volume) && !volume->watcher)
        startWatcher(volume, volume->scanEventID);
    Q_EMIT volumesChanged();
}

// --- Saving -------------------------------------------------------------------------------------

void Model::saveSnapshot(VolumeState& volume, bool sync) {
    if (!options_.persist || volume.snapshotPath.empty() || !volume.lock)
        return;
    SnapshotInfo info{.uuid = volume.id,
                      .fseUUID = volume.historyId,
                      .root = volume.root,
                      .eventID =
                          volume.watcher ? volume.watcher->lastEventID() : volume.scanEventID,
                      .savedAt = platform_.clock.now(),
                      .exclHash = volume.configHash};
    volume.lastSave = info.savedAt;
    const auto save = [index = volume.index, path = volume.snapshotPath, info, lock = volume.lock] {
        try {
            if (index->hasUnsavedChanges())
                index->save(path, info);
            if (index->hasUnsavedAudio() && !index->saveAudio(path))
                logLine("cannot save " + VolumeIndex::audioPath(path));
        } catch (const IndexError& error) {
            logLine("cannot save " + path + ": " + error.what());
        }
    };
    if (sync)
        save();
    else
        volume.bg->post(save);
}

/// Memory knows something that the volume's files do not.
bool Model::hasNews(const VolumeState& volume) {
    return volume.index->hasUnsavedChanges() || volume.index->hasUnsavedAudio();
}

/// The volume was saved long enough ago that another save is worth its writing. A single list or
/// explanation would otherwise write a large catalogue anew for one file that changed.
bool Model::isSaveDue(const VolumeState& volume) const {
    return platform_.clock.now() - volume.lastSave > savePeriod(*volume.index);
}

void Model::saveAll() {
    for (const VolumePtr& volume : volumes_) {
        if (volume->scanning || volume->failure || !volume->bg)
            continue;
        if (volume->watcher)
            volume->watcher->flush();
        volume->bg->drain(); // a save that is under way
        const bool isDue =
            options_.watches || isSaveDue(*volume) || volume->index->hasUnsavedAudio();
        if (isDue && hasNews(*volume) && !volume->offline)
            saveSnapshot(*volume, true);
    }
    retireQueue_.drain(); // the last saves of volumes that were dropped
}

/// Ends the volume's watching, in the background.
void Model::dropWatcher(VolumeState& volume) {
    if (!volume.watcher)
        return;
    if (!volume.scanning)
        volume.scanEventID = volume.watcher->lastEventID();
    retireQueue_.post(
        [watcher = std::exchange(volume.watcher, nullptr)]() mutable { watcher.reset(); });
}

/// Ends what the volume has under way, a scan that was to replace it too: of a drive that is gone
/// it would find an empty folder, and save that.
void Model::retire(VolumeState& volume) {
    dropWatcher(volume);
    AudioPasses::cancel(volume);
    if (volume.scanning)
        volume.index->cancelScan();
    if (const VolumePtr fresh = volume.replacement.lock()) {
        std::erase(replacements_, fresh);
        retire(*fresh);
    }
}

// --- Now and then -------------------------------------------------------------------------------

void Model::tick() {
    bool changed = false;
    for (const VolumePtr& volume : volumes_) {
        if (volume->offline)
            continue;
        const std::uint32_t count = volume->index->liveCount();
        changed = changed || count != volume->count;
        volume->count = count;
    }
    if (changed)
        Q_EMIT volumesChanged();
    for (const VolumePtr& volume : std::vector(volumes_)) { // the list may change meanwhile
        if (volume->offline || volume->scanning)
            continue;
        audioPasses_.maintain(volume);
        maintain(volume);
    }
    if (!anyScanning() && global_.maintain(volumes_, orderQueue_))
        runSearch(false);
}

void Model::maintain(const VolumePtr& volume) {
    if (!volume->maintaining)
        rebuildStaleOrders(volume);
    if (!options_.persist || !volume->bg)
        return;
    if (!volume->updating && isWornOut(*volume->index)) {
        rescan(volume);
        return;
    }
    const std::int64_t now = platform_.clock.now();
    if (!volume->watcher && !volume->updating && !volume->failure &&
        now - volume->lastReconcile > reconcilePeriod)
        reconcile(volume);
    if (hasNews(*volume) && isSaveDue(*volume))
        saveSnapshot(*volume, false);
}

void Model::rebuildStaleOrders(const VolumePtr& volume) {
    const std::vector<SortKey> keys = volume->index->staleKeys();
    if (keys.empty())
        return;
    volume->maintaining = true;
    orderQueue_.post([this, weak = std::weak_ptr(volume), index = volume->index, keys] {
        for (SortKey key : keys)
            index->rebuildPermutation(key);
        onMain(weak, [](const VolumePtr& held) { held->maintaining = false; });
    });
}

} // namespace quarrydex
