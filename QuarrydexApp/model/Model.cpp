#include "QuarrydexApp/model/Model.h"

#include "QuarrydexApp/prefs/Prefs.h"

#include <utility>

namespace quarrydex {

Model::Model(ModelOptions options, const Platform& platform)
    : options_(std::move(options)), platform_(platform),
      results_(std::make_shared<const ResultSet>()) {
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
        cancelAudio(*volume);
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
}

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
