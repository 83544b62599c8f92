#include "ui/sources_section.h"

#include <QDragEnterEvent>
#include <QMimeData>
#include <QPointer>
#include <QVBoxLayout>
#include <algorithm>

#include "ui/text.h"

namespace lumisk {

SourcesSection::SourcesSection(JobEditorPresenter& job, VolumesPresenter& volumes, ChooseFolders chooseFolders,
                               ChooseFolders chooseFiles)
    : EditorSection(job, tr_("What"), JobField::kSources),
      volumes_(volumes),
      chooseTarget_(chooseFolders),
      folders_(new QWidget),
      rows_(new QVBoxLayout),
      picker_(new VolumePicker(tr_("The volume to copy"))) {
  setAcceptDrops(true);
  auto* const column = new QVBoxLayout(folders_);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(theme::kSmall);
  rows_->setSpacing(theme::kTiny);
  column->addLayout(rows_);
  auto* const buttons = new QHBoxLayout;
  buttons->setSpacing(theme::kSmall);
  auto* const addFolder = widgets::button(tr_("Add &folder…"), widgets::ButtonKind::kPlain, "plus");
  addFolder->setObjectName(QStringLiteral("addFolder"));
  auto* const addFiles = widgets::button(tr_("Add f&iles…"), widgets::ButtonKind::kFlat);
  connect(addFolder, &QPushButton::clicked, this, [this, chooseFolders] { add(chooseFolders); });
  connect(addFiles, &QPushButton::clicked, this, [this, chooseFiles] { add(chooseFiles); });
  buttons->addWidget(addFolder);
  buttons->addWidget(addFiles);
  buttons->addStretch();
  buttons->addWidget(widgets::label(tr_("or drop them here"), theme::TextStyle::kQuiet));
  column->addLayout(buttons);
  content()->addWidget(folders_);
  content()->addWidget(picker_);
  picker_->picked = [this](const VolumeRow& volume) { this->job().setSources({volume.volume.path}); };
}

// The window may have been closed while the user was choosing.
void SourcesSection::add(const ChooseFolders& choose) {
  const QPointer<SourcesSection> self(this);
  const auto chosen = choose();
  if (self && !chosen.empty()) job().addSources(chosen);
}

void SourcesSection::showJob() {
  const bool isVolume = job().questions().wholeVolumes;
  setHeading(isVolume ? tr_("Volume to copy") : tr_("What is copied"));
  folders_->setVisible(!isVolume);
  picker_->setVisible(isVolume);
  const auto& record = job().job();
  if (isVolume) return picker_->show(volumes_.cloneSources(), record.sourcePaths.empty() ? "" : record.sourcePaths[0]);
  const auto targets = job().hasOwnTargets() ? record.targetPaths : std::vector<std::string>();
  if (shown_ == record.sourcePaths && shownTargets_ == targets && !shown_.empty()) return;
  shown_ = record.sourcePaths;
  shownTargets_ = targets;
  rebuildRows();
}

void SourcesSection::rebuildRows() {
  while (QLayoutItem* const item = rows_->takeAt(0)) {
    item->widget()->hide();
    item->widget()->deleteLater();
    delete item;
  }
  for (std::size_t i = 0; i < shown_.size(); ++i) rows_->addWidget(makeRow(i));
}

QWidget* SourcesSection::makeRow(std::size_t index) {
  auto* const row = new QFrame;
  row->setObjectName(QStringLiteral("messageHint"));
  auto* const line = new QHBoxLayout(row);
  line->setContentsMargins(theme::kMedium, 1, 1, 1);
  line->setSpacing(theme::kSmall);
  auto* const path = new PathLabel(shown_[index]);
  path->setFont(theme::font(theme::TextStyle::kBody));
  line->addWidget(path, 1);
  if (!shownTargets_.empty() && index < shownTargets_.size()) {
    line->addWidget(widgets::label(QStringLiteral("→"), theme::TextStyle::kQuiet));
    auto* const target = new PathField;
    target->setAccessibleName(tr_("Where to copy this folder"));
    target->setPath(shownTargets_[index]);
    target->typed = [this, source = shown_[index]](const std::string& typed) { setTargetOf(source, typed); };
    line->addWidget(target, 1);
  }
  auto* const remove = widgets::iconButton("close", tr_("Do not copy this folder"));
  connect(remove, &QToolButton::clicked, this, [this, index] { job().removeSource(index); });
  line->addWidget(remove);
  return row;
}

// By the source, not by its row: a field that is left because rows go may be told after they have moved up.
void SourcesSection::setTargetOf(const std::string& source, const std::string& target) {
  const auto& sources = job().job().sourcePaths;
  const auto found = std::find(sources.begin(), sources.end(), source);
  if (found != sources.end()) job().setTargetOf(static_cast<std::size_t>(found - sources.begin()), target);
}

void SourcesSection::dragEnterEvent(QDragEnterEvent* event) {
  const bool isWelcome = !job().questions().wholeVolumes && !droppedPaths(*event->mimeData()).empty();
  if (isWelcome) event->acceptProposedAction();
}

void SourcesSection::dropEvent(QDropEvent* event) {
  const auto paths = droppedPaths(*event->mimeData());
  event->acceptProposedAction();
  if (!paths.empty()) job().addSources(paths);
}

}  // namespace lumisk
