/* The calls that the probe makes of every OpenCL GPU, and nothing else: the least that its OpenCL
   answers can cost. With a number it asks only for texts and numbers, that many times, and says on
   standard error what that took for each device. Errors end it. */
#define _POSIX_C_SOURCE 199309L
#define CL_TARGET_OPENCL_VERSION 120
#include <CL/cl.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

enum { COPIES = 10, BATCHES = 10, LENGTH = 1 << 20, BUFFER = 1 << 24, DEVICES = 64 };

static const char kernelText[] =
    "__kernel void justIterate( __global float* v, unsigned int len ){"
    "  int gid = get_global_id(0);  if(gid>=len) return;  float data = v[gid];"
    "  float variant = (float)(gid % 3);  for ( int i = 0 ; i < 4096; i++){"
    "  data = data  *  1.2f * variant ;  }  v [ gid ] = data ;  }";

static void check(cl_int status) {
  if (status == CL_SUCCESS) return;
  fprintf(stderr, "floor_cl: status %d\n", status);
  exit(1);
}

static void line(const char* key, const char* text) {
  printf("%s=\"%s\"\n", key, text);
  fflush(stdout);
}

static void number(const char* key, double value) {
  printf("%s=%g\n", key, value);
  fflush(stdout);
}

static void platformText(cl_device_id device, const char* key) {
  cl_platform_id platform;
  char text[4096];
  size_t size;
  check(clGetDeviceInfo(device, CL_DEVICE_PLATFORM, sizeof platform, &platform, NULL));
  check(clGetPlatformInfo(platform, CL_PLATFORM_VERSION, 0, NULL, &size));
  check(clGetPlatformInfo(platform, CL_PLATFORM_VERSION, sizeof text, text, NULL));
  line(key, text);
}

static void deviceText(cl_device_id device, cl_device_info property, const char* key) {
  char text[4096];
  size_t size;
  check(clGetDeviceInfo(device, property, 0, NULL, &size));
  check(clGetDeviceInfo(device, property, sizeof text, text, NULL));
  line(key, text);
}

static void deviceNumber(cl_device_id device, cl_device_info property, size_t size,
                         const char* key) {
  cl_ulong value = 0;
  check(clGetDeviceInfo(device, property, size, &value, NULL));
  number(key, (double)value);
}

static cl_command_queue openQueue(cl_device_id device, cl_context* context) {
  cl_platform_id platform;
  cl_int status;
  check(clGetDeviceInfo(device, CL_DEVICE_PLATFORM, sizeof platform, &platform, NULL));
  const cl_context_properties list[] = {CL_CONTEXT_PLATFORM, (cl_context_properties)platform, 0};
  *context = clCreateContext(list, 1, &device, NULL, NULL, &status);
  check(status);
  const cl_command_queue queue =
      clCreateCommandQueue(*context, device, CL_QUEUE_PROFILING_ENABLE, &status);
  check(status);
  return queue;
}

static double secondsOf(cl_event event) {
  cl_ulong start, end;
  clGetEventProfilingInfo(event, CL_PROFILING_COMMAND_END, sizeof end, &end, NULL);
  clGetEventProfilingInfo(event, CL_PROFILING_COMMAND_START, sizeof start, &start, NULL);
  clReleaseEvent(event);
  return (double)(end - start) * 1e-9;
}

static void bandwidth(cl_device_id device) {
  cl_context context;
  cl_event events[COPIES];
  cl_int status;
  double best = 0;
  const cl_command_queue queue = openQueue(device, &context);
  const cl_mem from = clCreateBuffer(context, CL_MEM_READ_ONLY, BUFFER, NULL, &status);
  check(status);
  const cl_mem to = clCreateBuffer(context, CL_MEM_WRITE_ONLY, BUFFER, NULL, &status);
  check(status);
  clFinish(queue);
  for (int batch = 0; batch < BATCHES; ++batch) {
    double total = 0;
    for (int i = 0; i < COPIES; ++i)
      check(clEnqueueCopyBuffer(queue, from, to, 0, 0, BUFFER, 0, NULL, &events[i]));
    clFinish(queue);
    for (int i = 0; i < COPIES; ++i) total += secondsOf(events[i]);
    if (total > 0 && 2.0 * COPIES * BUFFER / total > best) best = 2.0 * COPIES * BUFFER / total;
  }
  clFinish(queue);
  clReleaseMemObject(to);
  clReleaseMemObject(from);
  clReleaseCommandQueue(queue);
  clReleaseContext(context);
  number("CLBandwidth", best);
}

static void compute(cl_device_id device) {
  cl_context context;
  cl_event event;
  cl_int status;
  const char* text = kernelText;
  const cl_uint length = LENGTH;
  const size_t global = LENGTH, local = 64;
  const cl_command_queue queue = openQueue(device, &context);
  float* values = malloc(LENGTH * sizeof *values);
  if (!values) exit(1);
  for (int i = 0; i < LENGTH; ++i) values[i] = (float)rand();
  const cl_program program = clCreateProgramWithSource(context, 1, &text, NULL, &status);
  check(status);
  check(clBuildProgram(program, 0, NULL, NULL, NULL, NULL));
  const cl_kernel kernel = clCreateKernel(program, "justIterate", &status);
  check(status);
  const cl_mem buffer = clCreateBuffer(context, CL_MEM_READ_WRITE | CL_MEM_COPY_HOST_PTR,
                                       LENGTH * sizeof *values, values, &status);
  check(status);
  check(clSetKernelArg(kernel, 0, sizeof buffer, &buffer));
  check(clSetKernelArg(kernel, 1, sizeof length, &length));
  check(clEnqueueNDRangeKernel(queue, kernel, 1, NULL, &global, &local, 0, NULL, &event));
  check(clWaitForEvents(1, &event));
  number("CLCompute", secondsOf(event));
  clReleaseMemObject(buffer);
  clReleaseKernel(kernel);
  clReleaseProgram(program);
  free(values);
  clReleaseCommandQueue(queue);
  clReleaseContext(context);
}

static void questions(cl_device_id device) {
  platformText(device, "CLPlatformVersion");
  deviceText(device, CL_DEVICE_VERSION, "CLDeviceVersion");
  deviceNumber(device, CL_DEVICE_HOST_UNIFIED_MEMORY, sizeof(cl_bool), "IsIntegratedCLGPU");
  deviceNumber(device, CL_DEVICE_GLOBAL_MEM_SIZE, sizeof(cl_ulong), "CLMemoryMB");
  deviceText(device, CL_DEVICE_NAME, "CLName");
  deviceText(device, CL_DEVICE_VENDOR, "CLVendor");
  deviceNumber(device, CL_DEVICE_VENDOR_ID, sizeof(cl_uint), "CLVendorID");
  deviceText(device, CL_DRIVER_VERSION, "CLDriverVersion");
  platformText(device, "CUDASupported");
  platformText(device, "CUDAVersion");
}

static double microseconds(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (double)now.tv_sec * 1e6 + (double)now.tv_nsec * 1e-3;
}

static void ask(cl_device_id device, int repeats) {
  const double start = microseconds();
  for (int i = 0; i < repeats; ++i) questions(device);
  fprintf(stderr, "plain C %.1f us\n", (microseconds() - start) / repeats);
}

int main(int argc, char** argv) {
  cl_platform_id platforms[DEVICES];
  cl_device_id devices[DEVICES];
  cl_uint platformCount, count;
  check(clGetPlatformIDs(DEVICES, platforms, &platformCount));
  for (cl_uint i = 0; i < platformCount; ++i) {
    if (clGetDeviceIDs(platforms[i], CL_DEVICE_TYPE_GPU, DEVICES, devices, &count)) continue;
    for (cl_uint k = 0; k < count; ++k) {
      if (argc > 1) {
        ask(devices[k], atoi(argv[1]));
        continue;
      }
      questions(devices[k]);
      bandwidth(devices[k]);
      compute(devices[k]);
    }
  }
  return 0;
}
