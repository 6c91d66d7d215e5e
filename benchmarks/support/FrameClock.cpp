#include "benchmarks/support/FrameClock.h"

#include <QDeadlineTimer>
#include <QEvent>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <utility>

#include <time.h>

namespace quarrydex::bench {

namespace {

int argumentCount = 1;
char programName[] = "bench";
char* argumentValues[] = {programName, nullptr};

/// Lets Qt's messages pass, but for the one that comes with every change of a least size.
void tell(QtMsgType, const QMessageLogContext&, const QString& text) {
    if (!text.contains(QLatin1String("propagateSizeHints")))
        std::fprintf(stderr, "%s\n", qPrintable(text));
}

/// Before the application object is made.
int& onNoDisplay() {
    qInstallMessageHandler(&tell);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    return argumentCount;
}

} // namespace

Moment Moment::now() {
    timespec cpu{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &cpu);
    return {std::chrono::steady_clock::now(),
            static_cast<double>(cpu.tv_sec) * 1e3 + static_cast<double>(cpu.tv_nsec) / 1e6};
}

FrameClock::FrameClock() : QApplication(onNoDisplay(), argumentValues) {
    setQuitOnLastWindowClosed(false);
}

FrameClock::Longest FrameClock::takeLongest() {
    return std::exchange(longest_, {});
}

bool FrameClock::waitUntil(const std::function<bool()>& holds, std::chrono::milliseconds most) {
    const QDeadlineTimer end(most);
    QTimer wake; // else waiting for events would not end
    wake.start(most);
    while (!holds()) {
        if (end.hasExpired())
            return false;
        processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

Moment FrameClock::frameAfter(const std::function<void()>& f) {
    const Moment start = Moment::now();
    f();
    waitUntil([&] { return lastFrame_.wall > start.wall; }, std::chrono::seconds(2));
    return {std::chrono::steady_clock::time_point(lastFrame_.wall - start.wall),
            lastFrame_.cpuMsSince(start)};
}

bool FrameClock::notify(QObject* receiver, QEvent* event) {
    const bool isFrame = event->type() == QEvent::UpdateRequest && receiver->isWidgetType();
    const Moment start = Moment::now();
    ++depth_;
    const bool result = QApplication::notify(receiver, event);
    const Moment end = Moment::now();
    if (--depth_ == 0)
        longest_ = {std::max(longest_.wallMs, end.wallMsSince(start)),
                    std::max(longest_.cpuMs, end.cpuMsSince(start))};
    if (isFrame) {
        lastFrame_ = end;
        if (onFrame_)
            onFrame_(end);
    }
    return result;
}

} // namespace quarrydex::bench
