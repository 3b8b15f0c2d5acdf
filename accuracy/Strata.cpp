// What is measured in each mount mode, and the bounds.

#include "accuracy/ClosedLoop.h"

namespace kor::accuracy {

using namespace simulation;

namespace {

// Margins: a bound is two to ten times what 20 000 poses of several seeds have shown, and up to a hundred times where
// the worst error grows without end towards a singularity.
struct Bounds {
    double median;
    double worst;
};

Stratum plain(const char* name, const char* poses, Bounds bounds)
{
    Stratum s;
    s.name = name;
    s.poses = poses;
    s.median = bounds.median;
    s.worst = bounds.worst;
    return s;
}

// Shared by all models: the ranges in which each of them is exact.
std::vector<Stratum> common(Bounds near, Bounds usual, Bounds strong, Bounds steep)
{
    std::vector<Stratum> strata;
    Stratum s = plain("near level", "tilt 0.01 to 1, elevation up to 10", near);
    s.mostTilt = 1.0;
    s.mostElevation = 10.0;
    strata.push_back(s);

    strata.push_back(plain("tilted", "tilt 0.01 to 5, elevation up to 30", usual));

    s = plain("strongly tilted", "tilt 5 to 20, elevation up to 45", strong);
    s.leastTilt = 5.0;
    s.mostTilt = 20.0;
    s.mostElevation = 45.0;
    strata.push_back(s);

    s = plain("steep elevation", "tilt up to 5, elevation 60 to 80", steep);
    s.leastElevation = 60.0;
    s.mostElevation = 80.0;
    strata.push_back(s);

    const char* const quadrants[4] = {"quadrant 1", "quadrant 2", "quadrant 3", "quadrant 4"};
    const char* const bearings[4] = {"bearing 0 to 90", "bearing 90 to 180", "bearing 180 to 270",
                                     "bearing 270 to 360"};
    for (int i = 0; i < 4; ++i) {
        s = plain(quadrants[i], bearings[i], usual);
        s.leastBearing = 90.0 * i;
        s.mostBearing = 90.0 * (i + 1);
        strata.push_back(s);
    }
    return strata;
}

Stratum nearVertical(Bounds bounds)
{
    Stratum s = plain("target near the vertical", "tilt 0.01 to 0.05, elevation 85 to 89.9", bounds);
    s.leastElevation = 85.0;
    s.mostElevation = 89.9;
    s.mostTilt = 0.05; // or the target would lie beyond the base's own vertical
    return s;
}

Stratum levelTarget(Bounds bounds)
{
    Stratum s = plain("target level with tracker", "height 0.1 to 10 mm", bounds);
    s.leastElevation = s.mostElevation = 0.0;
    s.leastHeight = 0.1;
    s.mostHeight = 10.0;
    return s;
}

Stratum rolled(const char* name, const char* poses, double least, double most, Bounds bounds)
{
    Stratum s = plain(name, poses, bounds);
    s.leastRoll = least;
    s.mostRoll = most;
    return s;
}

void inherent(Stratum& s, const std::string& why, double atLeast)
{
    s.inherent = why;
    s.atLeast = atLeast;
}

// The solution mirrored at 90 degrees of roll: off by twice the roll beyond 90 degrees, 20 to 160, and some of the
// tilt.
Stratum rolledTooFar()
{
    Stratum s = rolled("rolled too far", "roll 100 to 170 about the line of sight", 100.0, 170.0, {115.0, 175.0});
    inherent(s, "of two solutions the one within 90 degrees of roll is taken", 120.0);
    return s;
}

void throughEngine(std::vector<Stratum>& strata, Bounds exact, Bounds noisy, Bounds moving)
{
    Stratum s = plain("through the engine", "as tilted; single-precision readings, tables, thermal factors", exact);
    s.route = Route::engine;
    strata.push_back(s);

    s = plain("with noise", "as tilted; noise on encoders, levels and position", noisy);
    s.route = Route::noisy;
    strata.push_back(s);

    s = plain("moving", "up to 100 mm/s and 1 degree/s", moving);
    s.route = Route::moving;
    strata.push_back(s);
}

std::vector<Stratum> dualLevel()
{
    std::vector<Stratum> strata = common({5e-13, 5e-12}, {4e-12, 3e-11}, {1e-11, 2e-10}, {6e-12, 3e-10});
    strata.push_back(levelTarget({2e-12, 3e-11}));
    strata.push_back(nearVertical({2e-12, 2e-9}));
    strata.push_back(rolled("rolled", "roll 60 to 80 about the line of sight", 60.0, 80.0, {2e-11, 2e-10}));
    throughEngine(strata, {6e-6, 5e-5}, {2e-3, 1e-2}, {1.5e-5, 5e-5});
    for (Stratum& s : strata) {
        s.side = 1; // height and level Y of the same sign: there the model is exact
    }
    for (Stratum& s : strata) {
        if (s.route == Route::moving) {
            s.leastTilt = 4.5;
            s.leastElevation = 20.0;
        }
    }

    constexpr const char* kWhy = "height and level Y differ in sign: the formula takes the height's magnitude";
    Stratum s = plain("near level, wrong side", "tilt 0.01 to 1, elevation up to 30", {2e-3, 5e-2});
    s.mostTilt = 1.0;
    s.side = -1;
    inherent(s, kWhy, 1e-3);
    strata.push_back(s);

    s = plain("tilted, wrong side", "tilt 0.01 to 5, elevation up to 30", {5e-2, 1.0});
    s.side = -1;
    inherent(s, kWhy, 2e-2);
    strata.push_back(s);

    s = plain("strongly tilted, wrong side", "tilt 5 to 20, elevation up to 45", {3.0, 40.0});
    s.leastTilt = 5.0;
    s.mostTilt = 20.0;
    s.mostElevation = 45.0;
    s.side = -1;
    inherent(s, kWhy, 1.0);
    strata.push_back(s);

    s = plain("both levels in the dead band", "tilt up to 0.001", {1e-3, 2e-3});
    s.leastTilt = 1e-5;
    s.mostTilt = 1e-3;
    s.side = 2;
    inherent(s, "readings below 0.001 degrees are taken as zero", 1e-4);
    strata.push_back(s);
    return strata;
}

std::vector<Stratum> pendulum()
{
    std::vector<Stratum> strata = common({1e-10, 1e-9}, {2e-10, 2e-9}, {1e-10, 2e-8}, {1e-10, 2e-8});
    strata.push_back(levelTarget({1e-10, 2e-6}));
    inherent(strata.back(), "the height divides: digits are lost as it vanishes", 0.0);
    strata.push_back(nearVertical({3e-9, 1e-4}));
    inherent(strata.back(), "the search's triangle shrinks to a line: digits are lost", 0.0);
    strata.push_back(rolled("rolled", "roll 60 to 80 about the line of sight", 60.0, 80.0, {3e-10, 5e-6}));
    throughEngine(strata, {6e-6, 5e-5}, {2e-3, 1e-2}, {1.5e-5, 5e-5});

    Stratum s = plain("oblique pendulum", "as tilted; the pendulum 0.8 and 1.2 degrees off the axis", {1.5e-3, 3e-3});
    s.oblique = true;
    inherent(s, "the search stops within 0.001 degrees, always from the same side", 5e-4);
    strata.push_back(s);

    s = plain("pendulum level", "tilt up to 0.002, the pendulum within 0.001 of the horizon", {2e-3, 4e-3});
    s.leastTilt = 1e-5;
    s.mostTilt = 2e-3;
    s.side = 2;
    inherent(s, "readings below 0.001 degrees are taken as zero", 5e-4);
    strata.push_back(s);

    strata.push_back(rolledTooFar());
    return strata;
}

std::vector<Stratum> polarizer()
{
    std::vector<Stratum> strata = common({1e-13, 5e-13}, {1e-13, 5e-13}, {1e-13, 5e-13}, {1e-13, 1e-12});
    strata.push_back(levelTarget({1e-13, 5e-13}));
    strata.push_back(nearVertical({5e-13, 2e-11}));
    strata.push_back(rolled("rolled all round", "roll up to 180 about the line of sight", 0.0, 180.0, {1e-13, 5e-13}));
    Stratum s = plain("upside down", "as tilted, the base's z down", {1e-13, 5e-13});
    s.otherSideUp = true;
    strata.push_back(s);
    throughEngine(strata, {6e-6, 5e-5}, {2e-3, 1e-2}, {1.5e-5, 5e-5});
    return strata;
}

std::vector<Stratum> threeVectors(int mode)
{
    std::vector<Stratum> strata = common({1e-10, 5e-10}, {1e-10, 5e-10}, {1e-10, 1e-9}, {1e-10, 1e-9});
    strata.push_back(levelTarget({1e-10, 5e-10}));
    strata.push_back(nearVertical({2e-9, 5e-5}));
    strata.push_back(rolled("rolled", "roll 60 to 80 about the line of sight", 60.0, 80.0, {2e-10, 2e-9}));
    throughEngine(strata, {6e-6, 5e-5}, {2e-3, 1e-2}, {1.5e-5, 5e-5});

    Stratum s;
    if (mode % 2 == 1) {
        s = plain("sight not square to level", "as tilted; sight and axes skew by 0.2 to 0.4 degrees", {1.0, 4.0});
        s.oblique = true;
        inherent(s, "2 tan(elevation) times the cosine between sight and level axis", 0.1);
        strata.push_back(s);
    }
    strata.push_back(rolledTooFar());
    s = plain("base on the other side", "as tilted, the base's z down", {180.0, 180.1});
    s.otherSideUp = true;
    inherent(s, "the parity says which side is up", 150.0);
    strata.push_back(s);
    return strata;
}

std::vector<Stratum> twoLevels()
{
    std::vector<Stratum> strata = common({1e-10, 5e-10}, {2e-10, 5e-10}, {2e-10, 1e-9}, {2e-10, 4e-9});
    strata.push_back(levelTarget({1e-10, 5e-10}));
    strata.push_back(nearVertical({2e-9, 1e-5}));
    strata.push_back(rolled("rolled", "roll 40 to 60 about the line of sight", 40.0, 60.0, {2e-10, 4e-9}));
    throughEngine(strata, {1e-5, 5e-5}, {1.5e-1, 1.0}, {3e-2, 6e-2});
    inherent(strata[strata.size() - 2], "the noise of the position becomes an acceleration, and that a tilt", 1e-2);
    inherent(strata.back(), "levels are read one sample later than the sight; truth of two samples before", 1e-4);

    Stratum s = plain("swinging", "100 mm/s2 at 0.5 Hz", {1e-1, 2e-1});
    s.route = Route::moving;
    s.swing = 100.0;
    inherent(s, "the compensated acceleration is older than the levels; truth of two samples before", 1e-3);
    strata.push_back(s);

    // Where an angle of the two levels' solutions lies near 180 degrees, noise puts them on either side of it, and
    // their weighted mean is up to a quarter turn away.
    s = plain("noise at the half turn", "tilt 0.01 to 0.05, an angle of the stage within 0.002 of 180", {100.0, 100.0});
    s.route = Route::noisy;
    s.mostTilt = 0.05;
    s.leastBearing = 269.0;
    s.mostBearing = 271.0;
    s.side = 2;
    inherent(s, "the mean of both levels' angles is no mean where one of them passes 180 degrees", 10.0);
    strata.push_back(s);

    s = plain("base on the other side", "as tilted, on the side that the parity does not expect", {180.0, 180.1});
    s.otherSideUp = true;
    inherent(s, "the parity says which side is up", 150.0);
    strata.push_back(s);
    return strata;
}

} // namespace

std::vector<Stratum> strataOf(int mode)
{
    switch (modelOf(mode)) {
    case Model::dualLevel:
        return dualLevel();
    case Model::polarizer:
        return polarizer();
    case Model::threeVectors:
        return threeVectors(mode);
    case Model::twoLevels:
        return twoLevels();
    default:
        return pendulum();
    }
}

} // namespace kor::accuracy
