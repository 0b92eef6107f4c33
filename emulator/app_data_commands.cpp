// The app data side of the simulator: the files in seeded apps' containers, `spawn <device> defaults
// export|write|delete <domain>`, `addmedia` and `keychain`.
//
// Preferences live where the simulator keeps them: a domain given as an absolute path is that path plus
// ".plist" (an app's container: <container>/Library/Preferences/<bundle id>), a bare name is the
// device-wide <data>/Library/Preferences/<name>.plist. `defaults export <domain> -` prints the domain as
// an XML property list, an empty dictionary when nothing was written to it yet. Seeded preferences are
// binary, as the preferences daemon writes them; what `defaults write` changes is written back as XML,
// which readers of property lists take alike.
//
// ORVANTA_EMULATOR_DEFAULTS_LOST=1 makes write and delete succeed without changing anything, as when a
// running app writes its own cached copy back over the change.
//
// Media added and keychain changes are recorded under the device's "emulator" record ("media",
// "keychain"), for tests to look at.
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <system_error>

#include <fmt/format.h>
#include <sqlite3.h>

#include "emulator/binary_plist.hpp"
#include "emulator/emulator.hpp"
#include "support/atomic_file.hpp"
#include "support/property_list.hpp"

namespace orvanta::emulator {
namespace {

namespace fs = std::filesystem;

// ---- seed data -----------------------------------------------------------------------------------------

expected<void, std::string> writeText(const fs::path& path, std::string_view text) {
  std::error_code error;
  fs::create_directories(path.parent_path(), error);
  if (error) return unexpected(error.message());
  if (auto written = writeFileAtomically(path, text, 0644); !written) return unexpected(written.error().description());
  return {};
}

// A Core Data-like store in WAL mode whose first order is in the main file and the next 1,000 only in
// the write-ahead log, as an app leaves it between checkpoints.
expected<void, std::string> writeCafeDatabase(const fs::path& path) {
  std::error_code error;
  fs::create_directories(path.parent_path(), error);
  if (error) return unexpected(error.message());
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) != SQLITE_OK) {
    std::string message = db ? sqlite3_errmsg(db) : "out of memory";
    sqlite3_close(db);
    return unexpected(message);
  }
  // Closing must not checkpoint: the log keeps its rows, as after an app was stopped.
  sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  const char* statements[] = {
      "PRAGMA journal_mode=WAL",
      "PRAGMA wal_autocheckpoint=0",
      "CREATE TABLE ZORDER (Z_PK INTEGER PRIMARY KEY, ZDRINK TEXT NOT NULL, ZPRICE REAL, ZPLACEDAT TIMESTAMP)",
      "CREATE INDEX ZORDER_ZDRINK_INDEX ON ZORDER (ZDRINK)",
      "CREATE TABLE ZCUSTOMER (Z_PK INTEGER PRIMARY KEY, ZNAME TEXT NOT NULL UNIQUE, ZAVATAR BLOB)",
      "INSERT INTO ZCUSTOMER (ZNAME, ZAVATAR) VALUES ('Ada', x'89504E47'), ('Linus', NULL)",
      "INSERT INTO ZORDER (ZDRINK, ZPRICE, ZPLACEDAT) VALUES ('Flat white', 3.5, 786000000)",
      "PRAGMA wal_checkpoint(TRUNCATE)",
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1000) "
      "INSERT INTO ZORDER (ZDRINK, ZPRICE, ZPLACEDAT) SELECT CASE i % 3 WHEN 0 THEN 'Espresso' WHEN 1 THEN "
      "'Cortado' ELSE 'Oat latte' END, 2.5 + (i % 4), 786000000 + i * 60 FROM n",
  };
  for (const char* statement : statements) {
    char* message = nullptr;
    if (sqlite3_exec(db, statement, nullptr, nullptr, &message) != SQLITE_OK) {
      std::string text = message ? message : "failed";
      sqlite3_free(message);
      sqlite3_close(db);
      return unexpected(text);
    }
  }
  sqlite3_close(db);
  return {};
}

}  // namespace

expected<void, std::string> seedAppData(const std::string& bundleIdentifier, const fs::path& dataContainer,
                                        const std::map<std::string, fs::path>& groupContainers) {
  const fs::path preferences = dataContainer / "Library" / "Preferences";
  if (bundleIdentifier == "com.example.cafe") {
    const Json prefs = {{"onboardingDone", true},
                        {"launchCount", 7},
                        {"favoriteDrink", "Flat white"},
                        {"tipPercent", 12.5},
                        {"recentSearches", {"oat", "decaf"}}};
    for (auto written : {writeText(preferences / "com.example.cafe.plist", binaryPropertyList(prefs)),
                         writeText(dataContainer / "Documents" / "notes.txt", "Oat milk runs out on Fridays.\n"),
                         writeText(dataContainer / "Documents" / "Receipts" / "2026-11-01.json",
                                   R"({"total": 12.5, "paid": true, "items": [{"drink": "Flat white", "count": 2}]})"
                                   "\n"),
                         writeText(dataContainer / "Library" / "Caches" / "menu.json",
                                   R"({"version": 3, "drinks": ["Espresso", "Cortado", "Oat latte"], "seasonal": null})"
                                   "\n"),
                         writeCafeDatabase(dataContainer / "Library" / "Application Support" / "Cafe.sqlite")}) {
      if (!written) return written;
    }
    std::error_code error;
    fs::create_directories(dataContainer / "tmp", error);
  } else if (bundleIdentifier == "com.orvanta.fieldnotes") {
    if (auto written = writeText(preferences / "com.orvanta.fieldnotes.plist",
                                 binaryPropertyList(Json{{"units", "metric"}, {"syncEnabled", false}}));
        !written) {
      return written;
    }
  }
  for (const auto& [group, container] : groupContainers) {
    const Json shared = {{"sharedToken", "c0ffee"}, {"widgetEnabled", true}};
    if (auto written = writeText(container / "Library" / "Preferences" / (group + ".plist"), binaryPropertyList(shared));
        !written) {
      return written;
    }
    if (auto written = writeText(container / "Widget" / "today.json", R"({"special": "Cortado", "price": 3})" "\n");
        !written) {
      return written;
    }
  }
  return {};
}

namespace {

// ---- XML property lists -----------------------------------------------------------------------------

std::string xmlEscaped(std::string_view text) {
  std::string out;
  for (char c : text) {
    if (c == '&') out += "&amp;";
    else if (c == '<') out += "&lt;";
    else if (c == '>') out += "&gt;";
    else out += c;
  }
  return out;
}

std::string base64(const PropertyListValue::Data& bytes) {
  static constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const unsigned n = static_cast<unsigned>(bytes[i]) << 16 |
                       (i + 1 < bytes.size() ? static_cast<unsigned>(bytes[i + 1]) << 8 : 0u) |
                       (i + 2 < bytes.size() ? static_cast<unsigned>(bytes[i + 2]) : 0u);
    text += alphabet[n >> 18 & 63];
    text += alphabet[n >> 12 & 63];
    text += i + 1 < bytes.size() ? alphabet[n >> 6 & 63] : '=';
    text += i + 2 < bytes.size() ? alphabet[n & 63] : '=';
  }
  return text;
}

std::string isoDate(double secondsSinceReferenceDate) {
  const auto unix = static_cast<std::int64_t>(std::floor(secondsSinceReferenceDate)) + 978307200;
  const auto day = std::chrono::floor<std::chrono::days>(std::chrono::sys_seconds(std::chrono::seconds(unix)));
  const std::chrono::year_month_day date{day};
  const auto rest = unix - std::chrono::sys_seconds(day).time_since_epoch().count();
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), rest / 3600,
                     rest / 60 % 60, rest % 60);
}

void appendXml(std::string& out, const PropertyListValue& value, int depth) {
  const std::string indent(static_cast<std::size_t>(depth), '\t');
  switch (value.kind()) {
    case PropertyListValue::Kind::string: out += indent + "<string>" + xmlEscaped(*value.asString()) + "</string>\n"; break;
    case PropertyListValue::Kind::data: out += indent + "<data>" + base64(*value.asData()) + "</data>\n"; break;
    case PropertyListValue::Kind::boolean: out += indent + (*value.asBool() ? "<true/>\n" : "<false/>\n"); break;
    case PropertyListValue::Kind::integer: out += indent + fmt::format("<integer>{}</integer>\n", *value.asInteger()); break;
    case PropertyListValue::Kind::real: out += indent + fmt::format("<real>{}</real>\n", *value.asReal()); break;
    case PropertyListValue::Kind::date:
      out += indent + "<date>" + isoDate(value.asDate()->secondsSinceReferenceDate) + "</date>\n";
      break;
    case PropertyListValue::Kind::array:
      out += indent + "<array>\n";
      for (const auto& item : *value.asArray()) appendXml(out, item, depth + 1);
      out += indent + "</array>\n";
      break;
    case PropertyListValue::Kind::dictionary:
      out += indent + "<dict>\n";
      for (const auto& [key, item] : value.asDictionary()->entries()) {
        out += indent + "\t<key>" + xmlEscaped(key) + "</key>\n";
        appendXml(out, item, depth + 1);
      }
      out += indent + "</dict>\n";
      break;
  }
}

std::string xmlPropertyList(const PropertyListValue& value) {
  std::string out =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
      "<plist version=\"1.0\">\n";
  appendXml(out, value, 0);
  return out + "</plist>\n";
}

// ---- spawn ... defaults -------------------------------------------------------------------------------

bool isInside(const fs::path& path, const fs::path& folder) {
  const auto relative = path.lexically_normal().lexically_relative(folder.lexically_normal());
  return !relative.empty() && *relative.begin() != "..";
}

int notChanged(Invocation& call, const std::string& domain) {
  call.err += "Domain (" + domain + ") not found.\nDefaults have not been changed.\n";
  return 1;
}

// "yyyy-MM-dd HH:mm:ss +0000" as seconds since 2001-01-01.
std::optional<double> parseDefaultsDate(const std::string& text) {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  char zone[8] = {};
  if (std::sscanf(text.c_str(), "%4d-%2d-%2d %2d:%2d:%2d %5s", &year, &month, &day, &hour, &minute, &second, zone) != 7 ||
      std::string_view(zone) != "+0000") {
    return std::nullopt;
  }
  const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  if (!date.ok()) return std::nullopt;
  const auto unix = std::chrono::sys_days(date).time_since_epoch() + std::chrono::hours(hour) +
                    std::chrono::minutes(minute) + std::chrono::seconds(second);
  return static_cast<double>(std::chrono::duration_cast<std::chrono::seconds>(unix).count() - 978307200);
}

std::optional<PropertyListValue> parseDefaultsValue(const std::string& flag, const std::string& text) {
  if (flag == "-string") return PropertyListValue(text);
  if (flag == "-int" || flag == "-integer") {
    char* end = nullptr;
    const long long number = std::strtoll(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0') return std::nullopt;
    return PropertyListValue(static_cast<std::int64_t>(number));
  }
  if (flag == "-float") {
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0') return std::nullopt;
    return PropertyListValue(number);
  }
  if (flag == "-bool" || flag == "-boolean") {
    std::string lower = text;
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (lower == "true" || lower == "yes" || lower == "1") return PropertyListValue(true);
    if (lower == "false" || lower == "no" || lower == "0") return PropertyListValue(false);
    return std::nullopt;
  }
  if (flag == "-date") {
    auto seconds = parseDefaultsDate(text);
    if (!seconds) return std::nullopt;
    return PropertyListValue(PropertyListDate{*seconds});
  }
  if (flag == "-data") {
    if (text.size() % 2 != 0) return std::nullopt;
    PropertyListValue::Data bytes;
    for (std::size_t i = 0; i < text.size(); i += 2) {
      char* end = nullptr;
      const std::string pair = text.substr(i, 2);
      const long byte = std::strtol(pair.c_str(), &end, 16);
      if (*end != '\0') return std::nullopt;
      bytes.push_back(static_cast<std::uint8_t>(byte));
    }
    return PropertyListValue(std::move(bytes));
  }
  return std::nullopt;
}

}  // namespace

int spawnDefaults(Invocation& call, Json& device) {
  // args: <device> defaults <verb> <domain> ...
  if (call.args.size() < 4) {
    return call.usage("Command line interface to a user's defaults.\n"
                      "Syntax:\n'defaults' [-currentHost | -host <hostname>] followed by one of the following:");
  }
  const std::string& verb = call.args[2];
  const std::string& domain = call.args[3];
  const fs::path dataPath = device["dataPath"].get<std::string>();
  const fs::path file = domain.starts_with("/") ? fs::path(domain + ".plist")
                                                : dataPath / "Library" / "Preferences" / (domain + ".plist");
  if (!isInside(file, dataPath)) {
    call.err += "Could not write domain " + domain + "; exiting\n";
    return 1;
  }
  PropertyListDictionary values;
  bool exists = false;
  if (auto text = readFile(file, 8 << 20); text && *text) {
    auto parsed = parsePropertyList(**text);
    if (parsed && parsed->isDictionary()) {
      values = *parsed->asDictionary();
      exists = true;
    }
  }
  const bool lost = std::string_view(std::getenv("ORVANTA_EMULATOR_DEFAULTS_LOST") ? std::getenv("ORVANTA_EMULATOR_DEFAULTS_LOST") : "") == "1";
  auto save = [&]() -> int {
    if (lost) return 0;
    std::error_code error;
    fs::create_directories(file.parent_path(), error);
    if (auto written = writeFileAtomically(file, xmlPropertyList(PropertyListValue(values)), 0600); !written) {
      call.err += "Could not write domain " + domain + "; exiting\n";
      return 1;
    }
    return 0;
  };

  if (verb == "export") {
    if (call.args.size() < 5 || call.args[4] != "-") return call.usage("Usage: defaults export <domain> <path to plist>");
    call.out += xmlPropertyList(PropertyListValue(values));
    return 0;
  }
  if (verb == "write") {
    if (call.args.size() < 7) return call.usage("Usage: defaults write <domain> <key> -<type> <value>");
    auto value = parseDefaultsValue(call.args[5], call.args[6]);
    if (!value) {
      call.err += "Could not parse: " + call.args[6] + ".  Try single-quoting it.\n";
      return 1;
    }
    values.insertOrAssign(call.args[4], std::move(*value));
    return save();
  }
  if (verb == "delete") {
    if (call.args.size() < 5) return call.usage("Usage: defaults delete <domain> <key>");
    if (!exists || !values.contains(call.args[4])) return notChanged(call, domain);
    std::vector<PropertyListDictionary::Entry> kept;
    for (const auto& entry : values.entries()) {
      if (entry.first != call.args[4]) kept.push_back(entry);
    }
    values = PropertyListDictionary(std::move(kept));
    return save();
  }
  return call.usage("Unknown defaults command: " + verb);
}

namespace {

// ---- addmedia, keychain -------------------------------------------------------------------------------

SimctlFailure noSuchFile() {
  return {"NSPOSIXErrorDomain", 2,
          "The operation couldn\xe2\x80\x99t be completed. No such file or directory\nNo such file or directory", ""};
}

std::string lowerExtension(const fs::path& path) {
  std::string extension = path.extension().string();
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return extension;
}

int addmedia(Invocation& call) {
  int status = 0;
  Json* device = call.device(0, &status);
  if (!device) return status;
  if (call.requireBooted(*device, &status)) return status;
  if (call.args.size() < 2) return call.usage("Usage: simctl addmedia <device> <path> [... <path>]");
  Json added = Json::array();
  for (std::size_t i = 1; i < call.args.size(); ++i) {
    const fs::path path = call.args[i];
    std::error_code error;
    if (!fs::is_regular_file(path, error)) return call.fail(noSuchFile());
    const std::string extension = lowerExtension(path);
    std::string kind;
    if (extension == ".jpg" || extension == ".jpeg" || extension == ".png" || extension == ".heic" ||
        extension == ".heif" || extension == ".gif" || extension == ".tif" || extension == ".tiff" ||
        extension == ".bmp" || extension == ".webp") {
      kind = "photo";
    } else if (extension == ".mov" || extension == ".mp4" || extension == ".m4v") {
      kind = "video";
    } else if (extension == ".vcf" || extension == ".vcard") {
      kind = "contact";
    } else {
      // The sentence is what simctl prints; its domain and code here are this emulator's choice.
      return call.fail({"NSPOSIXErrorDomain", 22, "File type unsupported", ""});
    }
    added.push_back({{"path", fs::absolute(path).string()}, {"kind", kind}});
  }
  Json& media = (*device)["emulator"]["media"];
  if (!media.is_array()) media = Json::array();
  for (auto& item : added) media.push_back(std::move(item));
  if (auto saved = call.devices.save(); !saved) return call.usage(saved.error());
  return 0;
}

int keychain(Invocation& call) {
  int status = 0;
  Json* device = call.device(0, &status);
  if (!device) return status;
  if (call.requireBooted(*device, &status)) return status;
  const std::string verb = call.args.size() > 1 ? call.args[1] : "";
  Json& state = (*device)["emulator"]["keychain"];
  if (!state.is_object()) state = Json{{"resets", 0}, {"certificates", Json::array()}};
  if (verb == "reset" && call.args.size() == 2) {
    state["resets"] = state["resets"].get<int>() + 1;
    state["certificates"] = Json::array();
  } else if ((verb == "add-root-cert" || verb == "add-cert") && call.args.size() == 3) {
    std::error_code error;
    if (!fs::is_regular_file(call.args[2], error)) return call.fail(noSuchFile());
    state["certificates"].push_back({{"path", fs::absolute(call.args[2]).string()}, {"root", verb == "add-root-cert"}});
  } else {
    return call.usage("Usage: simctl keychain <device> <action> [arguments]\n"
                      "  add-root-cert <path>  Add a certificate as a trusted root\n"
                      "  add-cert <path>       Add a certificate\n"
                      "  reset                 Reset the keychain");
  }
  if (auto saved = call.devices.save(); !saved) return call.usage(saved.error());
  return 0;
}

}  // namespace

void registerAppDataCommands(CommandTable& table) {
  table["addmedia"] = addmedia;
  table["keychain"] = keychain;
}

}  // namespace orvanta::emulator
