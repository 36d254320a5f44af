#pragma once

#include "SnifferLog.h"

/// One guarded diagnostic line about adapters. All of them carry one source unit and fixed line
/// numbers, by which a host's logger tells them apart whatever file they come from.
inline SnifferLog AdapterLog(int line) {
  return SnifferLog{"sources/win/GPUImplWin", line};
}
