#include "nkutil/Calls.h"

namespace nkutil {

CallFault detail::callFault = nullptr;

void setCallFault(CallFault fault) {
  detail::callFault = fault;
}

}  // namespace nkutil
