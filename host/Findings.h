#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/ApiFindings.h"
#include "host/Inspect.h"
#include "host/ReportReader.h"

namespace host {

/// What was learnt over all attempts, line by line.
class Findings {
 public:
  using OnAnswer = std::function<void(const AnswerEvent&)>;
  enum class Report {
    Ours,      ///< of a probe that we told what to skip
    Existing,  ///< whoever skipped, it was by request
  };

  /// The skips are names as in GPUPROBE_SKIP. Each answer is told when it comes, once a key.
  Findings(Report report, const std::vector<std::string>& requestedSkips, OnAnswer onAnswer);
  Findings(const Findings&) = delete;
  Findings& operator=(const Findings&) = delete;

  void beginAttempt();
  void take(const ReportLine& line);
  /// What the attempt announced last, as it stands; empty before.
  const std::string& asked() const { return fAsked; }
  /// The attempt's report has its end.
  bool ended() const { return fEnded; }

  /// OpenGL's or OpenCL's.
  ApiFindings& api(protocol::GPUKind kind) {
    return kind == protocol::GPUKind::OpenGL ? fOpenGL : fOpenCL;
  }
  bool isSettled() const { return fOpenGL.isSettled() && fOpenCL.isSettled(); }
  /// GPUPROBE_SKIP of the next attempt. An API that lost more attempts than the other one is left
  /// out until that one is settled: a fault must not use up the other's time.
  std::string skipList() const;

  /// Puts GPUs, statuses and unknown keys there. The last call.
  void conclude(Inspection& result);

 private:
  bool waits(const ApiFindings& api) const;
  void takeSkipped(std::string_view name);
  void takeRun(const ReportLine& line);
  void takeUnknown(const ReportLine& line);
  void takeAnswer(const ReportLine& line);

  const Report fReport;
  const std::set<std::string> fRequestedSkips;
  const OnAnswer fOnAnswer;
  ApiFindings fOpenGL;
  ApiFindings fOpenCL;
  std::map<std::string, std::string> fUnknownKeys;
  std::set<std::pair<const protocol::Question*, int>> fTold;
  std::string fAsked;
  bool fEnded = false;
};

/// Whether an API lacks an answer that it could have.
bool IsPartial(const Inspection& inspection);

}  // namespace host
