#include "QuarrydexCore/base/SerialQueue.h"

#include <future>
#include <utility>

namespace quarrydex {

SerialQueue::SerialQueue() : thread_([this] { run(); }) {}

SerialQueue::~SerialQueue() {
    {
        MutexLock held(lock_);
        stopping_ = true;
        tasks_.clear();
    }
    wake_.notifyAll();
    thread_.join();
}

void SerialQueue::post(std::function<void()> task) {
    {
        MutexLock held(lock_);
        tasks_.push_back(std::move(task));
    }
    wake_.notifyOne();
}

void SerialQueue::drain() {
    std::promise<void> reached;
    post([&] { reached.set_value(); });
    reached.get_future().wait();
}

void SerialQueue::run() {
    for (;;) {
        std::function<void()> task;
        {
            MutexLock held(lock_);
            while (tasks_.empty() && !stopping_)
                wake_.wait(lock_);
            if (tasks_.empty())
                return;
            task = std::move(tasks_.front());
            tasks_.pop_front();
        }
        task();
    }
}

} // namespace quarrydex
