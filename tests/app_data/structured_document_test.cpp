#include "tools/app_data/structured_document.hpp"

#include <gtest/gtest.h>

#include "tools/app_data/data_file_service.hpp"

namespace orvanta {
namespace {

using Json = nlohmann::json;

TEST(StructuredDocumentTest, PropertyListsBecomeTypedTrees) {
  const std::string xml =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
      "<key>when</key><date>2026-11-24T08:31:13Z</date>"
      "<key>blob</key><data>AP8=</data>"
      "<key>list</key><array><integer>1</integer><real>2.5</real><true/></array>"
      "</dict></plist>";
  auto document = readStructuredDocument(xml, false);
  ASSERT_TRUE(document) << document.error();
  EXPECT_EQ(document->format, "xml");
  EXPECT_EQ(document->value, Json::parse(R"({"type": "dictionary", "value": {
      "when": {"type": "date", "value": "2026-11-24T08:31:13.000Z"},
      "blob": {"type": "data", "value": "AP8="},
      "list": {"type": "array", "value": [{"type": "integer", "value": 1}, {"type": "real", "value": 2.5},
                                          {"type": "boolean", "value": true}]}}})"));

  auto openStep = readStructuredDocument("{ name = \"Caf\\U00e9\"; }", false);
  ASSERT_TRUE(openStep);
  EXPECT_EQ(openStep->format, "openStep");
  EXPECT_EQ(openStep->value["value"]["name"]["value"], "Caf\xc3\xa9");
}

TEST(StructuredDocumentTest, JsonIsTypedAndBounded) {
  auto document = readStructuredDocument(R"({"a": [null, 1, 1.5, "x", false], "b": {}})", true);
  ASSERT_TRUE(document) << document.error();
  EXPECT_EQ(document->kind, StructuredDocument::Kind::json);
  EXPECT_EQ(document->value["type"], "object");
  EXPECT_EQ(document->value["value"]["a"]["value"][0], Json::parse(R"({"type": "null", "value": null})"));
  EXPECT_EQ(document->value["value"]["a"]["value"][2]["type"], "real");

  struct Row {
    std::string text;
    const char* message;
  } rows[] = {
      {std::string(300, '[') + std::string(300, ']'), "The document nests deeper than 256 levels."},
      {"\"\xff\"", "The document is not UTF-8 text."},
      {"{\"a\": }", "parse error at line 1, column 7: syntax error while parsing value - unexpected '}'; expected '[', '{', or a literal"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.message);
    auto refused = readStructuredDocument(row.text, true);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), row.message);
  }
  // Brackets inside strings do not count.
  EXPECT_EQ(jsonNestingDepth(R"({"a": "[[[[\"[[", "b": [1]})", 10), 2u);
}

TEST(StructuredDocumentTest, LinesForPeopleEscapeControlCharacters) {
  const Json tree = typedValue(PropertyListValue(PropertyListDictionary{
      {"title", PropertyListValue("line\nbreak\x1b[31m")}, {"tags", PropertyListValue::Array{"a"}}}));
  EXPECT_EQ(describeTypedValue(tree, "(root)"),
            (std::vector<std::string>{"(root) (dictionary, 2 items)", "  tags (array, 1 items)", "    [0] (string): \"a\"",
                                      "  title (string): \"line\\nbreak\\u001b[31m\""}));
}

TEST(DataFileKindTest, NamesAndHeadersDecide) {
  const std::string sqlite("SQLite format 3\0", 16);
  struct Row {
    const char* name;
    std::string bytes;
    std::optional<DataFileKind> kind;
  } rows[] = {
      {"Cafe.sqlite", sqlite, DataFileKind::sqlite},
      {"store.bin", sqlite, DataFileKind::sqlite},
      {"Cafe.sqlite-wal", sqlite, std::nullopt},
      {"Cafe.sqlite-shm", "", std::nullopt},
      {"empty.sqlite", "", std::nullopt},
      {"Settings.PLIST", "<?xml", DataFileKind::propertyList},
      {"cache", "bplist00", DataFileKind::propertyList},
      {"menu.json", "{", DataFileKind::json},
      {"notes.txt", "{}", std::nullopt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(classifyDataFile(row.name, row.bytes), row.kind);
  }
}

}  // namespace
}  // namespace orvanta
