#include "ui/path_field.h"

#include <QApplication>
#include <QDropEvent>
#include <QFileDialog>
#include <QMimeData>
#include <QResizeEvent>
#include <algorithm>

#include "presenters/uri_list.h"
#include "ui/text.h"

namespace lumisk {

PathField::PathField(QWidget* parent) : QLineEdit(parent) {
  const auto finish = [this] {
    if (!isModified()) return;
    setModified(false);
    path_ = pathOfTyped(path_);
    typed(path_);
  };
  connect(this, &QLineEdit::textEdited, this, [this](const QString& text) { path_ = typedText(text); });
  connect(this, &QLineEdit::editingFinished, this, finish);
}

void PathField::setPath(const std::string& path) {
  const bool isBeingTyped = hasFocus() && isModified();
  if (isBeingTyped || (path == path_ && !isModified())) return;
  path_ = path;
  setText(shownText(path));
  setModified(false);
}

void PathField::dragEnterEvent(QDragEnterEvent* event) {
  droppedPaths(*event->mimeData()).empty() ? QLineEdit::dragEnterEvent(event) : event->acceptProposedAction();
}

void PathField::dragMoveEvent(QDragMoveEvent* event) {
  droppedPaths(*event->mimeData()).empty() ? QLineEdit::dragMoveEvent(event) : event->acceptProposedAction();
}

void PathField::dropEvent(QDropEvent* event) {
  const auto paths = droppedPaths(*event->mimeData());
  if (paths.empty()) return QLineEdit::dropEvent(event);
  event->acceptProposedAction();
  setModified(false);
  setPath(paths.front());
  typed(path_);
}

std::vector<std::string> droppedPaths(const QMimeData& data) {
  return pathsOfUriList(data.data(QStringLiteral("text/uri-list")).toStdString());
}

PathLabel::PathLabel(const std::string& path, QWidget* parent) : QLabel(parent) {
  setTextFormat(Qt::PlainText);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
  setPath(path);
}

void PathLabel::setPath(const std::string& path) {
  whole_ = shownText(path);
  setAccessibleName(whole_);
  setToolTip(whole_);
  elide();
}

QSize PathLabel::minimumSizeHint() const {
  return {80, QLabel::minimumSizeHint().height()};
}

void PathLabel::resizeEvent(QResizeEvent* event) {
  QLabel::resizeEvent(event);
  elide();
}

void PathLabel::elide() {
  setText(fontMetrics().elidedText(whole_, Qt::ElideMiddle, std::max(width(), 80)));
}

std::vector<std::string> chooseFolder(const QString& title) {
  const QString chosen = QFileDialog::getExistingDirectory(QApplication::activeWindow(), title);
  return chosen.isEmpty() ? std::vector<std::string>() : std::vector<std::string>{pathBytes(chosen)};
}

std::vector<std::string> chooseFiles(const QString& title) {
  std::vector<std::string> files;
  for (const QString& file : QFileDialog::getOpenFileNames(QApplication::activeWindow(), title))
    files.push_back(pathBytes(file));
  return files;
}

}  // namespace lumisk
