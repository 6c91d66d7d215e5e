/// Waiting for something that an event loop brings about.
/// Threads: the main thread, with a QCoreApplication.
#pragma once

#include <QEventLoop>
#include <QTimer>

#include <functional>

namespace quarrydex::testing {

/// Runs the event loop until that holds; false when it does not for twenty seconds.
inline bool comesTo(const std::function<bool()>& holds) {
    QEventLoop loop;
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &loop, [&] {
        if (holds())
            loop.quit();
    });
    look.start(1);
    bool isLate = false;
    QTimer::singleShot(20'000, &loop, [&] {
        isLate = true;
        loop.quit();
    });
    loop.exec();
    return !isLate;
}

} // namespace quarrydex::testing
