// What is measured in each mount mode, and the bounds: a table for each model.
//
// Margins: a bound is two to ten times what 20 000 poses of several seeds have shown, and up to a hundred times where
// the worst error grows without end towards a singularity.
#include "accuracy/Strata.h"

#include <algorithm>
#include <iterator>
#include <span>

#include "KORInterface/OrientationModel.h"

namespace kor::accuracy {

namespace {

// Poses that more than one model is measured with.
constexpr Stratum kNearLevel = {
    .name = "near level", .poses = "tilt 0.01 to 1, elevation up to 10", .elevation = {0, 10}, .tilt = {0.01, 1}};
constexpr Stratum kTilted = {.name = "tilted", .poses = "tilt 0.01 to 5, elevation up to 30"};
constexpr Stratum kStronglyTilted = {
    .name = "strongly tilted", .poses = "tilt 5 to 20, elevation up to 45", .elevation = {0, 45}, .tilt = {5, 20}};
constexpr Stratum kSteep = {
    .name = "steep elevation", .poses = "tilt up to 5, elevation 60 to 80", .elevation = {60, 80}};
constexpr Stratum kQuadrant1 = {.name = "quadrant 1", .poses = "bearing 0 to 90", .bearing = {0, 90}};
constexpr Stratum kQuadrant2 = {.name = "quadrant 2", .poses = "bearing 90 to 180", .bearing = {90, 180}};
constexpr Stratum kQuadrant3 = {.name = "quadrant 3", .poses = "bearing 180 to 270", .bearing = {180, 270}};
constexpr Stratum kQuadrant4 = {.name = "quadrant 4", .poses = "bearing 270 to 360", .bearing = {270, 360}};
constexpr Stratum kLevelTarget = {
    .name = "target level with tracker", .poses = "height 0.1 to 10 mm", .elevation = {0, 0}, .height = {0.1, 10}};
constexpr Stratum kNearVertical = {.name = "target near the vertical",
                                   .poses = "tilt 0.01 to 0.05, elevation 85 to 89.9",
                                   .elevation = {85, 89.9},
                                   .tilt = {0.01, 0.05}};
constexpr Stratum kRolled = {.name = "rolled", .poses = "roll 60 to 80 about the line of sight", .roll = {60, 80}};
constexpr Stratum kThroughEngine = {.name = "through the engine",
                                    .poses = "as tilted; single-precision readings, tables, thermal factors",
                                    .route = Route::engine};
constexpr Stratum kWithNoise = {
    .name = "with noise", .poses = "as tilted; noise on encoders, levels and position", .route = Route::noisy};
constexpr Stratum kMoving = {.name = "moving", .poses = "up to 100 mm/s and 1 degree/s", .route = Route::moving};
constexpr Stratum kRolledTooFar = {
    .name = "rolled too far", .poses = "roll 100 to 170 about the line of sight", .roll = {100, 170}};

// A stratum and what a model has shown in it.
constexpr Stratum measured(Stratum stratum, const Bounds& bounds, std::string_view inherent = {})
{
    stratum.bounds = bounds;
    stratum.inherent = inherent;
    return stratum;
}

// The same where height and level Y have the same sign.
constexpr Stratum sameSign(const Stratum& stratum, const Bounds& bounds)
{
    Stratum made = measured(stratum, bounds);
    made.side = 1;
    return made;
}

constexpr std::string_view kWrongSide = "height and level Y differ in sign: the formula takes the height's magnitude";

// Where height and level Y have the same sign the model is exact: side 1. Elsewhere its formula takes the height's
// magnitude.
constexpr Stratum kDualLevel[] = {
    sameSign(kNearLevel, {5e-13, 5e-12}),
    sameSign(kTilted, {4e-12, 3e-11}),
    sameSign(kStronglyTilted, {1e-11, 2e-10}),
    sameSign(kSteep, {6e-12, 3e-10}),
    sameSign(kQuadrant1, {4e-12, 3e-11}),
    sameSign(kQuadrant2, {4e-12, 3e-11}),
    sameSign(kQuadrant3, {4e-12, 3e-11}),
    sameSign(kQuadrant4, {4e-12, 3e-11}),
    sameSign(kLevelTarget, {2e-12, 3e-11}),
    sameSign(kNearVertical, {2e-12, 2e-09}),
    sameSign(kRolled, {2e-11, 2e-10}),
    sameSign(kThroughEngine, {6e-06, 5e-05}),
    sameSign(kWithNoise, {0.002, 0.01}),
    sameSign({.name = "moving",
              .poses = "up to 100 mm/s and 1 degree/s",
              .elevation = {20, 30},
              .tilt = {4.5, 5},
              .route = Route::moving},
             {1.5e-05, 5e-05}),
    {.name = "near level, wrong side",
     .poses = "tilt 0.01 to 1, elevation up to 30",
     .tilt = {0.01, 1},
     .side = -1,
     .bounds = {0.002, 0.05, 0.001},
     .inherent = kWrongSide},
    {.name = "tilted, wrong side",
     .poses = "tilt 0.01 to 5, elevation up to 30",
     .side = -1,
     .bounds = {0.05, 1, 0.02},
     .inherent = kWrongSide},
    {.name = "strongly tilted, wrong side",
     .poses = "tilt 5 to 20, elevation up to 45",
     .elevation = {0, 45},
     .tilt = {5, 20},
     .side = -1,
     .bounds = {3, 40, 1},
     .inherent = kWrongSide},
    {.name = "both levels in the dead band",
     .poses = "tilt up to 0.001",
     .tilt = {1e-05, 0.001},
     .side = 2,
     .bounds = {0.001, 0.002, 0.0001},
     .inherent = "readings below 0.001 degrees are taken as zero"},
};

// Beyond 90 degrees of roll the mirrored solution is off by twice what is beyond, 20 to 160 degrees and some of the
// tilt.
constexpr Stratum kPendulum[] = {
    measured(kNearLevel, {1e-10, 1e-09}),
    measured(kTilted, {2e-10, 2e-09}),
    measured(kStronglyTilted, {1e-10, 2e-08}),
    measured(kSteep, {1e-10, 2e-08}),
    measured(kQuadrant1, {2e-10, 2e-09}),
    measured(kQuadrant2, {2e-10, 2e-09}),
    measured(kQuadrant3, {2e-10, 2e-09}),
    measured(kQuadrant4, {2e-10, 2e-09}),
    measured(kLevelTarget, {1e-10, 2e-06}, "the height divides: digits are lost as it vanishes"),
    measured(kNearVertical, {3e-09, 0.0001}, "the search's triangle shrinks to a line: digits are lost"),
    measured(kRolled, {3e-10, 5e-06}),
    measured(kThroughEngine, {6e-06, 5e-05}),
    measured(kWithNoise, {0.002, 0.01}),
    measured(kMoving, {1.5e-05, 5e-05}),
    {.name = "oblique pendulum",
     .poses = "as tilted; the pendulum 0.8 and 1.2 degrees off the axis",
     .oblique = true,
     .bounds = {0.0015, 0.003, 0.0005},
     .inherent = "the search stops within 0.001 degrees, always from the same side"},
    {.name = "pendulum level",
     .poses = "tilt up to 0.002, the pendulum within 0.001 of the horizon",
     .tilt = {1e-05, 0.002},
     .side = 2,
     .bounds = {0.002, 0.004, 0.0005},
     .inherent = "readings below 0.001 degrees are taken as zero"},
    measured(kRolledTooFar, {115, 175, 120}, "of two solutions the one within 90 degrees of roll is taken"),
};

// Exact for any orientation.
constexpr Stratum kPolarizer[] = {
    measured(kNearLevel, {1e-13, 5e-13}),
    measured(kTilted, {1e-13, 5e-13}),
    measured(kStronglyTilted, {1e-13, 5e-13}),
    measured(kSteep, {1e-13, 1e-12}),
    measured(kQuadrant1, {1e-13, 5e-13}),
    measured(kQuadrant2, {1e-13, 5e-13}),
    measured(kQuadrant3, {1e-13, 5e-13}),
    measured(kQuadrant4, {1e-13, 5e-13}),
    measured(kLevelTarget, {1e-13, 5e-13}),
    measured(kNearVertical, {5e-13, 2e-11}),
    {.name = "rolled all round",
     .poses = "roll up to 180 about the line of sight",
     .roll = {0, 180},
     .bounds = {1e-13, 5e-13}},
    {.name = "upside down", .poses = "as tilted, the base's z down", .otherSideUp = true, .bounds = {1e-13, 5e-13}},
    measured(kThroughEngine, {6e-06, 5e-05}),
    measured(kWithNoise, {0.002, 0.01}),
    measured(kMoving, {1.5e-05, 5e-05}),
};

constexpr Stratum kThreeVectors[] = {
    measured(kNearLevel, {1e-10, 5e-10}),
    measured(kTilted, {1e-10, 5e-10}),
    measured(kStronglyTilted, {1e-10, 1e-09}),
    measured(kSteep, {1e-10, 1e-09}),
    measured(kQuadrant1, {1e-10, 5e-10}),
    measured(kQuadrant2, {1e-10, 5e-10}),
    measured(kQuadrant3, {1e-10, 5e-10}),
    measured(kQuadrant4, {1e-10, 5e-10}),
    measured(kLevelTarget, {1e-10, 5e-10}),
    measured(kNearVertical, {2e-09, 5e-05}),
    measured(kRolled, {2e-10, 2e-09}),
    measured(kThroughEngine, {6e-06, 5e-05}),
    measured(kWithNoise, {0.002, 0.01}),
    measured(kMoving, {1.5e-05, 5e-05}),
    {.name = "sight not square to level",
     .poses = "as tilted; sight and axes skew by 0.2 to 0.4 degrees",
     .oblique = true,
     .oddModeOnly = true,
     .bounds = {1, 4, 0.1},
     .inherent = "2 tan(elevation) times the cosine between sight and level axis"},
    measured(kRolledTooFar, {115, 175, 120}, "of two solutions the one within 90 degrees of roll is taken"),
    {.name = "base on the other side",
     .poses = "as tilted, the base's z down",
     .otherSideUp = true,
     .bounds = {180, 180.1, 150},
     .inherent = "the parity says which side is up"},
};

// Where an angle of the two levels' solutions lies near 180 degrees, noise puts them on either side of it, and their
// weighted mean is up to a quarter turn away.
constexpr Stratum kTwoLevels[] = {
    measured(kNearLevel, {1e-10, 5e-10}),
    measured(kTilted, {2e-10, 5e-10}),
    measured(kStronglyTilted, {2e-10, 1e-09}),
    measured(kSteep, {2e-10, 4e-09}),
    measured(kQuadrant1, {2e-10, 5e-10}),
    measured(kQuadrant2, {2e-10, 5e-10}),
    measured(kQuadrant3, {2e-10, 5e-10}),
    measured(kQuadrant4, {2e-10, 5e-10}),
    measured(kLevelTarget, {1e-10, 5e-10}),
    measured(kNearVertical, {2e-09, 1e-05}),
    {.name = "rolled", .poses = "roll 40 to 60 about the line of sight", .roll = {40, 60}, .bounds = {2e-10, 4e-09}},
    measured(kThroughEngine, {1e-05, 5e-05}),
    measured(kWithNoise, {0.15, 1, 0.01}, "the noise of the position becomes an acceleration, and that a tilt"),
    measured(kMoving, {0.03, 0.06, 0.0001},
             "levels are read one sample later than the sight; truth of two samples before"),
    {.name = "swinging",
     .poses = "100 mm/s2 at 0.5 Hz",
     .route = Route::moving,
     .swing = 100,
     .bounds = {0.1, 0.2, 0.001},
     .inherent = "the compensated acceleration is older than the levels; truth of two samples before"},
    {.name = "noise at the half turn",
     .poses = "tilt 0.01 to 0.05, an angle of the stage within 0.002 of 180",
     .tilt = {0.01, 0.05},
     .bearing = {269, 271},
     .route = Route::noisy,
     .side = 2,
     .bounds = {100, 100, 10},
     .inherent = "the mean of both levels' angles is meaningless where one of them passes 180 degrees"},
    {.name = "base on the other side",
     .poses = "as tilted, on the side that the parity does not expect",
     .otherSideUp = true,
     .bounds = {180, 180.1, 150},
     .inherent = "the parity says which side is up"},
};

std::span<const Stratum> tableOf(OrientationModel model)
{
    switch (model) {
    case OrientationModel::dualLevel:
        return kDualLevel;
    case OrientationModel::polarizer:
        return kPolarizer;
    case OrientationModel::threeVectors:
        return kThreeVectors;
    case OrientationModel::twoLevels:
        return kTwoLevels;
    default:
        return kPendulum;
    }
}

} // namespace

std::vector<Stratum> strataOf(int mode)
{
    std::vector<Stratum> strata;
    std::ranges::copy_if(tableOf(ModelOf(mode)), std::back_inserter(strata),
                         [mode](const Stratum& stratum) { return mode % 2 == 1 || !stratum.oddModeOnly; });
    return strata;
}

} // namespace kor::accuracy
