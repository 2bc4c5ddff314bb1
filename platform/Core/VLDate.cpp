#include "Core/VLDate.h"

#include <chrono>
#include <cmath>
#include <ctime>

namespace {
constexpr double kReferenceDateSince1970 = 978307200.0;  // 2001-01-01 00:00:00 UTC
}

VLDate VLDate::now() {
  auto since = std::chrono::system_clock::now().time_since_epoch();
  return VLDate(std::chrono::duration<double>(since).count());
}

VLDate VLDate::dateWithTimeIntervalSinceReferenceDate(double seconds) {
  return VLDate(seconds + kReferenceDateSince1970);
}

double VLDate::timeIntervalSinceReferenceDate() const { return seconds_ - kReferenceDateSince1970; }

std::string VLDate::description() const {
  // Beyond what the calendar conversion handles (and NaN) a cast to time_t is undefined.
  if (!(std::fabs(seconds_) < 1e15)) return "<invalid date " + std::to_string(seconds_) + ">";
  std::time_t whole = static_cast<std::time_t>(std::floor(seconds_));
  std::tm parts{};
  gmtime_r(&whole, &parts);
  char buffer[64];
  std::strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M:%S +0000", &parts);
  return buffer;
}
