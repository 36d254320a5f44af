#pragma once

#include "log/Diagnostic.h"
#include "zor/ocl/Objects.h"

/// The OpenCL entry points.
inline const ZOR::OCL::EntryPoints& CL() {
  return *ZOR::OCL::ExtensionManager::instance()->table();
}

/// A context of one device and an in-order queue on it whose events carry the device's own times.
/// Both log lines begin with the operation's name.
class CLMeasurement {
 public:
  /// Throws ZOR::LogicalException.
  CLMeasurement(const ZOR::OCL::Device& device, const char* operation);

  const ZOR::OCL::Context& context() const { return fContext; }
  const ZOR::OCL::CommandQueue& queue() const { return fQueue; }

 private:
  ZOR::OCL::Context fContext;
  ZOR::OCL::CommandQueue fQueue;
};

/// Ends the question unless the OpenCL call before it succeeded.
void RequireCLSuccess(cl_int ciErrNum);

/// Seconds from the start of the event's command to its end on the device. An end before the start
/// is a huge time, as the difference of unsigned nanoseconds; a time that the driver refuses ends
/// the question.
double CLEventSeconds(cl_event event);
