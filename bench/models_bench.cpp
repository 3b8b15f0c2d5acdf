// The geometric models against their formulas written out flat: first equal to the bit over all poses, then timed.
//
// Usage: models_bench [POSES]
//
// Both sides run in turn, round by round, so that a drift of the machine meets both; the ratio is the median over the
// rounds. Prints one line a model; exit status 1 when any output differs.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

#include "KORInterface/CKorDualLevel.h"
#include "KORInterface/CKorPendulum.h"
#include "KORInterface/CKorPolarizer.h"
#include "KORInterface/CKorThreeVec.h"
#include "Literal.h"
#include "Samples.h"
#include "support/LiteralPolarizer.h"
#include "support/Poses.h"
#include "support/SimulatedSensor.h"

namespace {

using namespace kor_test;

constexpr int kRounds = 9;

double nanosecondsPerCall(const std::vector<Sample>& samples, const std::function<double(const Sample&)>& call)
{
    volatile double sink = 0.0;
    const auto start = std::chrono::steady_clock::now();
    for (const Sample& sample : samples) {
        sink = sink + call(sample);
    }
    const std::chrono::duration<double, std::nano> spent = std::chrono::steady_clock::now() - start;
    return spent.count() / static_cast<double>(samples.size());
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

bool compare(const char* name, CKorModel& model, const Parameters& parameters, const std::vector<Sample>& samples,
             const std::function<Outcome(const Sample&)>& flat)
{
    prime(model, parameters);
    for (const Sample& sample : samples) {
        if (feed(model, sample).matrix != flat(sample).matrix) {
            std::printf("%-14s differs from its formulas\n", name);
            return false;
        }
    }
    std::vector<double> library;
    std::vector<double> written;
    std::vector<double> ratios;
    for (int round = 0; round < kRounds; ++round) {
        library.push_back(nanosecondsPerCall(samples, [&](const Sample& s) { return feed(model, s).matrix[0]; }));
        written.push_back(nanosecondsPerCall(samples, [&](const Sample& s) { return flat(s).matrix[0]; }));
        ratios.push_back(library.back() / written.back());
    }
    std::printf("%-14s %8.0f ns %8.0f ns   %5.2f\n", name, median(library), median(written), median(ratios));
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    const int poses = argc > 1 ? std::max(1, std::atoi(argv[1])) : 20000;
    Parameters parameters;
    parameters.factors = {0.25F, 0.0F, 0.5F, -0.4F, 1.0F, 1.0F, 1.0F, 0.0F};
    parameters.qvc = {10.0F, -20.0F, 30.0F, 0.3F, -0.2F, 0.1F};
    parameters.level1 = {0.0F, 0.0F, 0.0F, 0.2F, -0.3F, 0.1F, 1.01F};

    PoseSource source(7);
    std::vector<Sample> dual;
    std::vector<Sample> pendulum;
    std::vector<Sample> three;
    for (int i = 0; i < poses; ++i) {
        const Pose pose = source.tilted(0.01, 5, 30);
        dual.push_back(readDualLevel(pose, parameters, 0.1, -0.2).sample);
        pendulum.push_back(readPendulum(pose, parameters, 0.1, -0.2).sample);
        three.push_back(readThreeVec(pose, parameters, 0.1, -0.2, {0, 0, -1}).sample);
    }

    std::printf("%d poses      library     flat formulas  ratio\n", poses);
    CKorDualLevel dualLevel;
    CKorPendulum pendulumModel;
    CKorPolarizer polarizer;
    CKorThreeVec threeVec;
    bool same = compare("dual level", dualLevel, parameters, dual,
                        [&](const Sample& s) { return literalDualLevel(parameters, s); });
    same &= compare("pendulum", pendulumModel, parameters, pendulum,
                    [&](const Sample& s) { return literalPendulum(parameters, s); });
    same &= compare("polarizer", polarizer, parameters, dual, [&](const Sample& s) {
        Outcome outcome;
        outcome.matrix = literalPolarizer(parameters.factors, s.slots, s.offset1, s.offset2);
        return outcome;
    });
    same &= compare("three vectors", threeVec, parameters, three,
                    [&](const Sample& s) { return literalThreeVec(parameters, s); });
    return same ? 0 : 1;
}
