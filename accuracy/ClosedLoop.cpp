#include "accuracy/ClosedLoop.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "KORInterface/CKorDualLevel.h"
#include "KORInterface/CKorPendulum.h"
#include "KORInterface/CKorPolarizer.h"
#include "KORInterface/CKorThreeVec.h"
#include "KORInterface/CKorThreeVec2Levelv2.h"
#include "KORInterface/Session.h"

#include "accuracy/Statistics.h"
#include "simulation/Motion.h"
#include "simulation/Random.h"
#include "simulation/Simulator.h"

namespace kor::accuracy {

using namespace simulation;

namespace {

using portable::kDegree;
using portable::kPi;

constexpr double kRate = 100.0;

// Right-handed turn about a unit vector, radians.
Mat3 turnAbout(const Vec3& axis, double angle)
{
    const double c = portable::cosine(angle);
    const double s = portable::sine(angle);
    const auto [x, y, z] = axis;
    return {c + x * x * (1 - c),     x * y * (1 - c) - z * s, x * z * (1 - c) + y * s,
            x * y * (1 - c) + z * s, c + y * y * (1 - c),     y * z * (1 - c) - x * s,
            x * z * (1 - c) - y * s, y * z * (1 - c) + x * s, c + z * z * (1 - c)};
}

double eitherSign(Random& random, double least, double most)
{
    const double size = random.uniform(least, most);
    return random.chance(0.5) ? size : -size;
}

bool upsideDown(int mode)
{
    return mode == 9;
}

Pose drawn(int mode, const Stratum& s, Random& random)
{
    const double distance = random.uniform(1000.0, 20000.0);
    const double bearing = random.uniform(s.bearing.least, s.bearing.most) * kDegree;
    const double elevation = eitherSign(random, s.elevation.least, s.elevation.most) * kDegree;
    const double level = distance * portable::cosine(elevation);
    const double height =
        s.height.most > 0.0 ? eitherSign(random, s.height.least, s.height.most) : distance * portable::sine(elevation);
    Pose pose;
    pose.position = {level * portable::cosine(bearing), level * portable::sine(bearing), height};

    const double about = random.uniform(0.0, 2.0 * kPi);
    const double tilt = random.uniform(s.tilt.least, s.tilt.most) * kDegree;
    const double heading = random.uniform(0.0, 2.0 * kPi);
    pose.base = turnAbout({portable::cosine(about), portable::sine(about), 0.0}, tilt) * turnZ(heading);
    if (s.roll.most > 0.0) {
        pose.base = turnAbout(unit(pose.position), eitherSign(random, s.roll.least, s.roll.most) * kDegree) * pose.base;
    }
    if (upsideDown(mode) != s.otherSideUp) {
        pose.base = pose.base * kUpsideDown;
    }
    return pose;
}

// Degrees; the pendulum model takes smaller angles as zero.
constexpr double kPendulumZero = 0.001;

bool belongsToDualLevel(const Stratum& s, const Forward& forward)
{
    const Readings& r = forward.readings;
    if (s.side == 0) {
        return true;
    }
    if (s.side == 2) {
        return std::fabs(r.levelX) < 0.001 && std::fabs(r.levelY) < 0.001;
    }
    const bool banded = std::fabs(r.levelX) < 0.001 || std::fabs(r.levelY) < 0.001;
    // On the way a moving sensor must not come to the other side.
    const bool far = s.route != Route::moving || std::fabs(r.levelY) > 4.0;
    return !banded && far && forward.heightTimesLevelY * s.side > 0.0;
}

bool belongsToPendulum(const Stratum& s, const Pose& pose, const Forward& forward)
{
    const double rise = std::fabs(forward.pendulumRise);
    if (s.side == 2) {
        return rise <= kPendulumZero;
    }
    if (rise < (s.route == Route::moving ? 4.0 : 2.0 * kPendulumZero)) {
        return false;
    }
    return s.side != 0 || s.height.most != 0.0 || std::fabs(pose.position[2]) >= 10.0;
}

bool belongsToTwoLevels(const Stratum& s, const Forward& forward)
{
    const bool moving = s.route == Route::moving;
    if (!moving && s.route != Route::noisy) {
        return true;
    }
    const double half = forward.toHalfTurn;
    return s.side == 2 ? half <= 0.002 : half >= (moving ? 2.5 : 1.0);
}

// Whether a pose belongs to its stratum; for some strata that depends on the sensor's readings.
bool belongs(const Stratum& s, int mode, const Pose& pose, const Forward& forward)
{
    const Readings& r = forward.readings;
    if (!std::isfinite(r.azimuth) || !std::isfinite(r.elevation) || !std::isfinite(r.levelY)) {
        return false;
    }
    const Model model = ModelOf(mode);
    if (model == Model::dualLevel) {
        return belongsToDualLevel(s, forward);
    }
    if (model == Model::polarizer || s.otherSideUp || s.roll.most > 90.0) {
        return true;
    }
    if (model == Model::pendulum && !belongsToPendulum(s, pose, forward)) {
        return false;
    }
    if (model == Model::twoLevels && !belongsToTwoLevels(s, forward)) {
        return false;
    }
    // On the right side of the two solutions, and well on it if noise or roll could lead to the other one.
    return forward.rollMargin > (s.roll.most > 0.0 || s.route == Route::noisy ? 0.05 : 0.0);
}

struct Case {
    Pose pose;
    Forward forward;
};

Case drawnCase(const SensorParameters& sensor, const Stratum& s, Random& random)
{
    for (;;) {
        Case made;
        made.pose = drawn(sensor.mode, s, random);
        made.forward = forwardReadings(sensor, made.pose, 0.0);
        if (belongs(s, sensor.mode, made.pose, made.forward)) {
            return made;
        }
    }
}

class Collected {
public:
    explicit Collected(Finding& finding) : m_finding(finding) {}

    void add(bool formed, const double* matrix, const Mat3& truth)
    {
        ++m_finding.samples;
        Mat3 got{};
        std::copy_n(matrix, 9, got.begin());
        if (!formed || !std::all_of(got.begin(), got.end(), [](double e) { return std::isfinite(e); })) {
            ++m_finding.without;
            return;
        }
        m_errors.push_back(angleBetween(got, truth));
    }

    void finish()
    {
        const Spread spread = spreadOf(m_errors);
        m_finding.median = spread.median;
        m_finding.high = spread.high;
        m_finding.worst = spread.worst;
    }

private:
    Finding& m_finding;
    std::vector<double> m_errors;
};

using Advance = std::function<void(std::uint64_t)>;

void throughModel(Finding& finding, std::uint64_t poses, Random random, const Advance& advance)
{
    const SensorParameters sensor = typicalSensor(finding.mode, finding.stratum.oblique);
    const std::unique_ptr<CKorModel> model = primedModel(sensor);
    const bool twoLevels = ModelOf(finding.mode) == Model::twoLevels;
    Collected collected(finding);
    unsigned long fed = 0;
    for (std::uint64_t i = 0; i < poses; ++i) {
        const Case made = drawnCase(sensor, finding.stratum, random);
        const Readings& r = made.forward.readings;
        const Vec3& P = made.pose.position;
        double io[9] = {};
        bool formed = false;
        // The two-level model's values belong to the process: held long enough, a pose replaces all of them.
        for (int call = 0; call < (twoLevels ? kRefill : 1); ++call) {
            const double inputs[9] = {P[0],     P[1],      P[2],        std::isfinite(r.levelX) ? r.levelX : 0.0,
                                      r.levelY, r.azimuth, r.elevation, 21.0,
                                      27.0};
            std::copy_n(inputs, 9, io);
            ++fed;
            model->SetLevelLimits(false, false);
            model->SetCounter(fed, fed);
            model->SetTimeInterval(0.01 * static_cast<double>(fed), 0.01 * static_cast<double>(fed));
            formed = model->CalTranxMatrix(io, sensor.encoderOffset[0], sensor.encoderOffset[1], 3);
        }
        collected.add(formed, io, made.pose.base);
        advance(1);
    }
    collected.finish();
}

// Poses that are given, each for some samples.
class Listed : public Motion {
public:
    Listed(std::vector<Pose> poses, int each) : m_poses(std::move(poses)), m_each(each) {}

    Pose pose(double time) const override
    {
        const auto index = static_cast<std::size_t>(std::floor(time * kRate / m_each + 1e-6));
        return m_poses[std::min(index, m_poses.size() - 1)];
    }
    bool held() const override { return true; }

private:
    std::vector<Pose> m_poses;
    int m_each;
};

// To and fro with up to 100 mm/s while the base turns with up to a degree a second, or faster with an acceleration
// that is told and no turn.
class Moving : public Motion {
public:
    Moving(const Pose& start, double swing, double direction) : m_start(start), m_swing(swing), m_direction(direction)
    {
    }

    Pose pose(double time) const override
    {
        const double omega = kPi; // 0.5 Hz
        const double slow = 3.0 * portable::sine(time / 3.0);
        const double way = m_swing > 0.0 ? m_swing / (omega * omega) * portable::sine(omega * time) : 100.0 * slow;
        const double turn = m_swing > 0.0 ? 0.0 : slow;
        Pose now = m_start;
        now.position[0] += way * portable::cosine(m_direction);
        now.position[1] += way * portable::sine(m_direction);
        now.base = turnX(0.6 * turn * kDegree) * turnZ(0.8 * turn * kDegree) * m_start.base;
        return now;
    }

private:
    Pose m_start;
    double m_swing;
    double m_direction;
};

void throughEngine(Finding& finding, const Motion& motion, std::uint64_t poses, int each, int skip, int lag,
                   std::uint64_t seed, const Advance& advance)
{
    SimulationPlan plan;
    plan.sensor = typicalSensor(finding.mode, finding.stratum.oblique);
    plan.seed = seed;
    plan.rate = kRate;
    plan.reference = 0;
    std::copy_n(kIdentity.begin(), 9, plan.sensor.machine);
    if (finding.stratum.route == Route::noisy) {
        for (std::size_t i = 0; i < 3; ++i) {
            plan.faults.noise[i] = kPositionNoise;
        }
        plan.faults.noise[3] = plan.faults.noise[4] = kEncoderNoise;
        const auto unitsPerDegree = [](const LevelTable& table) { return table.reading(0.5) - table.reading(-0.5); };
        // In modes 5 and 6 level X is a ratio that the model does not look at.
        plan.faults.noise[5] = formsRatio(finding.mode) ? 0.0 : kLevelNoise * unitsPerDegree(plan.sensor.levelXTable);
        plan.faults.noise[6] = kLevelNoise * unitsPerDegree(plan.sensor.levelYTable);
    }
    CKor engine;
    plan.sensor.configure(engine);
    Simulator simulator(plan, motion);
    Collected collected(finding);
    std::vector<Mat3> truths;

    const auto feed = [&](bool measured) {
        SimulatedSample sample;
        if (!simulator.next(sample)) {
            sample.raw.status = 0; // no drawn pose is so; it would show as a sample without a matrix
        }
        truths.push_back(sample.pose.base);
        SampleResult result;
        ProcessSample(engine, sample.raw, result);
        if (measured) {
            const bool formed = result.report.outcome == SampleOutcome::valid;
            collected.add(formed, result.matrix, truths[truths.size() - 1 - static_cast<std::size_t>(lag)]);
            advance(1);
        }
    };
    // The first samples capture the reference, without which there is no matrix.
    for (int i = 0; i < each * ((skip + each) / each); ++i) {
        feed(false);
    }
    for (std::uint64_t i = 0; i < poses; ++i) {
        for (int k = 0; k < each; ++k) {
            feed(k + 1 == each);
        }
    }
    collected.finish();
}

std::vector<float> encoderRows(double first, double step, int count, double size)
{
    std::vector<float> rows;
    for (int i = 0; i < count; ++i) {
        const double x = first + step * i;
        rows.push_back(static_cast<float>(x));
        rows.push_back(
            static_cast<float>(size * (portable::sine(x * kDegree) + 0.35 * portable::cosine(2.0 * x * kDegree))));
    }
    return rows;
}

// Angle a x + b x^3 of the reading: a cubic that every interval of the table repeats exactly.
LevelTable levelTable(double span, double degrees)
{
    const double b = -0.04 * degrees / (span * span * span);
    const double a = 1.04 * degrees / span;
    LevelTable table;
    constexpr int kCount = 21;
    for (int i = 0; i < kCount; ++i) {
        const auto knot = static_cast<float>(span * (2.0 * i / (kCount - 1) - 1.0));
        const double x = knot;
        table.knots.push_back(knot);
        const double cubic[4] = {a * x + b * x * x * x, a + 3.0 * b * x * x, 3.0 * b * x, b};
        table.coefficients.insert(table.coefficients.end(), std::begin(cubic), std::end(cubic));
    }
    table.limits = {static_cast<float>(-span), static_cast<float>(span), 0.0f};
    return table;
}

template <std::size_t N>
void set(float (&into)[N], const float (&values)[N])
{
    std::copy_n(values, N, into);
}

} // namespace

SensorParameters typicalSensor(int mode, bool oblique)
{
    SensorParameters sensor;
    sensor.mode = mode;
    sensor.encoderOffset[0] = static_cast<float>(12.345678 * kDegree);
    sensor.encoderOffset[1] = static_cast<float>(-0.876543 * kDegree);
    set(sensor.tiltOffset, {0.0215f, -0.0342f});
    set(sensor.thermal, {0.00012f, 0.9976f, 0.0001f, 0.998f});
    sensor.azimuthTable.rows = encoderRows(0.5, 9.9, 37, 0.006);
    sensor.elevationTable.rows = encoderRows(-60.0, 7.5, 17, 0.003);
    sensor.levelXTable = levelTable(formsRatio(mode) ? 1.0 : 100.0, formsRatio(mode) ? 15.0 : 100.0);
    sensor.levelYTable = levelTable(formsRatio(mode) ? 60000.0 : 100.0, formsRatio(mode) ? 190.0 : 100.0);
    switch (ModelOf(mode)) {
    case Model::dualLevel:
        set(sensor.factors, {0.4f, 0, 0, 0, 0, 0, 0, 0});
        break;
    case Model::pendulum:
        set(sensor.factors, {0.3f, 0.1f, oblique ? 0.8f : 0.0f, oblique ? -1.2f : 0.0f, 1.0003f, 0.9996f, 1.001f, 0});
        break;
    case Model::polarizer:
        set(sensor.factors, {0.35f, -0.12f, 0, 0, 1.0002f, 0.9997f, 1.0015f, 0});
        break;
    case Model::threeVectors:
        if (mode % 2 == 1 && !oblique) {
            set(sensor.qvc, {1.2f, -0.8f, 35.0f, 0.0f, 0.25f, 0.0f});
            set(sensor.level1, {0, 0, 0, 0, 0, 0.12f, 1.003f});
        } else {
            set(sensor.qvc, {-0.9f, 1.1f, 34.5f, 0.3f, -0.2f, 0.4f});
            set(sensor.level1, {0, 0, 0, 0.35f, -0.25f, -0.1f, 0.998f});
        }
        break;
    case Model::twoLevels:
        set(sensor.qvc, {0.7f, 1.4f, 33.0f, -0.25f, 0.3f, 0.2f});
        set(sensor.level1, {0, 0, 0, 0.3f, -0.2f, 0.1f, 1.002f});
        set(sensor.level2, {0, 0, 0, 45.0f, 0.4f, -0.08f, 0.9985f});
        break;
    case Model::none:
        break;
    }
    return sensor;
}

std::unique_ptr<CKorModel> primedModel(const SensorParameters& sensor)
{
    std::unique_ptr<CKorModel> model;
    switch (ModelOf(sensor.mode)) {
    case Model::dualLevel:
        model = std::make_unique<CKorDualLevel>();
        break;
    case Model::polarizer:
        model = std::make_unique<CKorPolarizer>();
        break;
    case Model::threeVectors:
        model = std::make_unique<CKorThreeVec>();
        break;
    case Model::twoLevels:
        model = std::make_unique<CKorThreeVec2Levelv2>();
        break;
    default:
        model = std::make_unique<CKorPendulum>();
        break;
    }
    model->set_iMMode(sensor.mode % 2 == 1 ? 1 : 0);
    SensorParameters copy = sensor;
    model->UpdateSFactors(copy.factors, 8);
    model->UpdateQVCParameters(copy.qvc, 6);
    model->UpdateLevel1Parameters(copy.level1, 7);
    model->UpdateLevel2Parameters(copy.level2, 7);
    return model;
}

std::string Finding::exceeded() const
{
    std::string text;
    const auto add = [&text](const char* what) { text += (text.empty() ? "" : ", ") + std::string(what); };
    // Written so that a NaN is beyond every bound.
    const bool many = samples >= kEnoughForMedian;
    if (many && !(median <= stratum.bounds.median)) {
        add("median");
    }
    if (!(worst <= stratum.bounds.worst)) {
        add("worst");
    }
    if (!(shareWithout() <= stratum.bounds.mostWithout) || (without == samples && stratum.bounds.mostWithout < 1.0)) {
        add("without matrix");
    }
    if (many && !(worst >= stratum.bounds.atLeast)) {
        add("inherent error missing");
    }
    return text;
}

Finding measure(int mode, const Stratum& stratum, std::uint64_t poses, std::uint64_t seed, const Advance& advance)
{
    Finding finding;
    finding.mode = mode;
    finding.stratum = stratum;
    Random random(seed, std::to_string(mode) + " " + std::string(stratum.name));
    if (stratum.route == Route::model) {
        throughModel(finding, poses, random, advance);
        return finding;
    }
    const SensorParameters sensor = typicalSensor(mode, stratum.oblique);
    const bool twoLevels = ModelOf(mode) == Model::twoLevels;
    if (stratum.route == Route::moving) {
        const Case made = drawnCase(sensor, stratum, random);
        const Moving motion(made.pose, stratum.swing, random.uniform(0.0, 2.0 * kPi));
        // The two-level model looks back two samples; a path of some ten seconds is long enough.
        throughEngine(finding, motion, std::min(poses, kLongestPath), 1, twoLevels ? kRefill : 1, twoLevels ? 2 : 0,
                      seed, advance);
        return finding;
    }
    const int each = twoLevels ? kRefill : 1;
    std::vector<Pose> list;
    for (std::uint64_t i = 0; i < poses + 1; ++i) {
        list.push_back(drawnCase(sensor, stratum, random).pose);
    }
    throughEngine(finding, Listed(std::move(list), each), poses, each, 0, 0, seed, advance);
    return finding;
}

} // namespace kor::accuracy
