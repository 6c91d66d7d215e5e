#include "QuarrydexApp/windows/Background.h"

#include "QuarrydexCore/base/SerialQueue.h"
#include "QuarrydexCore/platform/Platform.h"

#include <utility>

namespace quarrydex {

namespace {

SerialQueue& queue() {
    (void)systemPlatform(); // made before, so that it goes after what may be using it
    static SerialQueue tasks;
    return tasks;
}

} // namespace

Background::Background() {
    const MutexLock held(door_->lock);
    door_->main = &main_;
}

Background::~Background() {
    const MutexLock held(door_->lock);
    door_->main = nullptr;
}

void Background::run(std::function<Answer()> task) {
    queue().post([door = door_, task = std::move(task)] {
        Answer answer = task();
        const MutexLock held(door->lock);
        if (door->main != nullptr)
            door->main->post(std::move(answer));
    });
}

} // namespace quarrydex
