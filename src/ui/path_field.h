#pragma once

#include <QLabel>
#include <QLineEdit>
#include <functional>
#include <string>
#include <vector>

class QMimeData;

namespace lumisk {

// A path that can be typed. What it was given stays the same bytes until the user changes the text, also where they
// cannot be shown.
class PathField : public QLineEdit {
 public:
  explicit PathField(QWidget* parent = nullptr);
  void setPath(const std::string& path);
  [[nodiscard]] const std::string& path() const { return path_; }

  std::function<void(const std::string& path)> typed = [](const std::string&) {};  // when the user is done with it

 protected:
  // The first path of what is dropped, which is done with at once.
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dragMoveEvent(QDragMoveEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  std::string path_;
};

// A path on one line, with its middle left out where there is no room.
class PathLabel : public QLabel {
 public:
  explicit PathLabel(const std::string& path, QWidget* parent = nullptr);
  void setPath(const std::string& path);
  [[nodiscard]] QSize minimumSizeHint() const override;

 protected:
  void resizeEvent(QResizeEvent* event) override;

 private:
  void elide();
  QString whole_;
};

// Of files that are dragged from elsewhere; empty for anything else.
[[nodiscard]] std::vector<std::string> droppedPaths(const QMimeData& data);

// What the user is asked for; several for sources, one for a target. Empty: cancelled.
using ChooseFolders = std::function<std::vector<std::string>()>;
[[nodiscard]] std::vector<std::string> chooseFolder(const QString& title);
[[nodiscard]] std::vector<std::string> chooseFiles(const QString& title);

}  // namespace lumisk
