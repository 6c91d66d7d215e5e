#include "QuarrydexApp/headless/WaitTeller.h"

#include "QuarrydexCore/text/tr.h"

namespace quarrydex {

WaitTeller::WaitTeller(const Model& model) : model_(model) {
    QObject::connect(&model, &Model::volumesChanged, &context_, [this] { tell(); });
}

void WaitTeller::tell() {
    std::size_t entries = 0;
    std::size_t done = 0;
    std::size_t total = 0;
    for (const auto& volume : model_.volumes()) {
        entries += volume->count;
        done += volume->audioDone;
        total += volume->audioTotal;
    }
    if (model_.anyUpdating())
        line_.show(trn("{count} entry so far", "{count} entries so far", entries));
    else if (model_.anyAnalysing())
        line_.show(tr("Reading tags: {done} of {total}", {{"done", done}, {"total", total}}));
    else
        line_.clear();
}

} // namespace quarrydex
