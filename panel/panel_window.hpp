// The panel's window: the target picker and its status line at the top, the quick-actions bar (the
// buttons pinned from the command palette; hidden while there are none), the list of tool pages, and the
// page shown. It owns the session; the session's results come back through drainWork() on this thread.
#pragma once

#include <QComboBox>
#include <QLabel>
#include <QListWidget>
#include <QStackedWidget>
#include <QTimer>
#include <QWidget>
#include <memory>

#include "panel/palette_popup.hpp"
#include "panel/tool_page.hpp"
#include "panel/window_follower.hpp"
#include "viewmodels/command_palette.hpp"
#include "viewmodels/panel_session.hpp"

namespace orvanta {

class PanelWindow : public QWidget {
  Q_OBJECT
 public:
  PanelWindow(Environment& environment, PanelQuestions questions, QWidget* parent = nullptr);
  ~PanelWindow() override;

  [[nodiscard]] PanelSession& session() { return *session_; }
  [[nodiscard]] QComboBox* targetPicker() const { return targets_; }
  [[nodiscard]] QLabel* statusLine() const { return status_; }
  [[nodiscard]] QListWidget* pageList() const { return pageList_; }
  [[nodiscard]] QWidget* quickActionsBar() const { return quickBar_; }
  [[nodiscard]] const std::vector<ToolPage*>& pages() const { return pages_; }
  // The page titled `title` (shown when `show`), or null.
  ToolPage* page(const QString& title, bool show = false);
  template <class Page>
  Page* page(const QString& title, bool show = false) {
    return dynamic_cast<Page*>(page(title, show));
  }
  [[nodiscard]] QTimer& deviceRefreshTimer() { return deviceRefresh_; }
  [[nodiscard]] CommandPalette& palette() { return *palette_; }
  [[nodiscard]] WindowFollower& follower() { return *follower_; }
  // Opens the command palette (Ctrl-K; Cmd-K on macOS) with every page's actions as they stand.
  PalettePopup* openPalette();

  // Processes events and drains results until no call is outstanding, or `milliseconds` pass; true when
  // idle. For tests and for rendering the pages.
  bool settle(int milliseconds);

 public slots:
  // Runs the results of finished calls; called through a queued call whenever one is ready.
  void drainWork();

 protected:
  void closeEvent(QCloseEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  static constexpr int pageColumns = 4;
  static constexpr int pageRows = 3;
  static constexpr int pageItemHeight = 28;

  void refreshTargets();
  void addPage(ToolPage* page);
  void collectActions();
  // Makes the quick-actions bar's buttons again from the pinned actions.
  void refreshQuickActions();

  PanelQuestions questions_;
  std::unique_ptr<PanelSession> session_;
  std::shared_ptr<int> lifetime_ = std::make_shared<int>(0);
  QComboBox* targets_;
  QLabel* status_;
  QWidget* quickBar_;
  QListWidget* pageList_;
  QStackedWidget* stack_;
  std::vector<ToolPage*> pages_;
  QTimer deviceRefresh_;
  QTimer mainLoopPump_;
  std::unique_ptr<CommandPalette> palette_;
  PalettePopup* popup_ = nullptr;
  WindowFollower* follower_ = nullptr;
};

}  // namespace orvanta
