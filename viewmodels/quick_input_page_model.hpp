// The Quick input page: profiles of labelled fields, adding a field (a secret's value goes straight to the
// secret store and is never shown again, nor written anywhere else), and one field's value put on the
// target's clipboard with read-back; clearing the clipboard when it still holds what was copied.
//
// The service blocks on the settings file, the secret store and simctl, so every call runs on a worker;
// the service is used by one call at a time (they queue on its lock).
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tools/quickinput/quick_input_service.hpp"
#include "viewmodels/page_model.hpp"

namespace orvanta {

class QuickInputPageModel : public PageModel {
 public:
  explicit QuickInputPageModel(PanelSession& session);

  [[nodiscard]] const QuickInputDocument& document() const { return document_; }
  [[nodiscard]] const QuickInputProfile* selectedProfile() const;
  // What a field's row says of its value: the plain value, "(secret)" or "(no value)".
  [[nodiscard]] static std::string valueText(const QuickInputField& field);

  void load();
  void addProfile(const std::string& name);
  void renameProfile(const std::string& profileID, const std::string& name);
  void removeProfile(const std::string& profileID);
  void selectProfile(const std::string& profileID);
  // Adds a field to the selected profile. The draft's value is wiped from memory once stored.
  void addField(QuickInputFieldDraft draft);
  void removeField(const std::string& fieldID);
  void copy(const std::string& fieldID);
  void clear();

 private:
  struct Shared {
    explicit Shared(QuickInputService service_) : service(std::move(service_)) {}
    std::mutex lock;
    QuickInputService service;
  };
  using Edited = expected<std::string, QuickInputError>;  // the sentence of a change that worked
  // Runs `change` on a worker under the service's lock, then reloads the document and shows the outcome.
  void change(std::function<Edited(QuickInputService&)> change);

  std::shared_ptr<Shared> shared_;
  QuickInputDocument document_;
};

}  // namespace orvanta
