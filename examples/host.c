/* Asks the GPUs and prints the report: host_c [PROBE] */
#include <stdio.h>

#include "host/gpuprobe_host.h"

int main(int argc, char** argv) {
  char options[4096];
  char* report;

  /* A real host escapes quotes and backslashes of the path. */
  snprintf(options, sizeof options, "{\"probe\": \"%s\", \"deadline_seconds\": 20}",
           argc > 1 ? argv[1] : "gpuprobe");
  report = gpuprobe_inspect(options);
  if (!report) return 1;
  fputs(report, stdout);
  gpuprobe_free(report);
  return 0;
}
