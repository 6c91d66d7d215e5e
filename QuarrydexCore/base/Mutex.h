/// Mutex, scoped lock and condition variable that clang's thread-safety analysis can see.
///
/// Use these instead of std::mutex: a member guarded by a lock says so with QDX_GUARDED_BY(lock_),
/// a function that needs it held with QDX_REQUIRES(lock_), and the clang preset checks both.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define QDX_TSA(x) __attribute__((x))
#else
#define QDX_TSA(x)
#endif

#define QDX_CAPABILITY(x) QDX_TSA(capability(x))
#define QDX_SCOPED_CAPABILITY QDX_TSA(scoped_lockable)
#define QDX_GUARDED_BY(x) QDX_TSA(guarded_by(x))
#define QDX_REQUIRES(...) QDX_TSA(requires_capability(__VA_ARGS__))
#define QDX_EXCLUDES(...) QDX_TSA(locks_excluded(__VA_ARGS__))
#define QDX_ACQUIRE(...) QDX_TSA(acquire_capability(__VA_ARGS__))
#define QDX_RELEASE(...) QDX_TSA(release_capability(__VA_ARGS__))
#define QDX_ACQUIRED_BEFORE(...) QDX_TSA(acquired_before(__VA_ARGS__))
#define QDX_NO_THREAD_SAFETY_ANALYSIS QDX_TSA(no_thread_safety_analysis)

namespace quarrydex {

class QDX_CAPABILITY("mutex") Mutex {
  public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() QDX_ACQUIRE() { mutex_.lock(); }

    void unlock() QDX_RELEASE() { mutex_.unlock(); }

  private:
    friend class CondVar;
    std::mutex mutex_;
};

class QDX_SCOPED_CAPABILITY MutexLock {
  public:
    explicit MutexLock(Mutex& mutex) QDX_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }

    ~MutexLock() QDX_RELEASE() { mutex_.unlock(); }

    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

  private:
    Mutex& mutex_;
};

/// Waits give the mutex up and take it again; spurious wake-ups happen, so wait in a loop.
class CondVar {
  public:
    void wait(Mutex& mutex) QDX_REQUIRES(mutex) {
        std::unique_lock held(mutex.mutex_, std::adopt_lock);
        cond_.wait(held);
        held.release();
    }

    /// Returns when woken or when the moment has come.
    void waitUntil(Mutex& mutex, std::chrono::steady_clock::time_point moment) QDX_REQUIRES(mutex) {
        std::unique_lock held(mutex.mutex_, std::adopt_lock);
        cond_.wait_until(held, moment);
        held.release();
    }

    void notifyOne() { cond_.notify_one(); }

    void notifyAll() { cond_.notify_all(); }

  private:
    std::condition_variable cond_;
};

} // namespace quarrydex
