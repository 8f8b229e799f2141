// The documentation against the code: every code with its name and its text, the README's cycle.
#include <gmock/gmock.h>

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

TEST(Readme, ShowsTheCycleThatTheBuildCompiles) {
  const std::string source = textOf("/examples/cycle.c");
  const std::string cycle = source.substr(source.find("int approach_cycle"));
  EXPECT_THAT(textOf("/README.md"), HasSubstr("```c\n" + cycle + "```"));
}

TEST(CodesPage, ListsEveryCodeWithItsText) {
  const std::string page = textOf("/docs/codes.md");
#define CHECK_RUN_RESULT(name, value, text)                                                   \
  EXPECT_THAT(page,                                                                           \
              HasSubstr(#value + std::string(value == 80002 ? " + bits" : "") + " `" #name)); \
  EXPECT_THAT(page, HasSubstr("\"" text "\""));
  ZEL_RUN_RESULTS(CHECK_RUN_RESULT)

  const std::string header = textOf("/zel_ftc_types.h");
  std::istringstream enumerators(header.substr(header.find("FT_N0RMAL = ")));
  SensorExternal sensor;
  int codes = 0, value = 0;
  for (std::string name, equals; enumerators >> name >> equals >> value; ++codes) {
    EXPECT_THAT(page, HasSubstr(std::to_string(value) + " `" + name + "`"));
    zel_ft_info info = {};
    sensor.setCODE(static_cast<ZelInfoCode>(value));
    sensor.getInfo(info);
    // The one text that names the class of the sensor stands there in the form of the network one.
    std::string text = info.code_info;
    const std::size_t own = text.find("SensorExternal");
    if (own != std::string::npos) text.replace(own, 14, "SensorEtherNet_UDP");
    EXPECT_NE(text, "") << value;
    EXPECT_THAT(page, HasSubstr("\"" + text + "\""));
    enumerators.ignore();  // the comma
  }
  EXPECT_EQ(codes, 23);

  for (const int bit : {64, 32, 8, 4, 2, 1}) {
    EXPECT_THAT(page, HasSubstr("| " + std::to_string(bit) + " | " + std::to_string(80002 + bit)));
  }
}

}  // namespace
