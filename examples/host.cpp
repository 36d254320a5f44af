// Asks the GPUs and names them: host_cpp [PROBE]
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "host/gpuprobe_host.h"

int main(int argc, char** argv) {
  const nlohmann::json options = {{"probe", argc > 1 ? argv[1] : "gpuprobe"},
                                  {"deadline_seconds", 20},
                                  {"skip", {"CLBandwidth", "CLCompute"}}};
  const std::unique_ptr<char, void (*)(char*)> text(gpuprobe_inspect(options.dump().c_str()),
                                                    gpuprobe_free);
  if (!text) return 1;
  const auto report = nlohmann::json::parse(text.get());
  std::cout << "status: " << report["run"]["status"].get<std::string>() << '\n';
  for (const char* api : {"opengl", "opencl"})
    for (const auto& gpu : report[api]["gpus"])
      std::cout << api << ": " << (gpu["name"].is_null() ? "unknown" : gpu["name"]) << '\n';
  for (const auto& incident : report["incidents"])
    std::cout << "lost at " << incident["question"] << " in " << incident["library"] << '\n';
  return 0;
}
