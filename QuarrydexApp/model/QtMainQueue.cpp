#include "QuarrydexApp/model/QtMainQueue.h"

#include <QCoreApplication>
#include <QEvent>

#include <memory>
#include <utility>

namespace quarrydex {

void QtMainQueue::post(std::function<void()> closure) {
    auto event = std::make_unique<QEvent>(QEvent::User);
    {
        MutexLock held(lock_);
        closures_.push_back(std::move(closure));
    }
    QCoreApplication::postEvent(&receiver_, event.release());
}

void QtMainQueue::runNext() {
    std::function<void()> closure;
    {
        MutexLock held(lock_);
        closure = std::move(closures_.front());
        closures_.pop_front();
    }
    closure(); // may run the event loop, and with it the closures that follow
}

} // namespace quarrydex
