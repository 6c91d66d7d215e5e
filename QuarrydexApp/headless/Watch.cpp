#include "QuarrydexApp/headless/Watch.h"

#include "QuarrydexApp/headless/Terminal.h"
#include "QuarrydexApp/headless/Termination.h"
#include "QuarrydexApp/headless/WaitTeller.h"
#include "QuarrydexApp/model/StatusText.h"
#include "QuarrydexCore/text/tr.h"

#include <QEventLoop>

#include <algorithm>
#include <set>

#include <unistd.h>

namespace quarrydex {

namespace {

/// Tells each thing once, on standard error, and on a terminal how far the catalogues are.
class Notices {
  public:
    explicit Notices(const Model& model) : progress_(model) {}

    void tell(const Model& model) {
        for (const auto& volume : model.volumes()) {
            if (volume->failure)
                tell(*volume->failure);
            tell(watchNotice(*volume));
        }
        if (!isLive_ && !model.anyUpdating()) {
            isLive_ = true;
            if (isTerminal(STDERR_FILENO))
                tell(tr("The catalogues are up to date and stay so. Ctrl-C saves them and ends."));
        }
    }

  private:
    void tell(const std::string& message) {
        if (message.empty() || !told_.insert(message).second)
            return;
        progress_.clear();
        printError(message);
    }

    WaitTeller progress_;

    std::set<std::string> told_;
    bool isLive_ = false;
};

/// No folder could be scanned, so nothing can change either.
bool nothingIsLeft(const Model& model) {
    return !model.anyUpdating() && std::ranges::all_of(model.volumes(), [](const auto& volume) {
        return volume->failure.has_value();
    });
}

} // namespace

ExitStatus runWatch(const Options& options) {
    Session session(options, {.keepsOrders = true, .watches = true, .analysesAudio = true});
    Model& model = session.model();
    QEventLoop loop;
    const Termination termination([&] { loop.quit(); });
    Notices notices(model);
    QObject::connect(&model, &Model::volumesChanged, &loop, [&] {
        notices.tell(model);
        if (nothingIsLeft(model))
            loop.quit();
    });
    model.startScans();
    loop.exec();
    model.saveAll();
    return session.hasFailures() ? ExitStatus::error : ExitStatus::success;
}

} // namespace quarrydex
