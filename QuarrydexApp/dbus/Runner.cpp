#include "QuarrydexApp/dbus/Runner.h"

#include "QuarrydexApp/dbus/BusNames.h"
#include "QuarrydexApp/dbus/DesktopItem.h"
#include "QuarrydexApp/dbus/LateReply.h"
#include "QuarrydexCore/text/tr.h"

#include <QDBusMetaType>

#include <utility>

namespace quarrydex {

namespace {

const QString revealAction = QStringLiteral("reveal");

/// The name, with or without what follows its last dot, is what was typed.
bool isNamed(const DesktopItem& item, const QString& text) {
    const QString name = item.name();
    const QString stem = name.left(name.lastIndexOf(QLatin1Char('.')));
    return name.compare(text, Qt::CaseInsensitive) == 0 ||
           stem.compare(text, Qt::CaseInsensitive) == 0;
}

RunnerMatches matchesOf(std::vector<FoundItem> items, const QString& text) {
    RunnerMatches matches;
    for (FoundItem& found : items) {
        const auto place = static_cast<std::size_t>(matches.size());
        if (place == DesktopItem::maxItems)
            break;
        const DesktopItem item(std::move(found));
        matches.append({item.id(),
                        item.name(),
                        item.iconNames().first(),
                        isNamed(item, text) ? RunnerMatch::exact : RunnerMatch::possible,
                        1.0 - 0.5 * static_cast<double>(place) / DesktopItem::maxItems,
                        {{QStringLiteral("subtext"), item.folder()},
                         {QStringLiteral("urls"), QStringList{item.uri()}}}});
    }
    return matches;
}

} // namespace

Runner::Runner(NameSearch& search, FileOpener& opener, FileOpener::Failed failed)
    : search_(search), opener_(opener), failed_(std::move(failed)) {
    qDBusRegisterMetaType<RunnerMatch>();
    qDBusRegisterMetaType<RunnerMatches>();
    qDBusRegisterMetaType<RunnerAction>();
    qDBusRegisterMetaType<RunnerActions>();
}

bool Runner::serve(QDBusConnection bus) {
    return bus.registerObject(QLatin1String(busNames::runnerPath), this,
                              QDBusConnection::ExportScriptableSlots);
}

RunnerMatches Runner::Match(const QString& query) {
    const QString text = query.trimmed();
    if (text.isEmpty() || text.size() > DesktopItem::maxText)
        return {};
    const auto answer = [reply = LateReply<RunnerMatches>::of(*this),
                         text](std::vector<FoundItem> items) {
        reply->give(matchesOf(std::move(items), text));
    };
    search_.find(text.toStdString(), DesktopItem::maxItems, answer);
    return {}; // not sent
}

void Runner::Run(const QString& id, const QString& action) {
    const auto item = DesktopItem::fromId(id);
    if (!item)
        return;
    if (action == revealAction)
        opener_.reveal({item->path()}, failed_);
    else
        opener_.open({item->path()}, failed_);
}

RunnerActions Runner::Actions() {
    return {{revealAction, QString::fromStdString(quarrydex::tr("Show in the file manager")),
             QStringLiteral("document-open-folder")}};
}

} // namespace quarrydex
