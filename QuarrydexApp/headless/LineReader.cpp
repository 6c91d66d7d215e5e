#include "QuarrydexApp/headless/LineReader.h"

#include <QEventLoop>
#include <QSocketNotifier>

#include <cerrno>
#include <utility>

#include <unistd.h>

namespace quarrydex {

namespace {

constexpr std::size_t readBytes = 65'536;

} // namespace

std::optional<LineReader::Line> LineReader::next() {
    while (!isEnded_) {
        if (std::optional<Line> line = takeLine())
            return line;
        if (isAtEnd_ && buffer_.empty() && !isSkipping_)
            return std::nullopt;
        if (isAtEnd_) { // what is left is the last line
            Line last{std::exchange(buffer_, {}), std::exchange(isSkipping_, false)};
            if (last.tooLong)
                last.text.clear();
            return last;
        }
        fill();
    }
    return std::nullopt;
}

std::optional<LineReader::Line> LineReader::takeLine() {
    const std::size_t newline = buffer_.find('\n', searched_);
    if (newline == std::string::npos) {
        searched_ = buffer_.size();
        if (searched_ > maxBytes_)
            isSkipping_ = true;
        if (isSkipping_) {
            buffer_.clear();
            searched_ = 0;
        }
        return std::nullopt;
    }
    Line line{buffer_.substr(0, newline), std::exchange(isSkipping_, false) || newline > maxBytes_};
    if (line.tooLong)
        line.text.clear();
    buffer_.erase(0, newline + 1);
    searched_ = 0;
    return line;
}

void LineReader::end() {
    isAtEnd_ = true;
    isEnded_ = true;
    if (waiting_ != nullptr)
        waiting_->quit();
}

void LineReader::waitReadable() {
    QEventLoop loop;
    QSocketNotifier notifier(fd_, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &loop, &QEventLoop::quit);
    waiting_ = &loop;
    loop.exec();
    waiting_ = nullptr;
}

void LineReader::fill() {
    waitReadable();
    if (isEnded_)
        return;
    const std::size_t before = buffer_.size();
    buffer_.resize(before + readBytes);
    const ssize_t got = ::read(fd_, buffer_.data() + before, readBytes);
    buffer_.resize(before + (got > 0 ? static_cast<std::size_t>(got) : 0));
    if (got == 0 || (got < 0 && errno != EINTR && errno != EAGAIN))
        isAtEnd_ = true;
}

} // namespace quarrydex
