// What other languages and standards make of the public headers.
#include <gtest/gtest.h>

extern "C" int c_controller(void);
int cpp11Controller();
double cpp17Program();

namespace {

TEST(Headers, C11ControllerLinksAndRuns) {
  EXPECT_EQ(c_controller(), 0) << "line of c_header.c that failed";
}

TEST(Headers, Cpp11ControllerLinksAndRuns) {
  EXPECT_TRUE(cpp11Controller());
}

TEST(Headers, Cpp17ProgramLinksAndRuns) {
  EXPECT_EQ(cpp17Program(), 8.0);
}

}  // namespace
