#include "QuarrydexApp/windows/DupModel.h"

#include "QuarrydexApp/model/Model.h"
#include "QuarrydexAudio/dupes/DupExport.h"
#include "QuarrydexAudio/dupes/DupNotices.h"
#include "QuarrydexCore/catalog/ExportFile.h"
#include "QuarrydexCore/catalog/IndexError.h"
#include "QuarrydexCore/text/tr.h"

#include <algorithm>
#include <utility>

namespace quarrydex {

namespace {

DuplicateFinder::Options finderOptions(const DupModel::Options& wanted) {
    DuplicateFinder::Options options;
    options.minSize = wanted.minSize;
    options.durationToleranceMs = wanted.toleranceMs;
    options.stages = {};
    if (wanted.identical)
        for (DupStage stage : {DupStage::size, DupStage::quickHash, DupStage::fullHash})
            options.stages.insert(stage);
    if (wanted.sameSong)
        options.stages.insert(DupStage::sameSong);
    if (wanted.sameSong && wanted.acoustic)
        options.stages.insert(DupStage::fingerprint);
    return options;
}

DupModel::Exported write(std::string path, const std::string& text) {
    using Outcome = DupModel::Exported::Outcome;
    DupModel::Exported exported;
    exported.path = std::move(path);
    if (!DupExport::mayWriteTo(exported.path)) {
        exported.outcome = Outcome::refused;
        return exported;
    }
    try {
        ExportFile{text}.save(exported.path);
    } catch (const IndexError& error) {
        exported.outcome = Outcome::failed;
        exported.message = error.what();
    }
    return exported;
}

} // namespace

DupModel::DupModel(Model& model, DuplicateFinder::Tools tools)
    : model_(model), tools_(std::move(tools)) {
    connect(&model_, &Model::volumesChanged, this, &DupModel::proceed);
    lookForFpcalc();
}

DupModel::~DupModel() {
    if (finder_)
        finder_->cancel();
}

void DupModel::setOptions(const Options& options) {
    if (options == options_)
        return;
    options_ = options;
    Q_EMIT optionsChanged();
}

void DupModel::lookForFpcalc() {
    diskQueue_.post([this, find = tools_.fpcalc] {
        mainQueue_.post([this, isThere = find().has_value()] {
            if (std::exchange(hasFpcalc_, isThere) != isThere)
                Q_EMIT optionsChanged();
        });
    });
}

// --- Waiting for the catalogues -----------------------------------------------------------------

std::vector<std::string> DupModel::connectedVolumes() const {
    std::vector<std::string> ids;
    for (const auto& volume : model_.volumes())
        if (!volume->offline)
            ids.push_back(volume->id);
    return ids;
}

void DupModel::start(const std::vector<std::string>& volumeIds) {
    if (state_ == State::running || !options_.areUseful())
        return;
    chosen_.clear();
    notConnected_.clear();
    for (const auto& volume : model_.volumes()) {
        if (volume->offline)
            notConnected_.push_back(volume->name);
        else if (std::ranges::find(volumeIds, volume->id) != volumeIds.end())
            chosen_.push_back({volume, volume->id});
    }
    result_ = std::make_shared<DupResult>();
    leftOut_ = {};
    filesConsidered_ = 0;
    isWaiting_ = true;
    tellWaiting();
    setState(State::running);
    model_.analyseAudio();
    proceed();
}

/// Begins with the finder as soon as nothing is left to wait for.
void DupModel::proceed() {
    if (!isWaiting_)
        return;
    if (isReady()) {
        isWaiting_ = false;
        runFinder();
        return;
    }
    tellWaiting();
    Q_EMIT progressed();
}

bool DupModel::isReady() {
    // The second is for models that read no tags; a drive that changes all the time is never done.
    bool areAllReady = true;
    bool areFilled = true;
    for (Chosen& chosen : chosen_) {
        areAllReady = isReady(chosen) && areAllReady;
        const auto volume = volumeOf(chosen);
        areFilled = areFilled && !(volume && (volume->scanning || volume->updating));
    }
    return areAllReady || (areFilled && !model_.anyAnalysing());
}

/// True when the tags of all files are read that there were when the catalogue was first seen
/// filled.
bool DupModel::isReady(Chosen& chosen) const {
    const auto volume = volumeOf(chosen);
    if (!volume || volume->offline || volume->failure)
        return true;
    if (volume->scanning || volume->updating)
        return false;
    if (chosen.mutations < 0)
        chosen.mutations = volume->index->mutations();
    return !volume->audioRunning && volume->audioSig >= chosen.mutations;
}

/// Null when the volume is gone.
std::shared_ptr<VolumeState> DupModel::volumeOf(Chosen& chosen) const {
    const auto& volumes = model_.volumes();
    const auto held = chosen.state.lock();
    auto found = std::ranges::find(volumes, held);
    if (!held || found == volumes.end()) {
        found = std::ranges::find(volumes, chosen.id, &VolumeState::id);
        if (chosen.id.empty() || found == volumes.end())
            return nullptr;
        chosen = {.state = *found, .id = chosen.id};
    }
    chosen.id = (*found)->id;
    return *found;
}

void DupModel::tellWaiting() {
    bool areFilled = true;
    progress_ = {};
    for (Chosen& chosen : chosen_) {
        const auto volume = volumeOf(chosen);
        if (!volume)
            continue;
        areFilled = areFilled && !volume->scanning && !volume->updating;
        progress_.done += volume->audioDone;
        progress_.total += volume->audioTotal;
    }
    if (!areFilled)
        progress_ = {};
    progress_.title = areFilled ? quarrydex::tr("Reading tags")
                                : quarrydex::tr("Bringing the catalogs up to date");
}

// --- The run ------------------------------------------------------------------------------------

void DupModel::runFinder() {
    DupVolumes volumes;
    drives_.clear();
    for (Chosen& chosen : chosen_) {
        const auto volume = volumeOf(chosen);
        if (volume && volume->offline)
            notConnected_.push_back(volume->name);
        if (!volume || volume->offline || volume->failure)
            continue;
        volumes.push_back(volume->index);
        drives_.push_back(volume->name);
    }
    chosen_.clear();
    finder_ =
        std::make_shared<DuplicateFinder>(std::move(volumes), finderOptions(options_), tools_);
    runQueue_.post([this, finder = finder_] {
        std::vector<DupGroup> groups = finder->run(
            [this](const DupProgress& now) { mainQueue_.post([this, now] { told(now); }); });
        auto outcome = std::make_shared<Outcome>(
            Outcome{DupResult(std::move(groups)), finder->leftOut(), finder->isCancelled()});
        mainQueue_.post([this, outcome] { finished(std::move(*outcome)); });
    });
}

void DupModel::told(const DupProgress& now) {
    progress_ = {now.title(), now.done, now.total, now.groups};
    // The first stage, whichever it is, has all of them.
    filesConsidered_ = std::max(filesConsidered_, now.total);
    Q_EMIT progressed();
}

void DupModel::finished(Outcome outcome) {
    finder_.reset();
    result_ = std::make_shared<DupResult>(std::move(outcome.result));
    leftOut_ = outcome.leftOut;
    setState(outcome.isCancelled ? State::cancelled : State::done);
}

void DupModel::cancel() {
    if (state_ != State::running || isCancelling_)
        return;
    isCancelling_ = true;
    if (std::exchange(isWaiting_, false)) {
        setState(State::cancelled);
        return;
    }
    finder_->cancel();
    Q_EMIT progressed();
}

void DupModel::setState(State state) {
    state_ = state;
    isCancelling_ = false;
    Q_EMIT stateChanged();
}

// --- What was found -----------------------------------------------------------------------------

std::vector<std::string> DupModel::notices() const {
    std::vector<std::string> out;
    for (const std::string& drive : notConnected_)
        out.push_back(notConnectedNotice(drive));
    for (std::string& notice : quarrydex::notices(leftOut_))
        out.push_back(std::move(notice));
    return out;
}

void DupModel::setKeep(std::size_t group, std::size_t member) {
    if (result_.use_count() > 1) // a list is being made of what was chosen before
        result_ = std::make_shared<DupResult>(*result_);
    const std::vector<std::size_t> touched = result_->setKeep(group, member);
    if (!touched.empty())
        Q_EMIT groupsChanged(touched);
}

void DupModel::exportList(DupList list, std::string path, Told tell) {
    diskQueue_.post(
        [this, list, path = std::move(path), tell = std::move(tell), result = result_]() mutable {
            const std::string text = textOf(result->groups(), list);
            const std::size_t notListed = unlistable(result->groups(), list);
            // Only the main thread counts who holds the groups, so it also lets go of them.
            mainQueue_.post([result = std::move(result)] {});
            Exported exported = write(std::move(path), text);
            exported.notListed = notListed;
            mainQueue_.post(
                [tell = std::move(tell), exported = std::move(exported)] { tell(exported); });
        });
}

} // namespace quarrydex
