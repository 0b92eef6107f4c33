#include "support/uuid.hpp"

#include <set>

#include <gtest/gtest.h>

namespace orvanta {
namespace {

TEST(UUIDTest, MadeUUIDsAreDistinctUpperCaseVersion4) {
  std::set<std::string> seen;
  for (int i = 0; i < 2000; ++i) {
    const std::string uuid = makeUUID();
    ASSERT_EQ(parseUUID(uuid), uuid) << "not in canonical upper-case layout";
    ASSERT_EQ(uuid[14], '4') << uuid;
    ASSERT_NE(std::string_view("89AB").find(uuid[19]), std::string_view::npos) << uuid;
    seen.insert(uuid);
  }
  EXPECT_EQ(seen.size(), 2000u);
}

TEST(UUIDTest, ParsingAcceptsAnyCaseAndNothingElse) {
  struct Case {
    const char* text;
    std::optional<std::string> expected;
  } cases[] = {
      {"e621e1f8-c36c-495a-93fc-0c247a3e6e5f", "E621E1F8-C36C-495A-93FC-0C247A3E6E5F"},
      {"E621e1F8-C36C-495a-93FC-0C247A3E6E5F", "E621E1F8-C36C-495A-93FC-0C247A3E6E5F"},
      {"00000000-0000-0000-0000-000000000000", "00000000-0000-0000-0000-000000000000"},  // any version
      {"", std::nullopt},
      {"E621E1F8-C36C-495A-93FC-0C247A3E6E5F\n", std::nullopt},
      {"E621E1F8C36C-495A-93FC-0C247A3E6E5F0", std::nullopt},
      {"G621E1F8-C36C-495A-93FC-0C247A3E6E5F", std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(parseUUID(c.text), c.expected);
  }
}

}  // namespace
}  // namespace orvanta
