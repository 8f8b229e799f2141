// The documentation against the code: every code with its name and its text, every snippet.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>

#include "ft/ZelForceSensorExternal.h"
#include "zel_ftc_types.h"

namespace {

using testing::HasSubstr;

std::string textOf(const char* file) {
  std::stringstream text;
  text << std::ifstream(std::string(ZEL_SOURCE_DIR) + file).rdbuf();
  return text.str();
}

/// How the page names a code.
std::string entry(int value, const std::string& name) {
  return std::to_string(value) + " `" + name + "`";
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
  EXPECT_EQ(snippets, 4);
}

TEST(CodesPage, ListsEveryRunResultWithItsText) {
  const std::string page = textOf("/docs/codes.md");
#define CHECK_RUN_RESULT(name, value, text)                                                      \
  EXPECT_THAT(page,                                                                              \
              HasSubstr(value == ZEL_RUN_BREAK ? "80002 + bits `" #name : entry(value, #name))); \
  EXPECT_THAT(page, HasSubstr("\"" text "\"")) << #name;
  ZEL_RUN_RESULTS(CHECK_RUN_RESULT)
#undef CHECK_RUN_RESULT
}

TEST(CodesPage, ListsEverySensorStatusOfTheHeaderWithItsText) {
  const std::string page = textOf("/docs/codes.md");
  const std::string header = textOf("/zel_ftc_types.h");
  const std::size_t begin = header.find('{', header.find("enum ZelInfoCode")) + 1;
  std::istringstream enumerators(header.substr(begin, header.find('}', begin) - begin));

  SensorExternal sensor;
  int codes = 0;
  for (std::string name, equals, number; enumerators >> name >> equals >> number;) {
    const int value = std::stoi(number);
    EXPECT_THAT(page, HasSubstr(entry(value, name)));
    zel_ft_info info = {};
    sensor.setCODE(static_cast<ZelInfoCode>(value));
    sensor.getInfo(info);
    // The one text that names the class of the sensor stands there in the form of the network one.
    std::string text = info.code_info;
    const std::string own = "SensorExternal";
    const std::size_t at = text.find(own);
    if (at != std::string::npos) text.replace(at, own.size(), "SensorEtherNet_UDP");
    EXPECT_NE(text, "") << value;
    EXPECT_THAT(page, HasSubstr("\"" + text + "\""));
    ++codes;
  }
  EXPECT_EQ(codes, 23);
}

TEST(CodesPage, ListsEveryBreakBitWithTheCodeOfItsAxisAlone) {
  const std::string page = textOf("/docs/codes.md");
  for (const int bit :
       {ZEL_BREAK_FX, ZEL_BREAK_FY, ZEL_BREAK_FZ, ZEL_BREAK_MX, ZEL_BREAK_MY, ZEL_BREAK_MZ}) {
    EXPECT_THAT(page, HasSubstr("| " + std::to_string(bit) + " | " +
                                std::to_string(ZEL_RUN_BREAK + bit) + " |"));
  }
}

}  // namespace
