#include "QuarrydexApp/model/Model.h"

#include "QuarrydexApp/prefs/Prefs.h"

#include <algorithm>
#include <utility>

namespace quarrydex {

Model::Model(ModelOptions options, const Platform& platform)
    : options_(std::move(options)), platform_(platform),
      results_(std::make_shared<const ResultSet>()),
      global_({.builds = options_.keepsOrders, .persists = options_.persist},
              platform_.folders,
              mainQueue_),
      audioPasses_({.isOn = options_.analysesAudio, .yields = options_.watches},
                   platform_.clock,
                   aroundAudio()) {
    connect(&timer_, &QTimer::timeout, this, &Model::tick);
}

Model::~Model() {
    mountWatch_.reset();
    beginGeneration();
    for (const VolumePtr& volume : volumes_)
        volume->index->cancelScan();
    for (const VolumePtr& volume : replacements_)
        volume->index->cancelScan();
    for (const VolumePtr& volume : volumes_)
        AudioPasses::cancel(*volume);
    // Their tasks post to the queues below, which end after this.
    for (const VolumePtr& volume : volumes_) {
        volume->watcher.reset();
        volume->bg.reset();
    }
    replacements_.clear();
}

void Model::setHidden(VolumeState& volume, bool hidden) {
    volume.hidden = hidden;
    runSearch(false);
    Q_EMIT volumesChanged();
}

void Model::showAllVolumes() {
    for (const VolumePtr& volume : volumes_)
        volume->hidden = false;
    runSearch(false);
    Q_EMIT volumesChanged();
}

// --- Music --------------------------------------------------------------------------------------

AudioPasses::Surroundings Model::aroundAudio() {
    return {.onMain =
                [this](const auto& volume, auto f) {
                    onMain(volume, [f = std::move(f)](const VolumePtr& held) { f(*held); });
                },
            .onProgress = [this] { Q_EMIT volumesChanged(); },
            .onNewTags = [this] { runSearch(false); }};
}

void Model::analyseAudio() {
    for (const VolumePtr& volume : std::vector(volumes_)) // the list may change meanwhile
        if (!volume->offline && !volume->scanning)
            audioPasses_.maintain(volume);
}

bool Model::anyAnalysing() const {
    return std::ranges::any_of(
        volumes_, [this](const auto& volume) { return audioPasses_.isBehind(*volume); });
}

// --- Orders -------------------------------------------------------------------------------------

void Model::prepareSort(SortKey key) {
    std::vector<std::shared_ptr<VolumeIndex>> lacking;
    for (const auto& volume : volumes_)
        if (!volume->scanning && !volume->index->usablePerm(key).has_value())
            lacking.push_back(volume->index);
    if (lacking.empty() || !keysInPreparation_.insert(key).second)
        return;
    Q_EMIT sortingChanged();
    orderQueue_.post([this, key, lacking = std::move(lacking)] {
        for (const auto& index : lacking)
            index->permutation(key);
        mainQueue_.post([this, key] { sortPrepared(key); });
    });
}

void Model::sortPrepared(SortKey key) {
    keysInPreparation_.erase(key);
    if (state_.sortKey == key)
        startSearch(false, true);
    Q_EMIT sortingChanged();
}

} // namespace quarrydex
