#include "QuarrydexApp/headless/Duplicates.h"

#include "QuarrydexApp/headless/Output.h"
#include "QuarrydexApp/headless/ProgressLine.h"
#include "QuarrydexApp/headless/Terminal.h"
#include "QuarrydexApp/headless/Termination.h"
#include "QuarrydexAudio/dupes/DupExport.h"
#include "QuarrydexAudio/dupes/DuplicateFinder.h"
#include "QuarrydexCore/text/tr.h"

#include <QEventLoop>

#include <thread>
#include <vector>

#include <unistd.h>

namespace quarrydex {

namespace {

using List = Options::DuplicateList;

/// The catalogues that can be looked into; tells the drives that are left out.
DupVolumes searchable(const Model& model) {
    DupVolumes volumes;
    for (const auto& volume : model.volumes()) {
        if (volume->offline)
            printError(
                tr("“{drive}” is not connected and is left out.", {{"drive", volume->name}}));
        else if (!volume->failure)
            volumes.push_back(volume->index);
    }
    return volumes;
}

/// What a run has to tell, on the terminal while it works.
class Teller {
  public:
    void tell(const DupProgress& progress) {
        if (progress.lacksFpcalc && !lacksFpcalc_) {
            lacksFpcalc_ = true;
            line_.clear();
            printError(progress.title());
        }
        line_.show(
            tr("{stage}: {done} of {total}, groups: {groups}", {{"stage", progress.title()},
                                                                {"done", progress.done},
                                                                {"total", progress.total},
                                                                {"groups", progress.groups}}));
    }

  private:
    ProgressLine line_;
    bool lacksFpcalc_ = false;
};

/// Runs the finder beside the event loop, which a signal reaches.
std::vector<DupGroup> findDuplicates(DuplicateFinder& finder) {
    QEventLoop loop;
    const Termination termination([&] { finder.cancel(); });
    std::vector<DupGroup> groups;
    std::thread worker([&] {
        Teller teller;
        groups = finder.run([&](const DupProgress& progress) { teller.tell(progress); });
        QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
    });
    loop.exec();
    worker.join();
    return groups;
}

DupExport::Which whichOf(List list) {
    if (list == List::m3uSurplus)
        return DupExport::Which::surplus;
    return list == List::m3uKeep ? DupExport::Which::keep : DupExport::Which::all;
}

std::string textOf(const std::vector<DupGroup>& groups, List list) {
    if (list == List::csv)
        return DupExport::csv(groups);
    if (const std::size_t count = DupExport::unlistable(groups, whichOf(list)); count > 0)
        printError(trn("{count} file is not in the playlist: its path holds a line break.",
                       "{count} files are not in the playlist: their paths hold line breaks.",
                       count));
    return DupExport::m3u(groups, whichOf(list));
}

void tellLeftOut(const LeftOut& left) {
    if (left.changed > 0)
        printError(trn("{count} file was left out: it has just changed.",
                       "{count} files were left out: they have just changed.", left.changed));
    if (left.unreadable > 0)
        printError(trn("{count} file could not be read and was not compared by content.",
                       "{count} files could not be read and were not compared by content.",
                       left.unreadable));
    if (left.withoutFingerprint > 0)
        printError(trn("{count} file has no fingerprint: fpcalc cannot read it, or it is short.",
                       "{count} files have no fingerprint: fpcalc cannot read them, or they are "
                       "short.",
                       left.withoutFingerprint));
}

} // namespace

ExitStatus runDuplicates(const Options& options) {
    Session session(options, {.analysesAudio = true});
    session.scan();
    session.analyseAudio();
    DuplicateFinder finder(searchable(session.model()), options.finder);
    const std::vector<DupGroup> groups = findDuplicates(finder);

    session.finish();

    Output out(STDOUT_FILENO);
    out.append(textOf(groups, options.duplicateList));
    const bool isWritten = out.finish();
    tellLeftOut(finder.leftOut());
    if (finder.isCancelled())
        printError(tr("Cancelled — partial result."));
    else if (groups.empty())
        printError(tr("No duplicates found."));
    if (!isWritten || finder.isCancelled() || session.hasFailures())
        return ExitStatus::error;
    return groups.empty() ? ExitStatus::noHits : ExitStatus::success;
}

} // namespace quarrydex
