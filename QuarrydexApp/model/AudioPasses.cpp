#include "QuarrydexApp/model/AudioPasses.h"

#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/platform/ThreadPriority.h"

#include <algorithm>
#include <utility>

namespace quarrydex {

namespace {

/// Reading waits for the disk more than it computes.
unsigned readers() {
    return std::clamp(processorCount(), 2U, 4U);
}

/// On a drive that changes all the time one part in so many of one core goes to passes at most.
constexpr std::uint64_t passShare = 50;

} // namespace

AudioPasses::AudioPasses(Options options, const Clock& clock, Surroundings surroundings)
    : options_(options), clock_(clock), surroundings_(std::move(surroundings)) {}

bool AudioPasses::isBehind(const VolumeState& volume) const {
    return options_.isOn && !volume.offline && !volume.failure &&
           (volume.scanning || volume.audioRunning || volume.audioSig != volume.index->mutations());
}

void AudioPasses::maintain(const std::shared_ptr<VolumeState>& volume) {
    const std::int64_t version = volume->index->audioVersion();
    if (std::exchange(volume->lastAudioVersion, version) != version && resultsDependOnTags_)
        surroundings_.onNewTags();
    if (isDue(*volume))
        start(volume);
}

bool AudioPasses::isDue(const VolumeState& volume) const {
    if (!options_.isOn || volume.audioRunning || volume.failure)
        return false;
    const bool hasChanged = volume.audioSig != volume.index->mutations();
    const bool haveSettled = clock_.now() >= volume.audioAgainAt;
    return (hasChanged && clock_.monotonicNs() >= volume.audioNotBefore) || haveSettled;
}

void AudioPasses::start(const std::shared_ptr<VolumeState>& volume) {
    const std::weak_ptr weak(volume);
    auto indexer = std::make_shared<AudioIndexer>(volume->index, readers());
    indexer->beginAt(clock_.now());
    indexer->yields = options_.yields;
    indexer->onProgress = [this, weak](const AudioIndexer::Progress& progress) {
        surroundings_.onMain(weak,
                             [this, progress](VolumeState& held) { progressed(held, progress); });
    };
    volume->audioSig = volume->index->mutations();
    volume->audioAgainAt = VolumeState::neverAgain;
    volume->audioRunning = true;
    volume->audioIndexer = indexer;
    queue_.post([this, weak, indexer] { run(weak, *indexer); });
}

/// On the queue, whose thread does nothing else. Looking for work and storing rows would hold up a
/// search no less than reading does.
void AudioPasses::run(const std::weak_ptr<VolumeState>& volume, AudioIndexer& indexer) const {
    if (options_.yields)
        yieldToOthers();
    const std::uint64_t begin = clock_.monotonicNs();
    const AudioIndexer::Pending work = indexer.pending();
    const std::uint64_t lookedNs = clock_.monotonicNs() - begin;
    indexer.run(work);
    const bool hasUnsettled = indexer.hasUnsettled();
    surroundings_.onMain(volume, [this, lookedNs, hasUnsettled](VolumeState& held) {
        finished(held, lookedNs, hasUnsettled);
    });
}

void AudioPasses::progressed(VolumeState& volume, AudioIndexer::Progress progress) const {
    volume.audioDone = progress.done;
    volume.audioTotal = progress.total;
    surroundings_.onProgress();
}

/// `lookedNs`: finding out what there was to read.
void AudioPasses::finished(VolumeState& volume, std::uint64_t lookedNs, bool hasUnsettled) const {
    volume.audioRunning = false;
    volume.audioIndexer.reset();
    volume.audioNotBefore = clock_.monotonicNs() + passShare * lookedNs;
    if (hasUnsettled)
        volume.audioAgainAt = clock_.now() + AudioIndexer::settlingTime + 1;
    surroundings_.onProgress();
}

void AudioPasses::cancel(VolumeState& volume) {
    if (!volume.audioIndexer)
        return;
    volume.audioIndexer->cancel();
    volume.audioSig = -1; // the rest is for the next pass
}

} // namespace quarrydex
