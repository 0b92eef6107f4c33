#include "tools/location/location_persistence.hpp"

#include <gtest/gtest.h>

#include <cctype>
#include <chrono>
#include <memory>

#include <nlohmann/json.hpp>

#include "support/uuid.hpp"

namespace orvanta {
namespace {

using Case = LocationSimulationError::Case;
using Json = nlohmann::json;
using std::chrono::seconds;

const auto kStart = std::chrono::system_clock::time_point(seconds(1'790'000'000));

class LocationPersistenceTest : public ::testing::Test {
 protected:
  std::shared_ptr<InMemorySettingsStore> settings = std::make_shared<InMemorySettingsStore>();
  LocationHistoryStore history{settings};
  LocationPresetStore presets{settings};

  Json stored(std::string_view key) const { return settings->value(key).value().value_or(Json()); }
};

// A repeated point moving to the front is checked end to end (location_cli_test SetClearAndHistory).
TEST_F(LocationPersistenceTest, HistoryKeepsExactPointsAndTwentyFive) {
  // Only an exact match counts as the same point.
  ASSERT_TRUE(history.record({48.1, 11.5}, kStart).has_value());
  ASSERT_TRUE(history.record({48.1, 11.500000000000002}, kStart + seconds(3)).has_value());
  EXPECT_EQ(history.entries().size(), 2u);

  for (int i = 0; i < 25; ++i) ASSERT_TRUE(history.record({10.0 + i, 20}, kStart + seconds(10 + i)).has_value());
  auto entries = history.entries();
  ASSERT_EQ(entries.size(), 25u);
  EXPECT_EQ(entries.front().coordinate, (SimulatedLocation{34, 20}));
  EXPECT_EQ(entries.back().coordinate, (SimulatedLocation{10, 20}));  // the older points are gone

  // On disk: the documented keys, 2001-epoch seconds and upper-case UUIDs.
  const Json first = stored(LocationHistoryStore::key)[0];
  EXPECT_EQ(first["coordinate"], (Json{{"latitude", 34.0}, {"longitude", 20.0}}));
  EXPECT_DOUBLE_EQ(first["setAt"].get<double>(), 1'790'000'034.0 - 978'307'200.0);
  EXPECT_EQ(first["id"].get<std::string>(), parseUUID(first["id"].get<std::string>()).value());
}

TEST_F(LocationPersistenceTest, UnreadableEntriesAreSkippedAndDroppedByTheNextChange) {
  const Json onDisk = Json::parse(R"([
      {"id": "e621e1f8-c36c-495a-93fc-0c247a3e6e5f", "coordinate": {"latitude": 1, "longitude": 2}, "setAt": 0},
      {"id": "not a uuid", "coordinate": {"latitude": 1, "longitude": 3}, "setAt": 0},
      {"id": "5D1C6E54-0B4B-4C55-9E59-9C4D4F5A2B10", "coordinate": {"latitude": 91, "longitude": 3}, "setAt": 0},
      "junk"])");
  ASSERT_TRUE(settings->setValue(LocationHistoryStore::key, onDisk).has_value());
  auto entries = history.entries();
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].id, "E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
  EXPECT_EQ(entries[0].setAt, std::chrono::system_clock::time_point(seconds(978'307'200)));

  ASSERT_TRUE(history.record({5, 6}, kStart).has_value());
  EXPECT_EQ(stored(LocationHistoryStore::key).size(), 2u);

  ASSERT_TRUE(settings->setValue(LocationPresetStore::key, Json{{"not", "an array"}}).has_value());
  EXPECT_TRUE(presets.presets().empty());
  EXPECT_TRUE(presets.add("Office", {1, 2}).has_value());
}

TEST_F(LocationPersistenceTest, PresetRulesAndTheLimitOfOneHundred) {
  auto office = presets.add("Office", {48.1, 11.5});
  ASSERT_TRUE(office.has_value());
  auto home = presets.add("Home", {48.2, 11.6});
  ASSERT_TRUE(home.has_value());

  const auto refusal = [](const expected<LocationPreset, LocationSimulationError>& result) {
    return result ? std::nullopt : std::optional<Case>(result.error().kind);
  };
  const std::string missing = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
  EXPECT_EQ(refusal(presets.add(" \t", {1, 2})), Case::emptyLabel);
  EXPECT_EQ(refusal(presets.rename(office->id, "")), Case::emptyLabel);
  EXPECT_EQ(refusal(presets.rename(missing, "X")), Case::presetNotFound);
  EXPECT_EQ(refusal(presets.update(home->id, "Home", {48.1, 11.5})), Case::duplicatePreset);  // onto another preset
  EXPECT_EQ(refusal(presets.add("Home", {1, 2})), Case::presetLabelTaken);  // a label names one preset
  EXPECT_EQ(refusal(presets.rename(office->id, " Home ")), Case::presetLabelTaken);
  EXPECT_EQ(presets.rename(home->id, "Home").value_or(LocationPreset{}), *home);  // its own label is no clash
  EXPECT_EQ(refusal(presets.remove(missing)), Case::presetNotFound);
  EXPECT_EQ(refusal(presets.remove("Office")), Case::presetNotFound);           // not a UUID
  EXPECT_EQ(presets.presets(), (std::vector<LocationPreset>{*office, *home}));  // refusals change nothing

  // A preset may keep its own coordinates; ids are found in any letter case.
  ASSERT_TRUE(presets.update(office->id, "Office 2", {48.1, 11.5}).has_value());
  auto lower = office->id;
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  EXPECT_EQ(presets.remove(lower)->label, "Office 2");
  EXPECT_EQ(presets.presets(), std::vector<LocationPreset>{*home});

  for (int i = 1; i < 100; ++i) ASSERT_TRUE(presets.add("P" + std::to_string(i), {0, 0.01 * i}).has_value()) << i;
  auto refused = presets.add("One too many", {1, 1});
  ASSERT_FALSE(refused.has_value());
  EXPECT_EQ(refused.error().description(),
            "Orvanta keeps at most 100 location presets. Remove one before adding another.");
  EXPECT_EQ(presets.presets().size(), 100u);
}

}  // namespace
}  // namespace orvanta
