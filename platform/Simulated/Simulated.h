// Umbrella header of the simulated provider service: everything a program needs to run the
// library against the in-process reference provider.
#pragma once

#include "Simulated/VLSimulatedProviderService.h"
#include "Simulated/VLSimulatedSettings.h"
#include "Vaultline/Vaultline.h"
