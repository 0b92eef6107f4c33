// Reads a JUnit report with expat, for the tests of the scenario report and of `scenario run --junit`.
#pragma once

#include <expat.h>

#include <map>
#include <string>
#include <vector>

namespace orvanta::testing {

// Parses `xml` with expat; for each <testcase>, the names of its child elements, by test-case name.
struct Parsed {
  bool wellFormed = false;
  std::vector<std::string> order;
  std::map<std::string, std::vector<std::string>> children;
  std::map<std::string, std::string> attributes;  // "<element>.<attribute>" of the first occurrence
};

inline Parsed parseJUnit(const std::string& xml) {
  Parsed parsed;
  struct State {
    Parsed* parsed;
    std::string current;
  } state{&parsed, {}};
  XML_Parser parser = XML_ParserCreate("UTF-8");
  XML_SetUserData(parser, &state);
  XML_SetElementHandler(
      parser,
      [](void* data, const XML_Char* name, const XML_Char** attributes) {
        auto& s = *static_cast<State*>(data);
        std::string element = name;
        for (int index = 0; attributes[index] != nullptr; index += 2) {
          s.parsed->attributes.emplace(element + "." + attributes[index], attributes[index + 1]);
          if (element == "testcase" && std::string(attributes[index]) == "name") s.current = attributes[index + 1];
        }
        if (element == "testcase") {
          s.parsed->order.push_back(s.current);
          s.parsed->children[s.current];
        } else if (!s.current.empty()) {
          s.parsed->children[s.current].push_back(element);
        }
      },
      [](void* data, const XML_Char* name) {
        if (std::string(name) == "testcase") static_cast<State*>(data)->current.clear();
      });
  parsed.wellFormed = XML_Parse(parser, xml.data(), static_cast<int>(xml.size()), 1) == XML_STATUS_OK;
  XML_ParserFree(parser);
  return parsed;
}

}  // namespace orvanta::testing
