#include "tools/location/location_scenario_list.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace orvanta {
namespace {

using Scenarios = std::vector<LocationScenario>;

TEST(LocationScenarioListTest, BareNamesAndTablesAreRead) {
  struct Row {
    const char* label;
    std::string output;
    std::optional<Scenarios> scenarios;  // none: refused as not a list
  };
  const Row rows[] = {
      {"bare names, as simctl prints them", "Apple\nCity Bicycle Ride\nCity Run\nFreeway Drive\n",
       Scenarios{{"Apple", ""}, {"City Bicycle Ride", ""}, {"City Run", ""}, {"Freeway Drive", ""}}},
      {"blank lines, CRLF and padding", "\r\n  City Run  \r\n\r\nApple", Scenarios{{"City Run", ""}, {"Apple", ""}}},
      {"nothing listed", "", Scenarios{}},
      {"a name that merely begins with Name", "Namib Desert Drive\nName\n",
       Scenarios{{"Namib Desert Drive", ""}, {"Name", ""}}},
      {"a table under a title",
       "Available scenarios:\n"
       "Name               Description\n"
       "City Run           A jog through Cupertino\n"
       "Freeway Drive      Along the 280\n"
       "Apple\n",
       Scenarios{{"City Run", "A jog through Cupertino"}, {"Freeway Drive", "Along the 280"}, {"Apple", ""}}},
      {"columns count characters, not bytes",
       "Name         Description\n"
       "Zürich Tour  Old town\n",
       Scenarios{{"Zürich Tour", "Old town"}}},
      {"a tab inside a bare name", "City Run\tA jog\n", std::nullopt},
      {"not UTF-8", "City \xff Run\n", std::nullopt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.label);
    const auto parsed = parseLocationScenarioList(row.output);
    if (row.scenarios) {
      ASSERT_TRUE(parsed.has_value()) << parsed.error().description();
      EXPECT_EQ(*parsed, *row.scenarios);
    } else {
      ASSERT_FALSE(parsed.has_value());
      EXPECT_EQ(parsed.error(),
                LocationSimulationError::scenariosUnavailable("the list output was not in the expected format"));
    }
  }
}

}  // namespace
}  // namespace orvanta
