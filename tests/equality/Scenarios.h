// The comparisons: each runs one scenario from its seed, adds to the tally, and throws a Difference.
#pragma once

#include "equality/Difference.h"

#include <cstdint>
#include <string>

namespace kor_test {

// Engines whose first mount mode is `mode`: configured, reconfigured, copied, fed.
void runEngineScenario(std::uint64_t seed, int mode, Tally& tally);

// Models called by their own interface.
enum class ModelChoice { dualLevel, pendulum, polarizer, threeVec, twoLevelFirst, twoLevelSecond };
void runModelScenario(std::uint64_t seed, ModelChoice choice, Tally& tally);

// The support routines on arrays.
void runSupportScenario(std::uint64_t seed, Tally& tally);

// All samples of a shipped recording, in machine and in local coordinates, with and without parameter store.
void runRecording(const std::string& folder, Tally& tally);

} // namespace kor_test
