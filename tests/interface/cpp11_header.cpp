// The flat header in a C++11 controller.
#include "zel_ftc_lib.h"
#include "zel_ftc_workers.h"

static_assert(__cplusplus == 201103L, "compiled as C++11");
static_assert(sizeof(ZelInfoCode) == 4, "enumerations have 32 bits");

int cpp11Controller() {
  const int closed = zel_ftc_issetok(true);
  if (zel_ftc_open(true) != 1) return 0;
  const int open = zel_ftc_issetok(true) * 10 + zel_ftc_issetok(false);
  zel_ftc_close();
  return closed == -1 && open == 10;
}
