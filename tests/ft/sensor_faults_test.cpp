// The network sensor under everything that can go wrong on the wire, streaming from the simulator:
// no wrong or torn reading is ever handed out, and the driver finds back by itself.
//
// The frames of the simulator are numbered and each channel follows from the number, so a reading
// tells by itself whether it was sent as it was read. Frames that are sent are counted where they
// are made, frames that are accepted by IPOC; a stream is held by pulling the simulated cable.
#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <utility>

#include "ft/ZelForceSensorEtherNetUDP.h"
#include "robot/ZelFTCTool.h"
#include "sim/sensor_simulator.h"
#include "tests/ft/scriptedsensor.h"
#include "tests/interface/flat_fixture.h"

namespace {

using testing_ft::eventually;
using testing_ft::read;
using testing_ft::Reading;
using zel::sim::Fault;
using zel::sim::SensorFaults;
using zel::test::Six;

/// A number below 40000 as two bytes that are no part of a packet's head.
std::int32_t spread(int number) {
  return number % 200 + 256 * (number / 200);
}

/// The channels of a frame as they are transmitted: thousandths, torques with the opposite sign.
std::array<std::int32_t, 6> channelsOf(int number) {
  const int sum = number / 7 + number % 7 * 1000;
  return {spread(number),
          spread(number * 7 % 40000),
          spread(number * 13 % 40000),
          spread(number * 3 % 10000),
          spread(number * 11 % 10000),
          spread((number * 31 + sum) % 10000)};
}

/// Whether a frame holds no bytes that look like a head but its own. A CRC with F6 in front of the
/// tail does: a driver that looks for a head from the middle of such a frame on is misled once
/// more.
bool hasOneHead(int number) {
  const auto frame = testing_ft::frameOf(channelsOf(number));
  return std::count(frame.begin() + 1, frame.end(), 0xF6) == 1;  // that of the tail
}

/// What the driver must make of them.
Six readingOf(int number) {
  Six reading;
  const auto channels = channelsOf(number);
  for (std::size_t i = 0; i < 6; ++i) {
    reading[i] = (i < 3 ? 1 : -1) * double{static_cast<float>(channels[i]) / 1000.0F};
  }
  return reading;
}

int numberIn(const Six& reading) {
  const auto first = static_cast<int>(std::lround(reading[0] * 1000));
  return first % 256 + 200 * (first / 256);
}

SensorFaults striking(Fault fault, zel::sim::Occurrence when) {
  SensorFaults faults;
  faults[fault] = when;
  return faults;
}

/// The simulated sensor, streaming numbered frames.
class NumberedStream {
 public:
  explicit NumberedStream(double rate) {
    zel::sim::SensorSimulatorConfig config;
    config.rate = rate;
    config.source = [this](double) {
      int number = last + 1;
      while (!hasOneHead(number)) ++number;
      const auto channels = channelsOf(number);
      last = number;
      ++made;
      zel::sim::Wrench wrench;
      for (std::size_t i = 0; i < 6; ++i) wrench[i] = (i < 3 ? 1 : -1) * channels[i] / 1000.0;
      return wrench;
    };
    simulator = std::make_unique<zel::sim::SensorSimulator>(config);
    simulator->start();
  }

  /// The stream goes on under these faults, also after it was held.
  void set(SensorFaults faults) {
    faults.survives = true;
    simulator->setFaults(faults);
  }
  /// No frame is made from now on, until other faults are set.
  void hold() {
    SensorFaults pulledCable;
    pulledCable.dead = true;
    set(pulledCable);
  }
  /// The sensor comes back without its stream.
  void returnFromPowerCut() { simulator->setFaults({}); }

  std::atomic<int> last{0};  ///< number of the frame made last, in rising order
  std::atomic<int> made{0};  ///< frames
  std::unique_ptr<zel::sim::SensorSimulator> simulator;
};

/// Slow enough for the 15 frames that the driver's queue holds to cover a thread that waits for a
/// processor.
constexpr double calmRate = 250;

class SensorFaultsTest : public ::testing::Test {
 protected:
  explicit SensorFaultsTest(double rate = calmRate) : stream(rate) {
    EXPECT_TRUE(sensor.initialFTSensor(stream.simulator->port(), "127.0.0.1"));
  }

  /// Reads once and checks that it was sent as it was read.
  Reading checkedRead() {
    const Reading reading = read(sensor);
    const int number = numberIn(reading.value);
    EXPECT_EQ(reading.value, readingOf(number)) << "torn or wrong: " << number;
    EXPECT_LE(number, stream.last) << "never sent";
    EXPECT_FALSE(number == 0 && reading.normal) << "normal before the first frame";
    EXPECT_EQ(reading.normal, reading.info.code == FT_N0RMAL);
    EXPECT_TRUE(!inOrder || number >= newest) << "an older reading again: " << number;
    newest = number;
    return reading;
  }

  void readWhileMade(int frames) {
    const int end = stream.made + frames;
    EXPECT_TRUE(eventually([&] {
      checkedRead();
      return stream.made >= end || HasFailure();
    }));
  }

  /// Holds the stream and lets the driver take what is under way.
  void holdAndSettle() {
    stream.hold();
    EXPECT_TRUE(eventually([&] {
      int waiting = 1;
      return ioctl(sensor.sock_Client, FIONREAD, &waiting) == 0 && waiting == 0;
    }));
    // The receive thread may have the last datagram in its hands.
    int unchanged = 0;
    std::pair<int, int> state;
    EXPECT_TRUE(eventually([&] {
      usleep(5000);
      const std::pair<int, int> now = {sensor.IPOC, sensor.R_FIFO.GetDataCount()};
      unchanged = now == state ? unchanged + 1 : 0;
      state = now;
      return unchanged == 4;
    }));
  }

  /// Holds a stream without loss; the reading of its last frame.
  Reading holdAndReadLast() {
    stream.hold();
    EXPECT_TRUE(eventually([&] { return numberIn(checkedRead().value) == stream.last; }));
    return checkedRead();
  }

  /// Good frames only: no more than `lost` of them are missed, and the last one is read.
  void expectRightAgain(int lost) {
    holdAndSettle();
    const int acceptedBefore = sensor.IPOC;
    const int madeBefore = stream.made;
    inOrder = false;  // a frame that was overtaken may have been the last
    stream.set({});
    readWhileMade(lost + 3);
    const Reading reading = holdAndReadLast();
    EXPECT_EQ(reading.info.code, FT_N0RMAL);
    EXPECT_GE(reading.info.IPOC - acceptedBefore, stream.made - madeBefore - lost);
    inOrder = true;
  }

  NumberedStream stream;
  SensorEtherNet_UDP sensor;
  bool inOrder = true;
  int newest = 0;
};

// ---- each fault while streaming -----------------------------------------------------------------

struct FaultCase {
  std::string name;
  SensorFaults faults;
  int lost = 1;  ///< good frames that may be missed afterwards: right again with the second
  bool inOrder = true;
};

void PrintTo(const FaultCase& fault, std::ostream* out) {
  *out << fault.name;
}

/// A byte that is taken for a length makes the driver wait for, and drop, that many bytes and 7:
/// at most 262, which reach into the 8th frame of 34 bytes behind the fault.
constexpr int falseLength = 8;

FaultCase changed(FaultCase fault, const std::function<void(SensorFaults&)>& change) {
  change(fault.faults);
  return fault;
}

FaultCase corruptedAt(const std::string& name, std::size_t offset, int lost) {
  return changed({name, striking(Fault::corruption, {0, 3}), lost},
                 [&](SensorFaults& faults) { faults.corrupt_at = offset; });
}

FaultCase merged(const std::string& name, std::size_t packets, int lost) {
  return changed({name, striking(Fault::merging, {0, 3}), lost},
                 [&](SensorFaults& faults) { faults.merged_packets = packets; });
}

const FaultCase faultCases[] = {
    {"loss of every second frame", striking(Fault::loss, {0, 2}), 0},
    {"random loss", striking(Fault::loss, {0.5, 0}), 0},
    {"duplication", striking(Fault::duplication, {0, 1}), 0},
    {"reordering", striking(Fault::reordering, {0, 2}), 0, false},
    changed({"delay", {}, 0}, [](SensorFaults& faults) { faults.delay = 0.02; }),
    changed({"jitter", {}, 0, false}, [](SensorFaults& faults) { faults.jitter = 0.02; }),
    corruptedAt("first head byte", 0, 0),
    corruptedAt("second head byte", 1, 0),
    corruptedAt("length byte", 2, falseLength),
    corruptedAt("status byte", 4, 0),
    corruptedAt("command byte", 5, 0),
    corruptedAt("first channel", 6, 0),
    corruptedAt("last channel", 29, 0),
    corruptedAt("tail", 33, 0),
    {"corruption anywhere", striking(Fault::corruption, {0.5, 0}), falseLength},
    {"wrong CRC", striking(Fault::wrong_crc, {0, 2}), 0},
    // Cut behind its head, a packet takes the next one's head for its length.
    {"truncation", striking(Fault::truncation, {0, 3}), falseLength},
    {"truncation of all", striking(Fault::truncation, {0, 1}), falseLength},
    merged("two in one", 2, 0),
    merged("more in one than is received at once", 5, 1),
    {"splitting", striking(Fault::splitting, {0, 1}), 0},
    // Random bytes may look like a head.
    {"garbage", striking(Fault::garbage, {0, 1}), falseLength},
    changed({"silence", {}, 0}, [](SensorFaults& faults) { faults.silent = true; }),
    changed({"all at once", {}, falseLength, false},
            [](SensorFaults& faults) {
              for (auto& when : faults.when) when.probability = 0.1;
              faults.jitter = 0.01;
            }),
};

// One link for all of them: the driver is not started anew between two faults.
TEST_F(SensorFaultsTest, NothingWrongIsReadAndTwoGoodFramesAreEnough) {
  expectRightAgain(0);
  for (const FaultCase& fault : faultCases) {
    SCOPED_TRACE(testing::PrintToString(fault));
    const auto before = stream.simulator->statistics();
    inOrder = fault.inOrder;
    stream.set(fault.faults);
    readWhileMade(30);
    expectRightAgain(fault.lost);
    const auto after = stream.simulator->statistics();
    for (std::size_t kind = 0; kind < zel::sim::faultKinds; ++kind) {
      const auto& when = fault.faults.when[kind];
      if (when.every == 0 && when.probability == 0) continue;
      EXPECT_GT(after.faults[kind], before.faults[kind]) << "the fault has not struck";
    }
    if (HasFailure()) return;
  }
}

TEST_F(SensorFaultsTest, StatusBytesDecideAndUnknownOnesLeaveTheStatus) {
  const auto expectStatus = [&](std::uint8_t status, ZelInfoCode code) {
    SensorFaults faults = striking(Fault::status, {0, 1});
    faults.status_byte = status;
    holdAndSettle();
    const int before = stream.last;
    stream.set(faults);
    readWhileMade(3);
    const Reading reading = holdAndReadLast();  // handed out whatever the status
    EXPECT_EQ(reading.info.code, code) << "status " << int{status};
    EXPECT_GT(numberIn(reading.value), before);
  };
  expectStatus(0, FT_N0RMAL);
  expectStatus(7, FT_N0RMAL);
  expectStatus(254, FT_OVERLOAD_ERROR);
  expectStatus(7, FT_OVERLOAD_ERROR);
  expectStatus(255, FT_DATA_ERROR);
  expectStatus(253, FT_DATA_ERROR);
  expectStatus(0, FT_N0RMAL);
}

TEST_F(SensorFaultsTest, APowerCutEndsTheStreamAndASettingStartsItAgain) {
  expectRightAgain(0);
  const int accepted = sensor.IPOC;
  stream.hold();
  EXPECT_FALSE(sensor.setFTSensorLowPassFilter(3)) << "nobody answers";
  EXPECT_EQ(read(sensor).info.code, COMM_CMDRETURN_ERROR);
  stream.returnFromPowerCut();
  EXPECT_FALSE(stream.simulator->streaming());
  EXPECT_EQ(sensor.IPOC, accepted);

  EXPECT_TRUE(sensor.setFTSensorLowPassFilter(3));
  EXPECT_TRUE(eventually([&] { return sensor.IPOC > accepted; }));
  expectRightAgain(0);
}

class SensorOverrun : public SensorFaultsTest {
 protected:
  SensorOverrun() : SensorFaultsTest(4000) {}
};

TEST_F(SensorOverrun, TheNewestReadingWinsAndNothingQueuesUp) {
  for (int round = 0; round < 10; ++round) {
    const int before = stream.last;
    stream.set({});
    EXPECT_TRUE(eventually([&] { return stream.last > before + 400; }));  // nobody reads
    holdAndSettle();
    const int first = numberIn(checkedRead().value);
    EXPECT_GT(first, before + 200);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(numberIn(checkedRead().value), first);
  }
}

// ---- a run through the flat interface -----------------------------------------------------------

class RunOverTheNetwork : public ::testing::Test {
 protected:
  RunOverTheNetwork() {
    EXPECT_EQ(zel_ftc_open(false), 1);
    EXPECT_EQ(zel_ftc_initialFTSensor(stream.simulator->port(), "127.0.0.1"), 1);
    zel::test::configureBasics();
    zel::test::configureApproach();
    EXPECT_TRUE(eventually([] { return read(sensor()).normal; }));
    for (int i = 0; i < 5; ++i) freshCycle();
  }
  ~RunOverTheNetwork() override { zel_ftc_close(); }

  static SensorEtherNet_UDP& sensor() {
    return *static_cast<SensorEtherNet_UDP*>(static_cast<ZelSensor*>(m_zelftsensorclass));
  }
  static ZelFTCTool& tool() {
    return static_cast<ZelFTCTool&>(*static_cast<ZelForceControlTool*>(m_zelftcclass));
  }

  int cycle() { return zel_ftc_runApproach(out.data(), pose.data(), &err); }

  /// A cycle with a frame that the one before has not seen.
  void freshCycle() {
    EXPECT_TRUE(eventually([&] { return sensor().IPOC != err.ft_ipoc; }));
    EXPECT_EQ(cycle(), 1) << err.ftc_code << ' ' << err.ft_code;
    EXPECT_EQ(err.ftc_code, 80000);
    EXPECT_EQ(err.ft_code, FT_N0RMAL);
  }

  /// Holds the stream and waits until its last frame is there to be read.
  void hold() {
    stream.hold();
    EXPECT_TRUE(eventually([&] { return numberIn(read(sensor()).value) == stream.last; }));
  }

  NumberedStream stream{calmRate};
  Six pose = {300, -200, 450, 0.4, -0.7, 2.1};
  Six out = {};
  zel_ftc_error err = {};
};

constexpr Six untouched = {-1, -2, -3, -4, -5, -6};

TEST_F(RunOverTheNetwork, ASensorThatDiesStallsTheRunAndItsReturnResumesIt) {
  for (const bool survives : {true, false}) {
    SCOPED_TRACE(survives ? "pulled cable" : "power cut");
    EXPECT_TRUE(eventually([&] { return sensor().IPOC != err.ft_ipoc; }));
    hold();
    freshCycle();  // the last frame
    const auto start = tool().time_start;
    for (int stalled = 1; stalled < 20; ++stalled) {
      EXPECT_EQ(cycle(), 1) << stalled;
      EXPECT_EQ(err.ftc_code, 80000) << stalled;
    }
    for (int more = 0; more < 3; ++more) {
      out = untouched;
      EXPECT_EQ(cycle(), 0);
      EXPECT_EQ(err.ftc_code, 10001);
      EXPECT_EQ(err.ft_code, FT_N0RMAL) << "the age of a reading is the run's business";
      EXPECT_EQ(out, pose);
      EXPECT_TRUE(tool().runApproachMode) << "still in progress";
    }
    if (survives) {
      stream.set({});
    } else {
      stream.returnFromPowerCut();
      EXPECT_EQ(zel_ftc_lowPassFilterFTSensor(1), 1) << "starts the stream again";
    }
    for (int i = 0; i < 5; ++i) freshCycle();
    EXPECT_EQ(tool().time_start, start) << "the same run";
  }
}

TEST_F(RunOverTheNetwork, AnOverloadHoldsTheResultsAndPassesWithTheFrames) {
  const auto start = tool().time_start;
  SensorFaults overload = striking(Fault::status, {0, 1});
  overload.status_byte = 254;
  stream.set(overload);
  EXPECT_TRUE(eventually([&] { return sensor().CODE == FT_OVERLOAD_ERROR; }));
  out = untouched;
  err = {1, 2, 3};
  for (int i = 0; i < 30; ++i) {
    EXPECT_EQ(cycle(), 0);
    EXPECT_EQ(err.ft_code, FT_OVERLOAD_ERROR);
    EXPECT_EQ(out, untouched);
    EXPECT_EQ(err.ftc_code, 1) << "as the caller left it";
  }
  stream.set({});
  EXPECT_TRUE(eventually([] { return read(sensor()).normal; }));
  for (int i = 0; i < 5; ++i) freshCycle();
  EXPECT_EQ(tool().time_start, start) << "the same run";
}

}  // namespace
