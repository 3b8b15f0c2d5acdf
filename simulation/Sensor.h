// A sensor that does not exist: which readings would it deliver, held like this?
#pragma once

#include <optional>
#include <string>

#include "KORInterface/CKor.h"
#include "KORInterface/CKorPrm.h"
#include "KORInterface/OrientationModel.h"

#include "simulation/Rotation.h"
#include "simulation/Tables.h"

namespace kor::simulation {

/// A true pose. The base is the part of the sensor that does not turn with the axes; its z is the azimuth axis.
struct Pose {
    Mat3 base = kIdentity;         ///< base to tracker frame
    Vec3 position = {0, 0, 0};     ///< target point, tracker frame, mm
    Vec3 acceleration = {0, 0, 0}; ///< of the target point, mm/s2; felt by the levels of modes 9 and 10
};

/// What the orientation models take: the readings after all corrections, degrees.
struct Readings {
    double levelX = 0.0;
    double levelY = 0.0;
    double azimuth = 0.0;
    double elevation = 0.0;
};

using Model = OrientationModel;

/// All numbers that describe a sensor, as the engine has them.
struct SensorParameters {
    int mode = 1;
    float encoderOffset[2] = {0, 0}; ///< radians
    float tiltOffset[2] = {0, 0};
    float thermal[4] = {0, 1, 0, 1};
    float factors[8] = {0, 0, 0, 0, 1, 1, 1, 0};
    float qvc[6] = {0, 0, 0, 0, 0, 0};
    float level1[7] = {0, 0, 0, 0, 0, 0, 1};
    float level2[7] = {0, 0, 0, 0, 0, 0, 1};
    double machine[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1}; ///< as the engine has it: the inverse of the file's
    double local[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    EncoderTable azimuthTable;
    EncoderTable elevationTable;
    LevelTable levelXTable;
    LevelTable levelYTable;

    /// The first number from which no reading can be computed, with the reason; empty if all are usable.
    std::string unusable() const;
    void configure(CKor& engine) const;
};

/// The numbers of a parameter set, for a mount mode that need not be its own. Nothing if a getter of
/// the set fails.
std::optional<SensorParameters> parametersOf(CKorPrm& prm, int mode);

/// Readings of a pose, with figures that say how exact the model is there.
struct Forward {
    Readings readings;
    double azimuthTurn = 0.0; ///< of the azimuth stage about the base's z, radians
    double heightTimesLevelY = 0.0;
    double rollMargin = 0.0; ///< modes 3, 4, 7 and above: above 0 if the model picks the right one of two solutions
    double sightAlongLevel = 0.0; ///< modes 7 and 8: cosine between line of sight and level axis
    double pendulumRise = 0.0;    ///< modes 3 and 4: of the pendulum's direction over the horizon, degrees
    double toHalfTurn =
        180.0; ///< modes 9 and 10: how far the stage's angles about x and z are from a half turn, degrees
};

/// Corrected readings of a perfect sensor. NaN among them if it cannot look at the tracker in this pose.
///
/// azimuthNear: the azimuth stage is said to have turned by the angle nearest to this one, radians, so that the azimuth
/// counts on over full turns.
Forward forwardReadings(const SensorParameters& sensor, const Pose& pose, double azimuthNear);

/// A level's thermal factor, in the engine's single precision. which: 0 level X, 1 level Y.
float thermalGain(const SensorParameters& sensor, int which, float temperature);

/// In modes 5 and 6 the engine divides level X by level Y beyond this magnitude.
constexpr float kRatioThreshold = 2000.0f;
inline bool formsRatio(int mode)
{
    return mode == 5 || mode == 6;
}

} // namespace kor::simulation
