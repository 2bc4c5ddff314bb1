// Umbrella header of the validation harness: everything a runner or a suite needs.
#pragma once

#include "Vaultline/Vaultline.h"
#include "Validations/VLExpectation.h"
#include "Validations/VLValidationErrors.h"
#include "Validations/VLValidationLoggingItemManager.h"
#include "Validations/VLValidationResult.h"
#include "Validations/VLValidator.h"
#include "Validations/VLValidationCase.h"
#include "Validations/VLValidationEligibility.h"
#include "Validations/VLValidationOperation.h"
#include "Validations/VLValidationSuiteClass.h"
