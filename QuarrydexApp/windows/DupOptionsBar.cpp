#include "QuarrydexApp/windows/DupOptionsBar.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/windows/DupModel.h"
#include "QuarrydexApp/windows/FlowLayout.h"
#include "QuarrydexCore/text/tr.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSpinBox>

#include <cmath>

namespace quarrydex {

namespace {

constexpr std::uint64_t bytesPerKB = 1024;
constexpr int maxMinSize = 1 << 20; ///< KB
constexpr double maxTolerance = 60; ///< seconds

/// Side by side also where the row breaks.
QWidget* labelled(QLabel* label, QWidget* field, QWidget* parent) {
    auto* pair = new QWidget(parent);
    auto* layout = new QHBoxLayout(pair);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(label);
    layout->addWidget(field);
    label->setBuddy(field);
    return pair;
}

} // namespace

DupOptionsBar::DupOptionsBar(DupModel& dupes, QWidget* parent)
    : QWidget(parent), dupes_(dupes), identical_(new QCheckBox(this)),
      sameSong_(new QCheckBox(this)), acoustic_(new QCheckBox(this)),
      minSizeLabel_(new QLabel(this)), minSize_(new QSpinBox(this)),
      toleranceLabel_(new QLabel(this)), tolerance_(new QDoubleSpinBox(this)) {
    identical_->setObjectName(QStringLiteral("identical"));
    sameSong_->setObjectName(QStringLiteral("sameSong"));
    acoustic_->setObjectName(QStringLiteral("acoustic"));
    minSize_->setRange(0, maxMinSize);
    minSize_->setGroupSeparatorShown(true);
    tolerance_->setRange(0, maxTolerance);
    tolerance_->setDecimals(1);
    tolerance_->setSingleStep(0.5);
    layOut();
    retranslate();
    refresh();
    for (QCheckBox* box : {identical_, sameSong_, acoustic_})
        connect(box, &QCheckBox::toggled, this, &DupOptionsBar::chosen);
    connect(minSize_, &QSpinBox::valueChanged, this, &DupOptionsBar::chosen);
    connect(tolerance_, &QDoubleSpinBox::valueChanged, this, &DupOptionsBar::chosen);
    connect(&dupes_, &DupModel::optionsChanged, this, &DupOptionsBar::refresh);
    connect(&dupes_, &DupModel::stateChanged, this, &DupOptionsBar::refresh);
}

void DupOptionsBar::layOut() {
    auto* layout = new FlowLayout(fontMetrics().height());
    setLayout(layout);
    layout->addWidget(identical_);
    layout->addWidget(sameSong_);
    layout->addWidget(labelled(toleranceLabel_, tolerance_, this));
    layout->addWidget(acoustic_);
    layout->addWidget(labelled(minSizeLabel_, minSize_, this));
}

void DupOptionsBar::retranslate() {
    identical_->setText(qt(quarrydex::tr("Identical files")));
    identical_->setToolTip(qt(quarrydex::tr("Files with the same content, byte for byte")));
    sameSong_->setText(qt(quarrydex::tr("Same song")));
    sameSong_->setToolTip(
        qt(quarrydex::tr("The same artist and title in another format or quality")));
    acoustic_->setText(qt(quarrydex::tr("Check acoustically")));
    toleranceLabel_->setText(qt(quarrydex::tr("Lengths differ by up to")));
    // Translators: seconds, after a number
    tolerance_->setSuffix(qt(quarrydex::tr(" s")));
    minSizeLabel_->setText(qt(quarrydex::tr("Minimum size")));
    minSize_->setSuffix(qt(quarrydex::tr(" KB")));
    minSize_->setToolTip(qt(quarrydex::tr("Smaller files are not compared")));
    refresh();
}

void DupOptionsBar::refresh() {
    const DupModel::Options& options = dupes_.options();
    {
        const QSignalBlocker blockers[] = {QSignalBlocker(identical_), QSignalBlocker(sameSong_),
                                           QSignalBlocker(acoustic_), QSignalBlocker(minSize_),
                                           QSignalBlocker(tolerance_)};
        identical_->setChecked(options.identical);
        sameSong_->setChecked(options.sameSong);
        acoustic_->setChecked(options.acoustic && dupes_.hasFpcalc());
        minSize_->setValue(static_cast<int>(options.minSize / bytesPerKB));
        tolerance_->setValue(options.toleranceMs / 1000.0);
    }
    const bool isIdle = dupes_.state() != DupModel::State::running;
    for (QWidget* widget : {static_cast<QWidget*>(identical_), static_cast<QWidget*>(sameSong_),
                            static_cast<QWidget*>(minSizeLabel_), static_cast<QWidget*>(minSize_)})
        widget->setEnabled(isIdle);
    toleranceLabel_->setEnabled(isIdle && options.sameSong);
    tolerance_->setEnabled(isIdle && options.sameSong);
    acoustic_->setEnabled(isIdle && options.sameSong && dupes_.hasFpcalc());
    acoustic_->setToolTip(qt(
        dupes_.hasFpcalc()
            ? quarrydex::tr("Compares what the first 90 seconds of a song sound like")
            : quarrydex::tr("Needs the program fpcalc, which is not installed. Many systems have "
                            "it in the package libchromaprint-tools or chromaprint.")));
    acoustic_->setAccessibleDescription(acoustic_->toolTip());
}

void DupOptionsBar::chosen() {
    dupes_.setOptions(
        {.identical = identical_->isChecked(),
         .sameSong = sameSong_->isChecked(),
         .acoustic = acoustic_->isChecked(),
         .minSize = static_cast<std::uint64_t>(minSize_->value()) * bytesPerKB,
         .toleranceMs = static_cast<std::uint32_t>(std::lround(tolerance_->value() * 1000))});
}

} // namespace quarrydex
