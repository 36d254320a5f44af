#pragma once

#include <memory>
#include <string>

namespace gpureport {

/// A line on standard error that says what is being asked and for how long, while it lives; it goes
/// without a trace. Nothing of it where standard error is no terminal.
class Progress {
 public:
  explicit Progress(bool wanted);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void asking(const std::string& name, int attempt);

 private:
  struct State;
  std::unique_ptr<State> fState;
};

}  // namespace gpureport
