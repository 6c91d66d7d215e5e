#include "QuarrydexApp/table/Coordinator.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/platform/FileOpener.h"
#include "QuarrydexCore/text/tr.h"

#include <QClipboard>
#include <QDrag>
#include <QGuiApplication>
#include <QKeySequence>
#include <QPainter>

#include <algorithm>

namespace quarrydex {

namespace {

using TableItem = ResultsTable::Coordinator::Item;

std::vector<std::string> pathsOf(const std::vector<TableItem>& items) {
    std::vector<std::string> out;
    out.reserve(items.size());
    for (const TableItem& item : items)
        out.push_back(item.path);
    return out;
}

/// The number of what is dragged, beside the pointer.
QPixmap dragPicture(const QWidget& view, std::size_t count) {
    const QString text = grouped(count);
    const QRect box(0, 0, view.fontMetrics().horizontalAdvance(text) + 16,
                    view.fontMetrics().height() + 6);
    QPixmap pixmap(box.size() * view.devicePixelRatioF());
    pixmap.setDevicePixelRatio(view.devicePixelRatioF());
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(view.palette().color(QPalette::Highlight));
    painter.drawRoundedRect(box, box.height() / 2.0, box.height() / 2.0);
    painter.setPen(view.palette().color(QPalette::HighlightedText));
    painter.setFont(view.font());
    painter.drawText(box, Qt::AlignCenter, text);
    return pixmap;
}

} // namespace

ResultsTable::Coordinator::Coordinator(ResultsTable& table, const Services& services)
    : table_(table), services_(services), messageBoxes_(table),
      alerts_(services.alerts != nullptr ? *services.alerts : messageBoxes_) {
    QObject::connect(&table, &ResultsTable::rowsMoved, &table, [this] { placeEditor(); });
}

ResultsTable::Coordinator::~Coordinator() {
    isEnding_.store(true);
}

// --- What is selected ---------------------------------------------------------------------------

TableItem ResultsTable::Coordinator::item(const ShownResults& results, std::size_t at) const {
    const ShownRow row = results.row(at);
    return {.volume = results.set()->vols[rowVolume(results.rows()[at])],
            .index = results.indexes()[rowVolume(results.rows()[at])],
            .entry = row.entry,
            .path = row.index->path(row.entry),
            .name = quarrydex::shown(table_.values().name(row)).toStdString(),
            .isFolder = row.isFolder()};
}

std::vector<TableItem> ResultsTable::Coordinator::selectedItems(std::size_t limit) const {
    std::vector<TableItem> out;
    const ShownResults& results = table_.shown();
    for (const RowSelection::Range& range : table_.selected().ranges())
        for (std::size_t at = range.begin; at < range.end; ++at) {
            if (out.size() >= limit)
                return out;
            if (!table_.values().isGone(results.row(at)))
                out.push_back(item(results, at));
        }
    return out;
}

std::vector<TableItem> ResultsTable::Coordinator::previewItems() const {
    return offlineVolume() != nullptr ? std::vector<TableItem>() : selectedItems();
}

const VolumeState* ResultsTable::Coordinator::offlineVolume() const {
    const ShownResults& results = table_.shown();
    const auto isOffline = [](const auto& volume) { return volume->offline; };
    if (std::ranges::none_of(results.set()->vols, isOffline))
        return nullptr;
    for (const RowSelection::Range& range : table_.selected().ranges())
        for (std::size_t at = range.begin; at < range.end; ++at)
            if (const ShownRow row = results.row(at); row.volume->offline)
                return row.volume;
    return nullptr;
}

bool ResultsTable::Coordinator::refuseOffline() {
    const VolumeState* volume = offlineVolume();
    if (volume == nullptr)
        return false;
    const std::string name = quarrydex::shown(volume->name).toStdString();
    alerts_.tell(
        quarrydex::tr("“{name}” is not connected", {{"name", name}}),
        quarrydex::tr("The file is on a drive that is not connected right now. The catalog stays "
                      "searchable; opening and showing work again as soon as the drive is back."));
    return true;
}

bool ResultsTable::Coordinator::refuseTooMany() {
    if (table_.selected().count() <= mostAtOnce)
        return false;
    alerts_.tell(
        trn("{count} item is selected", "{count} items are selected", table_.selected().count()),
        trn("This works with {count} item at once at most.",
            "This works with {count} items at once at most.", mostAtOnce));
    return true;
}

std::function<void(const std::string&)> ResultsTable::Coordinator::failureTeller() {
    return [this, alive = std::weak_ptr(alive_)](const std::string& message) {
        if (!alive.expired())
            alerts_.tell(quarrydex::tr("Opening did not work"), message);
    };
}

// --- Opening, showing, copying ------------------------------------------------------------------

void ResultsTable::Coordinator::openSelected() {
    if (refuseOffline() || refuseTooMany())
        return;
    auto items = selectedItems();
    if (items.empty())
        return;
    if (items.size() <= mostOpenedUnasked) {
        open(items);
        return;
    }
    alerts_.ask({.message = trn("Open {count} item?", "Open {count} items?", items.size()),
                 .text = quarrydex::tr("Each opens with its own application."),
                 .yes = quarrydex::tr("Open"),
                 .no = quarrydex::tr("Cancel"),
                 .suppression = {}},
                [this, alive = std::weak_ptr(alive_), items](Alerts::Answer answer) {
                    if (!alive.expired() && answer.isYes)
                        open(items);
                });
}

void ResultsTable::Coordinator::open(const std::vector<TableItem>& items) {
    services_.opener.open(pathsOf(items), failureTeller());
}

void ResultsTable::Coordinator::reveal() {
    if (refuseOffline() || refuseTooMany())
        return;
    if (const auto items = selectedItems(); !items.empty())
        services_.opener.reveal(pathsOf(items), failureTeller());
}

void ResultsTable::Coordinator::quickLook() {
    if (!refuseOffline())
        Q_EMIT table_.quickLookRequested();
}

std::unique_ptr<QMimeData> ResultsTable::Coordinator::mimeData(const std::vector<TableItem>& items,
                                                               std::size_t urlLimit) {
    auto data = std::make_unique<QMimeData>();
    QStringList lines;
    QList<QUrl> urls;
    for (const TableItem& item : items) {
        lines += qt(item.path);
        if (items.size() <= urlLimit)
            urls += fileUrl(item.path);
    }
    data->setText(lines.join(QLatin1Char('\n')));
    if (!urls.isEmpty())
        data->setUrls(urls);
    return data;
}

void ResultsTable::Coordinator::copyPath() {
    if (table_.selected().count() > mostCopied) {
        alerts_.tell(trn("{count} item is selected", "{count} items are selected",
                         table_.selected().count()),
                     trn("Up to {count} path can be copied at once.",
                         "Up to {count} paths can be copied at once.", mostCopied));
        return;
    }
    if (const auto items = selectedItems(mostCopied); !items.empty())
        QGuiApplication::clipboard()->setMimeData(mimeData(items, mostAtOnce).release());
}

std::unique_ptr<QMimeData> ResultsTable::Coordinator::dragData() const {
    if (table_.selected().count() > mostAtOnce)
        return nullptr;
    auto items = selectedItems();
    std::erase_if(items, [](const TableItem& item) { return item.volume->offline; });
    return items.empty() ? nullptr : mimeData(items, mostAtOnce);
}

void ResultsTable::Coordinator::drag(Qt::DropActions actions) {
    auto data = dragData();
    if (!data)
        return;
    auto* drag = new QDrag(&table_); // deletes itself
    drag->setPixmap(dragPicture(*table_.viewport(), static_cast<std::size_t>(data->urls().size())));
    drag->setMimeData(data.release());
    drag->exec(actions, Qt::CopyAction);
}

void ResultsTable::Coordinator::menuNeedsUpdate(QMenu& menu) {
    const auto add = [&](const std::string& text, const QKeySequence& keys,
                         void (Coordinator::*operation)()) {
        QAction* action = menu.addAction(qt(text));
        action->setShortcut(keys); // shown only: the table itself reads the keys
        action->setShortcutContext(Qt::WidgetShortcut);
        QObject::connect(action, &QAction::triggered, &table_,
                         [this, operation] { (this->*operation)(); });
        return action;
    };
    menu.clear();
    add(quarrydex::tr("Open"), Qt::Key_Return, &Coordinator::openSelected);
    add(quarrydex::tr("Show in the file manager"), Qt::CTRL | Qt::Key_Return, &Coordinator::reveal);
    add(quarrydex::tr("Preview"), Qt::Key_Space, &Coordinator::quickLook);
    menu.addSeparator();
    add(quarrydex::tr("Copy path"), QKeySequence::Copy, &Coordinator::copyPath);
    menu.addSeparator();
    add(quarrydex::tr("Rename"), Qt::Key_F2, &Coordinator::renameSelected)
        ->setEnabled(table_.selected().count() == 1);
    add(quarrydex::tr("Move to Trash"), Qt::Key_Delete, &Coordinator::trashSelected);
}

} // namespace quarrydex
