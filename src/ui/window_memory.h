#pragma once

#include <QString>

class QWidget;
class QHeaderView;

namespace lumisk::windowMemory {

// Where windows were and how wide their columns, in a file of its own beside the settings: losing it costs nothing.
void restore(QWidget& window, const QString& name);  // leaves a window alone that has never been remembered
void keep(const QWidget& window, const QString& name);
void restoreColumns(QHeaderView& header, const QString& name);
void keepColumns(const QHeaderView& header, const QString& name);

}  // namespace lumisk::windowMemory
