// VLDate: an instant, as seconds since 1970-01-01 00:00:00 UTC. A small immutable value.
#pragma once

#include <string>

class VLDate {
 public:
  // Makes the instant `seconds` after 1970-01-01 00:00:00 UTC.
  explicit VLDate(double secondsSince1970 = 0) : seconds_(secondsSince1970) {}

  // Returns the current wall-clock instant.
  static VLDate now();
  // Returns the instant `seconds` after the platform's reference date, 2001-01-01 UTC.
  static VLDate dateWithTimeIntervalSinceReferenceDate(double seconds);

  double timeIntervalSince1970() const { return seconds_; }
  double timeIntervalSinceReferenceDate() const;
  // Returns self − other in seconds.
  double timeIntervalSinceDate(const VLDate& other) const { return seconds_ - other.seconds_; }
  VLDate dateByAddingTimeInterval(double seconds) const { return VLDate(seconds_ + seconds); }

  // Returns the stable plain form "2026-11-21 10:00:00 +0000" (UTC, whole seconds), or
  // "<invalid date …>" for NaN and instants beyond any calendar.
  std::string description() const;

  bool operator==(const VLDate& other) const { return seconds_ == other.seconds_; }
  auto operator<=>(const VLDate& other) const { return seconds_ <=> other.seconds_; }

 private:
  double seconds_;
};
