#pragma once

#include "app/GPUSnifferApp.h"

/// The application as shipped: its tester is a MyTester.
class MySniffer : public GPUSnifferApp {
 public:
  ~MySniffer() override;
  boost::shared_ptr<GPUSnifferTester> CreateTester() override;
};
