/// The application object of measurements in windows, on no display: sees every event that the main
/// thread handles, tells when frames were painted and how long the longest event took.
///
/// Threads: the main thread. Ownership: there is one at a time, and no other application object.
#pragma once

#include <QApplication>

#include <chrono>
#include <cstddef>
#include <functional>

namespace quarrydex::bench {

/// A point in time, by the clock and by the processor time of the main thread: the second says what
/// was done, whatever else the machine is busy with.
struct Moment {
    std::chrono::steady_clock::time_point wall{};
    double cpuMs{};

    [[nodiscard]] static Moment now();

    [[nodiscard]] double wallMsSince(const Moment& earlier) const {
        return std::chrono::duration<double, std::milli>(wall - earlier.wall).count();
    }

    [[nodiscard]] double cpuMsSince(const Moment& earlier) const { return cpuMs - earlier.cpuMs; }
};

class FrameClock final : public QApplication {
  public:
    FrameClock();

    /// Called when a window has been painted and its picture handed over, with the time of that.
    void onFrame(std::function<void(const Moment&)> f) { onFrame_ = std::move(f); }

    /// Of the frame that was painted last.
    [[nodiscard]] const Moment& lastFrame() const { return lastFrame_; }

    struct Longest {
        double wallMs{};
        double cpuMs{}; ///< of the main thread; perhaps of another event
    };

    /// The longest that one event has kept the main thread since the last call.
    [[nodiscard]] Longest takeLongest();

    /// Handles events until that holds, which is asked between them. False when it did not come to
    /// that in so long.
    bool waitUntil(const std::function<bool()>& holds,
                   std::chrono::milliseconds most = std::chrono::minutes(5));

    /// Calls `f` and waits for the frame that shows what it did. The time of both together.
    [[nodiscard]] Moment frameAfter(const std::function<void()>& f);

    bool notify(QObject* receiver, QEvent* event) override;

  private:
    std::function<void(const Moment&)> onFrame_;
    Moment lastFrame_;
    Longest longest_;
    int depth_ = 0; ///< of events that are handled while another one is
};

} // namespace quarrydex::bench
