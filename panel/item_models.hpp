// Qt item models over the view models' lists: the devices, the apps and the console's entries. Each is reset from its view model
// when that changes, and keeps nothing of its own but the rows it shows.
#pragma once

#include <QAbstractListModel>
#include <QPixmap>
#include <map>
#include <vector>

#include <QFont>

#include "viewmodels/apps_model.hpp"
#include "viewmodels/console_model.hpp"
#include "viewmodels/devices_model.hpp"

namespace orvanta {

enum PanelItemRole { identifierRole = Qt::UserRole + 1, detailRole };

class DeviceListModel : public QAbstractListModel {
  Q_OBJECT
 public:
  explicit DeviceListModel(QObject* parent = nullptr) : QAbstractListModel(parent) {}
  void reset(std::vector<DeviceRow> rows);
  [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
  [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
  // The row of `udid`, or -1.
  [[nodiscard]] int rowOf(const std::string& udid) const;

 private:
  std::vector<DeviceRow> rows_;
};

class AppListModel : public QAbstractListModel {
  Q_OBJECT
 public:
  explicit AppListModel(QObject* parent = nullptr) : QAbstractListModel(parent) {}
  // `icons`: the PNG bytes of the apps that have one.
  void reset(std::vector<SimulatorApp> apps, const AppsModel& model);
  [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
  [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
  [[nodiscard]] int rowOf(const std::string& bundleIdentifier) const;

 private:
  std::vector<SimulatorApp> apps_;
  std::vector<QPixmap> icons_;
  // By bundle identifier, with the bytes it was decoded from: each icon is decoded once.
  std::map<std::string, std::pair<std::shared_ptr<const std::string>, QPixmap>> decoded_;
};

// The console's shown entries, one export-style line each, formatted only when the view asks for a row
// (a batch resets the model; the view then asks for the few rows on screen).
class ConsoleListModel : public QAbstractListModel {
  Q_OBJECT
 public:
  explicit ConsoleListModel(const ConsoleModel& console, QObject* parent = nullptr);
  // Call after the console's shown list changed.
  void reset();
  [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
  [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
  // The entry in `row` as of the last reset: a reset replaces every row, and a view finds the entries it
  // showed, selected or had current again by these.
  [[nodiscard]] const SimulatorLogEntryID& idAt(int row) const { return ids_[static_cast<std::size_t>(row)]; }
  // The rows of `ids` after the last reset, in the same order; -1 for an entry no longer shown.
  [[nodiscard]] std::vector<int> rowsOf(const std::vector<SimulatorLogEntryID>& ids) const;

 private:
  const ConsoleModel& console_;
  std::vector<SimulatorLogEntryID> ids_;
  QFont font_;
};

}  // namespace orvanta
