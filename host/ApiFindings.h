#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/Inspection.h"

namespace host {

/// The first question of the kind; the others follow it, and a GPU's answers are in this order.
const protocol::Question* FirstQuestion(protocol::GPUKind kind);

/// What was learnt of one API over all attempts. Answers are merged by GPU and key, and earlier
/// ones stay; only attempts that announced the same devices and counted the same GPUs are taken to
/// mean the same GPU by an index.
class ApiFindings {
 public:
  /// The skips are names as in GPUPROBE_SKIP, by which it was requested to leave things out.
  ApiFindings(protocol::GPUKind kind, const std::set<std::string>& requestedSkips);

  /// "OpenGL", by which it is left out as a whole.
  const char* name() const;

  // Of the attempt that runs:
  void beginAttempt();
  /// A device or platform.
  void addDevice(const std::string& device) { fDevices.push_back(device); }
  /// How many GPUs the attempt has.
  void setCount(int count);
  /// The attempt leaves the API out.
  void skip(bool byRequest);
  /// The attempt has gone past this API.
  void pass();
  /// The attempt has come to this question of this GPU: what it left unanswered before has failed.
  void reach(const protocol::Question& question, int gpu);
  /// Null where the attempt has no such GPU.
  Answer* answer(const protocol::Question& question, int gpu);
  /// The attempt left the question out.
  void noteSkipped(const protocol::Question& question, int gpu, bool byRequest);

  // How an attempt was lost:
  /// At a question. After a second hang of its GPU that GPU is asked no more.
  void loseQuestion(const protocol::Question& question, int gpu, Reason reason);
  /// At a device or platform, which is left out from now on. False when that was so before.
  bool loseDevice(const std::string& skipName, ApiStatus how);
  /// At a driver, which somebody else leaves out.
  void loseDriver(ApiStatus how);
  /// At the API as a whole.
  void giveUp(ApiStatus how);

  /// Nothing is left to ask.
  bool isSettled() const;
  /// Attempts that were lost here.
  int losses() const { return fLosses; }
  /// Adds what the next attempt leaves out.
  void addSkips(std::vector<std::string>& names) const;

  /// The GPUs of which most is known.
  std::vector<Gpu> gpus() const;
  ApiStatus status() const;
  /// The API was left out as a whole by request, so that it may have GPUs.
  bool notAsked() const { return fNotAsked && fGenerations.empty(); }

 private:
  struct Known {
    Gpu gpu;
    int hangs = 0;
    bool isSettled() const;
  };
  /// What one list of devices had.
  struct Generation {
    std::vector<std::string> devices;
    std::vector<Known> gpus;
    bool isSettled() const;
    int answered() const;
  };
  // Places count the answers of the attempt's GPUs in the order of the report.
  std::optional<std::size_t> placeOf(const protocol::Question& question, int gpu) const;
  Answer& answerAt(std::size_t place);
  void sweepTo(std::size_t place);
  Known newGpu(int index) const;
  void note(ApiStatus how);
  void addIndexedSkips(const Generation& generation, std::vector<std::string>& names) const;

  const protocol::GPUKind fKind;
  const std::set<std::string>& fRequestedSkips;
  const protocol::Question* const fQuestions;
  const std::size_t fQuestionCount;
  std::vector<Generation> fGenerations;
  std::set<std::string> fDevicesLeftOut;
  std::map<const protocol::Question*, Reason> fLostQuestions;
  std::optional<ApiStatus> fStageLoss;  ///< the worst
  bool fGivenUp = false;
  bool fAbsent = false;  ///< an attempt went past without a count
  bool fNotAsked;        ///< by request
  int fLosses = 0;
  // Of the attempt that runs:
  std::vector<std::string> fDevices;
  std::optional<std::size_t> fCurrent;  ///< its generation
  bool fSkips = false;
  std::size_t fReached = 0;        ///< place of the next answer that can come
  std::set<std::size_t> fSkipped;  ///< places of questions
};

}  // namespace host
