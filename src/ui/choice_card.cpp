#include "ui/choice_card.h"

#include <QPaintEvent>
#include <QPainter>

#include "ui/theme.h"

namespace lumisk {
namespace {

constexpr int kCardIcon = 24;
constexpr int kBarHeight = 4;

int textHeight(const QFont& font, const QString& text, int width) {
  return QFontMetrics(font).boundingRect(0, 0, width, 10'000, Qt::TextWordWrap, text).height();
}

}  // namespace

ChoiceCard::ChoiceCard(std::string iconName, const QString& title, const QString& sentence, QWidget* parent)
    : QAbstractButton(parent), iconName_(std::move(iconName)) {
  setText(title);
  setCheckable(true);
  setFocusPolicy(Qt::StrongFocus);
  setAttribute(Qt::WA_Hover);
  QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Preferred);
  policy.setHeightForWidth(true);
  setSizePolicy(policy);
  setSentence(sentence);
}

void ChoiceCard::setSentence(const QString& sentence) {
  sentence_ = sentence;
  setAccessibleName(sentence.isEmpty() ? text() : text() + QStringLiteral(". ") + sentence);
  updateGeometry();
  update();
}

void ChoiceCard::setShare(double share) {
  share_ = share;
  updateGeometry();
  update();
}

int ChoiceCard::textLeft() const {
  return iconName_.empty() ? theme::kMedium : theme::kMedium + kCardIcon + theme::kMedium;
}

QSize ChoiceCard::sizeHint() const {
  const int title = QFontMetrics(theme::font(theme::TextStyle::kStrong)).horizontalAdvance(text());
  const int width = isShort() ? title + 2 * theme::kMedium : 300;
  return {width, heightForWidth(width)};
}

QSize ChoiceCard::minimumSizeHint() const {
  return isShort() ? sizeHint() : QSize(200, heightForWidth(200));
}

int ChoiceCard::heightForWidth(int width) const {
  if (isShort()) return theme::kControlHeight;
  const int room = width - textLeft() - theme::kMedium;
  int height = 2 * theme::kMedium + textHeight(theme::font(theme::TextStyle::kStrong), text(), room);
  if (!sentence_.isEmpty()) height += theme::kTiny + textHeight(theme::font(theme::TextStyle::kQuiet), sentence_, room);
  if (share_ >= 0) height += theme::kSmall + kBarHeight;
  return height;
}

void ChoiceCard::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  if (!isEnabled()) painter.setOpacity(0.5);
  paintGround(painter);
  if (!isShort()) return paintTexts(painter);
  painter.setFont(theme::font(isChecked() ? theme::TextStyle::kStrong : theme::TextStyle::kBody));
  painter.setPen(isChecked() ? theme::colours().accent : theme::colours().text);
  painter.drawText(rect(), Qt::AlignCenter, text());
}

void ChoiceCard::paintGround(QPainter& painter) const {
  const theme::Colours& colours = theme::colours();
  const bool isMarked = isChecked() || hasFocus();
  const double line = isChecked() && hasFocus() ? 2 : 1;
  painter.setPen(QPen(isMarked ? colours.accent : colours.line, line));
  painter.setBrush(isChecked() ? colours.selection : underMouse() ? colours.hover : colours.card);
  const double inset = line / 2;
  painter.drawRoundedRect(QRectF(rect()).adjusted(inset, inset, -inset, -inset), theme::kRadius, theme::kRadius);
}

void ChoiceCard::paintTexts(QPainter& painter) const {
  const theme::Colours& colours = theme::colours();
  if (!iconName_.empty()) {
    const auto tint = isChecked() ? theme::Tint::kAccent : theme::Tint::kQuiet;
    painter.drawPixmap(QRect(theme::kMedium, theme::kMedium, kCardIcon, kCardIcon),
                       theme::pixmap(iconName_, kCardIcon, tint, devicePixelRatioF()));
  }
  QRect room = rect().adjusted(textLeft(), theme::kMedium, -theme::kMedium, -theme::kMedium);
  const QFont strong = theme::font(theme::TextStyle::kStrong);
  painter.setFont(strong);
  painter.setPen(colours.text);
  painter.drawText(room, Qt::TextWordWrap, text());
  room.setTop(room.top() + textHeight(strong, text(), room.width()) + theme::kTiny);
  painter.setFont(theme::font(theme::TextStyle::kQuiet));
  painter.setPen(colours.quietText);
  painter.drawText(room, Qt::TextWordWrap, sentence_);
  if (share_ < 0) return;
  const QRectF bar(room.left(), height() - theme::kMedium - kBarHeight, room.width(), kBarHeight);
  painter.setPen(Qt::NoPen);
  painter.setBrush(colours.track);
  painter.drawRoundedRect(bar, kBarHeight / 2.0, kBarHeight / 2.0);
  painter.setBrush(colours.accent);
  painter.drawRoundedRect(QRectF(bar.topLeft(), QSizeF(bar.width() * std::min(share_, 1.0), kBarHeight)),
                          kBarHeight / 2.0, kBarHeight / 2.0);
}

}  // namespace lumisk
