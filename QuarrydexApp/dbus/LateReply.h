/// The reply to a call of the bus that is given later, exactly once: when nobody gives it, it is an
/// empty one, so that no caller waits for a search that was dropped.
///
/// Threads: the main thread. Ownership: shared by whoever may still give the reply; needs nothing
/// of the object that was called.
#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QVariant>

#include <memory>

namespace quarrydex {

template <typename Result> class LateReply {
  public:
    /// The reply of the call that the object is in.
    [[nodiscard]] static std::shared_ptr<LateReply> of(const QDBusContext& called) {
        called.setDelayedReply(true);
        return std::shared_ptr<LateReply>(new LateReply(called.connection(), called.message()));
    }

    ~LateReply() { give({}); }

    LateReply(const LateReply&) = delete;
    LateReply& operator=(const LateReply&) = delete;

    void give(const Result& result) {
        if (!isGiven_)
            bus_.send(call_.createReply(QVariant::fromValue(result)));
        isGiven_ = true;
    }

  private:
    LateReply(const QDBusConnection& bus, const QDBusMessage& call) : bus_(bus), call_(call) {}

    QDBusConnection bus_;
    QDBusMessage call_;
    bool isGiven_ = false;
};

} // namespace quarrydex
