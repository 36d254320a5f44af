#include "nkutil/Calls.h"

namespace nkutil {

std::atomic<CallFault> detail::callFault{nullptr};

void setCallFault(CallFault fault) {
  detail::callFault = fault;
}

}  // namespace nkutil
