// The command as its user runs it: a process of its own, its sensor a simulator in this one.
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "sim/sensor_simulator.h"

namespace {

using namespace zel::sim;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

struct Ran {
  int code;
  std::string out, err;
};

class Zelftc : public testing::Test {
 protected:
  Zelftc() {
    char name[] = "/tmp/zelftc_test_XXXXXX";
    folder_ = mkdtemp(name);
    sensor_.start();
  }
  ~Zelftc() override { std::filesystem::remove_all(folder_); }

  static SensorSimulatorConfig config() {
    SensorSimulatorConfig config;
    config.rate = 100;  // slow enough that a busy machine loses little
    config.identity.id = 4711;
    config.source = [](double) { return Wrench{10, -20, 30, 1, -2, 3}; };
    return config;
  }

  std::string file(const std::string& name) const { return folder_ + "/" + name; }
  std::string text(const std::string& name) const {
    std::stringstream all;
    all << std::ifstream(file(name)).rdbuf();
    return all.str();
  }
  /// Writes a file and returns its path.
  std::string written(const std::string& name, const std::string& content) const {
    std::ofstream(file(name), std::ios::binary) << content;
    return file(name);
  }

  /// Runs a shell line: Z stands for the command, PORT for the sensor, DIR for a folder. A busy
  /// machine may keep the sensor's answer back for longer than is waited for it, or the thread that
  /// takes frames for longer than fifteen of them: asked again.
  Ran run(const std::string& line) {
    Ran ran = runOnce(line);
    const auto machineWasBusy = [&ran] {
      return (ran.code == 2 && ran.err.find("no answer to") != std::string::npos) ||
             (ran.code == 1 && ran.out.find("this machine was too busy") != std::string::npos);
    };
    for (int more = 9; more > 0 && line.find("PORT") != std::string::npos && machineWasBusy();
         --more) {
      ran = runOnce(line);
    }
    return ran;
  }
  Ran runOnce(std::string line) {
    const std::pair<std::string, std::string> meanings[] = {
        {"Z ", ZELFTC " "}, {"PORT", "--port " + std::to_string(sensor_.port())}, {"DIR", folder_}};
    for (const auto& [word, meaning] : meanings) {
      for (std::size_t at = 0; (at = line.find(word, at)) != std::string::npos;
           at += meaning.size()) {
        line.replace(at, word.size(), meaning);
      }
    }
    const int status =
        std::system(("(" + line + ") </dev/null >" + file("out") + " 2>" + file("err")).c_str());
    return {WEXITSTATUS(status), text("out"), text("err")};
  }

  std::string folder_;
  SensorSimulator sensor_{config()};
};

TEST_F(Zelftc, DoesWhatIsAskedOrSaysInOneLineWhyNot) {
  written("typo.toml", "perid = 8\n");
  written("far.toml", "load = 9\nload-centre = [600, 0, 0]\n");
  written("half.toml", "load = 9\nmax-path = 100\nmax-angle = 1\n");
  written("line.toml",
          "run = \"line\"\nframe = \"TOOL\"\ndirection = \"FZ\"\nforce = 10\nspeed = 20\n"
          "gains = [0, 0, 3, 0, 0, 0]\nbreak-range = [0, 0, 0.3, 0, 0, 0]\ntime-out = 60000\n"
          "switching-force = 2\nswitching-torque = 1\npath-frame = \"TOOL\"\npath-speed = 20\n"
          "path-force = [0, 0, 10, 0, 0, 0]\npath-gains = [0, 0, 3, 0, 0, 0]\n"
          "path-break-range = [0, 0, -5, 0, 0, 0]\n");
  written("endless.toml", "time-out = -1\n");
  written("section.toml", "[a]\nperiod = 4\n");
  written("empty.csv", "");
  written("wrong.csv", "t,fx\n0,1\n");
  written("utf16.csv", std::string("\xff\xfe"
                                   "f\0x\0",
                                   6));
  written("readings.csv", "t,counter,status,fx,fy,fz,mx,my,mz\n0,1,10000,1,2,3,4,5,6\n");
  const std::string sample = ZEL_SOURCE_DIR "/examples/settings.toml";
  const struct {
    std::string line;
    int code;
    const char* says;
  } cases[] = {
      {"Z --version", 0, "zelftc 1."},
      {"Z ", 2, "name a subcommand"},
      {"Z nonsense", 2, "nonsense"},
      {"Z simulate --port 0 --seconds 0.05", 0, "listening on 127.0.0.1:"},
      {"Z simulate PORT", 2, "in use"},
      {"Z probe PORT --longest-gap 60000 --seconds 0.3 --least-rate 10", 0, "serial number 4711"},
      {"Z probe PORT --least-rate 3000 --seconds 0.3", 1, "at least 3000 wanted"},
      {"Z probe --port 9 --seconds 0.1", 2, "same network, cable (status 21001 "},
      {"Z probe --address 300.1.1.1", 2, "is not four dotted numbers"},
      {"Z net PORT --mask 255.0.255.0", 2, "is not a network mask"},
      {"Z net PORT --ip 255.255.255.255", 2, "is not the address of one device"},
      {"Z watch PORT >DIR/w & until grep -q Fx DIR/w; do sleep 0.05; done; Z probe PORT; code=$?; "
       "kill -INT $!; wait $!; exit $code",
       2, "local UDP port 52000"},
      {"Z watch PORT >DIR/k & until grep -q Fx DIR/k; do sleep 0.05; done; kill -9 $!; wait $!; "
       "Z probe PORT --longest-gap 60000 --seconds 0.3",
       0, "\nhealthy"},
      {"Z watch PORT --csv /dev/null/x.csv", 2, "Not a directory"},
      {"Z watch --port 9 --csv DIR", 2, "Is a directory"},
      {"trap '' XFSZ; ulimit -f 1; Z watch PORT --csv DIR/f.csv --seconds 0.5; code=$?; "
       "grep -q 10000 DIR/f.csv.part && exit $code",
       2, "f.csv.part has what could be written"},
      {"mkfifo DIR/p; ln -s p DIR/l; cat DIR/p >DIR/copy & "
       "Z watch PORT --csv DIR/l --seconds 0.5 && wait $! && test -p DIR/l && cat DIR/copy",
       0, ",10000,10,-20,30,1,-2,3"},
      {"Z watch PORT | head -n 1", 0, "serial number 4711"},
      {"Z filter PORT --yes", 2, "say what to set"},
      {"Z alarm PORT --axes", 0, "no axis"},
      {"Z codes 80010", 0, "axes    Fz"},
      {"Z codes 11000", 0, "sensor status 11000"},
      {"Z codes 999", 1, "no code has the number 999"},
      {"Z check " + sample + " --all --strict", 0, "0 errors, 0 warnings"},
      {"Z check DIR/typo.toml", 2, "there is no setting \"perid\""},
      {"Z check DIR/far.toml", 1, "lx is 600 mm"},
      {"Z check DIR/half.toml --all", 1, "error    load-centre is missing\n"},
      {"Z check DIR/half.toml --all", 1, "not checked: there is no sensor here"},
      {"Z check DIR/line.toml --all", 1, "right    the break test is at rest at the set force"},
      {"Z check DIR/endless.toml", 2, "a number of 0 or above"},
      {"Z check DIR/section.toml", 2, "sections are not used"},
      {"Z identify DIR/empty.csv", 2, "empty.csv"},
      {"Z identify DIR/readings.csv --picture DIR/readings.png", 2, "take the place of"},
      {"Z identify DIR/utf16.csv", 2, "UTF-16"},
      {"Z plot DIR/wrong.csv", 2, "fy"},
      {"Z plot DIR", 2, "is a folder"},
      {"trap '' XFSZ; ulimit -f 4; Z plot DIR/readings.csv --out DIR", 2, "to its end"},
      {"printf '#!/bin/sh\ntouch DIR/begun; exec sleep 60' >DIR/gnuplot; chmod +x DIR/gnuplot; "
       "PATH=DIR:$PATH Z plot DIR/readings.csv --out DIR & "
       "until [ -e DIR/begun ]; do sleep 0.05; done; kill -INT $!; wait $!",
       1, "interrupted"},
      {"PATH=/nonexistent Z plot DIR/readings.csv --out DIR", 2, "gnuplot is missing"},
  };
  for (const auto& [line, code, says] : cases) {
    const Ran ran = run(line);
    EXPECT_EQ(ran.code, code) << line << ran.out << ran.err;
    EXPECT_THAT(ran.out + ran.err, HasSubstr(says)) << line;
    EXPECT_THAT(ran.out + ran.err, Not(HasSubstr("\x1b"))) << line;
  }
  EXPECT_FALSE(std::filesystem::exists(file("readings.png"))) << "a picture that is not whole";
}

TEST_F(Zelftc, EverySubcommandHasHelpWithExampleInEightyColumns) {
  const char* const names[] = {"",         "probe", "watch", "zero", "filter",   "net", "alarm",
                               "identify", "check", "codes", "plot", "simulate", "demo"};
  for (const std::string name : names) {
    const Ran ran = run("Z " + name + " --help");
    EXPECT_EQ(ran.code, 0);
    EXPECT_THAT(ran.out, HasSubstr(name.empty() ? "watch" : "Example: zelftc " + name));
    EXPECT_THAT(ran.out, HasSubstr("Exit codes: 0"));
    std::istringstream lines(ran.out);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80U) << line;
  }
}

TEST_F(Zelftc, SettingsArriveAndNothingElse) {
  EXPECT_THAT(run("Z zero PORT").err, HasSubstr("--yes sends without asking"));
  EXPECT_EQ(sensor_.settings().zero, Wrench{});
  const Ran zero = run("Z zero PORT --yes --save --json");
  EXPECT_EQ(json::parse(zero.out)["saved"], true);
  EXPECT_EQ(run("Z filter PORT --yes --low-pass 3 --median 4 --smooth 5 --fir on --iir on "
                "--kalman on --kalman-first 1,2,3 --kalman-second 4,5,6")
                .code,
            0);
  EXPECT_EQ(run("Z alarm PORT --yes --threshold 1,2,3,4,5,6 --contact open --enable on").code, 0);
  const Ran net =
      run("Z net PORT --yes --ip 10.0.0.2 --mask 255.0.0.0 --gateway 10.0.0.1 "
          "--new-port 4000");
  EXPECT_THAT(net.out, HasSubstr("--address 10.0.0.2 --port 4000"));
  const SensorSettings s = sensor_.settings();
  EXPECT_EQ(s.zero, (Wrench{10, -20, 30, 1, -2, 3}));
  EXPECT_TRUE(s.low_pass == 3 && s.median_depth == 4 && s.smooth_depth == 5);
  EXPECT_TRUE(s.fir && s.iir && s.kalman && s.alarm && s.alarm_normally_open);
  EXPECT_EQ(s.kalman_para[1].num_check, 6U);
  EXPECT_EQ(s.alarm_threshold, (std::array<double, 6>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(s.net_ip, (std::array<std::uint8_t, 4>{10, 0, 0, 2}));
  EXPECT_EQ(s.net_port, 4000);
}

TEST_F(Zelftc, InterruptedRecordingIsWholeAndTheSensorStopped) {
  const Ran ran =
      run("Z watch PORT --json --csv DIR/w.csv & pid=$!; "
          "until [ \"$(wc -c <DIR/w.csv.part)\" -gt 0 ]; do sleep 0.05; done; "
          "kill -TERM $pid; wait $pid");
  EXPECT_FALSE(sensor_.streaming());
  EXPECT_FALSE(std::filesystem::exists(file("w.csv.part")));
  const std::string last = ran.out.substr(ran.out.rfind('\n', ran.out.size() - 2) + 1);
  const json csv = json::parse(last)["csv"];
  EXPECT_EQ(ran.code, csv["missed"] == 0 ? 0 : 1);
  std::ifstream recording(file("w.csv"));
  std::string row;
  std::getline(recording, row);
  int rows = 0, first = 0, counter = 0;
  for (; std::getline(recording, row); ++rows) {
    ASSERT_EQ(std::sscanf(row.c_str(), "%*f,%d,", &counter), 1) << row;
    EXPECT_THAT(row, testing::EndsWith(",10000,10,-20,30,1,-2,3"));
    if (rows == 0) first = counter;
  }
  EXPECT_EQ(csv["rows"], rows);
  EXPECT_EQ(csv["missed"], counter - first + 1 - rows);
}

TEST_F(Zelftc, IdentifiesALoadAndDrawsWhatIsLeft) {
  // 12 N at (2, -3, 45) mm, gravity along each axis of the sensor in turn.
  std::ofstream poses(file("poses.csv"));
  poses << "a_deg,b_deg,c_deg,fx,fy,fz,mx,my,mz\n"
           "0,0,0,1,2,-9,0.036,0.024,0\n0,90,0,13,2,3,0,0.54,0.036\n"
           "0,-90,0,-11,2,3,0,-0.54,-0.036\n0,0,90,1,-10,3,0.54,0,-0.024\n"
           "0,0,-90,1,14,3,-0.54,0,0.024\n0,0,180,1,2,15,-0.036,-0.024,0\n";
  poses.close();
  const Ran ran = run("Z identify DIR/poses.csv --json --picture DIR/left.png");
  EXPECT_EQ(ran.code, 0) << ran.out << ran.err;
  const json report = json::parse(ran.out.substr(0, ran.out.rfind('}') + 1));
  EXPECT_NEAR(report["load_data"][0], 12.0, 1e-6);
  EXPECT_NEAR(report["load_data"][3], 45.0, 1e-3);
  EXPECT_TRUE(std::filesystem::exists(file("left.png")));
}

}  // namespace
