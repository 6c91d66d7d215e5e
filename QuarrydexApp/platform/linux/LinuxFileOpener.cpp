#include "QuarrydexApp/platform/linux/LinuxFileOpener.h"

#include "QuarrydexApp/platform/linux/AnsweredCall.h"
#include "QuarrydexApp/platform/linux/GioLoop.h"
#include "QuarrydexApp/platform/linux/OpenRequest.h"
#include "QuarrydexCore/base/Files.h"
#include "QuarrydexCore/text/tr.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QStringList>

#include <algorithm>
#include <utility>

namespace quarrydex {

LinuxFileOpener::LinuxFileOpener(QDBusConnection bus)
    : bus_(std::move(bus)), loop_(std::make_unique<GioLoop>()) {}

LinuxFileOpener::~LinuxFileOpener() = default;

void LinuxFileOpener::open(const std::vector<std::string>& paths, Failed failed) {
    OpenRequest::start(*loop_, paths, std::move(failed));
}

void LinuxFileOpener::reveal(const std::vector<std::string>& paths, Failed failed) {
    if (paths.empty())
        return;
    QStringList uris;
    for (const std::string& path : paths)
        uris.append(QString::fromStdString(fileUri(path)));
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << uris << QString();

    auto* watcher = new QDBusPendingCallWatcher(answeredCall(bus_, call), &receiver_);
    const auto finished = [this, paths, failed = std::move(failed)](QDBusPendingCallWatcher* done) {
        done->deleteLater();
        const QDBusPendingReply<> reply = *done;
        if (!reply.isError())
            return;
        // It has the message and may show the items yet.
        if (reply.error().type() == QDBusError::NoReply && bus_.isConnected()) {
            if (failed)
                failed(tr("The file manager does not answer."));
        } else {
            openFoldersOf(paths, failed);
        }
    };
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, &receiver_, finished);
}

void LinuxFileOpener::openFoldersOf(const std::vector<std::string>& paths, Failed failed) {
    std::vector<std::string> folders;
    folders.reserve(paths.size());
    for (const std::string& path : paths)
        folders.push_back(folderOf(path));
    std::ranges::sort(folders);
    folders.erase(std::unique(folders.begin(), folders.end()), folders.end());
    open(folders, std::move(failed));
}

} // namespace quarrydex
