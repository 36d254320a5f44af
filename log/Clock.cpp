#include "log/Clock.h"

#include <atomic>
#include <boost/date_time/c_time.hpp>
#include <boost/date_time/posix_time/conversion.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/format.hpp>
#include <cmath>
#include <ctime>
#include <locale>

#include "log/LogPort.h"

namespace {

namespace pt = boost::posix_time;
using boost::date_time::c_time;

constexpr std::int64_t kMicrosPerSecond = 1000000;

std::atomic<double> clockOffset{0.0};

// The clock is read on both sides of the system's time; the cost of a reading is taken off so that
// the middle of the two is the moment of the system's own reading.
double measureEpoch() {
  constexpr int kReadings = 10000;
  const double first = nowSeconds();
  double last = first;
  for (int i = 0; i < kReadings; ++i) last = nowSeconds();
  const double cost = (last - first) / kReadings;

  const double before = nowSeconds();
  const std::int64_t utc = logport::utcMicroseconds();
  const double after = nowSeconds();
  const double moment = ((after - cost) + before) * 0.5;
  return moment - static_cast<double>(utc) / static_cast<double>(kMicrosPerSecond);
}

// Local time minus UTC at a moment.
pt::time_duration utcOffset(std::time_t moment) {
  std::tm buffer{};
  // Only the result counts: where the C library has no reentrant form the buffer stays unused.
  const pt::ptime utc = pt::ptime_from_tm(*c_time::gmtime(&moment, &buffer));
  const pt::ptime local = pt::ptime_from_tm(*c_time::localtime(&moment, &buffer));
  return local - utc;
}

}  // namespace

double nowSeconds() {
  static const double tick = logport::secondsPerTick();
  return static_cast<double>(logport::clockTicks()) * tick +
         clockOffset.load(std::memory_order_relaxed);
}

double setClockOffset(double seconds) {
  return clockOffset.exchange(seconds);
}

double epochClockSeconds() {
  static const double epoch = measureEpoch();
  return epoch;
}

LocalTimeFields localTimeOfClock(double clockSeconds) {
  const double micros =
      (clockSeconds - epochClockSeconds()) * static_cast<double>(kMicrosPerSecond);
  return localTimeOfUtc(std::llround(micros));
}

LocalTimeFields localTimeOfUtc(std::int64_t microseconds) {
  const std::int64_t seconds = microseconds / kMicrosPerSecond;
  const pt::ptime epoch(boost::gregorian::date(1970, 1, 1));
  const pt::ptime local =
      epoch + pt::microseconds(microseconds) + utcOffset(static_cast<std::time_t>(seconds));

  const auto date = local.date();
  const auto time = local.time_of_day();
  LocalTimeFields fields;
  fields.year = static_cast<std::int32_t>(date.year());
  fields.month = static_cast<std::int32_t>(date.month());
  fields.day = static_cast<std::int32_t>(date.day());
  fields.hour = static_cast<std::int32_t>(time.hours());
  fields.minute = static_cast<std::int32_t>(time.minutes());
  fields.seconds = static_cast<double>(time.total_microseconds() % (60 * kMicrosPerSecond)) /
                   static_cast<double>(kMicrosPerSecond);
  return fields;
}

std::string formatTimeStamp(const LocalTimeFields& time) {
  return (boost::format("%04d-%02d-%02d %02d:%02d:%06.3f", std::locale::classic()) % time.year %
          time.month % time.day % time.hour % time.minute % time.seconds)
      .str();
}
