#include "ui/theme.h"

#include <QApplication>
#include <QFile>
#include <QIconEngine>
#include <QPainter>
#include <QPalette>
#include <QPixmapCache>
#include <QStyleFactory>
#include <QSvgRenderer>

#include "platform/desktop_appearance.h"
#include "ui/theme_sheet.h"

namespace lumisk {
namespace {

// Resources of a static library are linked when somebody asks for them, which must happen outside of namespaces' names.
void loadIcons();

}  // namespace
}  // namespace lumisk

static void initialiseIcons() {
  Q_INIT_RESOURCE(icons);
}

namespace lumisk {
namespace {

void loadIcons() {
  initialiseIcons();
}

}  // namespace
namespace theme {
namespace {

constexpr double kQuietOpacity = 0.4;  // of icons of what is disabled

Colours lightColours() {
  Colours c;
  c.window = QColor(0xf5f6f8);
  c.card = QColor(0xffffff);
  c.cardBorder = QColor(0xe4e7ec);
  c.text = QColor(0x1d2530);
  c.quietText = QColor(0x667085);
  c.line = QColor(0xd9dde4);
  c.hover = QColor(0xeef1f5);
  c.selection = QColor(0xe3ecfc);
  c.accent = QColor(0x2b62cc);
  c.accentFill = QColor(0x2f68d6);
  c.accentText = QColor(0xffffff);
  c.good = QColor(0x1f7a4d);
  c.warning = QColor(0x9a6207);
  c.error = QColor(0xc0322f);
  c.goodFill = QColor(0xe5f4ec);
  c.warningFill = QColor(0xfdf3df);
  c.errorFill = QColor(0xfdeceb);
  c.track = QColor(0xe4e8ee);
  return c;
}

Colours darkColours() {
  Colours c;
  c.isDark = true;
  c.window = QColor(0x1a1d23);
  c.card = QColor(0x22262e);
  c.cardBorder = QColor(0x2e343e);
  c.text = QColor(0xe7eaef);
  c.quietText = QColor(0x9aa3b2);
  c.line = QColor(0x3a414d);
  c.hover = QColor(0x2b3039);
  c.selection = QColor(0x2b3b58);
  c.accent = QColor(0x7aa7ff);
  c.accentFill = QColor(0x3a70dc);
  c.accentText = QColor(0xffffff);
  c.good = QColor(0x5cc492);
  c.warning = QColor(0xe3b04b);
  c.error = QColor(0xff8a80);
  c.goodFill = QColor(0x1d3a2c);
  c.warningFill = QColor(0x3b3119);
  c.errorFill = QColor(0x432524);
  c.track = QColor(0x343b47);
  return c;
}

Colours current = lightColours();

QPalette paletteOf(const Colours& c) {
  QPalette palette;
  palette.setColor(QPalette::Window, c.window);
  palette.setColor(QPalette::WindowText, c.text);
  palette.setColor(QPalette::Base, c.card);
  palette.setColor(QPalette::AlternateBase, c.window);
  palette.setColor(QPalette::Text, c.text);
  palette.setColor(QPalette::Button, c.card);
  palette.setColor(QPalette::ButtonText, c.text);
  palette.setColor(QPalette::BrightText, c.error);
  palette.setColor(QPalette::Highlight, c.accentFill);
  palette.setColor(QPalette::HighlightedText, c.accentText);
  palette.setColor(QPalette::Link, c.accent);
  palette.setColor(QPalette::ToolTipBase, c.card);
  palette.setColor(QPalette::ToolTipText, c.text);
  palette.setColor(QPalette::PlaceholderText, c.quietText);
  palette.setColor(QPalette::Mid, c.line);
  for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
    palette.setColor(QPalette::Disabled, role, c.quietText);
  }
  return palette;
}

// As the desktop has it, asked before we set our own.
bool systemIsDark() {
  static const bool isDark = QApplication::palette().color(QPalette::Window).lightness() < 128 || desktopPrefersDark();
  return isDark;
}

QByteArray drawing(const std::string& name) {
  QFile file(QStringLiteral(":/lumisk/icons/") + QString::fromStdString(name) + QStringLiteral(".svg"));
  return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QPixmap drawn(const std::string& name, QSize pixels, const QColor& colour) {
  const QString key = QStringLiteral("lumisk:%1:%2x%3:%4")
                          .arg(QString::fromStdString(name))
                          .arg(pixels.width())
                          .arg(pixels.height())
                          .arg(colour.rgba());
  QPixmap pixmap;
  if (QPixmapCache::find(key, &pixmap)) return pixmap;
  QByteArray svg = drawing(name);
  svg.replace("#000000", colour.name().toLatin1());
  pixmap = QPixmap(pixels);
  pixmap.fill(Qt::transparent);
  QSvgRenderer renderer(svg);
  renderer.setAspectRatioMode(Qt::KeepAspectRatio);
  QPainter painter(&pixmap);
  renderer.render(&painter);
  painter.end();
  QPixmapCache::insert(key, pixmap);
  return pixmap;
}

// Draws at the size that is asked for, in the colour that the theme has at that moment.
class DrawnIcon : public QIconEngine {
 public:
  DrawnIcon(std::string name, Tint tint) : name_(std::move(name)), tint_(tint) {}
  [[nodiscard]] QIconEngine* clone() const override { return new DrawnIcon(*this); }
  QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State) override {
    const QPixmap plain = drawn(name_, size, colourOf(tint_));
    if (mode != QIcon::Disabled) return plain;
    QPixmap pale(plain.size());
    pale.fill(Qt::transparent);
    QPainter painter(&pale);
    painter.setOpacity(kQuietOpacity);
    painter.drawPixmap(0, 0, plain);
    return pale;
  }
  void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override {
    const double scale = painter->device() ? painter->device()->devicePixelRatio() : 1.0;
    QPixmap image = pixmap(rect.size() * scale, mode, state);
    image.setDevicePixelRatio(scale);
    painter->drawPixmap(rect.topLeft(), image);
  }

 private:
  std::string name_;
  Tint tint_;
};

}  // namespace

Appearance appearanceOf(const std::string& stored) {
  if (stored == "light") return Appearance::kLight;
  return stored == "dark" ? Appearance::kDark : Appearance::kSystem;
}

void apply(QApplication& application, Appearance appearance) {
  loadIcons();
  const bool wantsDark = appearance == Appearance::kSystem ? systemIsDark() : appearance == Appearance::kDark;
  current = wantsDark ? darkColours() : lightColours();
  QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
  QApplication::setPalette(paletteOf(current));
  application.setStyleSheet(styleSheet(current));
  QApplication::setWindowIcon(programIcon());
}

const Colours& colours() {
  return current;
}

QFont font(TextStyle style) {
  QFont font = QApplication::font();
  const double size = font.pointSizeF();
  switch (style) {
    case TextStyle::kCaption:
      font.setPointSizeF(size * 0.9);
      break;
    case TextStyle::kStrong:
      font.setWeight(QFont::DemiBold);
      break;
    case TextStyle::kHeading:
      font.setPointSizeF(size * 1.2);
      font.setWeight(QFont::DemiBold);
      break;
    case TextStyle::kTitle:
      font.setPointSizeF(size * 1.6);
      font.setWeight(QFont::DemiBold);
      break;
    case TextStyle::kBody:
    case TextStyle::kQuiet:
      break;
  }
  return font;
}

QColor colourOf(Tint tint) {
  switch (tint) {
    case Tint::kText:
      return current.text;
    case Tint::kQuiet:
      return current.quietText;
    case Tint::kAccent:
      return current.accent;
    case Tint::kGood:
      return current.good;
    case Tint::kWarning:
      return current.warning;
    case Tint::kError:
      return current.error;
    case Tint::kOnAccent:
      return current.accentText;
  }
  return current.text;
}

QIcon icon(const std::string& name, Tint tint) {
  return QIcon(new DrawnIcon(name, tint));
}

QPixmap pixmap(const std::string& name, int size, Tint tint, double devicePixelRatio) {
  QPixmap image = drawn(name, QSize(size, size) * devicePixelRatio, colourOf(tint));
  image.setDevicePixelRatio(devicePixelRatio);
  return image;
}

QIcon programIcon() {
  return icon("lumisk");
}

}  // namespace theme
}  // namespace lumisk
