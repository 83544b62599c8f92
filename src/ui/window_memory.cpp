#include "ui/window_memory.h"

#include <QFile>
#include <QHeaderView>
#include <QSettings>
#include <QWidget>

#include "platform/home_folder.h"
#include "platform/user_defaults.h"

namespace lumisk::windowMemory {
namespace {

// Read at every call: tests change the home folder.
QSettings settings() {
  const std::string path = homeFolder() + "/Library/Preferences/" + kDefaultsDomain + ".windows.ini";
  return {QFile::decodeName(QByteArray::fromStdString(path)), QSettings::IniFormat};
}

QString columnsKey(const QString& name) {
  return name + QStringLiteral("/columns");
}

QString placeKey(const QString& name) {
  return name + QStringLiteral("/place");
}

}  // namespace

void restore(QWidget& window, const QString& name) {
  const QByteArray place = settings().value(placeKey(name)).toByteArray();
  if (!place.isEmpty()) window.restoreGeometry(place);
}

void keep(const QWidget& window, const QString& name) {
  settings().setValue(placeKey(name), window.saveGeometry());
}

void restoreColumns(QHeaderView& header, const QString& name) {
  const QByteArray columns = settings().value(columnsKey(name)).toByteArray();
  if (!columns.isEmpty()) header.restoreState(columns);
}

void keepColumns(const QHeaderView& header, const QString& name) {
  settings().setValue(columnsKey(name), header.saveState());
}

}  // namespace lumisk::windowMemory
