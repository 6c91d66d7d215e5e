/// The duplicate finder as the window sees it: what it is to look for, how far it is, what it
/// found, what is to be kept of that, and the lists of it.
///
///   idle ── start ──▶ running ──▶ done
///                        └─ cancel ─▶ cancelled      with what was found by then
///
/// A run waits first until the catalogues are filled and the tags of their music are read: what is
/// the same song, and which copy to keep, rests on them.
///
/// Threads: the main thread; signals and functions passed in are called on it. The finder works on
/// one queue, what asks the disk on another.
/// Ownership: refers to the model and the tools, which outlive it. Destroying cancels a run and
/// waits for the item it is at.
/// Failure: a run has none; that of a list is told in Exported.
#pragma once

#include "QuarrydexApp/model/QtMainQueue.h"
#include "QuarrydexAudio/dupes/DupList.h"
#include "QuarrydexAudio/dupes/DupResult.h"
#include "QuarrydexAudio/dupes/DuplicateFinder.h"
#include "QuarrydexCore/base/SerialQueue.h"

#include <QObject>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quarrydex {

class Model;
struct VolumeState;

class DupModel : public QObject {
    Q_OBJECT

  public:
    enum class State : std::uint8_t { idle, running, done, cancelled };

    struct Options {
        bool identical = true;            ///< size, quickHash and fullHash
        bool sameSong = true;             ///< the same recording in another format
        bool acoustic = false;            ///< songs are confirmed by fingerprints
        std::uint64_t minSize = 1024;     ///< bytes
        std::uint32_t toleranceMs = 2000; ///< by which copies of a song may differ in length

        /// False when there is nothing to look for.
        [[nodiscard]] bool areUseful() const { return identical || sameSong; }

        bool operator==(const Options&) const = default;
    };

    /// What the progress line says.
    struct Progress {
        std::string title;    ///< of the stage, in the language in effect when it was told
        std::size_t done{};   ///< items of the stage
        std::size_t total{};  ///< 0: not known
        std::size_t groups{}; ///< found so far
    };

    explicit DupModel(Model& model, DuplicateFinder::Tools tools = {});
    ~DupModel() override;

    // --- What to look for -----------------------------------------------------------------------

    [[nodiscard]] const Options& options() const { return options_; }

    /// For the next run.
    void setOptions(const Options& options);

    /// Whether fpcalc was there when last looked for; false until then.
    [[nodiscard]] bool hasFpcalc() const { return hasFpcalc_; }

    /// Looks for it, in the background.
    void lookForFpcalc();

    // --- Running --------------------------------------------------------------------------------

    [[nodiscard]] State state() const { return state_; }

    /// The ids of the volumes that are not offline.
    [[nodiscard]] std::vector<std::string> connectedVolumes() const;

    /// Begins a run over those of the volumes that are not offline; the groups of the one before
    /// are gone. Nothing when a run is under way, or the options ask for nothing.
    void start(const std::vector<std::string>& volumeIds);

    /// The run ends at its next item.
    void cancel();

    /// True from cancel() until the run has ended.
    [[nodiscard]] bool isCancelling() const { return isCancelling_; }

    [[nodiscard]] const Progress& progress() const { return progress_; }

    // --- What was found -------------------------------------------------------------------------

    /// Largest surplus first as the run found them; a choice of what to keep moves none.
    [[nodiscard]] const std::vector<DupGroup>& groups() const { return result_->groups(); }

    [[nodiscard]] const DupResult::Surplus& surplus() const { return result_->surplus(); }

    /// Display name of the drive.
    [[nodiscard]] const std::string& driveOf(const DupMember& member) const {
        return drives_[member.vol];
    }

    /// Audio files that the last run considered.
    [[nodiscard]] std::size_t filesConsidered() const { return filesConsidered_; }

    /// What did not take part in the last run, in sentences: drives and files.
    [[nodiscard]] std::vector<std::string> notices() const;

    /// Keeps that member of that group.
    void setKeep(std::size_t group, std::size_t member);

    // --- Lists ----------------------------------------------------------------------------------

    struct Exported {
        enum class Outcome : std::uint8_t { written, refused, failed };

        Outcome outcome = Outcome::written;
        std::string path;
        std::string message; ///< why it failed
        std::size_t notListed{};
    };

    using Told = std::function<void(const Exported&)>;

    /// Writes the list with the choices as they are now, in the background. Refused where lists may
    /// not go; nothing is written then. `told` is not called once this is gone.
    void exportList(DupList list, std::string path, Told told);

  Q_SIGNALS:
    void stateChanged();
    void progressed();
    void optionsChanged(); ///< or hasFpcalc()

    /// The members or the choice of these groups changed.
    void groupsChanged(const std::vector<std::size_t>& groups);

  private:
    /// A volume to look into. While it is made anew its state is replaced by another one.
    struct Chosen {
        std::weak_ptr<VolumeState> state;
        std::string id;
        std::int64_t mutations = -1; ///< of the filled catalogue, whose tags are waited for
    };

    /// What a run leaves behind.
    struct Outcome {
        DupResult result;
        LeftOut leftOut;
        bool isCancelled{};
    };

    [[nodiscard]] std::shared_ptr<VolumeState> volumeOf(Chosen& chosen) const;
    void proceed();
    [[nodiscard]] bool isReady();
    [[nodiscard]] bool isReady(Chosen& chosen) const;
    void tellWaiting();
    void runFinder();
    void told(const DupProgress& progress);
    void finished(Outcome outcome);
    void setState(State state);

    Model& model_;
    const DuplicateFinder::Tools tools_;
    Options options_;
    State state_ = State::idle;
    bool hasFpcalc_ = false;
    bool isWaiting_ = false; ///< running, but the finder has not begun
    bool isCancelling_ = false;
    std::vector<Chosen> chosen_;
    Progress progress_;
    std::shared_ptr<DuplicateFinder> finder_; ///< of the run under way

    /// Shared with the lists that are being made, and copied when a choice changes meanwhile.
    std::shared_ptr<DupResult> result_ = std::make_shared<DupResult>();
    LeftOut leftOut_;
    std::vector<std::string> drives_;       ///< display names, by DupMember::vol
    std::vector<std::string> notConnected_; ///< display names
    std::size_t filesConsidered_ = 0;

    // Last, and in this order: the queues end before what they post to.
    QtMainQueue mainQueue_;
    SerialQueue diskQueue_;
    SerialQueue runQueue_;
};

} // namespace quarrydex
