// The simulated sensor that a parameter file describes.
#pragma once

#include "KORInterface/CKorPrm.h"

#include "simulation/Sensor.h"

namespace kor::tool {

/// Throws Failure: 65 if no reading can be computed from the numbers.
simulation::SensorParameters sensorOf(CKorPrm& prm, int mode);

} // namespace kor::tool
