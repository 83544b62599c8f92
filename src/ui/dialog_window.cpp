#include "ui/dialog_window.h"

#include <QCloseEvent>

namespace lumisk {

ThemePicture::ThemePicture(std::string name, int size, theme::Tint tint, QWidget* parent)
    : QLabel(parent), name_(std::move(name)), size_(size), tint_(tint) {
  setFixedSize(size, size);
  redraw();
}

void ThemePicture::change(const std::string& name, theme::Tint tint) {
  name_ = name;
  tint_ = tint;
  redraw();
}

void ThemePicture::changeEvent(QEvent* event) {
  if (event->type() == QEvent::PaletteChange) redraw();
  QLabel::changeEvent(event);
}

void ThemePicture::redraw() {
  setPixmap(theme::pixmap(name_, size_, tint_, devicePixelRatioF()));
}

DialogWindow::DialogWindow(DialogDesk& desk, std::uint64_t id) : desk_(desk), id_(id) {
  setWindowFlag(Qt::WindowContextHelpButtonHint, false);
}

void DialogWindow::done(int result) {
  QDialog::done(result);
  desk_.close(id_);
}

void DialogWindow::closeEvent(QCloseEvent* event) {
  event->accept();
  desk_.close(id_);
}

ButtonRow::ButtonRow() {
  setSpacing(theme::kSmall);
  addStretch();
}

void ButtonRow::addLeft(QWidget* widget) {
  insertWidget(0, widget);
}

}  // namespace lumisk
