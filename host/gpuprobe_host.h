/* What graphics hardware this machine has, for hosts in any language: the probe is run as a child
   process and supervised, and its report comes back as JSON. Link libgpuprobe-host.so.1, or
   gpuprobe-host.dll; with the static library define GPUPROBE_HOST_STATIC on Windows. */
#ifndef GPUPROBE_HOST_H
#define GPUPROBE_HOST_H

#ifdef __cplusplus
extern "C" {
#endif

#if !defined(_WIN32)
#define GPUPROBE_HOST_API __attribute__((visibility("default")))
#elif defined(GPUPROBE_HOST_STATIC)
#define GPUPROBE_HOST_API
#elif defined(GPUPROBE_HOST_EXPORTS)
#define GPUPROBE_HOST_API __declspec(dllexport)
#else
#define GPUPROBE_HOST_API __declspec(dllimport)
#endif

/* Asks the machine's GPUs and returns the report, the JSON of gpuprobe-report.schema.json in UTF-8,
   for gpuprobe_free(). It comes by the deadline (up to 100 ms later where a child resists) whatever
   the drivers do. Null only where memory ran out. May be called from any thread, and from several
   at once.

   The options are a JSON object in UTF-8, or null for the defaults. Each member may be missing:
     "probe"             path of the probe, or a name that is looked for in PATH: "gpuprobe"
     "deadline_seconds"  for everything: 30
     "silence_seconds"   what writes nothing for longer is hung: 5 (twice of it for slow questions)
     "skip"              an array of names as in GPUPROBE_SKIP: []
     "environment"       an object: variables for the probe, null removes one: {}
   Options that can't be understood give a report of the status failed_to_start that says why. */
GPUPROBE_HOST_API char* gpuprobe_inspect(const char* optionsJson);

/* Frees a report; null is allowed. */
GPUPROBE_HOST_API void gpuprobe_free(char* report);

#ifdef __cplusplus
}
#endif

#endif
