#pragma once

#include <QColor>
#include <QFont>
#include <QIcon>
#include <string>

class QApplication;

namespace lumisk::theme {

// How everything looks: one place for colours, spacing, type and icons. Widgets are Fusion's under a style sheet made
// here, so that they look the same on every desktop; sizes are device-independent pixels. Main thread only.

enum class Appearance { kSystem, kLight, kDark };
inline constexpr const char* kAppearanceKey = "SGAppearance";  // of "SGPreferences": "system", "light" or "dark"
[[nodiscard]] Appearance appearanceOf(const std::string& stored);

struct Colours {
  bool isDark = false;
  QColor window, card, cardBorder, text, quietText, line, hover, selection;
  QColor accent;      // text, lines and icons that matter; of charts
  QColor accentFill;  // below accentText
  QColor accentText;
  QColor good, warning, error;              // text and icons
  QColor goodFill, warningFill, errorFill;  // quiet grounds below them
  QColor track;                             // the empty part of a progress bar, the free part of a chart
};

// Sets the application's palette, style sheet and font; may be called again, open windows follow.
void apply(QApplication& application, Appearance appearance);
[[nodiscard]] const Colours& colours();

// The grid.
inline constexpr int kTiny = 4;
inline constexpr int kSmall = 8;
inline constexpr int kMedium = 12;
inline constexpr int kLarge = 16;
inline constexpr int kHuge = 24;
inline constexpr int kRadius = 8;     // of cards and fields
inline constexpr int kIconSize = 20;  // in tool bars and lists
inline constexpr int kControlHeight = 34;

enum class TextStyle { kBody, kQuiet, kCaption, kStrong, kHeading, kTitle };
[[nodiscard]] QFont font(TextStyle style);

// Icons of our own, ui/icons/NAME.svg, drawn in black strokes and shown in a colour of the theme, sharp at any scale.
enum class Tint { kText, kQuiet, kAccent, kGood, kWarning, kError, kOnAccent };
[[nodiscard]] QIcon icon(const std::string& name, Tint tint = Tint::kText);
[[nodiscard]] QPixmap pixmap(const std::string& name, int size, Tint tint, double devicePixelRatio);
[[nodiscard]] QColor colourOf(Tint tint);
// The program's own, in its colours.
[[nodiscard]] QIcon programIcon();

}  // namespace lumisk::theme
