// View models against the simctl emulator, in-process: each test gets folders of its own, an environment
// whose xcrun is the emulator, and a panel session whose results it drains by hand.
#pragma once

#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "app/environment.hpp"
#include "viewmodels/page_model.hpp"
#include "viewmodels/panel_session.hpp"

namespace orvanta::testing {

inline constexpr const char* kIPhone16 = "3BC9A608-0042-414F-B35C-7ADB869BC572";
inline constexpr const char* kIPhone15 = "A1F5C2E4-3D6B-4F8A-9E7C-2B4D6F8A0C1E";  // iOS 18.2, shut down
inline constexpr const char* kCafe = "com.example.cafe";

class PanelModelTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "orvanta-panel-XXXXXX").string();
    root_ = ::mkdtemp(pattern.data());
    std::filesystem::create_directories(root_ / "tmp");
    const std::map<std::string, std::string> variables = {
        {"ORVANTA_XCRUN", ORVANTA_EMULATOR},
        {"ORVANTA_EMULATOR_HOME", (root_ / "emulator").string()},
        {"ORVANTA_EMULATOR_FAULTS", ""},
        {"XDG_CONFIG_HOME", (root_ / "config").string()},
        {"XDG_DATA_HOME", (root_ / "data").string()},
        {"XDG_RUNTIME_DIR", (root_ / "runtime").string()},
        {"TMPDIR", (root_ / "tmp").string()},
    };
    for (const auto& [name, value] : variables) {
      if (const char* old = ::getenv(name.c_str())) saved_[name] = old;
      ::setenv(name.c_str(), value.c_str(), 1);
    }
    environment_ = std::make_unique<Environment>(std::nullopt);
  }
  void TearDown() override {
    session_.reset();
    environment_.reset();
    for (const char* name : {"ORVANTA_XCRUN", "ORVANTA_EMULATOR_HOME", "ORVANTA_EMULATOR_FAULTS", "XDG_CONFIG_HOME",
                             "XDG_DATA_HOME", "XDG_RUNTIME_DIR", "TMPDIR"}) {
      auto old = saved_.find(name);
      if (old == saved_.end()) {
        ::unsetenv(name);
      } else {
        ::setenv(name, old->second.c_str(), 1);
      }
    }
    std::filesystem::remove_all(root_);
  }

  // The session, its first device listing done; `target` is remembered first when given.
  PanelSession& session(const char* target = kIPhone16) {
    if (target != nullptr) {
      EXPECT_TRUE(environment_->selection().setSelectedUDID(std::string(target)));
    }
    session_ = std::make_unique<PanelSession>(*environment_, nullptr);
    session_->refreshDevices();
    settle();
    return *session_;
  }
  // Drains the session's results until nothing is outstanding.
  void settle() { ASSERT_TRUE(session_->work().settle(std::chrono::seconds(60))); }
  static void setFaults(const std::string& json) { ::setenv("ORVANTA_EMULATOR_FAULTS", json.c_str(), 1); }

  static std::string messageOf(const PageModel& model) {
    return model.message() ? model.message()->text : std::string("(no message)");
  }
  static bool failed(const PageModel& model) {
    return model.message() && model.message()->kind == PageMessage::Kind::failure;
  }

  std::filesystem::path root_;
  std::map<std::string, std::string> saved_;
  std::unique_ptr<Environment> environment_;
  std::unique_ptr<PanelSession> session_;
};

}  // namespace orvanta::testing
