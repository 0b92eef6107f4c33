#include <gtest/gtest.h>

#include "tools/deeplink/deep_link_validation.hpp"

namespace orvanta {
namespace {

using Case = DeepLinkError::Case;

TEST(DeepLinkValidation, AcceptsAndClassifies) {
  struct Row {
    std::string text;
    std::string sent;
    DeepLinkKind kind;
  };
  const std::vector<Row> rows = {
      {"  myapp://inbox/42?tab=unread#top \n", "myapp://inbox/42?tab=unread#top", DeepLinkKind::custom("myapp")},
      {"HTTPS://Example.com/Path", "HTTPS://Example.com/Path", DeepLinkKind::https()},
      {"Http://example.com", "Http://example.com", DeepLinkKind::http()},
      {"MyApp+Beta.v2://x", "MyApp+Beta.v2://x", DeepLinkKind::custom("myapp+beta.v2")},
      {"mailto:", "mailto:", DeepLinkKind::custom("mailto")},
      {"tel:+15555550100", "tel:+15555550100", DeepLinkKind::custom("tel")},
      {"myapp:", "myapp:", DeepLinkKind::custom("myapp")},
      {"http://[::1]:8080/status", "http://[::1]:8080/status", DeepLinkKind::http()},
      {"http://[2001:db8::7]/", "http://[2001:db8::7]/", DeepLinkKind::http()},
      {"myapp://search?q=caf%C3%A9%20au%20lait", "myapp://search?q=caf%C3%A9%20au%20lait", DeepLinkKind::custom("myapp")},
      // A no-break space and an ideographic space are trimmed like ASCII ones.
      {"\xc2\xa0myapp://x\xe3\x80\x80", "myapp://x", DeepLinkKind::custom("myapp")},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    auto link = validateDeepLink(row.text);
    ASSERT_TRUE(link) << link.error().description();
    EXPECT_EQ(link->urlString, row.sent);
    EXPECT_EQ(link->kind, row.kind);
  }
}

TEST(DeepLinkValidation, RefusesInOrder) {
  const std::vector<std::pair<std::string, Case>> rows = {
      {"", Case::emptyURL},
      {" \t\r\n ", Case::emptyURL},
      {"\xe2\x80\xa8", Case::emptyURL},
      {"  myapp://in box  ", Case::malformedURL},
      {"myapp://a\nb", Case::malformedURL},
      {"myapp://a\xc2\xa0" "b", Case::malformedURL},
      // Whitespace comes before the scheme: an inner space without a scheme is malformed, not missingScheme.
      {"example .com", Case::malformedURL},
      {"myapp://x?q=%zz", Case::malformedURL},
      {"myapp://x?q=100%", Case::malformedURL},
      {"http://[::1/", Case::malformedURL},
      {"http://[not-an-address]/", Case::malformedURL},
      {"myapp://caf\xc3\xa9", Case::malformedURL},
      {"myapp://a\"b", Case::malformedURL},
      {"://missing", Case::malformedURL},
      {"1app://x", Case::malformedURL},
      {std::string("myapp://a\0b", 11), Case::malformedURL},
      {"example.com/path", Case::missingScheme},
      {"//host/path", Case::missingScheme},
      {"/just/a/path", Case::missingScheme},
  };
  for (const auto& [text, expected] : rows) {
    SCOPED_TRACE(text);
    auto link = validateDeepLink(text);
    ASSERT_FALSE(link) << link->urlString;
    EXPECT_EQ(link.error().kind, expected);
  }
}

}  // namespace
}  // namespace orvanta
