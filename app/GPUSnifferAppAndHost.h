#pragma once

/// Common base of the application and of the tester.
class GPUSnifferAppAndHost {
 public:
  virtual ~GPUSnifferAppAndHost() = default;
};
