#include "app/FailureText.h"

#include <exception>

#include "zor/core/Exceptions.h"

namespace {

std::string OrNull(const char* text) {
  return text ? text : "<NULL>";
}

}  // namespace

std::string CurrentFailureText() {
  try {
    throw;
  } catch (const ZOR::LogicalException& failure) {
    return "ZOR::LogicalException: " + OrNull(failure.message());
  } catch (const std::exception& failure) {
    return "exception: " + OrNull(failure.what());
  } catch (...) {
    return "unknown exception";
  }
}
