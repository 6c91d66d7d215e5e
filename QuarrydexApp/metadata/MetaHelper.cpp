#include "QuarrydexApp/metadata/MetaHelper.h"

#include "QuarrydexCore/base/Log.h"

#include <QFile>
#include <QPointer>
#include <QProcess>

#include <optional>
#include <utility>

namespace quarrydex {

namespace {

/// A killed process is gone within this time, unless it hangs in the system.
constexpr int patienceMs = 100;

} // namespace

MetaHelper::MetaHelper(const std::string& program) : process_(std::make_unique<QProcess>()) {
    if (isVerbose())
        process_->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    else
        process_->setStandardErrorFile(QProcess::nullDevice());
    // Queued, so that whoever is told may destroy this object and with it the QProcess.
    const auto later = Qt::QueuedConnection;
    connect(process_.get(), &QProcess::readyReadStandardOutput, this, &MetaHelper::read, later);
    connect(process_.get(), &QProcess::finished, this, &MetaHelper::fail, later);
    connect(process_.get(), &QProcess::errorOccurred, this, &MetaHelper::fail, later);
    process_->start(QFile::decodeName(program.c_str()), {});
}

MetaHelper::~MetaHelper() {
    isOver_ = true;
    process_->disconnect(this);
    process_->kill();
    // One that hangs is left to the system; QProcess itself would wait for it much longer.
    if (process_->state() != QProcess::NotRunning && !process_->waitForFinished(patienceMs))
        static_cast<void>(process_.release());
}

void MetaHelper::send(std::string_view record) {
    process_->write(record.data(), static_cast<qint64>(record.size()));
}

void MetaHelper::retire() {
    isOver_ = true;
    disconnect();
    process_->disconnect(this);
    if (process_->state() == QProcess::NotRunning) {
        deleteLater();
        return;
    }
    connect(process_.get(), &QProcess::finished, this, &QObject::deleteLater);
    process_->kill();
}

void MetaHelper::read() {
    if (isOver_)
        return;
    const QByteArray bytes = process_->readAllStandardOutput();
    answers_.append({bytes.data(), static_cast<std::size_t>(bytes.size())});
    const QPointer<MetaHelper> alive(this);
    while (alive && !isOver_) {
        const std::optional<std::string_view> record = answers_.next();
        if (record)
            take(*record);
        else if (answers_.isBroken())
            fail();
        else
            break;
    }
}

void MetaHelper::take(std::string_view record) {
    const std::optional<protocol::Answer> answer = protocol::decodeAnswer(record);
    const bool isGreeting = answer && answer->ticket == 0;
    if (!answer || isGreeting == isReady_) {
        fail();
    } else if (isGreeting) {
        isReady_ = true;
        Q_EMIT greeted();
    } else {
        Q_EMIT answered(*answer);
    }
}

void MetaHelper::fail() {
    if (std::exchange(isOver_, true))
        return;
    Q_EMIT hasFailed();
}

} // namespace quarrydex
