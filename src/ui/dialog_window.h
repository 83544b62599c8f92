#pragma once

#include <QDialog>
#include <QLabel>
#include <QVBoxLayout>

#include "app/dialog_desk.h"
#include "ui/theme.h"

namespace lumisk {

// A picture of the theme in a size, which follows a change of the theme.
class ThemePicture : public QLabel {
 public:
  ThemePicture(std::string name, int size, theme::Tint tint, QWidget* parent = nullptr);
  void change(const std::string& name, theme::Tint tint);

 protected:
  void changeEvent(QEvent* event) override;

 private:
  void redraw();

  std::string name_;
  int size_;
  theme::Tint tint_;
};

// What the windows of dialogs have in common: however one is closed, the desk is told once.
class DialogWindow : public QDialog {
 public:
  DialogWindow(DialogDesk& desk, std::uint64_t id);
  // The item has changed.
  virtual void update(const DialogItem& item, WallTime now) = 0;
  using QDialog::update;

  void done(int result) override;  // also of Escape and of the window's own button

 protected:
  void closeEvent(QCloseEvent* event) override;
  [[nodiscard]] DialogDesk& desk() const { return desk_; }
  [[nodiscard]] std::uint64_t id() const { return id_; }

 private:
  DialogDesk& desk_;
  const std::uint64_t id_;
};

// A row of buttons at the right, with what stands at the left before them.
class ButtonRow : public QHBoxLayout {
 public:
  ButtonRow();
  void addLeft(QWidget* widget);
  void addRight(QWidget* widget) { addWidget(widget); }
};

}  // namespace lumisk
