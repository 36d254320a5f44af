#include "tests/support/FakeCL.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
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
    if constexpr (std::is_same_v<Argument, const char**>) return *argument;
    return "p";
  }
}

cl_int list(std::vector<size_t> found, cl_uint size, void* handles, cl_uint* count, cl_int none) {
  if (found.empty()) return none;
  // Devices may go between the two calls.
  if (handles) found.resize(found.size() - std::min(FakeCL::active->gone, found.size()));
  if (count) *count = static_cast<cl_uint>(found.size());
  if (handles) std::memcpy(handles, found.data(), std::min<size_t>(size, found.size()) * 8);
  return CL_SUCCESS;
}

cl_int give(cl_uint property, const std::string& bytes, size_t size, void* value, size_t* needed) {
  const auto& claimed = FakeCL::active->claimedSizes;
  if (needed) *needed = claimed.count(property) ? claimed.at(property) : bytes.size();
  if (value) std::memcpy(value, bytes.data(), std::min(size, bytes.size()));
  return CL_SUCCESS;
}

// What a call that succeeds does is known by its arguments; most do nothing.

template <class... Arguments>
cl_int act(Arguments...) {
  return CL_SUCCESS;
}

cl_int act(cl_uint size, cl_platform_id* handles, cl_uint* count) {
  std::vector<size_t> found;
  while (found.size() < FakeCL::active->platforms.size()) found.push_back(found.size() + 1);
  return list(found, size, handles, count, -1001);
}

cl_int act(cl_platform_id platform, cl_platform_info property, size_t size, void* value,
           size_t* needed) {
  const FakeCL::Platform& asked = FakeCL::active->platforms.at(platformOf(platform));
  const std::string& text = property == CL_PLATFORM_NAME ? asked.name : asked.version;
  return give(property, text + '\0', size, value, needed);
}

cl_int act(cl_platform_id platform, cl_device_type type, cl_uint size, cl_device_id* handles,
           cl_uint* count) {
  const auto& devices = FakeCL::active->platforms.at(platformOf(platform)).devices;
  std::vector<size_t> found;
  for (size_t i = 0; i < devices.size(); ++i)
    if (devices[i] & type) found.push_back((i + 1) * 100 + platformOf(platform) + 1);
  return list(found, size, handles, count, CL_DEVICE_NOT_FOUND);
}

cl_int act(cl_device_id device, cl_device_info property, size_t size, void* value, size_t* needed) {
  FakeCL& fake = *FakeCL::active;
  if (!device) return CL_INVALID_DEVICE;
  if (property == CL_DEVICE_PLATFORM) fake.set(property, platformOf(device) + 1);
  if (!fake.properties.count(property)) return CL_INVALID_VALUE;
  return give(property, fake.properties[property], size, value, needed);
}

cl_int act(cl_event event, cl_profiling_info which, size_t size, void* value, size_t*) {
  const FakeCL& fake = *FakeCL::active;
  const auto& [start, end] = fake.times.at(std::min(fake.events.at(event), fake.times.size() - 1));
  std::memcpy(value, which == CL_PROFILING_COMMAND_END ? &end : &start, size);
  return CL_SUCCESS;
}

template <class Function>
struct Fake;

template <class Result, class... Arguments>
struct Fake<Result(CL_API_CALL*)(Arguments...)> {
  template <const char* const& Name>
  static Result CL_API_CALL call(Arguments... arguments) {
    FakeCL& fake = *FakeCL::active;
    std::string text;
    ((text += (text.empty() ? "(" : ", ") + textOf(arguments)), ...);
    cl_int status = fake.enter(Name, text + ")");
    const auto last = std::get<sizeof...(arguments) - 1>(std::tuple(arguments...));
    if constexpr (!std::is_same_v<Result, cl_int>) {
      *last = status;
      return status == CL_SUCCESS ? static_cast<Result>(fake.create(Name)) : nullptr;
    } else {
      if constexpr (sizeof...(arguments) == 1) {
        if (std::string(Name) != "clFinish") {
          EXPECT_EQ(fake.alive.erase(last), 1U) << Name;
        }
      }
      if (status == CL_SUCCESS) status = act(arguments...);
      // A failing driver leaves the event as it is.
      if constexpr (std::is_same_v<decltype(last), cl_event* const>) {
        if (status == CL_SUCCESS) {
          *last = static_cast<cl_event>(fake.create(Name));
          fake.events.emplace(*last, fake.events.size());
        }
      }
      return status;
    }
  }
};

#define FAKE_NAME(name) constexpr const char* const name##Name = #name;
ZOR_CL_ENTRY_POINTS(FAKE_NAME)

ZOR::OCL::EntryPoints fakeTable() {
  ZOR::OCL::EntryPoints table;
#define FAKE_CALL(name) table.name = Fake<decltype(table.name)>::call<name##Name>;
  ZOR_CL_ENTRY_POINTS(FAKE_CALL)
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
