// Presents CPU devices as GPU devices, so that a CPU driver can be measured as a GPU.

#include "rehearsal/Actions.h"
#include "rehearsal/Layer.h"

namespace {

cl_icd_dispatch next;

/// What to ask the driver for when the program asks for this.
cl_device_type asked(cl_device_type type) {
  if (type == CL_DEVICE_TYPE_ALL) return type;
  const cl_device_type others = type & ~static_cast<cl_device_type>(CL_DEVICE_TYPE_CPU);
  return type & CL_DEVICE_TYPE_GPU ? others | CL_DEVICE_TYPE_CPU : others;
}

/// A CPU that is a GPU is no CPU any more.
bool isNone(cl_device_type type) {
  return type != 0 && asked(type) == 0;
}

cl_int CL_API_CALL getDeviceIDs(cl_platform_id platform, cl_device_type type, cl_uint size,
                                cl_device_id* devices, cl_uint* count) {
  if (isNone(type)) return CL_DEVICE_NOT_FOUND;
  const auto giveBack = rehearsal::system_actions::RememberWinesSignal();
  const cl_int status = next.clGetDeviceIDs(platform, asked(type), size, devices, count);
  giveBack();
  return status;
}

cl_int CL_API_CALL getDeviceInfo(cl_device_id device, cl_device_info property, size_t size,
                                 void* value, size_t* sizeNeeded) {
  const cl_int status = next.clGetDeviceInfo(device, property, size, value, sizeNeeded);
  if (status == CL_SUCCESS && property == CL_DEVICE_TYPE && value) {
    cl_device_type type = 0;
    std::memcpy(&type, value, sizeof type);
    if (type & CL_DEVICE_TYPE_CPU) type ^= CL_DEVICE_TYPE_CPU | CL_DEVICE_TYPE_GPU;
    std::memcpy(value, &type, sizeof type);
  }
  return status;
}

cl_context CL_API_CALL createContextFromType(const cl_context_properties* properties,
                                             cl_device_type type,
                                             void(CL_CALLBACK* notify)(const char*, const void*,
                                                                       size_t, void*),
                                             void* userData, cl_int* status) {
  if (!isNone(type))
    return next.clCreateContextFromType(properties, asked(type), notify, userData, status);
  if (status) *status = CL_DEVICE_NOT_FOUND;
  return nullptr;
}

}  // namespace

void Install(const cl_icd_dispatch& below, cl_icd_dispatch& own) {
  next = below;
  own.clGetDeviceIDs = getDeviceIDs;
  own.clGetDeviceInfo = getDeviceInfo;
  own.clCreateContextFromType = createContextFromType;
}
