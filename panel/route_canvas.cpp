#include "panel/route_canvas.hpp"

#include <QPainter>
#include <QPainterPath>
#include <cmath>
#include <numbers>

#include "panel/tool_page.hpp"
#include "tools/location/location_texts.hpp"

namespace orvanta {
namespace {

constexpr double kEarthRadius = 6'371'000.0;
constexpr double kMargin = 14;

}  // namespace

double scaleBarMetres(double maximumMetres) {
  if (!(maximumMetres > 0)) return 0;
  const double power = std::pow(10.0, std::floor(std::log10(maximumMetres)));
  for (double factor : {5.0, 2.0, 1.0}) {
    if (factor * power <= maximumMetres) return factor * power;
  }
  return power;
}

RouteCanvas::RouteCanvas(QWidget* parent) : QWidget(parent) {
  setMinimumHeight(170);
  setObjectName("route");
}

void RouteCanvas::setRoute(const std::optional<LoadedRoute>& route) {
  segments_.clear();
  widthMetres_ = heightMetres_ = 0;
  if (route) {
    const auto& bounds = route->metrics.bounds;
    const double radians = std::numbers::pi / 180;
    const double cosine = std::cos((bounds.minLatitude + bounds.maxLatitude) / 2 * radians);
    auto project = [&](double latitude, double longitude) {
      return QPointF((longitude - bounds.minLongitude) * radians * kEarthRadius * cosine,
                     (latitude - bounds.minLatitude) * radians * kEarthRadius);
    };
    const auto corner = project(bounds.maxLatitude, bounds.maxLongitude);
    widthMetres_ = corner.x();
    heightMetres_ = corner.y();
    for (const auto& segment : route->route.segments) {
      std::vector<QPointF> points;
      points.reserve(segment.points.size());
      for (const auto& point : segment.points) points.push_back(project(point.latitude, point.longitude));
      if (!points.empty()) segments_.push_back(std::move(points));
    }
  }
  update();
}

void RouteCanvas::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.fillRect(rect(), palette().base());
  painter.setPen(palette().mid().color());
  painter.drawRect(rect().adjusted(0, 0, -1, -1));
  if (segments_.empty()) {
    painter.setPen(palette().text().color());
    painter.drawText(rect(), Qt::AlignCenter, "Open a GPX file to see its route.");
    return;
  }
  const double availableWidth = width() - 2 * kMargin;
  const double availableHeight = height() - 2 * kMargin - 18;  // room for the scale bar
  const double span = std::max({widthMetres_, heightMetres_, 1.0});
  const double scale = std::min(availableWidth / std::max(widthMetres_, span / 1000),
                                availableHeight / std::max(heightMetres_, span / 1000));
  const double offsetX = kMargin + (availableWidth - widthMetres_ * scale) / 2;
  const double offsetY = kMargin + (availableHeight + heightMetres_ * scale) / 2;
  auto toView = [&](const QPointF& metres) {
    return QPointF(offsetX + metres.x() * scale, offsetY - metres.y() * scale);
  };

  painter.setPen(QPen(QColor(0x1a, 0x73, 0xe8), 2.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
  for (const auto& segment : segments_) {
    QPainterPath path(toView(segment.front()));
    for (std::size_t index = 1; index < segment.size(); ++index) path.lineTo(toView(segment[index]));
    painter.drawPath(path);
  }
  auto mark = [&](const QPointF& at, QColor color, const QString& label) {
    painter.setPen(QPen(Qt::white, 2));
    painter.setBrush(color);
    painter.drawEllipse(at, 6, 6);
    painter.setPen(palette().text().color());
    painter.drawText(at + QPointF(9, 4), label);
  };
  mark(toView(segments_.front().front()), QColor(0x1e, 0x8e, 0x3e), "Start");
  mark(toView(segments_.back().back()), QColor(0xd9, 0x30, 0x25), "End");

  const double barMetres = scaleBarMetres(availableWidth / 3 / scale);
  if (barMetres > 0) {
    const double barPixels = barMetres * scale;
    const QPointF left(kMargin, height() - kMargin);
    painter.setPen(QPen(palette().text().color(), 1.5));
    painter.drawLine(left, left + QPointF(barPixels, 0));
    painter.drawLine(left + QPointF(0, -4), left + QPointF(0, 0));
    painter.drawLine(left + QPointF(barPixels, -4), left + QPointF(barPixels, 0));
    painter.drawText(left + QPointF(barPixels + 6, 4), qt(distanceText(barMetres)));
  }
}

}  // namespace orvanta
