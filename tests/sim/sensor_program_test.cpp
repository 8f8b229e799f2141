// The executable zel_sensor_sim, run as a process.
#include <gmock/gmock.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "sim/robot_link.h"
#include "tests/sim/sensor_client.h"

namespace zel::sim::test {
namespace {

using ::testing::HasSubstr;

class Program {
 public:
  explicit Program(std::vector<std::string> arguments) {
    int ends[2];
    EXPECT_EQ(0, ::pipe(ends));
    arguments.insert(arguments.begin(), ZEL_SENSOR_SIM);
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    posix_spawn_file_actions_addclose(&actions, ends[0]);
    EXPECT_EQ(0, ::posix_spawn(&pid_, ZEL_SENSOR_SIM, &actions, nullptr, argv.data(), environ));
    posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    output_ = ::fdopen(ends[0], "r");
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program() { std::fclose(output_); }

  std::string line() {
    char text[1000] = "";
    return std::fgets(text, sizeof text, output_) != nullptr ? text : "";
  }
  std::string rest() {
    std::string all;
    for (std::string next = line(); !next.empty(); next = line()) all += next;
    return all;
  }
  void signal(int number) { ::kill(pid_, number); }
  /// The exit status, -1 when a signal ended it.
  int wait() {
    int status = 0;
    ::waitpid(pid_, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t pid_ = 0;
  std::FILE* output_ = nullptr;
};

/// The number behind the `text`, as in "listening on 127.0.0.1:1234".
std::uint16_t numberBehind(const std::string& line, const std::string& text) {
  const std::size_t at = line.find(text);
  if (at == std::string::npos) return 0;
  return static_cast<std::uint16_t>(std::stoi(line.substr(at + text.size())));
}

TEST(SensorProgram, ServesTheCellUntilASignalAndSumsUp) {
  Program program({"--port", "0", "--cell", "--robot-link", "0", "--start", "0,0,1,0,0,0",
                   "--stiffness", "20", "--model", "5", "--loss", "1/3"});
  const std::string ready = program.line();
  UdpClient driver(numberBehind(ready, "listening on 127.0.0.1:"));
  RobotLinkClient controller(numberBehind(ready, "robot link on 127.0.0.1:"), 20.0);
  EXPECT_EQ(5, driver.exchange(askIdentity).at(9));
  EXPECT_EQ(0.5, controller.exchange({0, 0, -0.5, 0, 0, 0}, 0.01).penetration);
  driver.send(startCapture);
  EXPECT_EQ(10'000, channel(driver.receive(5).back(), 2));
  program.signal(SIGTERM);
  const std::string summary = program.rest();
  EXPECT_THAT(summary, HasSubstr("2 commands, 0 datagrams ignored"));
  EXPECT_THAT(summary, HasSubstr("fault loss: "));
  EXPECT_EQ(0, program.wait());
}

TEST(SensorProgram, RefusesWhatItCannotDo) {
  const struct {
    std::vector<std::string> arguments;
    const char* why;
  } cases[] = {
      {{"--loss", "2"}, "--loss: \"2\" is neither a probability"},
      {{"--wrench", "1,2,3"}, "--wrench"},
      {{"--lag", "5"}, "--lag requires --cell"},
      {{"--recording", "/nonexistent.csv"}, "/nonexistent.csv"},
      {{"--unknown"}, "--unknown"},
  };
  for (const auto& [arguments, why] : cases) {
    Program program(arguments);
    EXPECT_THAT(program.rest(), HasSubstr(why));
    EXPECT_GT(program.wait(), 0) << why;
  }
}

}  // namespace
}  // namespace zel::sim::test
