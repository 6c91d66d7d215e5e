#include "QuarrydexApp/metadata/MetaClient.h"

#include "QuarrydexApp/metadata/MetaHelper.h"
#include "QuarrydexCore/base/Files.h"

#include <QCoreApplication>
#include <QFile>
#include <QPointer>

#include <algorithm>
#include <utility>

#include <unistd.h>

namespace quarrydex {

namespace {

constexpr std::size_t mostInFlight = 2;
constexpr std::size_t mostBad = 10'000;
constexpr int mostFruitless = 3;

} // namespace

std::string metaHelperProgram() {
    constexpr const char* name = "quarrydex-metadata";
    const std::string here =
        QFile::encodeName(QCoreApplication::applicationDirPath()).toStdString();
    const std::string installed =
        childPath(folderOf(here), std::string("libexec/quarrydex/") + name);
    const std::string beside = childPath(here, name);
    const bool isOnlyInstalled =
        ::access(beside.c_str(), X_OK) != 0 && ::access(installed.c_str(), X_OK) == 0;
    return isOnlyInstalled ? installed : beside;
}

MetaClient::MetaClient(MetaClientOptions options, QObject* parent)
    : QObject(parent), options_(std::move(options)) {
    for (QTimer* timer : {&soon_, &deadline_, &idle_, &pause_})
        timer->setSingleShot(true);
    connect(&soon_, &QTimer::timeout, this, &MetaClient::work);
    connect(&pause_, &QTimer::timeout, this, &MetaClient::work);
    connect(&deadline_, &QTimer::timeout, this, &MetaClient::recover);
    connect(&idle_, &QTimer::timeout, this, &MetaClient::dropHelper);
}

MetaClient::~MetaClient() {
    delete helper_;
}

FileMetaSource::Ticket MetaClient::meta(std::string path,
                                        std::function<void(const FileMeta&)> answer) {
    return add({.kind = protocol::Kind::meta, .path = std::move(path)},
               [answer = std::move(answer)](const FilePreview& found) { answer(found.meta); });
}

FileMetaSource::Ticket
MetaClient::preview(std::string path, QSize limit, std::function<void(const FilePreview&)> answer) {
    return add({.kind = protocol::Kind::preview, .limit = limit, .path = std::move(path)},
               std::move(answer));
}

FileMetaSource::Ticket MetaClient::add(protocol::Request request,
                                       std::function<void(const FilePreview&)> answer) {
    request.ticket = ++lastTicket_;
    // Sent later: of all that is asked for in one go, the last comes first.
    soon_.start(0);
    const bool isHopeless = bad_.contains(request.path) || !protocol::encode(request);
    Wishes& wishes = isHopeless ? hopeless_ : waiting_;
    wishes.emplace_hint(wishes.end(), lastTicket_, Wish{std::move(request), std::move(answer)});
    if (waiting_.size() > options_.mostWaiting)
        hopeless_.insert(waiting_.extract(waiting_.begin()));
    return lastTicket_;
}

void MetaClient::withdraw(Ticket ticket) {
    if (waiting_.erase(ticket) != 0 || hopeless_.erase(ticket) != 0)
        return;
    const auto found =
        std::ranges::find(inFlight_, ticket, [](const Wish& wish) { return wish.request.ticket; });
    if (found != inFlight_.end())
        found->answer = nullptr;
}

void MetaClient::work() {
    sendAhead();
    answerHopeless();
}

void MetaClient::answerHopeless() {
    const QPointer<MetaClient> alive(this);
    while (alive && !hopeless_.empty()) {
        const Wish wish = std::move(hopeless_.extract(hopeless_.begin()).mapped());
        wish.answer({});
    }
}

void MetaClient::sendAhead() {
    if (pause_.isActive())
        return;
    while (!waiting_.empty() && inFlight_.size() < mostInFlight)
        send(std::move(waiting_.extract(std::prev(waiting_.end())).mapped()));
    if (inFlight_.empty())
        idle_.start(options_.idle);
    else
        idle_.stop();
}

void MetaClient::send(Wish wish) {
    if (helper_ == nullptr) {
        helper_ = new MetaHelper(options_.program);
        connect(helper_, &MetaHelper::greeted, this, &MetaClient::startClock);
        connect(helper_, &MetaHelper::answered, this, &MetaClient::take);
        connect(helper_, &MetaHelper::hasFailed, this, &MetaClient::recover);
    }
    helper_->send(*protocol::encode(wish.request));
    inFlight_.push_back(std::move(wish));
    if (inFlight_.size() == 1)
        startClock();
}

/// For the file that is worked on now, or for the process that is to begin with it.
void MetaClient::startClock() {
    if (inFlight_.empty())
        deadline_.stop();
    else
        deadline_.start(helper_->isReady() ? options_.deadline : options_.startDeadline);
}

void MetaClient::take(const protocol::Answer& answer) {
    const QSize size = answer.found.picture.size();
    if (inFlight_.empty() || inFlight_.front().request.ticket != answer.ticket ||
        size != size.boundedTo(inFlight_.front().request.limit.expandedTo({0, 0}))) {
        recover();
        return;
    }
    const Wish wish = std::move(inFlight_.front());
    inFlight_.pop_front();
    failures_ = 0;
    fruitless_ = 0;
    startClock();
    sendAhead();
    if (wish.answer)
        wish.answer(answer.found);
}

/// The process is of no more use. The file that it was at is to blame, if it got that far.
void MetaClient::recover() {
    const bool wasReady = helper_ != nullptr && helper_->isReady();
    dropHelper();
    deadline_.stop();
    ++failures_;
    if (wasReady && !inFlight_.empty()) {
        if (bad_.size() >= mostBad)
            bad_.clear();
        Wish guilty = std::move(inFlight_.front());
        inFlight_.pop_front();
        bad_.insert(guilty.request.path);
        if (guilty.answer)
            hopeless_.emplace(guilty.request.ticket, std::move(guilty));
    }
    giveBack();
    if (!wasReady && ++fruitless_ >= mostFruitless)
        hopeless_.merge(waiting_);
    pause_.start(pause());
    answerHopeless();
}

void MetaClient::giveBack() {
    for (Wish& wish : inFlight_) {
        if (!wish.answer)
            continue;
        const Ticket ticket = wish.request.ticket;
        Wishes& wishes = bad_.contains(wish.request.path) ? hopeless_ : waiting_;
        wishes.emplace(ticket, std::move(wish));
    }
    inFlight_.clear();
}

void MetaClient::dropHelper() {
    if (MetaHelper* helper = std::exchange(helper_, nullptr)) {
        helper->disconnect(this);
        helper->retire();
    }
}

std::chrono::milliseconds MetaClient::pause() const {
    if (failures_ <= 1)
        return std::chrono::milliseconds(0);
    return std::min(options_.longestPause,
                    options_.firstPause * (1 << std::min(failures_ - 2, 16)));
}

} // namespace quarrydex
