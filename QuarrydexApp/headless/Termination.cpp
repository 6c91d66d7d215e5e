#include "QuarrydexApp/headless/Termination.h"

#include "QuarrydexCore/base/Fd.h"

#include <QObject>
#include <QSocketNotifier>

#include <array>
#include <csignal>
#include <utility>

#include <fcntl.h>

namespace quarrydex {

namespace {

constexpr std::array endingSignals = {SIGTERM, SIGINT, SIGHUP};

/// Where the handler writes; -1 while nobody listens.
volatile std::sig_atomic_t pipeEnd = -1;

void onSignal(int) {
    const int saved = errno;
    const char byte = 1;
    if (pipeEnd >= 0)
        (void)!::write(pipeEnd, &byte, 1);
    errno = saved;
}

} // namespace

class Termination::Listener {
  public:
    explicit Listener(std::function<void()> onRequest) : onRequest_(std::move(onRequest)) {
        int ends[2] = {-1, -1};
        if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
            return; // the signals then end the process as they do by default
        readEnd_ = Fd(ends[0]);
        writeEnd_ = Fd(ends[1]);
        pipeEnd = writeEnd_.get();
        notifier_ = std::make_unique<QSocketNotifier>(readEnd_.get(), QSocketNotifier::Read);
        QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { receive(); });
        struct sigaction action = {};
        action.sa_handler = onSignal;
        action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
        for (std::size_t i = 0; i < endingSignals.size(); ++i)
            ::sigaction(endingSignals[i], &action, &before_[i]);
    }

    ~Listener() {
        if (!writeEnd_)
            return;
        for (std::size_t i = 0; i < endingSignals.size(); ++i)
            ::sigaction(endingSignals[i], &before_[i], nullptr);
        pipeEnd = -1;
    }

  private:
    void receive() {
        unsigned char byte = 0;
        bool hasCome = false;
        while (::read(readEnd_.get(), &byte, 1) == 1)
            hasCome = true;
        if (hasCome)
            onRequest_();
    }

    std::function<void()> onRequest_;
    Fd readEnd_;
    Fd writeEnd_;
    std::unique_ptr<QSocketNotifier> notifier_;
    std::array<struct sigaction, endingSignals.size()> before_{};
};

Termination::Termination(std::function<void()> onRequest)
    : listener_(std::make_unique<Listener>(std::move(onRequest))) {}

Termination::~Termination() = default;

} // namespace quarrydex
