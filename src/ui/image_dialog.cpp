#include "ui/image_dialog.h"

#include <QHBoxLayout>
#include <QPointer>
#include <QVBoxLayout>

#include "platform/home_folder.h"
#include "ui/text.h"

namespace lumisk {
namespace {

constexpr int kWidth = 460;

}  // namespace

ImageDialog::ImageDialog(Background background, createDMGController::Tool tool, ChooseFolders chooseFolder,
                         QWidget* parent)
    : QDialog(parent),
      maker_(UserDefaults::standardPath(), std::move(tool), std::move(background)),
      folder_(new PathField),
      name_(new QLineEdit),
      password_(new QLineEdit),
      verify_(new QLineEdit),
      keep_(new QCheckBox(tr_("&Keep the password, so that jobs open the image by themselves"))),
      progress_(new QProgressBar),
      message_(new widgets::InlineMessage),
      make_(widgets::button(tr_("Make image"), widgets::ButtonKind::kPrimary)),
      fields_(new QWidget) {
  setAttribute(Qt::WA_DeleteOnClose);
  setWindowTitle(tr_("Encrypted image"));
  setMinimumWidth(kWidth);
  auto* const column = new QVBoxLayout(this);
  column->setContentsMargins(theme::kHuge, theme::kHuge, theme::kHuge, theme::kLarge);
  column->setSpacing(theme::kLarge);
  column->addWidget(widgets::label(tr_("Encrypted image"), theme::TextStyle::kTitle));
  column->addWidget(
      widgets::quiet(tr_("One file that holds the copies, up to 4 GB. Without the password nobody can "
                         "read it, and nobody can bring the password back.")));
  makeFields(chooseFolder);
  column->addWidget(fields_);
  column->addWidget(message_);
  progress_->setRange(0, 0);
  progress_->setTextVisible(false);
  progress_->setAccessibleName(tr_("The image is being made"));
  column->addWidget(progress_);
  auto* const buttons = new QHBoxLayout;
  buttons->setSpacing(theme::kSmall);
  auto* const cancel = widgets::button(tr_("Cancel"));
  connect(cancel, &QPushButton::clicked, this, [this] { close(); });
  make_->setObjectName(QStringLiteral("make"));
  connect(make_, &QPushButton::clicked, this, [this] { make(); });
  buttons->addStretch();
  buttons->addWidget(cancel);
  buttons->addWidget(make_);
  column->addLayout(buttons);
  setMaking(false);
}

QLineEdit* ImageDialog::addField(QBoxLayout& column, const QString& name, QLineEdit* field) {
  column.addWidget(widgets::fieldLabel(name, field));
  column.addWidget(field);
  column.addSpacing(theme::kSmall);
  return field;
}

void ImageDialog::makeFields(const ChooseFolders& chooseFolder) {
  auto* const column = new QVBoxLayout(fields_);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(theme::kTiny);
  addField(*column, tr_("&Name"), name_)->setObjectName(QStringLiteral("imageName"));
  column->addWidget(widgets::fieldLabel(tr_("&Folder"), folder_));
  auto* const row = new QHBoxLayout;
  row->setSpacing(theme::kSmall);
  folder_->setPath(homeFolder());
  folder_->setObjectName(QStringLiteral("imageFolder"));
  row->addWidget(folder_, 1);
  auto* const choose = widgets::button(tr_("&Choose…"));
  connect(choose, &QPushButton::clicked, this, [this, chooseFolder] {
    const QPointer<ImageDialog> self(this);
    const auto chosen = chooseFolder();
    if (self && !chosen.empty()) folder_->setPath(chosen.front());
  });
  row->addWidget(choose);
  column->addLayout(row);
  column->addSpacing(theme::kSmall);
  for (QLineEdit* const field : {password_, verify_}) field->setEchoMode(QLineEdit::Password);
  addField(*column, tr_("&Password"), password_)->setObjectName(QStringLiteral("password"));
  addField(*column, tr_("Password &again"), verify_)->setObjectName(QStringLiteral("verify"));
  keep_->setChecked(true);
  keep_->setObjectName(QStringLiteral("keepPassword"));
  column->addWidget(keep_);
}

ImageAnswers ImageDialog::answers() const {
  return {folder_->path(), typedText(name_->text()), typedText(password_->text()), typedText(verify_->text()),
          keep_->isChecked()};
}

void ImageDialog::make() {
  const ImageAnswers given = answers();
  if (const auto problem = ImageMaker::problem(given))
    return message_->show(widgets::InlineMessage::Kind::kError, shownText(*problem));
  message_->clear();
  setMaking(true);
  maker_.make(given, [this](const std::optional<MadeImage>& image, const std::string& why) {
    setMaking(false);
    if (!image) return message_->show(widgets::InlineMessage::Kind::kError, shownText(why));
    password_->clear();
    verify_->clear();
    made(*image);
    close();
  });
}

void ImageDialog::setMaking(bool isMaking) {
  fields_->setEnabled(!isMaking);
  make_->setEnabled(!isMaking);
  progress_->setVisible(isMaking);
}

}  // namespace lumisk
