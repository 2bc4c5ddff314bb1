// Times and durations as the reports write them.
#pragma once

#include <ctime>
#include <string>

// Returns `time` as UTC "YYYY-MM-DDTHH:MM:SSZ".
std::string vl_utcTimestamp(std::time_t time);
// Returns a duration for people: "850 µs", "12 ms", "1.25 s", "2 min 5 s".
std::string vl_durationText(double seconds);
