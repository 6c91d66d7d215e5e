#include "QuarrydexApp/model/Model.h"

#include "QuarrydexApp/model/Roots.h"
#include "QuarrydexCore/text/tr.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

namespace quarrydex {

namespace {

constexpr int scanThreads = 8;
constexpr std::chrono::milliseconds tickPeriod{500};

std::string displayName(const std::string& root) {
    return root == "/" ? quarrydex::tr("System") : root.substr(root.rfind('/') + 1);
}

} // namespace

Model::Model(ModelOptions options, const Platform& platform)
    : options_(std::move(options)), platform_(platform),
      results_(std::make_shared<const ResultSet>()) {
    connect(&timer_, &QTimer::timeout, this, &Model::tick);
}

Model::~Model() {
    beginGeneration();
}

void Model::startScans() {
    for (ScanRoot& root : scanRoots(options_.roots, options_.excludes)) {
        auto index = std::make_shared<VolumeIndex>(VolumeIndex::defaultMaxEntries,
                                                   VolumeIndex::defaultMaxNameBytes,
                                                   std::move(root.excludes));
        index->setIncludeExts(options_.includeExts);
        volumes_.push_back(makeVolume(std::move(root.path), std::move(index)));
    }
    for (const auto& volume : volumes_)
        startScan(volume);
    timer_.start(tickPeriod);
    runSearch(true);
}

void Model::addVolume(std::string root, std::shared_ptr<VolumeIndex> index) {
    volumes_.push_back(makeVolume(std::move(root), std::move(index)));
    Q_EMIT volumesChanged();
}

std::shared_ptr<VolumeState> Model::makeVolume(std::string root,
                                               std::shared_ptr<VolumeIndex> index) {
    auto volume = std::make_shared<VolumeState>();
    volume->name = displayName(root);
    volume->root = std::move(root);
    volume->searcher = std::make_shared<Searcher>(*index);
    volume->count = index->liveCount();
    volume->index = std::move(index);
    return volume;
}

void Model::startScan(const std::shared_ptr<VolumeState>& volume) {
    volume->scanning = true;
    scanQueue_.post([this, volume, index = volume->index, root = volume->root] {
        ScanOutcome outcome;
        try {
            index->scan(std::array{root}, scanThreads);
        } catch (const IndexError& error) {
            outcome.failure = error.what();
        }
        outcome.seconds = index->scanSeconds();
        mainQueue_.post([this, volume, outcome] { scanFinished(*volume, outcome); });
    });
}

void Model::scanFinished(VolumeState& volume, ScanOutcome outcome) {
    volume.seconds = outcome.seconds;
    volume.failure = std::move(outcome.failure);
    volume.count = volume.index->liveCount();
    volume.scanning = false;
    runSearch(false);
    Q_EMIT volumesChanged();
}

bool Model::anyScanning() const {
    return std::ranges::any_of(volumes_, [](const auto& volume) { return volume->scanning; });
}

void Model::setHidden(VolumeState& volume, bool hidden) {
    volume.hidden = hidden;
    runSearch(false);
}

void Model::tick() {
    bool changed = false;
    for (const auto& volume : volumes_) {
        const std::uint32_t count = volume->index->liveCount();
        changed = changed || count != volume->count;
        volume->count = count;
        if (!volume->scanning && !volume->maintaining)
            rebuildStaleOrders(volume);
    }
    if (changed)
        Q_EMIT volumesChanged();
}

void Model::rebuildStaleOrders(const std::shared_ptr<VolumeState>& volume) {
    const std::vector<SortKey> keys = volume->index->staleKeys();
    if (keys.empty())
        return;
    volume->maintaining = true;
    orderQueue_.post([this, volume, index = volume->index, keys] {
        for (SortKey key : keys)
            index->rebuildPermutation(key);
        mainQueue_.post([volume] { volume->maintaining = false; });
    });
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
