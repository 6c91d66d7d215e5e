#include "QuarrydexApp/headless/Headless.h"

#include "QuarrydexApp/headless/Batch.h"
#include "QuarrydexApp/headless/Duplicates.h"
#include "QuarrydexApp/headless/Explain.h"
#include "QuarrydexApp/headless/List.h"
#include "QuarrydexApp/headless/Output.h"
#include "QuarrydexApp/headless/SelfTest.h"
#include "QuarrydexApp/headless/StartupBench.h"
#include "QuarrydexApp/headless/Terminal.h"
#include "QuarrydexApp/headless/Watch.h"
#include "QuarrydexApp/prefs/Prefs.h"
#include "QuarrydexCore/base/AppInfo.h"
#include "QuarrydexCore/base/Log.h"
#include "QuarrydexCore/text/Lang.h"
#include "QuarrydexCore/text/tr.h"

#include <QCoreApplication>
#include <QLocale>

#include <clocale>

#include <unistd.h>

namespace quarrydex {

namespace {

using Mode = Options::Mode;

ExitStatus fail(const std::string& message) {
    printError(message);
    return ExitStatus::error;
}

ExitStatus print(const std::string& text) {
    Output out(STDOUT_FILENO);
    out.append(text);
    return out.finish() ? ExitStatus::success : ExitStatus::error;
}

ExitStatus runMode(const Options& options) {
    switch (options.mode) {
    case Mode::none:
        return runWatch(options);
    case Mode::help:
        return print(helpText());
    case Mode::version:
        return print(std::string(appName) + " " + appVersion + "\n");
    case Mode::list:
        return runList(options);
    case Mode::batch:
        return runBatch(options);
    case Mode::duplicates:
        return runDuplicates(options);
    case Mode::explain:
        return runExplain(options);
    case Mode::selfTest:
        return runSelfTest(options);
    case Mode::startupBench:
        return runStartupBench(options);
    }
    return ExitStatus::error;
}

bool searches(Mode mode) {
    return mode != Mode::help && mode != Mode::version;
}

/// Qt's own remarks (on the locale, for one) are nothing for a script's standard error.
void logQtMessage(QtMsgType, const QMessageLogContext&, const QString& message) {
    logLine(message.toStdString());
}

} // namespace

int runHeadless(const Options& options, int argc, char** argv) {
    Prefs& prefs = Prefs::shared();
    if (!options.kindStyle.empty())
        prefs.overrideKindStyle(options.kindStyle);
    Lang::shared().setChoice(prefs.language());
    QLocale::setDefault(QLocale(QString::fromStdString(Lang::shared().locale())));
    if (searches(options.mode) && options.roots.empty() && !prefs.configured())
        return static_cast<int>(fail(tr("No folder given: use --root DIR.")));
    qInstallMessageHandler(logQtMessage);
    const QCoreApplication app(argc, argv);
    // Output for scripts looks the same everywhere. No other thread runs yet.
    std::setlocale(LC_NUMERIC, "C"); // NOLINT(concurrency-mt-unsafe)
    return static_cast<int>(runMode(options));
}

} // namespace quarrydex
