#include "QuarrydexApp/windows/DuplicatesWindow.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/platform/FileOpener.h"
#include "QuarrydexApp/prefs/Prefs.h"
#include "QuarrydexApp/windows/DupDetail.h"
#include "QuarrydexApp/windows/DupOptionsBar.h"
#include "QuarrydexApp/windows/DupProgressPage.h"
#include "QuarrydexApp/windows/DupTree.h"
#include "QuarrydexApp/windows/DupTreeModel.h"
#include "QuarrydexApp/windows/EmptyState.h"
#include "QuarrydexApp/windows/HintLabel.h"
#include "QuarrydexAudio/dupes/DupExport.h"
#include "QuarrydexAudio/dupes/DupNotices.h"
#include "QuarrydexCore/base/AppInfo.h"
#include "QuarrydexCore/text/tr.h"

#include <QAction>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QPointer>
#include <QPushButton>
#include <QSplitter>
#include <QStackedWidget>
#include <QStyle>
#include <QTableView>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace quarrydex {

using State = DupModel::State;

DuplicatesWindow::DuplicatesWindow(Model& model, Prefs& prefs, FileOpener& opener, QWidget* parent)
    : DuplicatesWindow(model, prefs, opener, Seams{}, parent) {}

DuplicatesWindow::DuplicatesWindow(
    Model& model, Prefs& prefs, FileOpener& opener, Seams seams, QWidget* parent)
    : QWidget(parent, Qt::Window), model_(model), opener_(opener),
      dialogs_(std::move(seams.dialogs)), dupes_(model, std::move(seams.tools)),
      groups_(new DupTreeModel(dupes_, this)) {
    progressTimer_.setSingleShot(true);
    progressTimer_.setInterval(calm);
    makeActions();
    makeExportMenu();
    layOut();
    connectModel();
    retranslate();
    stateChanged();
    prefsWatch_ = prefs.observe([this](std::string_view key) {
        if (key == Prefs::Key::language)
            retranslate();
    });
}

DuplicatesWindow::~DuplicatesWindow() {
    // The models are children: they go after dupes_ is gone, and are not to look at it then.
    tree_->setModel(nullptr);
    disconnect(&dupes_, nullptr, nullptr, nullptr);
}

void DuplicatesWindow::findDuplicates() {
    dupes_.start(dupes_.connectedVolumes());
}

// --- Making -------------------------------------------------------------------------------------

void DuplicatesWindow::makeActions() {
    const auto action = [this](const QList<QKeySequence>& keys, auto run) {
        auto* made = new QAction(this);
        made->setShortcuts(keys);
        made->setShortcutContext(Qt::WidgetShortcut);
        connect(made, &QAction::triggered, this, run);
        return made;
    };
    keep_ = action({Qt::Key_Space, Qt::Key_K}, &DuplicatesWindow::keepCurrent);
    open_ = action({Qt::Key_Return, Qt::Key_Enter}, &DuplicatesWindow::openCurrent);
    reveal_ = action({Qt::CTRL | Qt::Key_R}, &DuplicatesWindow::revealCurrent);
}

void DuplicatesWindow::makeExportMenu() {
    exportMenu_ = new QMenu(this);
    for (DupList list : allDupLists)
        exportMenu_->addAction(QString(), this, [this, list] { askAndExport(list); });
}

void DuplicatesWindow::layOut() {
    const int unit = fontMetrics().height();
    optionsBar_ = new DupOptionsBar(dupes_, this);
    runButton_ = new QPushButton(this);
    runButton_->setObjectName(QStringLiteral("run"));
    runButton_->setAutoDefault(true);
    runButton_->setFocus();
    auto* top = new QHBoxLayout;
    top->setContentsMargins(unit * 3 / 4, unit * 3 / 4, unit * 3 / 4, unit * 3 / 4);
    top->setSpacing(unit);
    top->addWidget(optionsBar_, 1);
    top->addWidget(runButton_, 0, Qt::AlignTop);

    empty_ = new EmptyState(this);
    progress_ = new DupProgressPage(this);
    pages_ = new QStackedWidget(this);
    for (QWidget* page :
         {static_cast<QWidget*>(empty_), static_cast<QWidget*>(progress_), makeResults()})
        pages_->addWidget(page);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addLayout(top);
    layout->addWidget(pages_, 1);
    layout->addWidget(makeFooter());
    resize(fontMetrics().averageCharWidth() * 150, unit * 42);
}

QWidget* DuplicatesWindow::makeResults() {
    results_ = new QSplitter(Qt::Vertical, this);
    tree_ = new DupTree(*groups_, results_);
    detail_ = new DupDetail(dupes_, results_);
    results_->addWidget(tree_);
    results_->addWidget(detail_);
    results_->setStretchFactor(0, 3);
    results_->setStretchFactor(1, 2);
    results_->setChildrenCollapsible(false);
    for (QAbstractItemView* view : {static_cast<QAbstractItemView*>(tree_),
                                    static_cast<QAbstractItemView*>(&detail_->table())}) {
        view->addActions({keep_, open_, reveal_});
        view->setContextMenuPolicy(Qt::CustomContextMenu);
        connect(view, &QWidget::customContextMenuRequested, this,
                [this, view](const QPoint& at) { showContextMenu(view->mapToGlobal(at)); });
        connect(view, &QAbstractItemView::doubleClicked, this, &DuplicatesWindow::openCurrent);
    }
    connect(tree_, &DupTree::currentPlaceChanged, this, &DuplicatesWindow::currentChanged);
    connect(detail_, &DupDetail::memberChosen, this, [this](std::size_t member) {
        if (const auto place = tree_->currentPlace())
            tree_->setCurrentPlace({place->group, member});
    });
    return results_;
}

QWidget* DuplicatesWindow::makeFooter() {
    const int unit = fontMetrics().height();
    auto* footer = new QWidget(this);
    summary_ = new QLabel(footer);
    summary_->setTextFormat(Qt::PlainText);
    summary_->setObjectName(QStringLiteral("summary"));
    notices_ = new HintLabel(footer);
    keepButton_ = new QPushButton(footer);
    openButton_ = new QPushButton(footer);
    revealButton_ = new QPushButton(footer);
    exportButton_ = new QPushButton(footer);
    exportButton_->setMenu(exportMenu_);
    connect(keepButton_, &QPushButton::clicked, this, &DuplicatesWindow::keepCurrent);
    connect(openButton_, &QPushButton::clicked, this, &DuplicatesWindow::openCurrent);
    connect(revealButton_, &QPushButton::clicked, this, &DuplicatesWindow::revealCurrent);

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(unit / 2);
    for (QPushButton* button : {keepButton_, openButton_, revealButton_, exportButton_})
        button->setAutoDefault(true); // Return presses it
    for (QPushButton* button : {keepButton_, openButton_, revealButton_})
        buttons->addWidget(button);
    buttons->addStretch(1);
    buttons->addWidget(exportButton_);
    auto* layout = new QVBoxLayout(footer);
    layout->setContentsMargins(unit * 3 / 4, unit / 2, unit * 3 / 4, unit * 3 / 4);
    layout->setSpacing(unit / 3);
    layout->addWidget(summary_);
    layout->addWidget(notices_);
    layout->addLayout(buttons);
    return footer;
}

void DuplicatesWindow::connectModel() {
    connect(runButton_, &QPushButton::clicked, this, &DuplicatesWindow::runOrCancel);
    connect(&dupes_, &DupModel::stateChanged, this, &DuplicatesWindow::stateChanged);
    connect(&dupes_, &DupModel::progressed, this, [this] {
        progress_->show(dupes_);
        refreshRunButton();
    });
    connect(&dupes_, &DupModel::optionsChanged, this, &DuplicatesWindow::refreshRunButton);
    connect(&dupes_, &DupModel::groupsChanged, this, &DuplicatesWindow::groupsChanged);
    connect(&progressTimer_, &QTimer::timeout, this, &DuplicatesWindow::choosePage);
    connect(&model_, &Model::volumesChanged, this, [this] {
        if (dupes_.state() == State::idle)
            choosePage();
    });
}

void DuplicatesWindow::retranslate() {
    setWindowTitle(qt(quarrydex::tr("Find duplicates")));
    optionsBar_->retranslate();
    keep_->setText(qt(quarrydex::tr("Keep this copy")));
    open_->setText(qt(quarrydex::tr("Open")));
    reveal_->setText(qt(quarrydex::tr("Show in folder")));
    keepButton_->setText(keep_->text());
    openButton_->setText(open_->text());
    revealButton_->setText(reveal_->text());
    exportButton_->setText(qt(quarrydex::tr("Save list")));
    for (std::size_t i = 0; i < allDupLists.size(); ++i)
        exportMenu_->actions()[static_cast<qsizetype>(i)]->setText(qt(menuTitle(allDupLists[i])));
    tree_->setAccessibleName(qt(quarrydex::tr("Groups of duplicates")));
    detail_->table().setAccessibleName(qt(quarrydex::tr("The copies of the group side by side")));
    tree_->viewport()->update();
    Q_EMIT groups_->headerDataChanged(Qt::Horizontal, 0, DupTreeModel::columns - 1);
    detail_->refresh();
    choosePage();
    refreshRunButton();
    refreshSummary();
}

// --- What is shown ------------------------------------------------------------------------------

void DuplicatesWindow::stateChanged() {
    listNotice_.clear();
    if (dupes_.state() == State::running) {
        progress_->show(dupes_);
        progressTimer_.start(); // until then what was there stays
    } else {
        progressTimer_.stop();
        choosePage();
    }
    if (dupes_.groups().empty())
        detail_->show(std::nullopt);
    else
        showFirstGroup();
    refreshRunButton();
    refreshSummary();
    refreshActions();
}

/// The keyboard goes on from the button to what it has brought, so that pressing it once too often
/// does not throw that away.
void DuplicatesWindow::showFirstGroup() {
    tree_->setCurrentPlace({0, dupes_.groups()[0].keep});
    if (runButton_->hasFocus())
        tree_->setFocus();
}

void DuplicatesWindow::choosePage() {
    const bool isQuietYet = progressTimer_.isActive();
    if (dupes_.state() == State::running) {
        if (!isQuietYet)
            pages_->setCurrentWidget(progress_);
        return;
    }
    if (!dupes_.groups().empty()) {
        pages_->setCurrentWidget(results_);
        return;
    }
    if (dupes_.state() == State::idle)
        showInvitation();
    else
        showNothingFound();
    pages_->setCurrentWidget(empty_);
}

void DuplicatesWindow::showInvitation() {
    if (!hasMusic()) {
        empty_->show({.symbol = "music.note",
                      .title = qt(quarrydex::tr("No audio files are indexed yet")),
                      .text = qt(quarrydex::tr("Choose drives and folders that hold music in the "
                                               "settings; duplicates can be looked for then."))});
        return;
    }
    empty_->show(
        {.symbol = "doc.on.doc",
         .title = qt(quarrydex::tr("Find music that is there more than once")),
         .text = qt(quarrydex::tr(
             "The audio files of all connected drives are compared: first by size and content, "
             "then by artist, title and length. For each group one copy is suggested to keep. No "
             "file is changed or deleted; the result can be saved as a list."))});
}

void DuplicatesWindow::showNothingFound() {
    const bool isCancelled = dupes_.state() == State::cancelled;
    const std::string considered =
        trn("{count} audio file was considered.", "{count} audio files were considered.",
            dupes_.filesConsidered());
    empty_->show({.symbol = isCancelled ? "xmark" : "checkmark",
                  .title = qt(isCancelled ? quarrydex::tr("Cancelled — partial result.")
                                          : quarrydex::tr("No duplicates found.")),
                  .text = isCancelled ? QString() : qt(considered)});
}

/// Whether there is anything to compare, or it may come yet.
bool DuplicatesWindow::hasMusic() const {
    const auto& volumes = model_.volumes();
    return model_.anyScanning() || std::ranges::any_of(volumes, [](const auto& volume) {
               return volume->index->audio().count() > 0 || volume->audioRunning;
           });
}

void DuplicatesWindow::refreshRunButton() {
    const bool isRunning = dupes_.state() == State::running;
    runButton_->setText(qt(isRunning ? quarrydex::tr("Cancel") : quarrydex::tr("Find duplicates")));
    runButton_->setEnabled(isRunning ? !dupes_.isCancelling() : dupes_.options().areUseful());
}

void DuplicatesWindow::refreshSummary() {
    std::string text;
    if (!dupes_.groups().empty()) {
        if (dupes_.state() == State::cancelled)
            text = quarrydex::tr("Cancelled — partial result.") + " ";
        text += trn("{count} group", "{count} groups", dupes_.groups().size()) +
                quarrydex::tr(" · surplus files: ") + groupedText(dupes_.surplus().files) +
                quarrydex::tr(" · surplus size: ") +
                shortSize(dupes_.surplus().bytes).toStdString();
    }
    summary_->setText(qt(text));
    summary_->setVisible(!text.empty());
    QStringList lines;
    if (dupes_.state() != State::running)
        for (const std::string& notice : dupes_.notices())
            lines += shown(notice);
    if (!listNotice_.isEmpty())
        lines += listNotice_;
    notices_->say(lines.join(u'\n'), HintLabel::Tone::quiet);
}

void DuplicatesWindow::refreshActions() {
    const auto place = dupes_.groups().empty() ? std::nullopt : tree_->currentPlace();
    const bool canKeep =
        place && place->member && *place->member != dupes_.groups()[place->group].keep;
    keep_->setEnabled(canKeep);
    keepButton_->setEnabled(canKeep);
    for (QAction* action : {open_, reveal_})
        action->setEnabled(place.has_value());
    for (QPushButton* button : {openButton_, revealButton_})
        button->setEnabled(place.has_value());
    exportButton_->setEnabled(!dupes_.groups().empty());
}

void DuplicatesWindow::groupsChanged(const std::vector<std::size_t>& groups) {
    const auto place = tree_->currentPlace();
    if (place && std::ranges::find(groups, place->group) != groups.end())
        detail_->refresh();
    refreshSummary();
    refreshActions();
}

void DuplicatesWindow::currentChanged() {
    if (!dupes_.groups().empty())
        detail_->show(tree_->currentPlace());
    refreshActions();
}

// --- What can be done ---------------------------------------------------------------------------

void DuplicatesWindow::runOrCancel() {
    if (dupes_.state() == State::running)
        dupes_.cancel();
    else
        findDuplicates();
}

/// Of a heading the copy that is kept.
const DupMember* DuplicatesWindow::currentFile() const {
    const auto place = tree_->currentPlace();
    if (!place || dupes_.groups().empty())
        return nullptr;
    const DupGroup& group = dupes_.groups()[place->group];
    return &group.members[place->member.value_or(group.keep)];
}

void DuplicatesWindow::keepCurrent() {
    const auto place = tree_->currentPlace();
    if (place && place->member)
        dupes_.setKeep(place->group, *place->member);
}

void DuplicatesWindow::openCurrent() {
    if (const DupMember* file = currentFile())
        opener_.open({file->path}, failureTeller());
}

void DuplicatesWindow::revealCurrent() {
    if (const DupMember* file = currentFile())
        opener_.reveal({file->path}, failureTeller());
}

std::function<void(const std::string&)> DuplicatesWindow::failureTeller() {
    return [window = QPointer(this)](const std::string& message) {
        if (window)
            window->dialogs_.alert(window, qt(quarrydex::tr("Opening did not work")), qt(message));
    };
}

void DuplicatesWindow::showContextMenu(const QPoint& onScreen) {
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addActions({keep_, open_, reveal_});
    menu->popup(onScreen);
}

void DuplicatesWindow::askAndExport(DupList list) {
    const QString name = QString::fromLatin1(appName).toLower() + qt(fileEnding(list));
    dialogs_.askPath(this, name, [window = QPointer(this), list](const std::string& path) {
        if (window)
            window->dupes_.exportList(list, path, [window](const DupModel::Exported& result) {
                if (window)
                    window->exported(result);
            });
    });
}

void DuplicatesWindow::exported(const DupModel::Exported& result) {
    using Outcome = DupModel::Exported::Outcome;
    switch (result.outcome) {
    case Outcome::refused:
        dialogs_.alert(this, qt(DupExport::refusalTitle()), qt(DupExport::refusalText()));
        return;
    case Outcome::failed:
        dialogs_.alert(this, qt(quarrydex::tr("The list was not saved")), shown(result.message));
        return;
    case Outcome::written:
        break;
    }
    listNotice_ = shown(quarrydex::tr("Saved as {path}.", {{"path", result.path}}));
    if (const std::string notListed = notListedNotice(result.notListed); !notListed.empty())
        listNotice_ += u' ' + qt(notListed);
    refreshSummary();
}

// --- Events -------------------------------------------------------------------------------------

void DuplicatesWindow::showEvent(QShowEvent* event) {
    dupes_.lookForFpcalc(); // may have been installed by now
    QWidget::showEvent(event);
}

void DuplicatesWindow::closeEvent(QCloseEvent* event) {
    dupes_.cancel();
    QWidget::closeEvent(event);
}

void DuplicatesWindow::keyPressEvent(QKeyEvent* event) {
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    const bool isInOptions = optionsBar_->isAncestorOf(focusWidget());
    if (event->key() == Qt::Key_Escape) {
        if (dupes_.state() == State::running)
            dupes_.cancel();
        else
            close();
    } else if (isReturn && isInOptions && dupes_.state() != State::running) {
        findDuplicates();
    } else {
        QWidget::keyPressEvent(event);
    }
}

} // namespace quarrydex
