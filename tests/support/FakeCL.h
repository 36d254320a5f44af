#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "zor/ocl/Library.h"
#include "zor/ocl/Objects.h"

/// An OpenCL driver that is the test: it answers what the test sets, notes every call and counts
/// its living objects. In place of the system's for its own lifetime; one at a time. At its end no
/// object may be left, and a handle that is released twice or was never given out fails the test.
class FakeCL {
 public:
  FakeCL();
  ~FakeCL();

  // What the driver is like.
  struct Platform {
    std::string version = "OpenCL 1.2 Fake";
    std::vector<cl_device_type> devices{CL_DEVICE_TYPE_GPU};
    std::string name = "Fake";
  };
  std::vector<Platform> platforms{1};
  std::map<cl_device_info, std::string> properties;  // of every device, byte for byte
  size_t gone = 0;                         // entries that a list has lost at its second call
  std::map<cl_uint, size_t> claimedSizes;  // property -> size in place of the true one
  std::map<std::string, std::map<unsigned, cl_int>> statuses;  // function -> call from 1 -> status
  /// Start and end in nanoseconds of the events in their order; the last holds for all later ones.
  std::vector<std::pair<cl_ulong, cl_ulong>> times{{0, 5'000'000}};

  // What was done.
  /// "clFinish(p)": numbers and names as they are, sizes and values by their number, handles and
  /// places for results as p, null as 0.
  std::vector<std::string> calls;
  std::map<std::string, unsigned> counts;  // function -> calls
  std::map<const void*, std::string> alive;

  template <class Value>
  void set(cl_device_info property, const Value& value) {
    properties[property] = std::string(reinterpret_cast<const char*>(&value), sizeof value);
  }
  ZOR::OCL::Device device() const;

  // Used by the fake's functions.
  /// Notes the call and gives its status.
  cl_int enter(const std::string& function, const std::string& arguments);
  void* create(const char* function);
  static FakeCL* active;
  std::map<const void*, size_t> events;  // handle -> how many came before

 private:
  ZOR::OCL::ExtensionManager fManager;
  size_t fNextHandle = 0x1001;
};
