// One-letter verdicts for the tables of expected outcomes in the runner's tests.
#pragma once

#include "Validations/VLValidationResult.h"

constexpr auto P = VLValidationResultPassed;
constexpr auto I = VLValidationResultInconclusive;
constexpr auto F = VLValidationResultFailed;
