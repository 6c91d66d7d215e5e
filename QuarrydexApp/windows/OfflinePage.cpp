#include "QuarrydexApp/windows/OfflinePage.h"

#include "QuarrydexApp/look/Symbols.h"
#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/model/StatusText.h"
#include "QuarrydexApp/windows/HintLabel.h"
#include "QuarrydexCore/base/AppInfo.h"
#include "QuarrydexCore/text/tr.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMessageBox>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <filesystem>
#include <system_error>

namespace quarrydex {

namespace {

enum Field { driveField, dateField, entriesField, sizeField };

std::uint64_t bytesOf(const std::string& path) {
    std::error_code error;
    const std::uintmax_t bytes = std::filesystem::file_size(path, error);
    return error ? 0 : bytes;
}

} // namespace

OfflinePage::OfflinePage(const Context& context) : SettingsPage(context, "externaldrive") {
    keep_ = addSwitch(Prefs::Key::keepOffline, &Prefs::keepOffline, &Prefs::setKeepOffline);
    list_ = new QTreeWidget(this);
    list_->setRootIsDecorated(false);
    list_->setAllColumnsShowFocus(true);
    list_->setFixedHeight(gap() * 10);
    list_->header()->setStretchLastSection(false);
    list_->installEventFilter(this);
    column()->addWidget(list_);
    none_ = addHint();
    forget_ = new QPushButton(this);
    auto* row = new QHBoxLayout;
    row->addWidget(forget_);
    row->addStretch();
    column()->addLayout(row);
    explanation_ = addHint();
    column()->addStretch();

    connect(forget_, &QPushButton::clicked, this, &OfflinePage::askToForget);
    connect(list_, &QTreeWidget::itemSelectionChanged, this,
            [this] { forget_->setEnabled(current() != nullptr); });
    connect(&model(), &Model::volumesChanged, this, &OfflinePage::fill);
}

std::string OfflinePage::title() const {
    return quarrydex::tr("Offline catalogs");
}

void OfflinePage::retranslate() {
    keep_->setText(qt(quarrydex::tr("&Keep catalogs of unplugged drives searchable")));
    list_->setAccessibleName(qt(title()));
    list_->setHeaderLabels({qt(quarrydex::tr("Drive")), qt(quarrydex::tr("As of")),
                            qt(quarrydex::tr("Entries")), qt(quarrydex::tr("Size"))});
    none_->setText(qt(quarrydex::tr("There is no catalog of a drive that is not connected.")));
    forget_->setText(qt(quarrydex::tr("&Forget …")));
    explanation_->setText(
        qt(quarrydex::tr("Forgetting deletes only {app}’s own copy of the index, not the drive. "
                         "The drive is scanned again the next time it is connected.",
                         {{"app", appName}})));
    fill();
}

/// The model tells of every change of any volume: rows are only made anew when there are others.
void OfflinePage::fill() {
    std::vector<VolumePtr> volumes;
    for (const VolumePtr& volume : model().volumes())
        if (volume->offline)
            volumes.push_back(volume);
    const bool isSame = std::ranges::equal(
        volumes, rows_, [](const VolumePtr& a, const auto& b) { return a == b.lock(); });
    if (!isSame) {
        list_->clear();
        rows_.assign(volumes.begin(), volumes.end());
        for (const VolumePtr& volume : volumes) {
            list_->addTopLevelItem(new QTreeWidgetItem);
            measure(*volume);
        }
    }
    for (int i = 0; i < list_->topLevelItemCount(); ++i)
        describe(*list_->topLevelItem(i), *volumes[static_cast<std::size_t>(i)]);
    list_->header()->resizeSections(QHeaderView::ResizeToContents);
    list_->setVisible(!volumes.empty());
    forget_->setVisible(!volumes.empty());
    none_->setVisible(volumes.empty());
    forget_->setEnabled(current() != nullptr);
}

void OfflinePage::describe(QTreeWidgetItem& row, const VolumeState& volume) {
    row.setIcon(driveField, symbolIcon("externaldrive"));
    row.setText(driveField, shown(volume.name));
    row.setText(dateField, qt(localDateTime(volume.catalogDate.value_or(0))));
    row.setText(entriesField, grouped(volume.count));
    const auto known = bytes_.find(volume.snapshotPath);
    row.setText(sizeField, known == bytes_.end() ? QString() : shortSize(known->second));
    row.setTextAlignment(entriesField, Qt::AlignRight | Qt::AlignVCenter);
    row.setTextAlignment(sizeField, Qt::AlignRight | Qt::AlignVCenter);
}

void OfflinePage::measure(const VolumeState& volume) {
    background_.run([this, path = volume.snapshotPath]() -> Background::Answer {
        const std::uint64_t bytes = bytesOf(path) + bytesOf(VolumeIndex::audioPath(path));
        return [this, path, bytes] {
            bytes_[path] = bytes;
            fill();
        };
    });
}

std::shared_ptr<VolumeState> OfflinePage::current() const {
    const auto selected = list_->selectedItems();
    if (selected.isEmpty())
        return nullptr;
    return rows_[static_cast<std::size_t>(list_->indexOfTopLevelItem(selected.first()))].lock();
}

bool OfflinePage::eventFilter(QObject* watched, QEvent* event) {
    if (watched == list_ && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Delete) {
        askToForget();
        return true;
    }
    return SettingsPage::eventFilter(watched, event);
}

void OfflinePage::askToForget() {
    const VolumePtr volume = current();
    if (!volume)
        return;
    auto* question =
        new QMessageBox(QMessageBox::Question, qt(title()),
                        qt(quarrydex::tr("Delete the catalog of “{name}”?",
                                         {{"name", shown(volume->name).toStdString()}})),
                        QMessageBox::NoButton, this);
    question->setAttribute(Qt::WA_DeleteOnClose);
    question->setTextFormat(Qt::PlainText);
    question->setInformativeText(explanation_->text());
    const auto* forget =
        question->addButton(qt(quarrydex::tr("Delete catalog")), QMessageBox::DestructiveRole);
    auto* cancel = question->addButton(qt(quarrydex::tr("Cancel")), QMessageBox::RejectRole);
    question->setDefaultButton(cancel);
    question->setEscapeButton(cancel);
    connect(question, &QMessageBox::buttonClicked, this,
            [this, forget, weak = std::weak_ptr(volume)](const QAbstractButton* button) {
                const VolumePtr held = weak.lock();
                if (button == forget && held && held->offline) // or it was plugged in meanwhile
                    model().forgetCatalog(held);
            });
    question->open();
}

} // namespace quarrydex
