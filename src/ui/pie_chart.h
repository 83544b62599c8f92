#pragma once

#include <QColor>
#include <QWidget>
#include <vector>

namespace lumisk {

// A ring of shares with a text in its middle, in colours of the theme. What it shows in colours it tells in words as
// its accessible name.
class PieChart : public QWidget {
 public:
  enum class Colour { kUsed, kAdded, kTooMuch, kFree };
  struct Slice {
    double value = 0;
    Colour colour = Colour::kUsed;
  };

  explicit PieChart(int side, QWidget* parent = nullptr);
  // The slices are shares of their sum; an empty list gives an empty ring.
  void show(std::vector<Slice> slices, const QString& middle, const QString& inWords);
  [[nodiscard]] static QColor colourOf(Colour colour);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  std::vector<Slice> slices_;
  QString middle_;
};

// A line of its legend: a dot of the colour, a name and a value at the right.
class PieLegendLine : public QWidget {
 public:
  explicit PieLegendLine(PieChart::Colour colour, QWidget* parent = nullptr);
  void show(const QString& name, const QString& value);
  void setColour(PieChart::Colour colour);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  PieChart::Colour colour_;
  QString name_, value_;
};

}  // namespace lumisk
