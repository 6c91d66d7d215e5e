#include "QuarrydexCore/base/ParallelFor.h"

#include "QuarrydexCore/base/Mutex.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <memory>
#include <thread>
#include <vector>

namespace quarrydex {

namespace {

/// One call of parallelFor. Lives until the last helper that was invited has let go of it.
struct Job {
    Job(std::size_t total, const std::function<void(std::size_t)>& work) : n(total), body(work) {}

    const std::size_t n;
    /// Valid while unfinished > 0: the caller waits for that.
    const std::function<void(std::size_t)>& body;
    std::atomic<std::size_t> next{0};
    Mutex lock;
    CondVar allDone;
    std::size_t finished QDX_GUARDED_BY(lock) = 0;

    /// Takes iterations until none is left.
    void work() {
        std::size_t done = 0;
        for (std::size_t i; (i = next.fetch_add(1, std::memory_order_relaxed)) < n; ++done)
            body(i);
        if (done == 0)
            return;
        MutexLock held(lock);
        finished += done;
        if (finished == n)
            allDone.notifyAll();
    }

    void waitForAll() {
        MutexLock held(lock);
        while (finished < n)
            allDone.wait(lock);
    }
};

class Pool {
  public:
    static Pool& shared() {
        static Pool pool;
        return pool;
    }

    /// Asks `helpers` threads to join the job, starting threads that are missing.
    void invite(const std::shared_ptr<Job>& job, std::size_t helpers) {
        {
            MutexLock held(lock_);
            while (threads_.size() < std::min<std::size_t>(helpers, maxThreads))
                threads_.emplace_back([this] { run(); });
            invitations_.insert(invitations_.end(), helpers, job);
        }
        for (std::size_t i = 0; i < helpers; ++i)
            wake_.notifyOne();
    }

    ~Pool() {
        {
            MutexLock held(lock_);
            stopping_ = true;
        }
        wake_.notifyAll();
        for (std::thread& thread : threads_)
            thread.join();
    }

  private:
    static constexpr std::size_t maxThreads = 255;

    void run() {
        for (;;) {
            std::shared_ptr<Job> job;
            {
                MutexLock held(lock_);
                while (invitations_.empty() && !stopping_)
                    wake_.wait(lock_);
                if (stopping_)
                    return;
                job = std::move(invitations_.front());
                invitations_.pop_front();
            }
            job->work();
        }
    }

    Mutex lock_;
    CondVar wake_;
    std::deque<std::shared_ptr<Job>> invitations_ QDX_GUARDED_BY(lock_);
    bool stopping_ QDX_GUARDED_BY(lock_) = false;
    std::vector<std::thread> threads_; ///< grows under lock_, joined by the destructor
};

} // namespace

unsigned processorCount() {
    return std::max(1U, std::thread::hardware_concurrency());
}

void parallelFor(std::size_t n, unsigned threads, const std::function<void(std::size_t)>& body) {
    const std::size_t helpers = std::min<std::size_t>(threads, n) - (n > 0 && threads > 0 ? 1 : 0);
    if (helpers == 0) {
        for (std::size_t i = 0; i < n; ++i)
            body(i);
        return;
    }
    auto job = std::make_shared<Job>(n, body);
    Pool::shared().invite(job, helpers);
    job->work();
    job->waitForAll();
}

} // namespace quarrydex
