// The executable zel_sensor_sim, run as a process.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>

#include "sim/robot_link.h"
#include "tests/sim/sensor_client.h"

namespace zel::sim::test {
namespace {

using ::testing::HasSubstr;

/// Output and errors of the program, which runs until a signal or its own end.
class Program {
 public:
  explicit Program(const std::string& arguments)
      : output_(::popen(("echo $$; exec " ZEL_SENSOR_SIM " " + arguments + " 2>&1").c_str(), "r")),
        pid_(std::stoi(line())) {}

  std::string line() {
    char text[1000] = "";
    return std::fgets(text, sizeof text, output_) != nullptr ? text : "";
  }
  std::string rest() {
    std::string all;
    for (std::string next = line(); !next.empty(); next = line()) all += next;
    return all;
  }
  void terminate() { ::kill(pid_, SIGTERM); }
  /// As from waitpid.
  int wait() { return ::pclose(output_); }

 private:
  std::FILE* output_;
  pid_t pid_;
};

/// The number behind the `text`, as in "listening on 127.0.0.1:1234".
std::uint16_t numberBehind(const std::string& line, const std::string& text) {
  const std::size_t at = line.find(text);
  if (at == std::string::npos) return 0;
  return static_cast<std::uint16_t>(std::stoi(line.substr(at + text.size())));
}

TEST(SensorProgram, ServesTheCellUntilASignalAndSumsUp) {
  Program program(
      "--port 0 --cell --robot-link 0 --start 0,0,1,0,0,0 --stiffness 20 --model 5 --loss 1/3");
  const std::string ready = program.line();
  UdpClient driver(numberBehind(ready, "listening on 127.0.0.1:"));
  RobotLinkClient controller(numberBehind(ready, "robot link on 127.0.0.1:"), 20.0);
  EXPECT_EQ(5, driver.exchange(askIdentity).at(9));
  EXPECT_EQ(0.5, controller.exchange({0, 0, -0.5, 0, 0, 0}, 0.01).penetration);
  driver.send(startCapture);
  EXPECT_EQ(10'000, channel(driver.receive(5).back(), 2));
  program.terminate();
  const std::string summary = program.rest();
  EXPECT_THAT(summary, HasSubstr("2 commands, 0 datagrams ignored"));
  EXPECT_THAT(summary, HasSubstr("fault loss: "));
  EXPECT_EQ(0, program.wait());
}

TEST(SensorProgram, RefusesWhatItCannotDo) {
  const struct {
    const char *arguments, *why;
  } cases[] = {
      {"--loss 2", "--loss: \"2\" is neither a probability"},
      {"--wrench 1,2,3", "--wrench"},
      {"--lag 5", "--lag requires --cell"},
      {"--recording /nonexistent.csv", "/nonexistent.csv"},
      {"--unknown", "--unknown"},
  };
  for (const auto& [arguments, why] : cases) {
    Program program(arguments);
    EXPECT_THAT(program.rest(), HasSubstr(why));
    const int status = program.wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) > 0) << why;
  }
}

}  // namespace
}  // namespace zel::sim::test
