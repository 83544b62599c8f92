#include "ui/volume_picker.h"

#include <QAbstractButton>

#include "ui/choice_card.h"
#include "ui/text.h"
#include "ui/theme.h"

namespace lumisk {
namespace {

bool showTheSame(const std::vector<VolumeRow>& a, const std::vector<VolumeRow>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const VolumeRow& one, const VolumeRow& other) {
    return one.volume.path == other.volume.path && one.freeText == other.freeText && one.imagePath == other.imagePath;
  });
}

}  // namespace

std::string iconOf(const VolumeRow& volume) {
  if (!volume.imagePath.empty()) return "lock";
  return volume.isSystem ? "computer" : "volumes";
}

QString titleOf(const VolumeRow& volume) {
  if (volume.isSystem && (volume.volume.name.empty() || volume.volume.name == "Root")) return tr_("This computer");
  return shownText(volume.volume.name);
}

VolumePicker::VolumePicker(const QString& question, QWidget* parent)
    : QWidget(parent), grid_(new QGridLayout(this)), cards_(new QButtonGroup(this)) {
  grid_->setContentsMargins(0, 0, 0, 0);
  grid_->setSpacing(theme::kSmall);
  grid_->setColumnStretch(0, 1);
  grid_->setColumnStretch(1, 1);
  setAccessibleName(question);
  connect(cards_, &QButtonGroup::idClicked, this, [this](int id) {
    const VolumeRow chosen = volumes_.at(static_cast<std::size_t>(id));
    picked(chosen);
  });
}

void VolumePicker::show(const std::vector<VolumeRow>& volumes, const std::string& chosenPath) {
  if (!showTheSame(volumes, volumes_)) rebuild(volumes);
  cards_->setExclusive(false);
  for (std::size_t i = 0; i < volumes_.size(); ++i)
    cards_->button(static_cast<int>(i))->setChecked(volumes_[i].volume.path == chosenPath);
  cards_->setExclusive(true);
  setVisible(!volumes_.empty());
}

void VolumePicker::rebuild(const std::vector<VolumeRow>& volumes) {
  const auto old = cards_->buttons();
  for (QAbstractButton* const card : old) delete card;
  volumes_ = volumes;
  for (std::size_t i = 0; i < volumes_.size(); ++i) {
    const VolumeRow& row = volumes_[i];
    auto* const card = new ChoiceCard(iconOf(row), titleOf(row), QString::fromStdString(freeSentence(row)));
    card->setObjectName(QStringLiteral("volume"));
    card->setShare(row.usedShare());
    card->setToolTip(shownText(row.volume.path));
    cards_->addButton(card, static_cast<int>(i));
    grid_->addWidget(card, static_cast<int>(i / 2), static_cast<int>(i % 2));
  }
}

}  // namespace lumisk
