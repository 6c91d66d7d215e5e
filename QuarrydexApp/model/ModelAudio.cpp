#include "QuarrydexApp/model/Model.h"
#include "QuarrydexCore/base/ParallelFor.h"

#include <algorithm>

namespace quarrydex {

namespace {

/// Reading waits for the disk more than it computes.
unsigned readers() {
    return std::clamp(processorCount(), 2U, 4U);
}

/// A pass that finds nothing to do still looks at every entry: on a drive that changes all the time
/// this share of one core goes to it at most.
constexpr std::uint64_t passShare = 50;

} // namespace

bool Model::anyAnalysing() const {
    return options_.analysesAudio && std::ranges::any_of(volumes_, [](const auto& volume) {
               return !volume->offline && !volume->failure &&
                      (volume->scanning || volume->audioRunning ||
                       volume->audioSig != volume->index->mutations());
           });
}

void Model::analyseAudio() {
    for (const VolumePtr& volume : std::vector(volumes_)) // the list may change meanwhile
        if (!volume->offline && !volume->scanning)
            maintainAudio(volume);
}

/// Starts a pass when the catalogue has changed since the last one, and searches again when a pass
/// has found something that results depend on.
void Model::maintainAudio(const VolumePtr& volume) {
    const std::int64_t version = volume->index->audioVersion();
    if (version != volume->lastAudioVersion) {
        volume->lastAudioVersion = version;
        if (asksForAudio_)
            runSearch(false);
    }
    if (!options_.analysesAudio || volume->audioRunning || volume->failure)
        return;
    const bool hasChanged = volume->audioSig != volume->index->mutations();
    const bool haveSettled = platform_.clock.now() >= volume->audioAgainAt;
    if ((hasChanged && platform_.clock.monotonicNs() >= volume->audioNotBefore) || haveSettled)
        startAudio(volume);
}

void Model::startAudio(const VolumePtr& volume) {
    const std::weak_ptr weak(volume);
    auto indexer = std::make_shared<AudioIndexer>(volume->index, readers());
    indexer->beginAt(platform_.clock.now());
    indexer->yields = options_.watches; // else someone waits for nothing but this
    indexer->onProgress = [this, weak](const AudioIndexer::Progress& progress) {
        onMain(weak, [this, progress](const VolumePtr& held) {
            audioProgressed(*held, progress.done, progress.total);
        });
    };
    volume->audioSig = volume->index->mutations();
    volume->audioAgainAt = VolumeState::neverAgain;
    volume->audioRunning = true;
    volume->audioIndexer = indexer;
    audioQueue_.post([this, weak, indexer] {
        const std::uint64_t begin = platform_.clock.monotonicNs();
        const AudioIndexer::Pending work = indexer->pending();
        const std::uint64_t looked = platform_.clock.monotonicNs();
        indexer->run(work);
        onMain(weak, [this, took = looked - begin, indexer](const VolumePtr& held) {
            audioFinished(*held, took, indexer->hasUnsettled());
        });
    });
}

void Model::audioProgressed(VolumeState& volume, std::size_t done, std::size_t total) {
    volume.audioDone = done;
    volume.audioTotal = total;
    Q_EMIT volumesChanged();
}

/// `tookNs`: finding out what there was to read.
void Model::audioFinished(VolumeState& volume, std::uint64_t tookNs, bool hasUnsettled) {
    volume.audioRunning = false;
    volume.audioIndexer.reset();
    volume.audioNotBefore = platform_.clock.monotonicNs() + passShare * tookNs;
    if (hasUnsettled)
        volume.audioAgainAt = platform_.clock.now() + AudioIndexer::settlingTime + 1;
    Q_EMIT volumesChanged();
}

void Model::cancelAudio(VolumeState& volume) {
    if (!volume.audioIndexer)
        return;
    volume.audioIndexer->cancel();
    volume.audioSig = -1; // the rest is for the next pass
}

} // namespace quarrydex
