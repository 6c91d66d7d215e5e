#include "QuarrydexApp/model/GlobalOrderKeeper.h"

#include "QuarrydexCore/base/Log.h"
#include "QuarrydexCore/catalog/VolumeID.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace quarrydex {

namespace {

using Indexes = std::vector<std::shared_ptr<VolumeIndex>>;

/// What a task does on the queue.
struct Job {
    Indexes indexes;
    std::string file; ///< name
    bool mayLoad{};
    bool maySave{};
};

Indexes indexesOf(GlobalOrderKeeper::Volumes volumes) {
    Indexes out;
    for (const auto& volume : volumes)
        out.push_back(volume->index);
    return out;
}

/// One file for each set of volumes: they may be chosen by the command line.
std::string fileName(GlobalOrderKeeper::Volumes volumes) {
    std::string catalogues;
    for (const auto& volume : volumes)
        catalogues += volume->snapshotPath + '\0';
    char name[32];
    std::snprintf(name, sizeof name, "/%016llx.ord",
                  static_cast<unsigned long long>(VolumeID::fnv(catalogues)));
    return name;
}

/// A saved order is read if it may be; one that was built is saved.
std::shared_ptr<const GlobalOrder> loadOrBuild(const Job& job, const AppFolders& folders) {
    const std::string path =
        job.mayLoad || job.maySave ? VolumeID::directory(folders) + job.file : std::string();
    if (job.mayLoad)
        if (auto saved = GlobalOrder::load(path, job.indexes);
            saved && !saved->isOutgrown(job.indexes))
            return saved;
    auto built = GlobalOrder::build(job.indexes);
    if (built && job.maySave && !built->persisted().writeCache(path))
        logLine("cannot save " + path);
    return built;
}

} // namespace

/// One volume needs no such order: its own name order serves.
bool GlobalOrderKeeper::maintain(Volumes volumes, SerialQueue& queue) {
    if (volumes.size() < 2) {
        order_.reset();
        return std::exchange(isNew_, false);
    }
    const Indexes indexes = indexesOf(volumes);
    const bool serves = order_ && order_->isUsable(indexes) && !order_->isOutgrown(indexes);
    if (!serves && !isBeingMade_ && options_.builds)
        make(volumes, queue);
    return std::exchange(isNew_, false);
}

void GlobalOrderKeeper::make(Volumes volumes, SerialQueue& queue) {
    isBeingMade_ = true;
    Job job{.indexes = indexesOf(volumes),
            .file = fileName(volumes),
            .mayLoad = options_.persists && !order_,
            .maySave = options_.persists && std::ranges::all_of(volumes, [](const auto& volume) {
                           return volume->lock != nullptr;
                       })};
    queue.post([this, job = std::move(job)] {
        main_.post([this, order = loadOrBuild(job, folders_)] {
            isBeingMade_ = false;
            isNew_ = order != nullptr;
            if (order)
                order_ = order;
        });
    });
}

} // namespace quarrydex
