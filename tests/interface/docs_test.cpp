// The documentation against the code: every code with its name and its text, every snippet.
#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "ft/ZelForceSensorExternal.h"

namespace {

using testing::HasSubstr;

std::string textOf(const char* file) {
  std::stringstream text;
  text << std::ifstream(std::string(ZEL_SOURCE_DIR) + file).rdbuf();
  return text.str();
}

/// The lines without their indentation.
std::string withoutIndentation(const std::string& text) {
  std::istringstream lines(text);
  std::string result;
  for (std::string line; std::getline(lines, line); result += '\n') {
    result += line.substr(std::min(line.find_first_not_of(' '), line.size()));
  }
  return result;
}

TEST(Snippets, StandInExamplesThatTheBuildCompiles) {
  std::string examples;
  for (const char* file : {"first_contact.c", "identification.cpp"}) {
    examples += withoutIndentation(textOf((std::string("/examples/") + file).c_str()));
  }
  int snippets = 0;
  for (const char* page :
       {"/README.md", "/docs/guide.md", "/docs/behaviour.md", "/docs/codes.md"}) {
    const std::string text = withoutIndentation(textOf(page));
    for (std::size_t at = 0; (at = text.find("```c", at)) != std::string::npos; ++snippets) {
      const std::size_t begin = text.find('\n', at) + 1;
      at = text.find("```\n", begin);
      EXPECT_THAT(examples, HasSubstr(text.substr(begin, at - begin))) << page;
    }
  }
  EXPECT_EQ(snippets, 5);
}

TEST(CodesPage, ListsEveryCodeWithItsText) {
  const std::string page = textOf("/docs/codes.md"), header = textOf("/zel_ftc_types.h");
  const auto expectRow = [&](int value, const std::string& name, const std::string& text) {
    const std::string code = std::to_string(value) + (value == 80002 ? " + bits" : "");
    EXPECT_THAT(page, HasSubstr("| " + code + " `" + name + "` | \"" + text + "\" "));
  };
#define ZEL_EXPECT_ROW(name, value, text) expectRow(value, #name, text);
  ZEL_RUN_RESULTS(ZEL_EXPECT_ROW)
  const char* const bits[] = {"64 | 80066", "32 | 80034", "8 | 80010",
                              "4 | 80006",  "2 | 80004",  "1 | 80003"};
  for (const char* bit : bits) EXPECT_THAT(page, HasSubstr(bit));

  std::istringstream enumerators(header.substr(header.find("FT_N0RMAL = ")));
  int codes = 0, value = 0;
  for (std::string name, equals; enumerators >> name >> equals >> value; ++codes) {
    zel_ft_info info = {};
    SensorExternal sensor;
    sensor.setCODE(static_cast<ZelInfoCode>(value));
    sensor.getInfo(info);
    // The one text that names the class of the sensor stands there in the form of the network one.
    std::string text = info.code_info;
    const std::size_t own = text.find("SensorExternal");
    if (own != std::string::npos) text.replace(own, 14, "SensorEtherNet_UDP");
    expectRow(value, name, text);
    enumerators.ignore();  // the comma
  }
  EXPECT_EQ(codes, 23);
}

}  // namespace
