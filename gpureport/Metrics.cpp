#include "gpureport/Forms.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <initializer_list>
#include <set>
#include <utility>

#include "gpureport/Values.h"
#include "host/Fields.h"

namespace gpureport {
namespace {

using Labelling = std::initializer_list<std::pair<const char*, std::string>>;

/// A label is kept in a server's memory for as long as the series lives; no name is longer.
constexpr std::size_t kLongestLabelValue = 256;

std::string labelValue(const std::string& text) {
  std::string escaped;
  for (const char c : Cut(text, kLongestLabelValue)) {
    if (c == '\\' || c == '"') {
      escaped += '\\';
    }
    escaped += c == '\n' ? std::string("\\n") : std::string(1, c);
  }
  return escaped;
}

std::string labelSet(const Labelling& labels) {
  std::string set;
  for (const auto& [name, value] : labels) {
    set += (set.empty() ? "{" : ",") + std::string(name) + "=\"" + labelValue(value) + '"';
  }
  return set.empty() ? set : set + '}';
}

/// Metric families one after the other; a server refuses a text that gives a series twice.
class Families {
 public:
  void begin(const char* name, const char* help) {
    fName = name;
    fSeries.clear();
    fText += "# HELP " + fName + ' ' + help + "\n# TYPE " + fName + " gauge\n";
  }
  void sample(const Labelling& labels, double value) {
    const std::string set = labelSet(labels);
    if (fSeries.insert(set).second) {
      char number[32];
      std::snprintf(number, sizeof number, " %.15g\n", value);
      fText += fName + set + number;
    }
  }
  const std::string& text() const { return fText; }

 private:
  std::string fName;
  std::set<std::string> fSeries;
  std::string fText;
};

/// Calls function(api, index, gpu) for every GPU, with "opengl" and "0".
template <typename Function>
void forEachGpu(const host::Inspection& inspection, Function function) {
  for (const host::Api* api : {&inspection.openGL, &inspection.openCL}) {
    for (const host::Gpu& gpu : api->gpus) {
      function(ApiWord(gpu.kind), std::to_string(gpu.index), gpu);
    }
  }
}

void writeRun(Families& families, const host::Inspection& inspection) {
  families.begin("gpuprobe_up", "1 where the probe could be started.");
  families.sample({}, inspection.status != host::Status::FailedToStart);
  families.begin("gpuprobe_run_status", "How the last run came off: 1 for its status, else 0.");
  for (const host::Status status :
       {host::Status::Complete, host::Status::Partial, host::Status::Hung, host::Status::Crashed,
        host::Status::Stuck, host::Status::FailedToStart, host::Status::Torn}) {
    families.sample({{"status", name(status)}}, inspection.status == status);
  }
  families.begin("gpuprobe_run_duration_seconds", "Wall time of the last run, all attempts.");
  families.sample({}, inspection.durationSeconds);
  families.begin("gpuprobe_last_run_timestamp_seconds", "When the last run was, Unix time.");
  if (const auto time = inspection.createdAt.time_since_epoch(); time.count() != 0) {
    families.sample(
        {}, std::chrono::duration<double>(std::chrono::duration_cast<std::chrono::seconds>(time))
                .count());
  }
}

void writeGpuInfo(Families& families, const host::Inspection& inspection) {
  families.begin("gpuprobe_gpu_info", "A GPU and its driver, as the driver names them; always 1.");
  forEachGpu(inspection, [&](const char* api, const std::string& index, const host::Gpu& gpu) {
    families.sample({{"api", api},
                     {"gpu", index},
                     {"name", TextOf(gpu, "name")},
                     {"vendor", TextOf(gpu, "vendor")},
                     {"vendor_id", TextOf(gpu, "vendor_id")},
                     {"device_id", TextOf(gpu, "device_id")},
                     {"driver", TextOf(gpu, "driver")},
                     {"driver_version", TextOf(gpu, "driver_version")},
                     {"type", TypeOf(gpu)}},
                    1);
  });
}

void writeFigures(Families& families, const host::Inspection& inspection) {
  families.begin("gpuprobe_gpu_memory_bytes", "Memory that the GPU can use.");
  forEachGpu(inspection, [&](const char* api, const std::string& index, const host::Gpu& gpu) {
    if (const auto bytes = host::FieldValue<std::int64_t>(gpu, "memory_bytes")) {
      families.sample({{"api", api}, {"gpu", index}}, static_cast<double>(*bytes));
    }
  });
  const auto measured = [&](const char* metric, const char* help, const char* field) {
    families.begin(metric, help);
    forEachGpu(inspection, [&](const char*, const std::string& index, const host::Gpu& gpu) {
      if (const auto number = host::FieldValue<double>(gpu, field)) {
        families.sample({{"gpu", index}}, *number);
      }
    });
  };
  measured("gpuprobe_opencl_copy_bytes_per_second",
           "Speed of copies within the GPU's memory, reads and writes both counted.",
           "copy_bytes_per_second");
  measured("gpuprobe_opencl_kernel_duration_seconds", "Run time of the probe's kernel.",
           "kernel_seconds");
}

void writeFaults(Families& families, const host::Inspection& inspection) {
  families.begin("gpuprobe_unanswered", "Answers that a GPU did not give, by reason.");
  forEachGpu(inspection, [&](const char* api, const std::string& index, const host::Gpu& gpu) {
    // Zeros as well: a series that comes with the fault could not be seen to rise.
    for (const host::Reason reason :
         {host::Reason::Hung, host::Reason::Crashed, host::Reason::NotReached,
          host::Reason::NotAsked, host::Reason::Failed, host::Reason::Absent,
          host::Reason::Unknown}) {
      const auto isThis = [reason](const host::Answer& answer) {
        const auto* why = std::get_if<host::Reason>(&answer);
        return why && *why == reason;
      };
      families.sample(
          {{"api", api}, {"gpu", index}, {"reason", name(reason)}},
          static_cast<double>(std::count_if(gpu.answers.begin(), gpu.answers.end(), isThis)));
    }
  });
  families.begin("gpuprobe_incident_info", "How the probe was lost, and by whom; always 1.");
  for (const host::Incident& incident : inspection.incidents) {
    families.sample({{"kind", name(incident.kind)},
                     {"question", incident.question},
                     {"library", incident.library.value_or("")}},
                    1);
  }
}

}  // namespace

std::string Prometheus(const host::Inspection& inspection) {
  Families families;
  writeRun(families, inspection);
  writeGpuInfo(families, inspection);
  writeFigures(families, inspection);
  writeFaults(families, inspection);
  return families.text();
}

}  // namespace gpureport
