#include "ui/target_section.h"

#include <QHBoxLayout>
#include <QPointer>
#include <algorithm>

#include "presenters/locale_text.h"
#include "ui/text.h"

namespace lumisk {

TargetSection::TargetSection(JobEditorPresenter& job, VolumesPresenter& volumes, TargetRoomPresenter& room,
                             ChooseFolders chooseFolder, std::function<void()> makeImage)
    : EditorSection(job, tr_("Where it is copied"), JobField::kTarget),
      volumes_(volumes),
      room_(room),
      picker_(new VolumePicker(tr_("Where to copy it"))),
      path_(new PathField),
      imageNote_(widgets::quiet({})),
      cloneWarning_(new widgets::InlineMessage),
      roomView_(new RoomView) {
  content()->addWidget(picker_);
  pathLine_ = makePathLine(chooseFolder, makeImage);
  content()->addWidget(pathLine_);
  content()->addWidget(imageNote_);
  content()->addWidget(cloneWarning_);
  roomView_->setObjectName(QStringLiteral("room"));
  content()->addWidget(roomView_);
  picker_->picked = [this](const VolumeRow& volume) { take(volume.volume.path); };
  path_->typed = [this](const std::string& path) { take(path); };
}

QWidget* TargetSection::makePathLine(const ChooseFolders& chooseFolder, const std::function<void()>& makeImage) {
  auto* const line = new QWidget;
  auto* const row = new QHBoxLayout(line);
  row->setContentsMargins(0, 0, 0, 0);
  row->setSpacing(theme::kSmall);
  path_->setPlaceholderText(tr_("A folder"));
  path_->setAccessibleName(tr_("The folder to copy to"));
  path_->setObjectName(QStringLiteral("targetPath"));
  row->addWidget(path_, 1);
  auto* const choose = widgets::button(tr_("&Choose…"), widgets::ButtonKind::kPlain, "folder");
  choose->setObjectName(QStringLiteral("chooseTarget"));
  connect(choose, &QPushButton::clicked, this, [this, chooseFolder] {
    const QPointer<TargetSection> self(this);
    const auto chosen = chooseFolder();
    if (self && !chosen.empty()) take(chosen.front());
  });
  row->addWidget(choose);
  image_ = widgets::button(tr_("&Encrypted image…"), widgets::ButtonKind::kPlain, "lock");
  image_->setObjectName(QStringLiteral("makeImage"));
  connect(image_, &QPushButton::clicked, this, makeImage);
  row->addWidget(image_);
  return line;
}

// A folder inside an image that is open belongs to the image.
void TargetSection::take(const std::string& path) {
  if (path.empty()) return;
  const VolumeRow* const image = volumes_.imageHolding(path);
  if (image) return job().setImage(image->imagePath, path, job().job().bAutoMount);
  job().setTarget(path);
}

std::vector<VolumeRow> TargetSection::offered() const {
  const auto& sources = job().job().sourcePaths;
  return job().questions().wholeVolumes ? volumes_.cloneTargets(sources) : volumes_.targets(sources);
}

// Who edits a job has a place already; volumes are offered again where the place is one of them.
void TargetSection::showPicker(const std::string& target) {
  auto volumes = job().hasOwnTargets() ? std::vector<VolumeRow>() : offered();
  const bool isVolume =
      std::any_of(volumes.begin(), volumes.end(), [&](const VolumeRow& row) { return row.volume.path == target; });
  if (!job().isNew() && !target.empty() && !isVolume) volumes.clear();
  picker_->show(volumes, target);
}

void TargetSection::showJob() {
  const auto& record = job().job();
  const bool isVolume = job().questions().wholeVolumes;
  setHeading(isVolume ? tr_("Volume that becomes the copy") : tr_("Where it is copied"));
  const std::string target = record.targetPaths.empty() ? std::string() : record.targetPaths.front();
  const bool hasOwn = job().hasOwnTargets();
  showPicker(target);
  pathLine_->setVisible(!isVolume && !hasOwn);
  image_->setVisible(job().questions().image);
  path_->setPath(target);
  imageNote_->setVisible(!record.dmgPath.empty() || hasOwn);
  if (hasOwn) imageNote_->setText(tr_("Each folder has a place of its own, see above."));
  if (!record.dmgPath.empty())
    imageNote_->setText(
        QString::fromStdString(filled(translated("Inside the encrypted image {}."), displayText(record.dmgPath))));
  const auto warnings = job().plainWarnings();
  warnings.empty() || target.empty()
      ? cloneWarning_->clear()
      : cloneWarning_->show(widgets::InlineMessage::Kind::kWarning, QString::fromStdString(warnings.front()));
  if (!isVolume) room_.look(record);
  showRoom();
}

void TargetSection::showRoom() {
  const auto& room = room_.room();
  const bool isShown = room && room->isKnown && !job().questions().wholeVolumes;
  roomView_->setVisible(isShown);
  if (isShown) roomView_->show(*room);
}

}  // namespace lumisk
