#include "ui/theme_sheet.h"

namespace lumisk::theme {
namespace {

constexpr const char* kGrounds = R"(
QWidget { color: @text; }
QMainWindow, QDialog, QWidget#window { background: @window; }
QLabel { background: transparent; }
QLabel[isQuiet="true"] { color: @quietText; }
QFrame#card { background: @card; border: 1px solid @cardBorder; border-radius: 10px; }
QFrame#separator { background: @line; border: none; }
QToolTip { background: @card; color: @text; border: 1px solid @line; padding: 6px 8px; }
QFrame#messageError { background: @errorFill; border: none; border-radius: 6px; }
QFrame#messageWarning { background: @warningFill; border: none; border-radius: 6px; }
QFrame#messageHint { background: @hover; border: none; border-radius: 6px; }
QStatusBar { background: @window; color: @quietText; }
QStatusBar::item { border: none; }
QScrollArea, QScrollArea > QWidget > QWidget#page { background: transparent; border: none; }
)";

constexpr const char* kButtons = R"(
QPushButton { background: @card; border: 1px solid @line; border-radius: 8px; padding: 0 16px; min-height: 32px; }
QPushButton:hover { background: @hover; }
QPushButton:pressed { background: @selection; }
QPushButton:focus { border: 1px solid @accent; }
QPushButton:disabled { color: @disabled; background: transparent; }
QPushButton[kind="primary"] { background: @accentFill; border-color: @accentFill; color: @accentText; font-weight: 600; }
QPushButton[kind="primary"]:hover { background: @accentHover; border-color: @accentHover; }
QPushButton[kind="primary"]:focus { border: 2px solid @focus; }
QPushButton[kind="primary"]:disabled { background: @line; border-color: @line; color: @disabled; }
QPushButton[kind="dangerous"] { color: @error; }
QPushButton[kind="dangerous"]:hover { background: @errorFill; }
QPushButton[kind="flat"] { background: transparent; border-color: transparent; color: @accent; padding: 0 8px; }
QPushButton[kind="flat"]:hover { background: @hover; }
QPushButton[kind="flat"]:focus { border-color: @accent; }
QToolButton { background: transparent; border: 1px solid transparent; border-radius: 8px; padding: 6px 10px; }
QToolButton:hover { background: @hover; }
QToolButton:pressed, QToolButton:checked { background: @selection; }
QToolButton:focus { border-color: @accent; }
QToolButton:disabled { color: @disabled; }
QToolButton::menu-indicator { image: none; }
QToolButton#iconButton { padding: 6px; }
QToolBar { background: @window; border: none; padding: 8px 16px; spacing: 2px; }
QToolBar::separator { background: @line; width: 1px; margin: 8px 8px; }
QToolBar#main QToolButton { padding: 6px 9px; }
)";

constexpr const char* kFields = R"(
QLineEdit, QPlainTextEdit, QTextEdit, QSpinBox, QDoubleSpinBox, QTimeEdit, QDateTimeEdit, QDateEdit, QComboBox {
  background: @field; border: 1px solid @line; border-radius: 8px; selection-background-color: @accentFill;
  selection-color: @accentText; }
QLineEdit, QComboBox { padding: 0 10px; min-height: 32px; }
QSpinBox, QDoubleSpinBox, QTimeEdit, QDateTimeEdit, QDateEdit { padding: 0 8px; min-height: 32px; }
QPlainTextEdit, QTextEdit { padding: 6px; }
QLineEdit:focus, QPlainTextEdit:focus, QTextEdit:focus, QSpinBox:focus, QDoubleSpinBox:focus, QTimeEdit:focus,
QDateTimeEdit:focus, QDateEdit:focus, QComboBox:focus { border: 1px solid @accent; }
QLineEdit[invalid="true"], QComboBox[invalid="true"] { border: 1px solid @error; }
QLineEdit:disabled, QComboBox:disabled, QSpinBox:disabled, QTimeEdit:disabled { color: @disabled; background: @window; }
QLineEdit[readOnly="true"] { background: @window; }
QComboBox::drop-down { border: none; width: 28px; }
QComboBox::down-arrow { image: url(:/lumisk/icons/arrow-down-@theme.svg); width: 12px; height: 12px; }
QComboBox QAbstractItemView { background: @card; border: 1px solid @line; padding: 4px; outline: none;
  selection-background-color: @selection; selection-color: @text; }
QSpinBox::up-button, QDoubleSpinBox::up-button, QTimeEdit::up-button, QDateTimeEdit::up-button, QDateEdit::up-button {
  border: none; width: 20px; subcontrol-position: top right; }
QSpinBox::down-button, QDoubleSpinBox::down-button, QTimeEdit::down-button, QDateTimeEdit::down-button,
QDateEdit::down-button { border: none; width: 20px; subcontrol-position: bottom right; }
QSpinBox::up-arrow, QDoubleSpinBox::up-arrow, QTimeEdit::up-arrow, QDateTimeEdit::up-arrow, QDateEdit::up-arrow {
  image: url(:/lumisk/icons/arrow-up-@theme.svg); width: 10px; height: 10px; }
QSpinBox::down-arrow, QDoubleSpinBox::down-arrow, QTimeEdit::down-arrow, QDateTimeEdit::down-arrow,
QDateEdit::down-arrow { image: url(:/lumisk/icons/arrow-down-@theme.svg); width: 10px; height: 10px; }
QCheckBox, QRadioButton { spacing: 8px; min-height: 24px; background: transparent; }
QCheckBox::indicator, QRadioButton::indicator { width: 16px; height: 16px; background: @field;
  border: 1px solid @indicator; }
QCheckBox::indicator { border-radius: 4px; }
QRadioButton::indicator { border-radius: 9px; }
QCheckBox::indicator:checked, QRadioButton::indicator:checked, QCheckBox::indicator:indeterminate {
  background: @accentFill; border-color: @accentFill; }
QCheckBox::indicator:checked { image: url(:/lumisk/icons/check-white.svg); }
QCheckBox::indicator:indeterminate { image: url(:/lumisk/icons/dash-white.svg); }
QRadioButton::indicator:checked { image: url(:/lumisk/icons/dot-white.svg); }
QCheckBox::indicator:focus, QRadioButton::indicator:focus { border-color: @accent; }
QCheckBox:focus, QRadioButton:focus { color: @accent; outline: none; }
QCheckBox:disabled, QRadioButton:disabled { color: @disabled; }
QCheckBox::indicator:disabled, QRadioButton::indicator:disabled { border-color: @line; background: @window; }
QProgressBar { background: @track; border: none; border-radius: 3px; max-height: 6px; }
QProgressBar::chunk { background: @accent; border-radius: 3px; }
QProgressBar::chunk:disabled { background: @quietText; }
)";

constexpr const char* kLists = R"(
QAbstractItemView { background: @card; border: none; outline: none; alternate-background-color: @card; }
QListView, QTreeView { border: 1px solid @cardBorder; border-radius: 8px; }
QListView::item, QTreeView::item { padding: 6px 8px; border-radius: 6px; }
QListView::item:hover, QTreeView::item:hover { background: @hover; }
QListView::item:selected, QTreeView::item:selected { background: @selection; color: @text; }
QTableView { gridline-color: transparent; selection-background-color: @selection; selection-color: @text; }
QHeaderView { background: @card; border: none; }
QHeaderView::section { background: @card; color: @quietText; border: none; border-bottom: 1px solid @line;
  padding: 8px 12px; font-weight: 600; }
QHeaderView::section:hover { color: @text; }
QHeaderView::up-arrow { image: url(:/lumisk/icons/arrow-up-@theme.svg); width: 10px; height: 10px;
  subcontrol-origin: padding; subcontrol-position: center right; right: 2px; }
QHeaderView::down-arrow { image: url(:/lumisk/icons/arrow-down-@theme.svg); width: 10px; height: 10px;
  subcontrol-origin: padding; subcontrol-position: center right; right: 2px; }
QMenu { background: @card; border: 1px solid @line; padding: 6px; }
QMenu::item { padding: 7px 28px 7px 12px; border-radius: 6px; }
QMenu::item:selected { background: @selection; }
QMenu::item:disabled { color: @disabled; }
QMenu::icon { padding-left: 8px; }
QMenu::separator { height: 1px; background: @line; margin: 6px 8px; }
QMenuBar { background: @window; }
QMenuBar::item { padding: 6px 10px; background: transparent; border-radius: 6px; }
QMenuBar::item:selected { background: @hover; }
QTabWidget::pane { border: none; }
QTabBar::tab { background: transparent; color: @quietText; padding: 8px 14px; border: none;
  border-bottom: 2px solid transparent; }
QTabBar::tab:selected { color: @text; border-bottom: 2px solid @accent; }
QTabBar::tab:hover { color: @text; }
QTabBar::tab:focus { color: @accent; }
QScrollBar:vertical { background: transparent; width: 12px; margin: 0; }
QScrollBar:horizontal { background: transparent; height: 12px; margin: 0; }
QScrollBar::handle { background: @scroll; border-radius: 4px; margin: 2px; min-height: 32px; min-width: 32px; }
QScrollBar::handle:hover { background: @quietText; }
QScrollBar::add-line, QScrollBar::sub-line { width: 0; height: 0; border: none; }
QScrollBar::add-page, QScrollBar::sub-page { background: transparent; }
QSplitter::handle { background: @line; }
)";

QColor mixed(const QColor& one, const QColor& other, double part) {
  const auto mix = [part](int a, int b) { return static_cast<int>(a + (b - a) * part); };
  return {mix(one.red(), other.red()), mix(one.green(), other.green()), mix(one.blue(), other.blue())};
}

}  // namespace

// Longer names come first where one begins with another.
QString styleSheet(const Colours& c) {
  const QColor indicator = mixed(c.line, c.quietText, 0.5);
  const QColor disabled = mixed(c.window, c.quietText, 0.6);
  const QColor hoverFill = mixed(c.accentFill, c.isDark ? Qt::white : Qt::black, 0.1);
  const QColor focus = mixed(c.accentFill, c.isDark ? Qt::white : Qt::black, 0.45);
  const std::pair<const char*, QColor> names[] = {
      {"@accentText", c.accentText},
      {"@accentHover", hoverFill},
      {"@accentFill", c.accentFill},
      {"@accent", c.accent},
      {"@cardBorder", c.cardBorder},
      {"@card", c.card},
      {"@quietText", c.quietText},
      {"@selection", c.selection},
      {"@disabled", disabled},
      {"@indicator", indicator},
      {"@errorFill", c.errorFill},
      {"@error", c.error},
      {"@warningFill", c.warningFill},
      {"@window", c.window},
      {"@hover", c.hover},
      {"@focus", focus},
      {"@field", c.isDark ? c.window : c.card},
      {"@track", c.track},
      {"@scroll", mixed(c.card, c.quietText, 0.4)},
      {"@line", c.line},
  };
  QString sheet = QString::fromLatin1(kGrounds) + QString::fromLatin1(kButtons) + QString::fromLatin1(kFields) +
                  QString::fromLatin1(kLists);
  for (const auto& [name, colour] : names) sheet.replace(QLatin1String(name), colour.name());
  sheet.replace(QLatin1String("@theme"), QLatin1String(c.isDark ? "dark" : "light"));
  sheet.replace(QLatin1String("@text"), c.text.name());
  return sheet;
}

}  // namespace lumisk::theme
