#pragma once

#include <QAbstractButton>
#include <string>

namespace lumisk {

// One of a few answers: an icon, a title and a sentence below it; or the title alone, for short answers side by side.
// Checkable; several in an exclusive QButtonGroup are one question, moved through with the arrow keys.
class ChoiceCard : public QAbstractButton {
 public:
  ChoiceCard(std::string iconName, const QString& title, const QString& sentence = {}, QWidget* parent = nullptr);
  void setSentence(const QString& sentence);
  void setShare(double share);  // a thin bar below the sentence, 0..1; none by default

  [[nodiscard]] QSize sizeHint() const override;
  [[nodiscard]] QSize minimumSizeHint() const override;
  [[nodiscard]] int heightForWidth(int width) const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  [[nodiscard]] bool isShort() const { return iconName_.empty() && sentence_.isEmpty(); }
  [[nodiscard]] int textLeft() const;
  void paintGround(QPainter& painter) const;
  void paintTexts(QPainter& painter) const;

  std::string iconName_;
  QString sentence_;
  double share_ = -1;
};

}  // namespace lumisk
