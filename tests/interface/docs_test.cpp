// The documentation against the code: every code as the library explains it, every snippet.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "zel_ftc_diag.h"

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

TEST(CodesPage, SaysWhatTheLibrarySays) {
  std::string page = textOf("/docs/codes.md");
  std::erase(page, '`');
  int rows = 0;
  zel_ftc_code_info row;
  for (const ZelCodeSpace space : {ZEL_CODES_RUN, ZEL_CODES_SENSOR, ZEL_CODES_REASON}) {
    for (int i = 0; zel_ftc_listCodes(space, i, &row) == 1; ++i, ++rows) {
      const std::string quoted = *row.text ? fmt::format(" \"{}\" ", row.text) : "";
      const char* const more = row.code == ZEL_RUN_BREAK ? " + bits" : "";
      const std::string start = fmt::format("| {}{} {} |{}", row.code, more, row.name, quoted);
      const std::string end =
          fmt::format("| {} |{}{} |", row.cause, *row.remedy ? " " : "", row.remedy);
      const std::size_t at = page.find(start);
      ASSERT_NE(at, std::string::npos) << start;
      EXPECT_THAT(page.substr(at, page.find('\n', at) - at), testing::EndsWith(end));
    }
  }
  EXPECT_EQ(rows, 12 + 23 + ZEL_REASON_INTERNAL + 1);
  const char* const bits[] = {"64 | 80066", "32 | 80034", "8 | 80010",
                              "4 | 80006",  "2 | 80004",  "1 | 80003"};
  for (const char* bit : bits) EXPECT_THAT(page, HasSubstr(bit));
}

}  // namespace
