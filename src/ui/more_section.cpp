#include "ui/more_section.h"

#include <QHBoxLayout>
#include <QSignalBlocker>
#include <QVBoxLayout>
#include <algorithm>

#include "ui/text.h"

namespace lumisk {
namespace {

constexpr int kMostRevisions = 9'999;

QHBoxLayout* bareRow(QWidget* parent) {
  auto* const row = new QHBoxLayout(parent);
  row->setContentsMargins(0, 0, 0, 0);
  row->setSpacing(theme::kSmall);
  return row;
}

}  // namespace

MoreSection::MoreSection(JobEditorPresenter& job)
    : job_(job),
      expander_(widgets::button(tr_("&More options"), widgets::ButtonKind::kFlat, "chevron-right")),
      body_(new QWidget),
      column_(new QVBoxLayout(body_)),
      message_(new widgets::InlineMessage) {
  expander_->setObjectName(QStringLiteral("more"));
  expander_->setCheckable(true);
  connect(expander_, &QPushButton::toggled, this, [this](bool on) { open(on); });
  content()->setContentsMargins(theme::kSmall, theme::kSmall, theme::kSmall, theme::kSmall);
  content()->addWidget(expander_, 0, Qt::AlignLeft);
  column_->setContentsMargins(theme::kSmall, 0, theme::kSmall, theme::kSmall);
  column_->setSpacing(theme::kMedium);
  form_ = new QFormLayout;
  form_->setHorizontalSpacing(theme::kLarge);
  form_->setVerticalSpacing(theme::kMedium);
  form_->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
  form_->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
  column_->addLayout(form_);
  makeRows();
  column_->addWidget(message_);
  content()->addWidget(body_);
  open(false);
}

void MoreSection::open(bool isOpen) {
  expander_->setChecked(isOpen);
  expander_->setIcon(theme::icon(isOpen ? "chevron-down" : "chevron-right", theme::Tint::kAccent));
  body_->setVisible(isOpen);
}

void MoreSection::addRow(const QString& name, QWidget* field) {
  auto* const label = widgets::label(name);
  label->setMinimumHeight(theme::kControlHeight);
  label->setMinimumWidth(140);
  form_->addRow(label, field);
}

QCheckBox* MoreSection::addSwitch(const QString& text, bool Record::*field) {
  auto* const box = new QCheckBox(text);
  if (field)
    connect(box, &QCheckBox::clicked, this,
            [this, field](bool on) { job_.change([=](Record& record) { record.*field = on; }); });
  column_->addWidget(box);
  return box;
}

void MoreSection::makeRows() {
  addRevisions();
  addConflicts();
  addFilter();
  addSwitches();
  addCapacity();
}

void MoreSection::addRevisions() {
  auto* const field = new QWidget;
  auto* const row = bareRow(field);
  revisions_ = new QComboBox;
  revisions_->addItems({tr_("None"), tr_("All of them"), tr_("The last")});
  revisions_->setAccessibleName(tr_("Earlier versions"));
  revisions_->setObjectName(QStringLiteral("revisions"));
  revisionCount_ = new QSpinBox;
  revisionCount_->setRange(1, kMostRevisions);
  revisionCount_->setMinimumWidth(150);
  revisionCount_->setAccessibleName(tr_("How many earlier versions of each file"));
  revisionCount_->setObjectName(QStringLiteral("revisionCount"));
  connect(revisions_, &QComboBox::currentIndexChanged, this, [this](int method) {
    job_.change([=](Record& record) { record.revision_method = static_cast<RevisionMethod>(method); });
  });
  connect(revisionCount_, &QSpinBox::valueChanged, this,
          [this](int count) { job_.change([=](Record& record) { record.revision_maxNumber = count; }); });
  row->addWidget(revisions_, 1);
  row->addWidget(revisionCount_);
  revisionsRow_ = field;
  addRow(tr_("Earlier versions"), field);
}

void MoreSection::addConflicts() {
  conflicts_ = new QComboBox;
  conflicts_->addItems({tr_("The first folder's version wins"), tr_("The second folder's version wins"),
                        tr_("The newer version wins"), tr_("Both are kept")});
  conflicts_->setAccessibleName(tr_("When both sides have changed"));
  conflicts_->setObjectName(QStringLiteral("conflicts"));
  connect(conflicts_, &QComboBox::currentIndexChanged, this, [this](int choice) {
    job_.change([=](Record& record) { record.fileConflictType = static_cast<ConflictChoice>(choice); });
  });
  addRow(tr_("Conflicts"), conflicts_);
}

void MoreSection::addFilter() {
  auto* const field = new QWidget;
  auto* const row = bareRow(field);
  filter_ = new QComboBox;
  filter_->addItems({tr_("All"), tr_("Only these"), tr_("All but these")});
  filter_->setAccessibleName(tr_("File types"));
  filter_->setObjectName(QStringLiteral("filter"));
  extensions_ = new QLineEdit;
  extensions_->setPlaceholderText(QStringLiteral("jpg, png, pdf"));
  extensions_->setAccessibleName(tr_("File types, by their extensions"));
  extensions_->setObjectName(QStringLiteral("extensions"));
  const auto answer = [this] {
    job_.setFilter(static_cast<JobEditorPresenter::Filter>(filter_->currentIndex()), typedText(extensions_->text()));
  };
  connect(filter_, &QComboBox::activated, this, [this, answer](int choice) {
    answer();
    if (choice != 0) extensions_->setFocus();
  });
  connect(extensions_, &QLineEdit::textEdited, this, answer);
  row->addWidget(filter_, 1);
  row->addWidget(extensions_, 2);
  filterRow_ = field;
  addRow(tr_("File types"), field);
}

void MoreSection::addSwitches() {
  deletions_ = addSwitch(tr_("Delete from the copy what was deleted from the folders"), nullptr);
  connect(deletions_, &QCheckBox::clicked, this,
          [this](bool on) { job_.change([=](Record& record) { record.nAutoDeletion = on ? 1 : 0; }); });
  deletions_->setObjectName(QStringLiteral("deletions"));
  trash_ = addSwitch(tr_("Move to the Trash what is deleted or replaced"), &Record::bMoveFileTrash);
  fullPath_ = addSwitch(tr_("Keep the whole path of each folder in the copy"), nullptr);
  connect(fullPath_, &QCheckBox::clicked, this, [this](bool on) { job_.setFullPath(on); });
  packages_ = addSwitch(tr_("Copy packages as a whole, whatever the file types"), &Record::bDealPackage);
  ownTargets_ = addSwitch(tr_("A place of its own for each folder"), nullptr);
  connect(ownTargets_, &QCheckBox::clicked, this, [this](bool on) { job_.setOwnTargets(on); });
  autoMount_ = addSwitch(tr_("Open the encrypted image when it is needed"), &Record::bAutoMount);
  unmount_ = addSwitch(tr_("Eject the drive after a run that began when it was plugged in"), nullptr);
  connect(unmount_, &QCheckBox::clicked, this, [this](bool on) { job_.setUnmount(on); });
  format_ = addSwitch(tr_("Erase the target volume before every clone"), &Record::bFormatVolume);
  format_->setObjectName(QStringLiteral("format"));
  repair_ = addSwitch(tr_("Repair permissions after a clone"), &Record::bRepairPermissions);
}

void MoreSection::addCapacity() {
  auto* const field = new QWidget;
  auto* const row = bareRow(field);
  warns_ = new QCheckBox(tr_("Warn when the target is fuller than"));
  connect(warns_, &QCheckBox::clicked, this,
          [this](bool on) { job_.change([=](Record& record) { record.bDisplayWarning = on; }); });
  capacity_ = new QSpinBox;
  capacity_->setRange(0, 100);
  capacity_->setSuffix(QStringLiteral(" %"));
  capacity_->setMinimumWidth(96);
  capacity_->setAccessibleName(tr_("Share of the target in percent"));
  connect(capacity_, &QSpinBox::valueChanged, this,
          [this](int percent) { job_.change([=](Record& record) { record.capacityPercentage = percent; }); });
  row->addWidget(warns_);
  row->addWidget(capacity_);
  row->addStretch();
  column_->addWidget(field);
}

void MoreSection::showRevisions() {
  const QSignalBlocker blockers[] = {QSignalBlocker(revisions_), QSignalBlocker(revisionCount_)};
  const Record& record = job_.job();
  revisions_->setCurrentIndex(static_cast<int>(record.revision_method));
  revisionCount_->setValue(record.revision_maxNumber);
  const auto count = static_cast<unsigned long>(std::max(record.revision_maxNumber, 1));
  revisionCount_->setSuffix(QLatin1Char(' ') + trCount_("version", "versions", count));
  revisionCount_->setVisible(record.revision_method == RevisionMethod::kLimited);
}

// The list is left alone while it is typed.
void MoreSection::showFilter() {
  if (extensions_->hasFocus()) return;
  const Record& record = job_.job();
  const auto filter = job_.filter();
  filter_->setCurrentIndex(static_cast<int>(filter));
  const bool isOnly = filter == JobEditorPresenter::Filter::kOnly;
  extensions_->setText(shownText(extensionsText(isOnly ? record.inclusionArray : record.exclusionArray)));
  extensions_->setVisible(filter != JobEditorPresenter::Filter::kEverything);
}

void MoreSection::refresh() {
  const Record& record = job_.job();
  const JobQuestions asked = job_.questions();
  form_->setRowVisible(revisionsRow_, asked.revisions);
  form_->setRowVisible(conflicts_, asked.conflicts);
  form_->setRowVisible(filterRow_, asked.filter);
  showRevisions();
  showFilter();
  const QSignalBlocker blockers[] = {QSignalBlocker(conflicts_), QSignalBlocker(capacity_)};
  conflicts_->setCurrentIndex(static_cast<int>(record.fileConflictType));
  capacity_->setValue(record.capacityPercentage);
  capacity_->setEnabled(record.bDisplayWarning);
  const auto set = [](QCheckBox* box, bool isShown, bool isOn) {
    box->setVisible(isShown);
    box->setChecked(isOn);
  };
  set(deletions_, asked.deletions, record.nAutoDeletion != 0);
  set(trash_, asked.filter, record.bMoveFileTrash);
  set(fullPath_, asked.fullPath, record.bRetainFullPath);
  set(packages_, asked.filter, record.bDealPackage);
  set(ownTargets_, asked.severalSources && record.sourcePaths.size() > 1, job_.hasOwnTargets());
  set(autoMount_, !record.dmgPath.empty(), record.bAutoMount);
  set(unmount_, !asked.wholeVolumes, job_.unmounts());
  set(format_, asked.wholeVolumes, record.bFormatVolume);
  set(repair_, asked.wholeVolumes, record.bRepairPermissions);
  set(warns_, true, record.bDisplayWarning);
  showProblemOf(job_, JobField::kRevisions, *message_);
}

}  // namespace lumisk
