// VLExitCode: the exit statuses of vlvalidate, the one place they are spelled. Every command
// returns one of these; the command line maps what went wrong onto them.
#pragma once

#include <csignal>

enum VLExitCode : int {
  VLExitPassed = 0,               // no case failed (with a baseline: no regression); also help and version
  VLExitFailed = 1,               // a case failed (with a baseline: a regression)
  VLExitUsage = 2,                // bad command line or bad input
  VLExitNotEligible = 3,          // the provider is not eligible for validation
  VLExitProviderUnavailable = 4,  // the provider could not be started or reached
  VLExitInconclusive = 5,         // with --inconclusive-exit: every case was inconclusive, none failed
  VLExitInterrupted = 130,        // stopped by SIGINT (SIGTERM: 143) before every case ran
};

// Returns the status of a run that `signal` stopped before every case ran: 128 plus the
// signal's number, as shells report a process the signal ended.
constexpr int vl_interruptedExitCode(int signal) { return 128 + signal; }
static_assert(vl_interruptedExitCode(SIGINT) == VLExitInterrupted);

// The exit statuses in words, for help texts.
inline constexpr const char* kVLExitCodesHelp =
    "Exit status: 0 no case failed; 1 a case failed (with --baseline: a regression); 2 usage or bad\n"
    "input; 3 the provider is not eligible; 4 the provider could not be started or reached;\n"
    "5 with --inconclusive-exit, every case was inconclusive and none failed; 130 (143)\n"
    "interrupted by SIGINT (SIGTERM) before every case ran.";
