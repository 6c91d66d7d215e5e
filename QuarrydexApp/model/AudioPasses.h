/// Keeps the tags of the volumes' music known: reads those of new and changed files whenever a
/// catalogue has changed, one volume after the other.
///
/// A pass that finds nothing to do still looks at every entry, so passes keep a distance, and none
/// follows a catalogue that has not changed. Two things can still make one follow: files that were
/// read too soon after they were written, and a pass that was cancelled.
///
/// Threads: the main thread, except that passes run on a queue of their own. What a pass tells goes
/// through Surroundings::onMain; no volume is held meanwhile. Destroying waits for the pass that
/// runs, which cancel() makes short.
/// Failure: none; files that cannot be read count as read until they change.
#pragma once

#include "QuarrydexApp/model/VolumeState.h"
#include "QuarrydexCore/base/SerialQueue.h"
#include "QuarrydexCore/platform/Clock.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace quarrydex {

class AudioPasses {
  public:
    struct Options {
        bool isOn = true;   ///< else no file is read; rows that are there are still looked after
        bool yields = true; ///< leaves processor and disk to others: nobody waits for a pass
    };

    /// Who owns the volumes. All but onMain are called on the main thread.
    struct Surroundings {
        using VolumeCall = std::function<void(VolumeState&)>;

        /// Calls f on the main thread if the volume is still in use by then. Any thread.
        std::function<void(const std::weak_ptr<VolumeState>&, VolumeCall f)> onMain;
        std::function<void()> onProgress; ///< the audio fields of a VolumeState changed
        std::function<void()> onNewTags;  ///< results that depend on tags are out of date
    };

    /// The clock outlives this.
    AudioPasses(Options options, const Clock& clock, Surroundings surroundings);

    /// Whether what is shown depends on tags: else new ones are told to nobody.
    void setResultsDependOnTags(bool depend) { resultsDependOnTags_ = depend; }

    /// Starts a pass if one is due, and tells of new tags. For a volume that is there and filled;
    /// to be called now and then, or to have the pass begin at once.
    void maintain(const std::shared_ptr<VolumeState>& volume);

    /// True while files of the volume are known whose tags are not.
    [[nodiscard]] bool isBehind(const VolumeState& volume) const;

    /// Ends the volume's pass early; the rest is for the next one.
    static void cancel(VolumeState& volume);

  private:
    [[nodiscard]] bool isDue(const VolumeState& volume) const;
    void start(const std::shared_ptr<VolumeState>& volume);
    void run(const std::weak_ptr<VolumeState>& volume, AudioIndexer& indexer) const;
    void progressed(VolumeState& volume, AudioIndexer::Progress progress) const;
    void finished(VolumeState& volume, std::uint64_t lookedNs, bool hasUnsettled) const;

    const Options options_;
    const Clock& clock_;
    const Surroundings surroundings_;
    bool resultsDependOnTags_ = false;
    SerialQueue queue_; ///< last: a pass ends before what it uses
};

} // namespace quarrydex
