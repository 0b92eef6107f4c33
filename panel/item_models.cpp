#include "panel/item_models.hpp"

#include <unordered_map>

#include <QColor>
#include <QFont>
#include <QFontDatabase>
#include <QIcon>

#include "panel/tool_page.hpp"

namespace orvanta {

void DeviceListModel::reset(std::vector<DeviceRow> rows) {
  beginResetModel();
  rows_ = std::move(rows);
  endResetModel();
}

int DeviceListModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant DeviceListModel::data(const QModelIndex& index, int role) const {
  if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) return {};
  const auto& row = rows_[static_cast<std::size_t>(index.row())];
  switch (role) {
    case Qt::DisplayRole: return qt(row.label + (row.isTarget ? "  \xE2\x97\x8F target" : "") + "\n" + row.detail);
    case Qt::ToolTipRole: return qt(row.device.udid);
    case Qt::FontRole: {
      QFont font;
      font.setBold(row.isTarget);
      return font;
    }
    case identifierRole: return qt(row.device.udid);
    case detailRole: return qt(row.detail);
    default: return {};
  }
}

int DeviceListModel::rowOf(const std::string& udid) const {
  for (std::size_t index = 0; index < rows_.size(); ++index) {
    if (rows_[index].device.udid == udid) return static_cast<int>(index);
  }
  return -1;
}

void AppListModel::reset(std::vector<SimulatorApp> apps, const AppsModel& model) {
  beginResetModel();
  apps_ = std::move(apps);
  icons_.clear();
  for (const auto& app : apps_) {
    QPixmap pixmap;
    if (auto bytes = model.icon(app.bundleIdentifier)) {
      auto& entry = decoded_[app.bundleIdentifier];
      if (entry.first != bytes) {
        QPixmap decoded;
        decoded.loadFromData(reinterpret_cast<const uchar*>(bytes->data()), static_cast<uint>(bytes->size()), "PNG");
        if (!decoded.isNull()) decoded = decoded.scaled(32, 32, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        entry = {bytes, decoded};
      }
      pixmap = entry.second;
    }
    icons_.push_back(pixmap);
  }
  endResetModel();
}

int AppListModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(apps_.size());
}

QVariant AppListModel::data(const QModelIndex& index, int role) const {
  if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) return {};
  const auto row = static_cast<std::size_t>(index.row());
  const auto& app = apps_[row];
  switch (role) {
    case Qt::DisplayRole:
      return qt(app.displayName + "\n" + app.bundleIdentifier + (app.version ? "  " + *app.version : ""));
    case Qt::DecorationRole:
      if (icons_[row].isNull()) return {};
      return icons_[row];
    case Qt::ToolTipRole: return qt(app.bundlePath);
    case identifierRole: return qt(app.bundleIdentifier);
    case detailRole: return qt(std::string(rawValue(app.kind)));
    default: return {};
  }
}

int AppListModel::rowOf(const std::string& bundleIdentifier) const {
  for (std::size_t index = 0; index < apps_.size(); ++index) {
    if (apps_[index].bundleIdentifier == bundleIdentifier) return static_cast<int>(index);
  }
  return -1;
}

ConsoleListModel::ConsoleListModel(const ConsoleModel& console, QObject* parent)
    : QAbstractListModel(parent), console_(console), font_(QFontDatabase::systemFont(QFontDatabase::FixedFont)) {}

void ConsoleListModel::reset() {
  beginResetModel();
  const auto& shown = console_.shown();
  ids_.resize(shown.size());
  for (std::size_t row = 0; row < shown.size(); ++row) ids_[row] = shown[row]->id;
  endResetModel();
}

std::vector<int> ConsoleListModel::rowsOf(const std::vector<SimulatorLogEntryID>& ids) const {
  std::vector<int> rows(ids.size(), -1);
  if (ids.empty()) return rows;
  // Entry ids are random, so their low half is already a good hash.
  struct Hash {
    std::size_t operator()(const SimulatorLogEntryID& id) const noexcept { return static_cast<std::size_t>(id.low); }
  };
  std::unordered_map<SimulatorLogEntryID, int, Hash> wanted;
  wanted.reserve(ids.size());
  for (std::size_t index = 0; index < ids.size(); ++index) wanted.emplace(ids[index], -1);
  for (std::size_t row = 0; row < ids_.size(); ++row) {
    if (auto found = wanted.find(ids_[row]); found != wanted.end()) found->second = static_cast<int>(row);
  }
  for (std::size_t index = 0; index < ids.size(); ++index) rows[index] = wanted[ids[index]];
  return rows;
}

int ConsoleListModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(ids_.size());
}

QVariant ConsoleListModel::data(const QModelIndex& index, int role) const {
  if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) return {};
  const auto row = static_cast<std::size_t>(index.row());
  if (row >= ids_.size() || row >= console_.shown().size()) return {};
  const SimulatorLogEntry& entry = *console_.shown()[row];
  switch (role) {
    case Qt::DisplayRole: {
      std::string line;
      ConsoleExportService::appendLine(line, entry);
      // One line a row: a message's own line breaks would make rows of different heights.
      for (auto& c : line) {
        if (c == '\n' || c == '\r' || c == '\t') c = ' ';
      }
      return QString::fromUtf8(line.data(), static_cast<qsizetype>(line.size()));
    }
    case Qt::ToolTipRole: return entry.message.size() > 120 ? qt(entry.message.substr(0, 2000)) : QVariant();
    case Qt::FontRole: return font_;
    case Qt::ForegroundRole:
      if (!entry.level) return {};
      switch (*entry.level) {
        case SimulatorLogLevel::debug: return QColor(0x70, 0x70, 0x70);
        case SimulatorLogLevel::error: return QColor(0xb3, 0x26, 0x1e);
        case SimulatorLogLevel::fault: return QColor(0x8e, 0x24, 0xaa);
        default: return {};
      }
    default: return {};
  }
}

}  // namespace orvanta
