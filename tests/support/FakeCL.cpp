#include "tests/support/FakeCL.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <tuple>
#include <type_traits>

FakeCL* FakeCL::active = nullptr;

namespace {

/// Platforms are 1, 2, ...; the devices of platform 1 are 101, 201, ...
size_t platformOf(const void* handle) {
  return reinterpret_cast<size_t>(handle) % 100 - 1;
}

template <class Argument>
std::string textOf(Argument argument) {
  if constexpr (!std::is_pointer_v<Argument>) {
    return std::to_string(argument);
  } else {
    if (!argument) return "0";
    if constexpr (std::is_same_v<Argument, const char*>) return argument;
    if constexpr (std::is_same_v<Argument, const size_t*>) return std::to_string(*argument);
    if constexpr (std::is_same_v<Argument, const void*>) {
      cl_uint number = 0;
      std::memcpy(&number, argument, sizeof number);
      return std::to_string(number);
    }
    if constexpr (std::is_same_v<Argument, const char**>) FakeCL::active->source = *argument;
    return "p";
  }
}

template <class... Arguments>
std::string textsOf(Arguments... arguments) {
  std::string texts;
  ((texts += (texts.empty() ? "(" : ", ") + textOf(arguments)), ...);
  return texts + ")";
}

cl_int list(const std::vector<size_t>& found, cl_uint size, void* handles, cl_uint* count,
            cl_int none) {
  if (found.empty()) return none;
  if (count) *count = static_cast<cl_uint>(found.size());
  if (handles) std::memcpy(handles, found.data(), std::min<size_t>(size, found.size()) * 8);
  return CL_SUCCESS;
}

// What a successful call does, where that is more than to make or release an object.

cl_int clGetPlatformIDsDoes(cl_uint size, cl_platform_id* handles, cl_uint* count) {
  std::vector<size_t> found;
  while (found.size() < FakeCL::active->platforms.size()) found.push_back(found.size() + 1);
  return list(found, size, handles, count, -1001);
}

cl_int clGetPlatformInfoDoes(cl_platform_id platform, cl_platform_info property, size_t size,
                             void* value, size_t* needed) {
  const FakeCL& fake = *FakeCL::active;
  const FakeCL::Platform& asked = fake.platforms.at(platformOf(platform));
  const std::string& text = property == CL_PLATFORM_NAME ? asked.name : asked.version;
  return fake.answer(property, text + '\0', size, value, needed);
}

cl_int clGetDeviceIDsDoes(cl_platform_id platform, cl_device_type type, cl_uint size,
                          cl_device_id* handles, cl_uint* count) {
  const auto& devices = FakeCL::active->platforms.at(platformOf(platform)).devices;
  std::vector<size_t> found;
  for (size_t i = 0; i < devices.size(); ++i)
    if (devices[i] & type) found.push_back((i + 1) * 100 + platformOf(platform) + 1);
  return list(found, size, handles, count, CL_DEVICE_NOT_FOUND);
}

cl_int clGetDeviceInfoDoes(cl_device_id device, cl_device_info property, size_t size, void* value,
                           size_t* needed) {
  FakeCL& fake = *FakeCL::active;
  if (!device) return CL_INVALID_DEVICE;
  if (property == CL_DEVICE_PLATFORM) fake.set(property, platformOf(device) + 1);
  const auto found = fake.properties.find(property);
  if (found == fake.properties.end()) return CL_INVALID_VALUE;
  return fake.answer(property, found->second, size, value, needed);
}

cl_int clGetEventProfilingInfoDoes(cl_event event, cl_profiling_info which, size_t size,
                                   void* value, size_t*) {
  const FakeCL& fake = *FakeCL::active;
  const auto& [start, end] = fake.times.at(std::min(fake.events.at(event), fake.times.size() - 1));
  std::memcpy(value, which == CL_PROFILING_COMMAND_END ? &end : &start, size);
  return CL_SUCCESS;
}

template <class... Arguments>
auto lastOf(Arguments... arguments) {
  return std::get<sizeof...(arguments) - 1>(std::make_tuple(arguments...));
}

/// Release, creation of an object or of an event; nothing else is left to do.
template <class Result, class... Arguments>
Result usual(const char* function, cl_int status, Arguments... arguments) {
  FakeCL& fake = *FakeCL::active;
  const auto last = lastOf(arguments...);
  if constexpr (!std::is_same_v<Result, cl_int>) {
    *last = status;
    return status == CL_SUCCESS ? static_cast<Result>(fake.create(function)) : nullptr;
  } else {
    if constexpr (std::is_pointer_v<decltype(last)>) {
      if (std::string_view(function).substr(0, 9) == "clRelease") {
        EXPECT_EQ(fake.alive.erase(last), 1U) << function;
      }
    }
    // A failing driver leaves the event as it is.
    if constexpr (std::is_same_v<decltype(last), cl_event* const>) {
      if (status == CL_SUCCESS) {
        *last = static_cast<cl_event>(fake.create(function));
        fake.events.emplace(*last, fake.events.size());
      }
    }
    return status;
  }
}

template <class Function>
struct Fake;

template <class Result, class... Arguments>
struct Fake<Result(CL_API_CALL*)(Arguments...)> {
  template <const char* const& Name>
  static Result CL_API_CALL call(Arguments... arguments) {
    const cl_int status = FakeCL::active->enter(Name, textsOf(arguments...));
    return usual<Result>(Name, status, arguments...);
  }
  template <const char* const& Name, Result (*Does)(Arguments...)>
  static Result CL_API_CALL query(Arguments... arguments) {
    const cl_int status = FakeCL::active->enter(Name, textsOf(arguments...));
    return status == CL_SUCCESS ? Does(arguments...) : status;
  }
};

#define FAKE_NAME(name) constexpr const char* const name##Name = #name;
ZOR_CL_ENTRY_POINTS(FAKE_NAME)

ZOR::OCL::EntryPoints fakeTable() {
  ZOR::OCL::EntryPoints table;
#define FAKE_CALL(name) table.name = Fake<decltype(table.name)>::call<name##Name>;
  ZOR_CL_ENTRY_POINTS(FAKE_CALL)
#define FAKE_QUERY(name) table.name = Fake<decltype(table.name)>::query<name##Name, name##Does>;
  FAKE_QUERY(clGetPlatformIDs)
  FAKE_QUERY(clGetPlatformInfo)
  FAKE_QUERY(clGetDeviceIDs)
  FAKE_QUERY(clGetDeviceInfo)
  FAKE_QUERY(clGetEventProfilingInfo)
  return table;
}

}  // namespace

FakeCL::FakeCL() : fManager(fakeTable()) {
  active = this;
  ZOR::OCL::ExtensionManager::Replace(&fManager);
}

FakeCL::~FakeCL() {
  for (const auto& [handle, creator] : alive) ADD_FAILURE() << "alive: " << creator;
  ZOR::OCL::ExtensionManager::Replace(nullptr);
  active = nullptr;
}

ZOR::OCL::Device FakeCL::device() const {
  return ZOR::OCL::Device(reinterpret_cast<cl_device_id>(size_t{101}));
}

cl_int FakeCL::enter(const std::string& function, const std::string& arguments) {
  calls.push_back(function + arguments);
  const auto& planned = statuses[function];
  const auto status = planned.find(++counts[function]);
  return status == planned.end() ? CL_SUCCESS : status->second;
}

void* FakeCL::create(const char* function) {
  // Odd, so that no driver takes it for an address, and never given out twice.
  const auto handle = reinterpret_cast<void*>(fNextHandle += 2);
  alive[handle] = function;
  return handle;
}

cl_int FakeCL::answer(cl_uint property, const std::string& bytes, size_t size, void* value,
                      size_t* needed) const {
  const auto claimed = claimedSizes.find(property);
  if (needed) *needed = claimed == claimedSizes.end() ? bytes.size() : claimed->second;
  if (value) std::memcpy(value, bytes.data(), std::min(size, bytes.size()));
  return CL_SUCCESS;
}
