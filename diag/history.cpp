#include "diag/history.h"

#include "diag/library.h"

namespace zel::diag {

History history;

int noted(Setting& setting, int result) {
  if (result == 1) setting = {++history.settings, concreteTool().timeStep};
  return result;
}

}  // namespace zel::diag
