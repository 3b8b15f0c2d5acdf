// The orientation models by name: an addition beside the system's own interface.
#ifndef KORINTERFACE_ORIENTATIONMODEL_H
#define KORINTERFACE_ORIENTATIONMODEL_H

#include <cstdint>

namespace kor {

/// The orientation models that a mount mode may choose.
enum class OrientationModel : std::int32_t {
    none = 0,
    dualLevel = 1,
    pendulum = 2,
    polarizer = 3,
    threeVectors = 4,
    twoLevels = 5 ///< three vectors and two levels, second version
};

/// The model that the first choice of a mount mode creates.
inline OrientationModel ModelOf(int mountMode)
{
    switch (mountMode) {
    case 1:
    case 2:
        return OrientationModel::dualLevel;
    case 5:
    case 6:
        return OrientationModel::polarizer;
    case 7:
    case 8:
        return OrientationModel::threeVectors;
    case 9:
    case 10:
        return OrientationModel::twoLevels;
    default:
        return OrientationModel::pendulum;
    }
}

} // namespace kor

#endif
