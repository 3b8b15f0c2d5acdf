#include "simulation/Motion.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

#include "simulation/Random.h"

namespace kor::simulation {

const char* const kMotionNames = "static, circle, roll, swing or random";

namespace {

using portable::kDegree;
using portable::kPi;

// A smooth sum of sines about a centre.
struct Wave {
    struct Term {
        double amplitude;
        double frequency; // Hz
        double phase = 0.0;
    };
    double centre;
    std::vector<Term> terms;

    Wave(Random& random, double middle, std::vector<Term> sines) : centre(middle), terms(std::move(sines))
    {
        for (Term& term : terms) {
            term.phase = random.uniform(0.0, 2.0 * kPi);
        }
    }

    double operator()(double t) const
    {
        double value = centre;
        for (const Term& term : terms) {
            value += term.amplitude * portable::sine(2.0 * kPi * term.frequency * t + term.phase);
        }
        return value;
    }
};

// Place of the target point and attitude of the base there, as the sensor sees them.
struct Stance {
    double bearing;  // of the target point, degrees
    double distance; // horizontal, mm
    double height;   // mm
    double azimuth;  // turn of the azimuth stage, degrees (but for the tilt)
    double tiltX;    // of the base about x, then y, degrees
    double tiltY;
};

// How a mount mode wants to be held.
struct Hold {
    double lineOfSight; // direction of the base that looks away from the tracker at azimuth 0, degrees from x
    bool upsideDown;
    double tiltX, tiltY; // centres
};

Hold holdOf(int mode)
{
    switch (ModelOf(mode)) {
    case Model::dualLevel:
        return {0.0, false, 6.0, 1.0}; // elevation axis rising, target above: there the model is exact
    case Model::pendulum:
        return {0.0, false, 1.0, -1.0};
    case Model::twoLevels:
        // Level X stays away from zero, which would switch the model off.
        return mode % 2 == 1 ? Hold{90.0, true, -2.0, 8.0} : Hold{90.0, false, 2.0, -8.0};
    default:
        return {90.0, false, 1.0, -1.0};
    }
}

Mat3 attitude(const Stance& stance, const Hold& hold)
{
    const Mat3 tilt = turnX(stance.tiltX * kDegree) * turnY(stance.tiltY * kDegree);
    if (hold.upsideDown) {
        return turnZ((stance.bearing + stance.azimuth + hold.lineOfSight) * kDegree) * tilt * kUpsideDown;
    }
    return turnZ((stance.bearing - stance.azimuth - hold.lineOfSight) * kDegree) * tilt;
}

Vec3 place(const Stance& stance)
{
    const double bearing = stance.bearing * kDegree;
    return {stance.distance * portable::cosine(bearing), stance.distance * portable::sine(bearing), stance.height};
}

// Held still for two seconds in one pose after the other, with two smooth seconds in between.
class StaticPoses : public Motion {
public:
    StaticPoses(const Hold& hold, std::uint64_t seed) : m_hold(hold), m_seed(seed) {}

    Pose pose(double time) const override
    {
        constexpr double kHeld = 2.0;
        constexpr double kCycle = 4.0;
        const double cycle = std::floor(std::fmax(time, 0.0) / kCycle);
        const double part = std::fmax(0.0, time - cycle * kCycle - kHeld) / (kCycle - kHeld);
        const double s = part * part * part * (10.0 - part * (15.0 - 6.0 * part)); // starts and ends without a jerk
        const auto index = static_cast<std::uint64_t>(cycle);
        const Stance from = drawn(index);
        if (s <= 0.0) {
            return {attitude(from, m_hold), place(from), {}};
        }
        const Stance to = drawn(index + 1);
        const auto between = [s](double a, double b) { return a + s * (b - a); };
        const Stance now = {between(from.bearing, to.bearing), between(from.distance, to.distance),
                            between(from.height, to.height),   between(from.azimuth, to.azimuth),
                            between(from.tiltX, to.tiltX),     between(from.tiltY, to.tiltY)};
        return {attitude(now, m_hold), place(now), {}};
    }

private:
    // The last two are kept: most samples stand between the same poses as the sample before.
    const Stance& drawn(std::uint64_t index) const
    {
        Drawn& kept = m_drawn[index % 2];
        if (!kept.filled || kept.index != index) {
            kept = {true, index, draw(index)};
        }
        return kept.stance;
    }

    Stance draw(std::uint64_t index) const
    {
        Random random(m_seed, "pose " + std::to_string(index));
        Stance stance{};
        stance.bearing = random.uniform(30.0, 50.0);
        stance.distance = random.uniform(3800.0, 4600.0);
        stance.height = random.uniform(400.0, 1000.0);
        stance.azimuth = random.uniform(-20.0, 20.0);
        stance.tiltX = m_hold.tiltX + random.uniform(-3.0, 3.0);
        stance.tiltY = m_hold.tiltY + random.uniform(-3.0, 3.0);
        return stance;
    }

    struct Drawn {
        bool filled = false;
        std::uint64_t index = 0;
        Stance stance{};
    };

    Hold m_hold;
    std::uint64_t m_seed;
    mutable std::array<Drawn, 2> m_drawn;
};

// The target point goes round a level circle of half a metre's radius in ten seconds; the base keeps its attitude.
class Circle : public Motion {
public:
    explicit Circle(const Hold& hold)
        : m_stance{40.0, 4000.0, 650.0, 5.0, hold.tiltX, hold.tiltY}, m_base(attitude(m_stance, hold))
    {
    }

    Pose pose(double time) const override
    {
        const double angle = 2.0 * kPi * withinPeriod(time, 10.0) / 10.0;
        const Vec3 centre = place(m_stance);
        return {m_base,
                {centre[0] + 500.0 * portable::cosine(angle), centre[1] + 500.0 * portable::sine(angle), centre[2]},
                {}};
    }

private:
    Stance m_stance;
    Mat3 m_base;
};

// The base rolls by 30 degrees to both sides about the line from the tracker to the target point, which stays.
class Roll : public Motion {
public:
    explicit Roll(const Hold& hold)
        : m_stance{40.0, 4000.0, 650.0, 5.0, hold.tiltX, hold.tiltY}, m_base(attitude(m_stance, hold))
    {
    }

    Pose pose(double time) const override
    {
        const Vec3 P = place(m_stance);
        const double roll = 30.0 * portable::sine(2.0 * kPi * withinPeriod(time, 8.0) / 8.0) * kDegree;
        const double bearing = portable::arcTangent(P[1], P[0]);
        const double rise = portable::arcTangent(P[2], std::sqrt(P[0] * P[0] + P[1] * P[1]));
        const Mat3 sight = turnZ(bearing) * turnY(-rise); // takes x to the line of sight
        return {sight * turnX(roll) * transposed(sight) * m_base, P, {}};
    }

private:
    Stance m_stance;
    Mat3 m_base;
};

// To and fro across the line of sight with 100 mm/s2 at 0.5 Hz, and one degree of tilt with it.
class Swing : public Motion {
public:
    explicit Swing(const Hold& hold) : m_hold(hold) {}

    Pose pose(double time) const override
    {
        constexpr double kOmega = kPi; // 0.5 Hz
        constexpr double kReach = 100.0 / (kOmega * kOmega);
        const double s = portable::sine(kOmega * withinPeriod(time, 2.0));
        const Stance stance = {40.0, 4000.0, 650.0, 5.0, m_hold.tiltX + s, m_hold.tiltY};
        Vec3 P = place(stance);
        P[0] -= kReach * s * portable::sine(40.0 * kDegree);
        P[1] += kReach * s * portable::cosine(40.0 * kDegree);
        return {attitude(stance, m_hold), P, {}};
    }

private:
    Hold m_hold;
};

// Carried about by hand: everything wanders in slow sines.
class Wandering : public Motion {
public:
    Wandering(const Hold& hold, Random random)
        : m_hold(hold), m_bearing(random, 40.0, {{18.0, 0.041}, {4.0, 0.13}, {0.6, 0.47}}),
          m_distance(random, 4200.0, {{900.0, 0.037}, {180.0, 0.17}, {15.0, 0.61}}),
          m_height(random, 700.0, {{300.0, 0.053}, {90.0, 0.21}, {6.0, 0.55}}),
          m_azimuth(random, 3.0, {{20.0, 0.047}, {8.0, 0.15}, {1.5, 0.43}}),
          m_tiltX(random, hold.tiltX, {{2.4, 0.071}, {0.7, 0.23}, {0.1, 0.71}}),
          m_tiltY(random, hold.tiltY, {{2.4, 0.059}, {0.7, 0.19}, {0.1, 0.67}})
    {
    }

    Pose pose(double time) const override
    {
        const double t = withinPeriod(time, 1000.0); // of all waves together
        const Stance stance = {m_bearing(t), m_distance(t), m_height(t), m_azimuth(t), m_tiltX(t), m_tiltY(t)};
        return {attitude(stance, m_hold), place(stance), {}};
    }

private:
    Hold m_hold;
    Wave m_bearing, m_distance, m_height, m_azimuth, m_tiltX, m_tiltY;
};

} // namespace

double withinPeriod(double time, double period)
{
    constexpr double kFar = 1e5;
    return time < kFar ? time : std::fmod(time, period);
}

Pose poseAt(const Motion& motion, double time)
{
    constexpr double h = 0.005; // short against all motions, long against the rounding of the position
    Pose now = motion.pose(time);
    if (motion.held()) {
        return now;
    }
    const Vec3 before = motion.pose(time - h).position;
    const Vec3 after = motion.pose(time + h).position;
    for (std::size_t i = 0; i < 3; ++i) {
        now.acceleration[i] = (after[i] - 2.0 * now.position[i] + before[i]) / (h * h);
    }
    return now;
}

std::unique_ptr<Motion> builtInMotion(const std::string& name, int mountMode, std::uint64_t seed)
{
    const Hold hold = holdOf(mountMode);
    if (name == "static") {
        return std::make_unique<StaticPoses>(hold, seed);
    }
    if (name == "circle") {
        return std::make_unique<Circle>(hold);
    }
    if (name == "roll") {
        return std::make_unique<Roll>(hold);
    }
    if (name == "swing") {
        return std::make_unique<Swing>(hold);
    }
    if (name == "random") {
        return std::make_unique<Wandering>(hold, Random(seed, "motion"));
    }
    return nullptr;
}

} // namespace kor::simulation
