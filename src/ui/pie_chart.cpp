#include "ui/pie_chart.h"

#include <QPainter>
#include <algorithm>

#include "ui/theme.h"

namespace lumisk {
namespace {

constexpr double kThickness = 0.15;  // of the side
constexpr int kFullCircle = 360 * 16;
constexpr int kTop = 90 * 16;
constexpr int kDot = 10;

QColor between(const QColor& one, const QColor& other, double part) {
  const auto mix = [part](int a, int b) { return static_cast<int>(a + (b - a) * part); };
  return {mix(one.red(), other.red()), mix(one.green(), other.green()), mix(one.blue(), other.blue())};
}

}  // namespace

PieChart::PieChart(int side, QWidget* parent) : QWidget(parent) {
  setFixedSize(side, side);
}

QColor PieChart::colourOf(Colour colour) {
  const theme::Colours& colours = theme::colours();
  switch (colour) {
    case Colour::kUsed:
      return between(colours.accent, colours.card, 0.55);
    case Colour::kAdded:
      return colours.accent;
    case Colour::kTooMuch:
      return colours.error;
    case Colour::kFree:
      break;
  }
  return colours.track;
}

void PieChart::show(std::vector<Slice> slices, const QString& middle, const QString& inWords) {
  slices_ = std::move(slices);
  middle_ = middle;
  setAccessibleName(inWords);
  setToolTip(inWords);
  update();
}

// Clockwise from the top. Angles are counted from the ends of sums, so that the last slice closes the ring.
void PieChart::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const double thickness = width() * kThickness;
  const QRectF ring = QRectF(rect()).adjusted(thickness / 2, thickness / 2, -thickness / 2, -thickness / 2);
  const auto draw = [&](QColor colour, int from, int to) {
    painter.setPen(QPen(colour, thickness, Qt::SolidLine, Qt::FlatCap));
    painter.drawArc(ring, kTop - from, from - to);
  };
  double sum = 0, total = 0;
  for (const Slice& slice : slices_) total += slice.value;
  draw(colourOf(Colour::kFree), 0, kFullCircle);
  for (const Slice& slice : slices_) {
    if (total <= 0 || slice.value <= 0) continue;
    const int from = static_cast<int>(sum / total * kFullCircle);
    sum += slice.value;
    draw(colourOf(slice.colour), from, static_cast<int>(sum / total * kFullCircle));
  }
  painter.setPen(theme::colours().text);
  painter.setFont(theme::font(theme::TextStyle::kStrong));
  painter.drawText(rect(), Qt::AlignCenter, middle_);
}

PieLegendLine::PieLegendLine(PieChart::Colour colour, QWidget* parent) : QWidget(parent), colour_(colour) {
  setFixedHeight(QFontMetrics(theme::font(theme::TextStyle::kBody)).height() + theme::kTiny);
}

void PieLegendLine::setColour(PieChart::Colour colour) {
  colour_ = colour;
  update();
}

void PieLegendLine::show(const QString& name, const QString& value) {
  name_ = name;
  value_ = value;
  setAccessibleName(name + QStringLiteral(": ") + value);
  const QFontMetrics metrics(theme::font(theme::TextStyle::kBody));
  setMinimumWidth(kDot + theme::kSmall + metrics.horizontalAdvance(name_) + theme::kLarge +
                  metrics.horizontalAdvance(value_) + theme::kTiny);
  update();
}

void PieLegendLine::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(PieChart::colourOf(colour_));
  painter.drawEllipse(QRectF(0, (height() - kDot) / 2.0, kDot, kDot));
  painter.setFont(theme::font(theme::TextStyle::kBody));
  painter.setPen(theme::colours().quietText);
  painter.drawText(rect().adjusted(kDot + theme::kSmall, 0, 0, 0), Qt::AlignVCenter | Qt::AlignLeft, name_);
  painter.setPen(theme::colours().text);
  painter.drawText(rect(), Qt::AlignVCenter | Qt::AlignRight, value_);
}

}  // namespace lumisk
