/// A change stream that a test plays: what deliver() is given is what the system "reports".
///
/// Threads: any.
#pragma once

#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/platform/ChangeStream.h"

#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace quarrydex {

/// Hands out streams and plays them all alike.
class FakeChangeStreams final : public ChangeStreams {
  public:
    std::atomic<std::uint64_t> currentId{1};
    std::atomic<bool> rootsAreIntact{true};
    StreamStatus status;

    /// Of every open() so far.
    [[nodiscard]] std::vector<StreamOptions> opened() const {
        MutexLock held(state_->lock);
        return state_->opened;
    }

    /// True while a stream is started and not stopped.
    [[nodiscard]] bool isPlaying() const {
        MutexLock held(state_->lock);
        return state_->deliver != nullptr;
    }

    void deliver(std::vector<ChangeEvent> events) {
        MutexLock held(state_->lock);
        if (state_->deliver)
            state_->deliver(std::move(events));
    }

    [[nodiscard]] std::uint64_t currentEventId() const override { return currentId; }

    [[nodiscard]] std::string historyIdentity(const std::string& path) const override {
        return "fake" + path;
    }

    [[nodiscard]] std::unique_ptr<ChangeStream> open(StreamOptions options) override {
        MutexLock held(state_->lock);
        state_->opened.push_back(std::move(options));
        return std::make_unique<Stream>(*this, state_);
    }

  private:
    struct State {
        Mutex lock;
        std::vector<StreamOptions> opened QDX_GUARDED_BY(lock);
        ChangeStream::Deliver deliver QDX_GUARDED_BY(lock);
    };

    class Stream final : public ChangeStream {
      public:
        Stream(const FakeChangeStreams& owner, std::shared_ptr<State> state)
            : owner_(owner), state_(std::move(state)) {}

        ~Stream() override { stop(); }

        Stream(const Stream&) = delete;
        Stream& operator=(const Stream&) = delete;

        void start(Deliver deliver) override {
            MutexLock held(state_->lock);
            state_->deliver = std::move(deliver);
        }

        void stop() override {
            MutexLock held(state_->lock);
            state_->deliver = nullptr;
        }

        void flush() override {}

        [[nodiscard]] StreamStatus status() const override { return owner_.status; }

        [[nodiscard]] bool rootsAreIntact() const override { return owner_.rootsAreIntact; }

      private:
        const FakeChangeStreams& owner_;
        const std::shared_ptr<State> state_;
    };

    const std::shared_ptr<State> state_ = std::make_shared<State>();
};

} // namespace quarrydex
