// The force controller: an admittance law per axis, and the treatment of the main direction before
// and after contact.
#include <algorithm>
#include <cmath>
#include <iterator>

#include "robot/ZelFTCTool.h"

namespace {

/// Pose component that a force component moves. Pose angles are in the order Z, Y, X: a torque
/// about x turns component 5.
constexpr int offsetOfForce[6] = {0, 1, 2, 5, 4, 3};

/// The lead-in of the main direction in contact: which force component it works on and which pose
/// component it writes. MX and MZ are crossed: MX works on the z torque, MZ on the x torque.
struct LeadIn {
  int force;
  int offset;
};
constexpr LeadIn leadInOfDirection[6] = {{0, 0}, {1, 1}, {2, 2}, {5, 3}, {4, 4}, {3, 5}};

/// Speed factor of the lead-in filters.
constexpr double leadInSpeed = 200.0;

/// Accumulated correction along z that ends the biased phase, m.
constexpr double biasedPhaseTravel = 0.003;

}  // namespace

/// offset = (measured + expected) * gain: at rest where the measured force is minus the expected
/// one.
void ZelFTCTool::perAxisLaw(const double* E, const double* KR) {
  for (int k = 0; k < 6; ++k) {
    ftc_offset.value[offsetOfForce[k]] = (rcs_ft_data.value[k] + E[k]) * KR[k];
  }
}

/// One step at approach speed in the direction of the expected force. An expected force of zero has
/// no direction: the step is not a number.
void ZelFTCTool::approachStep(const ZelFtcApproachConfig& config) {
  std::fill_n(ftc_offset.value, 6, 0.0);
  const int d = config.mainDirection;
  if (d < 0 || d > 5) return;
  const double E = config.setExpectFT[d];
  const double direction = (E > 0.0 ? E : -E) / E;
  ftc_offset.value[offsetOfForce[d]] = direction * config.translationalMotion * timeStep;
}

/// The main axis in contact: set point and gain rise smoothly from zero instead of in a step.
void ZelFTCTool::leadInLaw(const ZelFtcApproachConfig& config) {
  const int d = config.mainDirection;
  if (d < 0 || d > 5) return;
  const auto [k, m] = leadInOfDirection[d];
  MBK_Fhan::run(force_fhan, config.setExpectFT[k], leadInSpeed, timeStep);
  MBK_Fhan::run(speed_fhan, config.setKR[k], leadInSpeed, timeStep);
  ftc_offset.value[m] = (rcs_ft_data.value[k] + force_fhan.v1) * speed_fhan.v1;
}

void ZelFTCTool::enterPhase(int phase) {
  ApproachMode = phase;
  std::fill(std::begin(isApproachTouchOK), std::end(isApproachTouchOK), 0);
}

void ZelFTCTool::FTCtrl() {
  if (runApproachMode) {
    const ZelFtcApproachConfig& config = approachConfig;
    switch (ApproachMode) {
      case 0:
        approachStep(config);
        if (isTouch(config.switchingForce, config.switchingTorque, isApproachTouch)) enterPhase(1);
        if (config.translationalMotion == 0.0) enterPhase(1);
        break;
      case 1:
        perAxisLaw(config.setExpectFT, config.setKR);
        leadInLaw(config);
        break;
      case 2: {
        perAxisLaw(config.setExpectFT, config.setKR);
        ftc_offset.value[0] += config.setKR[0] * approachFx;
        ftc_offset.value[1] += config.setKR[1] * approachFy;
        const double z = ftc_path_offset.value[2];
        if (z > 0.0 ? z > biasedPhaseTravel : z < -biasedPhaseTravel) enterPhase(3);
        break;
      }
      case 3:
        perAxisLaw(config.setExpectFT, config.setKR);
        break;
      default:
        break;
    }
  } else if (runTrackingMotionMode) {
    perAxisLaw(trackingMotionConfig.setExpectFT, trackingMotionConfig.setKR);
  } else if (runAssemblyMode) {
    const ZelFtcAssemblyConfig& config = assemblyConfig;
    if (isTouch(config.switchingForce, config.switchingTorque, isAssemblyTouch)) {
      perAxisLaw(config.setExpectFT, config.setKR);
      leadInLaw(config);
    } else {
      approachStep(config);
    }
  }

  ftc_offset_last4 = ftc_offset_last3;
  ftc_offset_last3 = ftc_offset_last2;
  ftc_offset_last2 = ftc_offset_last1;
  ftc_offset_last1 = rcs_ft_data;
}
