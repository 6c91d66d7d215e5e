#include "QuarrydexApp/model/QtMainQueue.h"

#include <QMetaObject>

#include <utility>

namespace quarrydex {

void QtMainQueue::post(std::function<void()> closure) {
    QMetaObject::invokeMethod(&receiver_, std::move(closure), Qt::QueuedConnection);
}

} // namespace quarrydex
