// The plain transcriptions of the geometric models, called with the values that these tests use.
#pragma once

#include "Samples.h"
#include "literal/Geometric.h"

namespace kor_test {

inline Outcome literalDualLevel(const Parameters& parameters, const Sample& sample,
                                DualLevelBranches* branches = nullptr)
{
    Outcome outcome;
    outcome.matrix = sample.slots;
    outcome.ok =
        literal::dualLevel(parameters.factors.data(), outcome.matrix.data(), sample.offset1, sample.offset2, branches);
    return outcome;
}

inline Outcome literalPendulum(const Parameters& parameters, const Sample& sample, PendulumSearch* search = nullptr,
                               int limit = 500)
{
    Outcome outcome;
    outcome.matrix = sample.slots;
    outcome.ok = literal::pendulum(parameters.parity, parameters.factors.data(), outcome.matrix.data(), sample.offset1,
                                   sample.offset2, search, limit);
    return outcome;
}

inline Outcome literalThreeVec(const Parameters& parameters, const Sample& sample, ThreeVecSolution* solution = nullptr)
{
    Outcome outcome;
    outcome.matrix = sample.slots;
    outcome.ok = literal::threeVec(parameters.parity, parameters.qvc.data(), parameters.level1.data(),
                                   outcome.matrix.data(), sample.offset1, sample.offset2, outcome.qvc.data(), solution);
    return outcome;
}

} // namespace kor_test
