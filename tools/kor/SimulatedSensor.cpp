#include "tools/kor/SimulatedSensor.h"

#include <optional>
#include <string>

#include "tools/kor/Exit.h"

namespace kor::tool {

simulation::SensorParameters sensorOf(CKorPrm& prm, int mode)
{
    const std::optional<simulation::SensorParameters> sensor = simulation::parametersOf(prm, mode);
    if (!sensor) {
        throw Failure(kExitSoftware, "the parameter set does not hand out what it has read");
    }
    if (const std::string why = sensor->unusable(); !why.empty()) {
        throw Failure(kExitDataError, "the parameters cannot be simulated: " + why);
    }
    return *sensor;
}

} // namespace kor::tool
