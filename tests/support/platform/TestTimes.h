// Time-outs shared by the concurrency tests: how long a wait that succeeds at once when the
// code is right may take before the test calls it broken, and the smallest wait that shows a
// wait giving up.
#pragma once

// Generous bound for waits that succeed at once when the code is right; it only limits how
// long a broken build hangs.
constexpr double kPatience = 20;
// The smallest time-out that shows a wait giving up.
constexpr double kShort = 0.05;
