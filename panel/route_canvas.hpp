// A GPX route drawn as a polyline on a plain canvas: each segment, a start and an end mark, and a scale
// bar. No map underneath: positions are projected with the latitude's cosine, which is exact enough for
// the few kilometres a test route covers.
#pragma once

#include <QWidget>
#include <optional>

#include "viewmodels/location_model.hpp"

namespace orvanta {

class RouteCanvas : public QWidget {
  Q_OBJECT
 public:
  explicit RouteCanvas(QWidget* parent = nullptr);
  void setRoute(const std::optional<LoadedRoute>& route);
  [[nodiscard]] QSize sizeHint() const override { return {360, 180}; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  std::vector<std::vector<QPointF>> segments_;  // metres east and north of the bounds' south-west corner
  double widthMetres_ = 0;
  double heightMetres_ = 0;
};

// The longest "nice" length (1, 2 or 5 times a power of ten, in metres) not above `maximumMetres`.
[[nodiscard]] double scaleBarMetres(double maximumMetres);

}  // namespace orvanta
