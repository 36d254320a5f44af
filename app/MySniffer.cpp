#include "app/MySniffer.h"

#include <boost/make_shared.hpp>

#include "app/MyTester.h"

MySniffer::~MySniffer() = default;

boost::shared_ptr<GPUSnifferTester> MySniffer::CreateTester() {
  return boost::make_shared<MyTester>(*this);
}
