#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "host/Inspection.h"

namespace host {

/// What one line of a report says. Texts are parts of the line.
struct ReportLine {
  enum class Kind {
    Nothing,  ///< a comment, the number of an enumerant, or no "Key=value" at all
    Asking,   ///< the question or stage `name` was about to be asked
    Skipped,  ///< `name` was left out
    OfRun,    ///< about the run
    OfGpu,    ///< an answer of a GPU
    Unknown,  ///< a key that this version doesn't know
  };

  Kind kind = Kind::Nothing;
  std::string_view name;  ///< what is asked or skipped, else the key as it stands
  std::string_view text;  ///< the value as it stands
  const protocol::RunLine* run = nullptr;
  const protocol::Question* question = nullptr;
  int gpu = 0;  ///< the number in the tag
  /// OfRun and OfGpu: the value. Failed where it is none of its kind or not finite; Unknown where
  /// it is the sign for that (docs/report.md); Absent for the CUDA version of a driver without
  /// CUDA.
  Answer value = Reason::Unknown;
};

/// Reads a line without its line end; a CR there doesn't count.
ReportLine ParseReportLine(std::string_view line);

/// What an announced or skipped name means.
struct Asked {
  enum class What {
    Nothing,   ///< the name of nothing that this version knows
    Question,  ///< one question of one GPU
    Device,    ///< a device's or platform's part of a stage
    Stage,     ///< a stage as a whole
    Release,
  };

  What what = What::Nothing;
  protocol::GPUKind api = protocol::GPUKind::OpenGL;
  const protocol::Question* question = nullptr;
  int gpu = 0;
  std::string skipName;  ///< Device: by which it is left out
};
Asked ParseAsked(std::string_view name);

/// Makes lines of a report's bytes as they come; any bytes at all.
class ReportReader {
 public:
  using Sink = std::function<void(const ReportLine& line)>;
  explicit ReportReader(Sink sink) : fSink(std::move(sink)) {}

  /// Gives each line that has its end to the sink.
  void feed(std::string_view bytes);
  /// What came after the last line end: a line that was torn, once the report is over.
  const std::string& rest() const { return fRest; }

 private:
  Sink fSink;
  std::string fRest;
};

}  // namespace host
