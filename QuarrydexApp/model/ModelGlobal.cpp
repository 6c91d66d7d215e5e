#include "QuarrydexApp/model/Model.h"
#include "QuarrydexCore/base/Log.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace quarrydex {

/// One volume needs no such order: its own name order serves.
bool Model::maintainGlobal() {
    if (volumes_.size() < 2) {
        global_.reset();
        return std::exchange(globalIsNew_, false);
    }
    const bool serves = global_ && global_->isUsable(indexes()) && !global_->isOutgrown(indexes());
    if (!serves && !globalBuilding_ && options_.keepsOrders && !anyScanning())
        buildGlobal();
    return std::exchange(globalIsNew_, false);
}

/// A saved order is read if there is none yet; one that was built is saved.
void Model::buildGlobal() {
    globalBuilding_ = true;
    const bool mayLoad = options_.persist && !global_;
    const bool maySave = options_.persist && std::ranges::all_of(volumes_, [](const auto& volume) {
                             return volume->lock != nullptr;
                         });
    orderQueue_.post([this, indexes = indexes(), name = globalName(), mayLoad, maySave] {
        std::shared_ptr<const GlobalOrder> order;
        const std::string path =
            mayLoad || maySave ? VolumeID::directory(platform_.folders) + name : std::string();
        if (mayLoad)
            order = GlobalOrder::load(path, indexes);
        if (order && order->isOutgrown(indexes))
            order.reset();
        if (!order) {
            order = GlobalOrder::build(indexes);
            if (order && maySave && !order->persisted().writeCache(path))
                logLine("cannot save " + path);
        }
        mainQueue_.post([this, order = std::move(order)] {
            globalBuilding_ = false;
            globalIsNew_ = order != nullptr;
            if (order)
                global_ = order;
        });
    });
}

std::vector<std::shared_ptr<VolumeIndex>> Model::indexes() const {
    std::vector<std::shared_ptr<VolumeIndex>> out;
    for (const VolumePtr& volume : volumes_)
        out.push_back(volume->index);
    return out;
}

/// One file for each set of volumes: they may be chosen by the command line.
std::string Model::globalName() const {
    std::string catalogues;
    for (const VolumePtr& volume : volumes_)
        catalogues += volume->snapshotPath + '\0';
    char name[32];
    std::snprintf(name, sizeof name, "/%016llx.ord",
                  static_cast<unsigned long long>(VolumeID::fnv(catalogues)));
    return name;
}

} // namespace quarrydex
