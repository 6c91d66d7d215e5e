#include "QuarrydexApp/headless/StartupBench.h"

#include "QuarrydexApp/headless/Output.h"

#include <QEventLoop>
#include <QTimer>

#include <chrono>
#include <cstdio>

#include <unistd.h>

namespace quarrydex {

namespace {

constexpr std::chrono::seconds patience{60};

} // namespace

ExitStatus runStartupBench(const Options& options) {
    Session session(options, {.keepsOrders = true, .watches = true, .analysesAudio = true});
    Model& model = session.model();
    QEventLoop loop;
    QObject::connect(&model, &Model::resultsChanged, &loop, [&] {
        if (!model.results()->rows.empty())
            loop.quit();
    });
    QTimer::singleShot(patience, &loop, &QEventLoop::quit);
    model.setBrowseAll(true);
    model.startScans();
    loop.exec();

    const std::uint64_t now = systemPlatform().clock.monotonicNs();
    std::string volumes;
    for (const auto& volume : model.volumes())
        volumes += (volumes.empty() ? "" : ", ") + volume->name + "=" +
                   (volume->loaded ? " snapshot" : " scan");
    char head[128];
    std::snprintf(head, sizeof head, "startup: %.0f ms from main() to %zu rows (",
                  static_cast<double>(now - options.startNs) / 1e6, model.results()->rows.size());
    Output out(STDOUT_FILENO);
    out.append(head + volumes + ")\n");
    const bool isWritten = out.finish();
    model.saveAll();
    return isWritten ? ExitStatus::success : ExitStatus::error;
}

} // namespace quarrydex
