#include "viewmodels/quick_input_page_model.hpp"

#include <algorithm>

#include "app/environment.hpp"

namespace orvanta {

namespace {

std::string sentenceOf(const QuickInputError& error) {
  std::string text = error.description();
  if (error.kind == QuickInputError::Case::pasteboard && error.pasteboardError) {
    if (auto problem = error.pasteboardError->retryProblem(); !problem.empty()) text += " " + problem;
  }
  return text;
}

// Overwrites a secret's bytes before its memory goes back to the allocator.
void wipe(std::string& secret) {
  std::fill(secret.begin(), secret.end(), '\0');
  secret.clear();
}

}  // namespace

QuickInputPageModel::QuickInputPageModel(PanelSession& session)
    : PageModel(session),
      shared_(std::make_shared<Shared>(QuickInputService(session.environment().settings(),
                                                         session.environment().secretStore(),
                                                         session.environment().simulatorPasteboard()))) {}

const QuickInputProfile* QuickInputPageModel::selectedProfile() const {
  for (const auto& profile : document_.profiles) {
    if (document_.selectedProfileID && profile.id == *document_.selectedProfileID) return &profile;
  }
  return document_.profiles.size() == 1 ? &document_.profiles.front() : nullptr;
}

std::string QuickInputPageModel::valueText(const QuickInputField& field) {
  if (!field.savesValue) return "(no value)";
  if (field.isSecret) return "(secret)";
  return field.plainValue.value_or("");
}

void QuickInputPageModel::load() { change([](QuickInputService&) -> Edited { return std::string(); }); }

void QuickInputPageModel::change(std::function<Edited(QuickInputService&)> call) {
  struct Outcome {
    Edited edited = std::string();
    expected<QuickInputDocument, QuickInputError> document = QuickInputDocument{};
    std::optional<std::string> notice;
  };
  run<Outcome>(
      [shared = shared_, call = std::move(call)](const orvanta::stop_token&) {
        std::lock_guard held(shared->lock);
        Outcome outcome;
        outcome.edited = call(shared->service);
        outcome.document = shared->service.store().document();
        outcome.notice = shared->service.store().takeRecoveryNotice();
        return outcome;
      },
      [this](Outcome outcome) {
        if (outcome.document) document_ = std::move(*outcome.document);
        if (outcome.notice) return fail(*outcome.notice);
        if (!outcome.edited) return fail(sentenceOf(outcome.edited.error()));
        if (!outcome.document) return fail(sentenceOf(outcome.document.error()));
        if (!outcome.edited->empty()) succeed(*outcome.edited);
      });
}

void QuickInputPageModel::addProfile(const std::string& name) {
  change([name](QuickInputService& service) -> Edited {
    auto added = service.addProfile(name);
    if (!added) return unexpected(added.error());
    if (auto selected = service.selectProfile(added->id); !selected) return unexpected(selected.error());
    return "Profile \"" + added->name + "\" added.";
  });
}

void QuickInputPageModel::renameProfile(const std::string& profileID, const std::string& name) {
  change([profileID, name](QuickInputService& service) -> Edited {
    auto renamed = service.renameProfile(profileID, name);
    if (!renamed) return unexpected(renamed.error());
    return "Profile renamed to \"" + renamed->name + "\".";
  });
}

void QuickInputPageModel::removeProfile(const std::string& profileID) {
  change([profileID](QuickInputService& service) -> Edited {
    auto removed = service.removeProfile(profileID);
    if (!removed) return unexpected(removed.error());
    return "Profile \"" + removed->name + "\" removed.";
  });
}

void QuickInputPageModel::selectProfile(const std::string& profileID) {
  change([profileID](QuickInputService& service) -> Edited {
    auto selected = service.selectProfile(profileID);
    if (!selected) return unexpected(selected.error());
    return std::string();
  });
}

void QuickInputPageModel::addField(QuickInputFieldDraft draft) {
  const auto* profile = selectedProfile();
  if (profile == nullptr) {
    wipe(draft.value);
    return fail(QuickInputError{QuickInputError::Case::noProfileSelected}.description());
  }
  auto held = std::make_shared<QuickInputFieldDraft>(std::move(draft));
  change([held, profileID = profile->id,
          storeName = session_.environment().secretStore().displayName()](QuickInputService& service) -> Edited {
    auto added = service.addField(profileID, *held);
    wipe(held->value);
    if (!added) return unexpected(added.error());
    return "Field \"" + added->label + "\" added" +
           (added->isSecret ? "; its value is kept in " + storeName : std::string()) + ".";
  });
}

void QuickInputPageModel::removeField(const std::string& fieldID) {
  const auto* profile = selectedProfile();
  if (profile == nullptr) return fail(QuickInputError{QuickInputError::Case::noProfileSelected}.description());
  change([profileID = profile->id, fieldID](QuickInputService& service) -> Edited {
    auto removed = service.removeField(profileID, fieldID);
    if (!removed) return unexpected(removed.error());
    return "Field \"" + removed->label + "\" removed.";
  });
}

void QuickInputPageModel::copy(const std::string& fieldID) {
  const auto* profile = selectedProfile();
  if (profile == nullptr) return fail(QuickInputError{QuickInputError::Case::noProfileSelected}.description());
  auto field = std::find_if(profile->fields.begin(), profile->fields.end(),
                            [&](const QuickInputField& candidate) { return candidate.id == fieldID; });
  if (field == profile->fields.end()) return fail(QuickInputError{QuickInputError::Case::fieldNotFound}.description());
  auto device = requireTarget();
  if (!device) return;
  change([field = *field, device = *device](QuickInputService& service) -> Edited {
    auto copied = service.copyField(field, device.udid);
    if (!copied) return unexpected(copied.error());
    std::string sentence = "Copied \"" + field.label + "\" to " + device.name + "'s clipboard" +
                           (copied->write.viaHostPasteboard ? " (through this computer's clipboard)" : "") + ".";
    if (copied->fingerprintProblem) sentence += " Clear will not be able to clear it: " + *copied->fingerprintProblem;
    return sentence;
  });
}

void QuickInputPageModel::clear() {
  auto device = requireTarget();
  if (!device) return;
  change([device = *device](QuickInputService& service) -> Edited {
    auto cleared = service.clear(device.udid, device.name);
    if (!cleared) return unexpected(cleared.error());
    return cleared->message + ".";
  });
}

}  // namespace orvanta
