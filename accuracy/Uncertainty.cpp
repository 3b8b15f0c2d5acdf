#include "accuracy/Uncertainty.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <tuple>
#include <utility>

#include "accuracy/Budget.h"
#include "accuracy/ClosedLoop.h"
#include "accuracy/Statistics.h"
#include "simulation/Random.h"

namespace kor::accuracy {

using namespace simulation;

namespace {

// Arc-seconds: what is smaller is the arithmetic's own, of inputs that the orientation does not depend on.
constexpr double kNegligible = 1e-6;

// What is drawn in a trial: one input's noise or its constant part.
struct Source {
    const Input* input = nullptr;
    double standard = 0.0; // in the input's unit
    bool noise = false;
};

// Given in another unit an uncertainty is this many of the input's own. A level's reading that its angle does not
// follow has no angle to be uncertain about.
double factorOf(const Input& input, const std::string& unit)
{
    if (unit == "arcsec" || (unit == "deg" && unit != input.unit)) {
        const double worth = unit == "deg" ? kArcSecondsOfDegree : 1.0;
        return *input.arcSeconds > 0.0 ? worth / *input.arcSeconds : 0.0;
    }
    return unit == "um" ? 1e-3 : 1.0;
}

std::vector<std::string> unitsOf(const Input& input)
{
    const std::string own = input.unit;
    if (own == "mm") {
        return {"mm", "um"};
    }
    if (input.name == "level X" || input.name == "level Y") {
        return {"arcsec", "deg", "table unit"};
    }
    return own == "deg" ? std::vector<std::string>{"arcsec", "deg"} : std::vector<std::string>{own};
}

// The turn that takes the reference to a matrix, arc-seconds about the tracker's axes; of any size.
Vec3 turnTo(const Mat3& matrix, const Mat3& reference)
{
    const Vec3 sines = turnBetween(matrix, reference);
    const double sine = length(sines);
    if (!(sine > 0.0)) {
        return {0.0, 0.0, 0.0};
    }
    return scaled(sines, angleBetween(matrix, reference) * kArcSecondsOfDegree / sine);
}

double meanOf(const std::vector<double>& values)
{
    double sum = 0.0;
    for (const double value : values) {
        sum += value;
    }
    return sum / static_cast<double>(values.size());
}

// Standard deviation of deviations given by their squares, and how well so many of them tell it.
std::pair<double, double> deviation(const std::vector<double>& squares)
{
    const auto count = static_cast<double>(squares.size());
    const double mean = meanOf(squares);
    std::vector<double> fourth(squares.size());
    std::transform(squares.begin(), squares.end(), fourth.begin(),
                   [mean](double square) { return (square - mean) * (square - mean); });
    const double standard = std::sqrt(mean * (count / (count - 1.0)));
    return {standard, standard > 0.0 ? std::sqrt(meanOf(fourth) / count) / (2.0 * standard) : 0.0};
}

void summarise(const std::vector<Vec3>& turns, Trials& trials)
{
    if (turns.size() < 2) {
        return;
    }
    std::vector<double> values(turns.size());
    std::vector<double> all(turns.size(), 0.0);
    for (std::size_t k = 0; k < 3; ++k) {
        std::transform(turns.begin(), turns.end(), values.begin(), [k](const Vec3& turn) { return turn[k]; });
        const double mean = meanOf(values);
        for (std::size_t i = 0; i < values.size(); ++i) {
            values[i] = (values[i] - mean) * (values[i] - mean);
            all[i] += values[i];
        }
        trials.mean[k] = mean;
        std::tie(trials.standard.axes[k], trials.own.axes[k]) = deviation(values);
    }
    std::tie(trials.standard.angle, trials.own.angle) = deviation(all);
    std::transform(turns.begin(), turns.end(), values.begin(), [](const Vec3& turn) { return length(turn); });
    std::sort(values.begin(), values.end());
    const auto within = std::upper_bound(values.begin(), values.end(), kCoverage * trials.standard.angle);
    trials.withinExpanded =
        static_cast<double>(std::distance(values.begin(), within)) / static_cast<double>(values.size());
    trials.ninetyFivePercent = values[(values.size() * 95 + 99) / 100 - 1];
    const double far = std::max(kFar * trials.ninetyFivePercent, kNegligible);
    trials.far =
        static_cast<std::uint64_t>(std::distance(std::upper_bound(values.begin(), values.end(), far), values.end()));
    trials.farthest = values.back();
}

bool formed(const Mat3& matrix)
{
    return std::all_of(matrix.begin(), matrix.end(), [](double e) { return std::isfinite(e); });
}

class MonteCarlo {
public:
    MonteCarlo(const State& at, const Mat3& reference, const MonteCarloPlan& plan, const std::function<void()>& advance)
        : m_at(at), m_reference(reference), m_plan(plan), m_advance(advance)
    {
    }

    // Numbers of its own for every purpose.
    Trials run(const std::vector<Source>& sources, std::uint64_t count, const std::string& purpose) const
    {
        Random random(m_plan.seed, "uncertainty " + std::to_string(m_at.sensor.mode) + " " + purpose);
        Trials trials;
        trials.count = count;
        std::vector<Vec3> turns;
        turns.reserve(static_cast<std::size_t>(count));
        State varied = m_at;
        const auto vary = [&](bool noise) {
            for (const Source& source : sources) {
                if (source.noise == noise) {
                    source.input->shift(varied, source.standard * random.normal());
                }
            }
        };
        for (std::uint64_t i = 0; i < count; ++i) {
            varied = m_at;
            vary(false);
            const SampleInputs held = varied.sample;
            const Mat3 matrix = orientationOf(varied, [&] {
                varied.sample = held;
                vary(true);
            });
            if (formed(matrix) && formed(m_reference)) {
                turns.push_back(turnTo(matrix, m_reference));
            } else {
                ++trials.without;
            }
            m_advance();
        }
        summarise(turns, trials);
        return trials;
    }

    Trials runAlone(Source source, const std::string& purpose) const { return run({source}, m_plan.alone(), purpose); }

private:
    const State& m_at;
    const Mat3& m_reference;
    const MonteCarloPlan& m_plan;
    const std::function<void()>& m_advance;
};

bool agree(double law, double found, double own)
{
    return std::fabs(found - law) <= std::max({kAgreement * std::max(found, law), kDoubt * own, kNegligible});
}

bool agree(const TurnUncertainty& law, const Trials& trials)
{
    const double small = kSmallAxis * std::max(law.angle, trials.standard.angle);
    for (std::size_t k = 0; k < 3; ++k) {
        const double found = trials.standard.axes[k];
        if (std::fabs(law.axes[k] - found) > small && !agree(law.axes[k], found, trials.own.axes[k])) {
            return false;
        }
    }
    return trials.far == 0 && agree(law.angle, trials.standard.angle, trials.own.angle);
}

TurnUncertainty lawOf(const Sensitivity& sensitivity, double standard)
{
    TurnUncertainty law;
    for (std::size_t k = 0; k < 3; ++k) {
        law.axes[k] = std::fabs(sensitivity.turn[k]) * standard;
    }
    law.angle = length(law.axes);
    return law;
}

// Why the two differ on one input.
void explain(Contribution& made, const Source& source, const MonteCarlo& monteCarlo)
{
    const Trials& alone = made.alone;
    if (alone.without == alone.count) {
        made.why = Discrepancy::withoutTurn;
        return;
    }
    if (agree(made.law, alone)) {
        return;
    }
    // Three standard uncertainties reach as far as a normal deviate does.
    if (source.input->resolution > kFollowed && alone.standard.angle < made.law.angle &&
        made.law.angle < 3.0 * source.input->resolution) {
        made.why = Discrepancy::search;
        return;
    }
    made.why = alone.far > 0 ? Discrepancy::jumps : Discrepancy::notLinear;
    if (source.noise && made.why == Discrepancy::notLinear) {
        made.held = monteCarlo.runAlone({source.input, source.standard, false}, made.input + " held");
        if (agree(made.law, *made.held)) {
            made.why = Discrepancy::filters;
        }
    }
}

double square(double value)
{
    return value * value;
}

// Shares of the variance and the sum over all inputs.
void addUp(Uncertainty& all)
{
    double lawSum = 0.0;
    double aloneSum = 0.0;
    Vec3 squares{};
    for (const Contribution& c : all.contributions) {
        for (std::size_t k = 0; k < 3; ++k) {
            squares[k] += square(c.law.axes[k]);
        }
        lawSum += square(c.law.angle);
        aloneSum += square(c.alone.standard.angle);
    }
    for (std::size_t k = 0; k < 3; ++k) {
        all.law.axes[k] = std::sqrt(squares[k]);
    }
    all.law.angle = length(all.law.axes);
    for (Contribution& c : all.contributions) {
        c.lawShare = lawSum > 0.0 ? square(c.law.angle) / lawSum : 0.0;
        c.aloneShare = aloneSum > 0.0 ? square(c.alone.standard.angle) / aloneSum : 0.0;
    }
}

void judge(Uncertainty& all)
{
    if (all.trials.without == all.trials.count) {
        all.believe = Believe::neither;
        return;
    }
    if (agree(all.law, all.trials)) {
        return;
    }
    double most = 0.0;
    for (std::size_t i = 0; i < all.contributions.size(); ++i) {
        const Contribution& c = all.contributions[i];
        const double apart = std::fabs(square(c.alone.standard.angle) - square(c.law.angle));
        if (c.why != Discrepancy::none && apart >= most) {
            most = apart;
            all.cause = i;
        }
    }
    const bool search = all.cause && all.contributions[*all.cause].why == Discrepancy::search;
    all.believe = search && all.trials.standard.angle < all.law.angle ? Believe::law : Believe::monteCarlo;
}

} // namespace

std::uint64_t MonteCarloPlan::alone() const
{
    constexpr std::uint64_t kShare = 10;
    constexpr std::uint64_t kFewest = 100;
    return std::max(trials / kShare, std::min(trials, kFewest));
}

std::vector<KnownInput> knownInputs()
{
    std::vector<KnownInput> known;
    for (int mode = 1; mode <= 10; ++mode) {
        State at = *stateOf(typicalSensor(mode, false), typicalPose(mode));
        for (const Input& input : inputsOf(at)) {
            if (std::none_of(known.begin(), known.end(), [&](const KnownInput& k) { return k.name == input.name; })) {
                known.push_back({input.name, input.isParameter(), unitsOf(input)});
            }
        }
    }
    return known;
}

std::optional<Uncertainty> uncertaintyOf(const SensorParameters& sensor, const Pose& pose,
                                         const std::vector<InputUncertainty>& inputs, const MonteCarloPlan& plan,
                                         const std::function<void()>& advance)
{
    std::optional<State> at = stateOf(sensor, pose);
    if (!at) {
        return std::nullopt;
    }
    Uncertainty all;
    all.mode = sensor.mode;
    all.pose = pose;
    const Mat3 reference = orientationOf(*at);
    all.off = angleBetween(reference, pose.base);
    const std::vector<Input> known = inputsOf(*at);
    const MonteCarlo monteCarlo(*at, reference, plan, advance);
    std::vector<Source> sources;
    for (const InputUncertainty& stated : inputs) {
        const auto input =
            std::find_if(known.begin(), known.end(), [&](const Input& k) { return k.name == stated.input; });
        if (input == known.end()) {
            all.notInputs.push_back(stated.input);
            continue;
        }
        const double factor = factorOf(*input, stated.unit);
        const Sensitivity sensitivity = sensitivityTo(*input, *at, reference);
        for (const bool noise : {true, false}) {
            const double given = noise ? stated.noise : stated.constant;
            if (given > 0.0) {
                const Source source = {&*input, given * factor, noise};
                Contribution made{input->group, input->name, noise, given, stated.unit};
                made.law = lawOf(sensitivity, source.standard);
                made.alone = monteCarlo.runAlone(source, made.input + (noise ? " noise" : " constant"));
                explain(made, source, monteCarlo);
                all.contributions.push_back(std::move(made));
                sources.push_back(source);
            }
        }
    }
    all.trials = monteCarlo.run(sources, plan.trials, "all");
    addUp(all);
    judge(all);
    return all;
}

} // namespace kor::accuracy
