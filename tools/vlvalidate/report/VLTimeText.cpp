#include "vlvalidate/VLTimeText.h"

#include <cmath>

#include "Core/VLFormat.h"

std::string vl_utcTimestamp(std::time_t time) {
  std::tm parts{};
  gmtime_r(&time, &parts);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text;
}

std::string vl_durationText(double seconds) {
  if (!std::isfinite(seconds) || seconds < 0) return "?";
  if (seconds < 0.001) return VLFormat("%.0f µs", seconds * 1e6);
  if (seconds < 1) return VLFormat("%.0f ms", seconds * 1e3);
  if (seconds < 60) return VLFormat("%.2f s", seconds);
  long whole = std::lround(seconds);
  return VLFormat("%ld min %ld s", whole / 60, whole % 60);
}
