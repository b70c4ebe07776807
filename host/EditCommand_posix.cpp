// wavehost edit: the tag editor window exists only in the Windows build.
#include <cstdio>

#include "host/Commands.h"

int CommandEdit(Session&, const Words&) {
  std::fputs("wavehost: edit needs Windows (run the Windows build, e.g. under Wine)\n", stderr);
  return 2;
}
