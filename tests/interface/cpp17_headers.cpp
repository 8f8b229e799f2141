// The public class headers in a C++17 program.
#include "control/ControlBase.h"
#include "control/MBK_Fhan.h"
#include "ft/ZelForceSensorBase.h"
#include "ft/ZelForceSensorEtherNetUDP.h"
#include "ft/ZelForceSensorExternal.h"
#include "matrix/ldd_tool.h"
#include "matrix/rmatrix.h"
#include "matrix/rmatrix30.h"
#include "matrix/rvector.h"
#include "robot/ZelFTCTool.h"
#include "robot/ZelForceControlTool.h"
#include "tool/ringbuffermanager.h"
#include "zel_clock.h"

static_assert(__cplusplus == 201703L, "compiled as C++17");

double cpp17Program() {
  RMatrix30 N(1, 1);
  N.value[0][0] = 2.0;
  ldd_tool load;
  load.setLoadPara({3.0, 0.0, 0.0, 0.0});
  load_para para;
  load.getLoadPara(&para);
  const RMatrix T = RMatrix::RotZ(0.0);
  SensorExternal sensor;
  ZelFTCTool tool;
  return T.value[0][0] + (N * N).value[0][0] + para.g;  // 1 + 4 + 3
}
