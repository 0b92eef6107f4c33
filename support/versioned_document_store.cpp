#include "support/versioned_document_store.hpp"

#include <climits>

#include "support/app_paths.hpp"
#include "support/atomic_file.hpp"
#include "support/file_lock.hpp"
#include "support/json_text.hpp"

namespace orvanta {

std::string_view caseName(DocumentStoreFailure failure) {
  switch (failure) {
    case DocumentStoreFailure::notFound: return "notFound";
    case DocumentStoreFailure::invalidReorder: return "invalidReorder";
    case DocumentStoreFailure::encodingFailed: return "encodingFailed";
    case DocumentStoreFailure::writeFailed: return "writeFailed";
    case DocumentStoreFailure::nameTaken: return "nameTaken";
  }
  return {};
}

std::optional<StoredEnvelope> StoredEnvelope::read(const nlohmann::json& item) {
  if (!item.is_object()) return std::nullopt;
  auto version = item.find("schemaVersion");
  auto id = item.find("id");
  if (version == item.end() || id == item.end() || !version->is_number_integer() || !id->is_string()) {
    return std::nullopt;
  }
  if (version->is_number_unsigned() && version->get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX)) {
    return std::nullopt;
  }
  auto uuid = parseUUID(id->get<std::string>());
  if (!uuid) return std::nullopt;
  return StoredEnvelope{version->get<std::int64_t>(), *uuid};
}

namespace detail {

namespace {
std::filesystem::path lockFileFor(const std::filesystem::path& file) { return file.string() + ".lock"; }
}  // namespace

std::optional<std::vector<nlohmann::json>> documentItems(std::string_view text) {
  auto parsed = parseJsonText(text, read_budget::library);
  if (!parsed) return std::nullopt;
  nlohmann::json document = std::move(*parsed);
  if (!document.is_object() || document.empty()) return std::nullopt;
  auto items = document.find("items");
  if (items == document.end() || !items->is_array()) return std::nullopt;
  if (!std::all_of(items->begin(), items->end(), [](const auto& item) { return item.is_object(); })) {
    return std::nullopt;
  }
  return std::vector<nlohmann::json>(std::make_move_iterator(items->begin()), std::make_move_iterator(items->end()));
}

DocumentRead readDocumentItems(const std::filesystem::path& file, std::vector<nlohmann::json>& items) {
  auto content = readFile(file, read_budget::library);
  if (!content) {
    return isResourceShortage(content.error().errorNumber) ? DocumentRead::failed : DocumentRead::unreadable;
  }
  if (!*content) return DocumentRead::missing;
  auto read = documentItems(**content);
  if (!read) return DocumentRead::unreadable;
  items = std::move(*read);
  return DocumentRead::read;
}

std::string documentText(nlohmann::json items) {
  const nlohmann::json document{{"formatVersion", 1}, {"items", std::move(items)}};
  // nlohmann::json keeps object members in a std::map, so the dump has sorted keys at every level.
  return document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

expected<void, std::string> writeDocument(const std::filesystem::path& file, const std::string& text) {
  if (auto written = writeFileAtomically(file, text, 0600); !written) {
    return unexpected(written.error().description());
  }
  return {};
}

expected<void, std::string> prepareDocumentFolder(const std::filesystem::path& file) {
  if (auto folder = ensurePrivateDirectory(file.parent_path().parent_path()); !folder) {
    return unexpected(folder.error().description());
  }
  // The folder is ours alone: one made by hand (or by an older version) is narrowed to the owner, and a
  // symbolic link or another user's folder in its place is refused, never followed.
  if (auto own = ensureOwnPrivateFolder(file.parent_path()); !own) return unexpected(own.error().description());
  return {};
}

expected<void, std::string> withDocumentLock(const std::filesystem::path& file, bool required,
                                             const std::function<void()>& body) {
  auto lock = FileLock::acquire(lockFileFor(file), FileLock::Wait::blocking);
  if (!lock && required) return unexpected(lock.error().description());
  body();
  return {};
}

std::string recoverUnreadableDocument(const std::filesystem::path& file, std::string_view documentName,
                                      std::chrono::system_clock::time_point now) {
  const std::string what = "The " + std::string(documentName) + " " + file.string();
  if (auto moved = moveAsideUnreadable(file, now)) {
    return what + " could not be read; it was moved to " + moved->string() + " and starts empty.";
  }
  else {
    return what + " could not be read, nor moved aside: " + moved.error().description();
  }
}

expected<std::filesystem::path, FileError> documentFile(std::string_view folder, std::string_view file) {
  auto support = applicationSupportDirectory();
  if (!support) return unexpected(std::move(support).error());
  return *support / folder / file;
}

}  // namespace detail
}  // namespace orvanta

namespace orvanta {

expected<nlohmann::json, std::string> importedItems(std::string_view text) {
  auto document = parseJsonText<nlohmann::json>(text, read_budget::library);
  if (!document) return unexpected("The file is not JSON: " + document.error() + ".");
  nlohmann::json items = document->is_object() && document->contains("items") ? (*document)["items"]
                         : document->is_array()                               ? std::move(*document)
                                                                              : nlohmann::json::array({*document});
  if (!items.is_array()) return unexpected(std::string("\"items\" must be an array."));
  return items;
}

expected<nlohmann::json, std::string> readImportedItemsFile(const std::filesystem::path& file) {
  auto content = readFile(file, read_budget::library);
  if (!content) return unexpected(content.error().description());
  if (!*content) return unexpected("There is no file at " + file.string() + ".");
  return importedItems(**content);
}

std::string exportedItemText(const nlohmann::json& item) {
  return nlohmann::json{{"formatVersion", 1}, {"items", nlohmann::json::array({item})}}.dump(2) + "\n";
}

}  // namespace orvanta
