// Umbrella header of the validation harness: everything a runner or a suite needs.
#pragma once

#include "Vaultline/Vaultline.h"
