#include "QuarrydexApp/windows/DupDetail.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/windows/DupDetailModel.h"
#include "QuarrydexApp/windows/DupText.h"
#include "QuarrydexCore/text/tr.h"

#include <QHeaderView>
#include <QLabel>
#include <QTableView>
#include <QVBoxLayout>

#include <algorithm>

namespace quarrydex {

namespace {

/// So many columns share the width; more than that scroll.
constexpr int columnsThatFit = 3;

QTableView* makeTable(QAbstractItemModel* model, QWidget* parent) {
    auto* table = new QTableView(parent);
    table->setModel(model);
    table->setSelectionBehavior(QAbstractItemView::SelectColumns);
    table->setSelectionMode(QAbstractItemView::SingleSelection);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setTabKeyNavigation(false);
    table->setShowGrid(false);
    table->setFrameShape(QFrame::NoFrame);
    table->setWordWrap(false);
    table->setTextElideMode(Qt::ElideMiddle);
    table->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    table->horizontalHeader()->setHighlightSections(false);
    table->verticalHeader()->setHighlightSections(false);
    table->verticalHeader()->setDefaultAlignment(Qt::AlignRight | Qt::AlignVCenter);
    table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() * 3 / 2);
    return table;
}

} // namespace

DupDetail::DupDetail(const DupModel& dupes, QWidget* parent)
    : QWidget(parent), dupes_(dupes), members_(new DupDetailModel(dupes, this)),
      reason_(new QLabel(this)), table_(makeTable(members_, this)) {
    const int unit = fontMetrics().height();
    reason_->setTextFormat(Qt::PlainText);
    reason_->setWordWrap(true);
    reason_->setContentsMargins(unit * 3 / 4, 0, unit * 3 / 4, 0);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, unit / 2, 0, 0);
    layout->setSpacing(unit / 2);
    layout->addWidget(reason_);
    layout->addWidget(table_, 1);
    connect(table_->selectionModel(), &QItemSelectionModel::currentColumnChanged, this,
            [this](const QModelIndex& current) {
                if (!isFilling_ && current.isValid())
                    Q_EMIT memberChosen(static_cast<std::size_t>(current.column()));
            });
}

void DupDetail::show(std::optional<DupTree::Place> place) {
    const bool isSameGroup = place && place_ && place->group == place_->group;
    place_ = place;
    if (!isSameGroup)
        fillGroup();
    select(place ? place->member : std::nullopt);
}

void DupDetail::refresh() {
    fillGroup();
    select(place_ ? place_->member : std::nullopt);
}

void DupDetail::fillGroup() {
    const QModelIndex before = table_->currentIndex();
    std::optional<std::size_t> group;
    QString text;
    if (place_) {
        group = place_->group;
        const DupGroup& shownGroup = dupes_.groups()[*group];
        text = reasonText(shownGroup);
        if (const QString verdict = verdictText(shownGroup); !verdict.isEmpty())
            text += u' ' + verdict;
    }
    reason_->setText(text);
    isFilling_ = true;
    members_->show(group);
    setColumnWidths();
    if (const QModelIndex again = members_->index(before.row(), before.column()); again.isValid())
        table_->setCurrentIndex(again);
    isFilling_ = false;
}

void DupDetail::setColumnWidths() {
    QHeaderView& header = *table_->horizontalHeader();
    const bool fit = members_->columnCount() <= columnsThatFit;
    header.setDefaultSectionSize(fontMetrics().averageCharWidth() * 36);
    header.setSectionResizeMode(fit ? QHeaderView::Stretch : QHeaderView::Interactive);
}

void DupDetail::select(std::optional<std::size_t> member) {
    isFilling_ = true;
    if (member) {
        const int row = std::max(table_->currentIndex().row(), 0);
        table_->setCurrentIndex(members_->index(row, static_cast<int>(*member)));
    } else {
        table_->clearSelection();
    }
    isFilling_ = false;
}

} // namespace quarrydex
