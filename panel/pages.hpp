// The panel's tool pages. Each is a layout over its view model: it shows what the model holds and hands
// each click and keystroke to it.
#pragma once

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTimer>
#include <memory>

#include "panel/item_models.hpp"
#include "panel/tool_page.hpp"
#include "viewmodels/captures_model.hpp"
#include "viewmodels/controls_model.hpp"
#include "viewmodels/deeplinks_model.hpp"
#include "viewmodels/location_model.hpp"
#include "viewmodels/privacy_model.hpp"
#include "viewmodels/push_model.hpp"
#include "viewmodels/quick_input_page_model.hpp"

namespace orvanta {

class DevicesPage : public ToolPage {
  Q_OBJECT
 public:
  DevicesPage(PanelSession& session, PanelQuestions& questions, QWidget* parent = nullptr);
  DevicesModel& model() { return *model_; }
  QListView* list() const { return list_; }
  // Selects the row of `udid` in the list.
  void select(const std::string& udid);

 protected:
  void refresh() override;

 private:
  [[nodiscard]] std::string selectedUDID() const;

  PanelSession& session_;
  std::unique_ptr<DevicesModel> model_;
  DeviceListModel* items_;
  QListView* list_;
  QPushButton* choose_;
  QPushButton* boot_;
  QPushButton* shutdown_;
  QPushButton* erase_;
  QPushButton* open_;
};

class AppsPage : public ToolPage {
  Q_OBJECT
 public:
  AppsPage(PanelSession& session, PanelQuestions& questions, QWidget* parent = nullptr);
  AppsModel& model() { return *model_; }
  QListView* list() const { return list_; }
  QLineEdit* filter() const { return filter_; }
  void select(const std::string& bundleIdentifier);

 protected:
  void refresh() override;

 private:
  [[nodiscard]] std::string selectedApp() const;

  std::unique_ptr<AppsModel> model_;
  AppListModel* items_;
  QLineEdit* filter_;
  QComboBox* kind_;
  QListView* list_;
  QLabel* placeholder_;
  QLabel* container_;
  QPushButton* reveal_;
  std::vector<QPushButton*> appButtons_;
};

class ControlsPage : public ToolPage {
  Q_OBJECT
 public:
  ControlsPage(PanelSession& session, PanelQuestions& questions, QWidget* parent = nullptr);
  ControlsModel& model() { return *model_; }

 protected:
  void refresh() override;

 private:
  void editDraft();

  std::unique_ptr<ControlsModel> model_;
  QPushButton* light_;
  QPushButton* dark_;
  QCheckBox* contrast_;
  QLabel* textSize_;
  QComboBox* sizes_;
  QLabel* statusBar_;
  QLineEdit* time_;
  QLineEdit* operator_;
  QComboBox* network_;
  QSpinBox* wifiBars_;
  QSpinBox* cellBars_;
  QSpinBox* battery_;
  bool filling_ = false;
};

class RouteCanvas;

class LocationPage : public ToolPage {
  Q_OBJECT
 public:
  LocationPage(PanelSession& session, PanelQuestions& questions, QWidget* parent = nullptr);
  LocationModel& model() { return *model_; }
  void activate() override;

 protected:
  void refresh() override;

 private:
  std::unique_ptr<LocationModel> model_;
  QLineEdit* latitude_;
  QLineEdit* longitude_;
  QComboBox* presets_;
  QComboBox* recents_;
  RouteCanvas* canvas_;
  QLabel* metrics_;
  QLineEdit* speed_;
  QListWidget* scenarios_;
  bool scenariosListed_ = false;
};

class PushPage : public ToolPage {
  Q_OBJECT
 public:
  PushPage(PanelSession& session, PanelQuestions& questions, QWidget* parent = nullptr);
  PushModel& model() { return *model_; }
  QPlainTextEdit* editor() const { return editor_; }
  QComboBox* apps() const { return apps_; }

 protected:
  void refresh() override;

 private:
  void markError();

  PanelSession& session_;
  std::unique_ptr<PushModel> model_;
  QComboBox* apps_;
  QPlainTextEdit* editor_;
  QLabel* check_;
  QListWidget* history_;
};

class PrivacyPage : public ToolPage {
  Q_OBJECT
 public:
  PrivacyPage(PanelSession& session, PanelQuestions& questions, QWidget* parent = nullptr);
  PrivacyModel& model() { return *model_; }
  QComboBox* apps() const { return apps_; }
  QListWidget* services() const { return services_; }

 protected:
  void refresh() override;

 private:
  PanelSession& session_;
  std::unique_ptr<PrivacyModel> model_;
  QComboBox* apps_;
  QListWidget* services_;
};

class DeepLinksPage : public ToolPage {
  Q_OBJECT
 public:
  DeepLinksPage(PanelSession& session, PanelQuestions& questions, QWidget* parent = nullptr);
  DeepLinksModel& model() { return *model_; }
  QLineEdit* url() const { return url_; }
  QComboBox* apps() const { return apps_; }

 protected:
  void refresh() override;

 private:
  PanelSession& session_;
  std::unique_ptr<DeepLinksModel> model_;
  QComboBox* apps_;
  QLineEdit* url_;
  QLabel* check_;
  QLabel* schemes_;
  QListWidget* favorites_;
  QListWidget* history_;
};

class ConsolePage : public ToolPage {
  Q_OBJECT
 public:
  ConsolePage(PanelSession& session, PanelQuestions& questions, QWidget* parent = nullptr);
  ConsoleModel& model() { return *model_; }
  QListView* list() const { return list_; }
  ConsoleListModel* items() const { return items_; }
  QLineEdit* search() const { return search_; }
  QComboBox* apps() const { return apps_; }
  const std::vector<QCheckBox*>& levels() const { return levels_; }
  // Puts the model's shown entries into the list (after each batch).
  void showEntries();
  void showcase() override;

 protected:
  void refresh() override;

 private:
  PanelSession& session_;
  std::unique_ptr<ConsoleModel> model_;
  QPushButton* startStop_;
  QPushButton* pause_;
  QLabel* state_;
  QLineEdit* search_;
  QComboBox* apps_;
  std::vector<QCheckBox*> levels_;
  ConsoleListModel* items_;
  QListView* list_;
  QCheckBox* autoScroll_;
};

class CapturesPage : public ToolPage {
  Q_OBJECT
 public:
  CapturesPage(PanelSession& session, PanelQuestions& questions, QWidget* parent = nullptr);
  CapturesModel& model() { return *model_; }
  QLabel* thumbnail() const { return thumbnail_; }
  QLabel* elapsed() const { return elapsed_; }
  void showcase() override;

 protected:
  void refresh() override;

 private:
  std::unique_ptr<CapturesModel> model_;
  QComboBox* statusBar_;
  QPushButton* capture_;
  QLabel* thumbnail_;
  QLabel* shotSummary_;
  QPushButton* save_;
  QPushButton* copy_;
  QPushButton* revealShot_;
  QLabel* shotFolder_;
  QComboBox* codec_;
  QPushButton* record_;
  QLabel* elapsed_;
  QLabel* movie_;
  QPushButton* revealMovie_;
  QLabel* movieFolder_;
  QTimer clock_;
  std::string shownCapture_;
};

class QuickInputPage : public ToolPage {
  Q_OBJECT
 public:
  QuickInputPage(PanelSession& session, PanelQuestions& questions, QWidget* parent = nullptr);
  QuickInputPageModel& model() { return *model_; }
  QListWidget* fields() const { return fields_; }
  QLineEdit* value() const { return value_; }
  void activate() override;

 protected:
  void refresh() override;

 private:
  [[nodiscard]] bool isKindTitle(const QString& label) const;

  std::unique_ptr<QuickInputPageModel> model_;
  QComboBox* profiles_;
  QListWidget* fields_;
  QComboBox* kind_;
  QCheckBox* secret_;
  QLineEdit* label_;
  QLineEdit* value_;
  bool loaded_ = false;
};

// Fills `combo` with the target's apps (display name, bundle identifier as data), keeping the chosen one;
// with `noneLabel`, a first entry of that name stands for no app (empty data).
void fillAppChoice(QComboBox* combo, const PanelSession& session, const QString& noneLabel = {});

}  // namespace orvanta
