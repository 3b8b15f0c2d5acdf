// What the tests of the two-level models share: open models, the pairing of a model with its literal counterpart,
// and the fixture of scenarios that need a process of their own.
#pragma once

#include "KORInterface/CKorThreeVec2Level.h"
#include "KORInterface/CKorThreeVec2Levelv2.h"

#include "literal/TwoLevel.h"
#include "support/Float.h"
#include "support/Matrices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <limits>
#include <string>

namespace kor_test {

inline constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
inline constexpr double kInfinity = std::numeric_limits<double>::infinity();

inline bool thisIsTheFirstScenario()
{
    static bool used = false;
    const bool first = !used;
    used = true;
    return first;
}

// The models keep values per process, so what a scenario sees depends on the ones before it. ctest starts every test
// in a process of its own; the whole program run at once is refused here rather than failing somewhere later.
class OwnProcess : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(thisIsTheFirstScenario()) << "a scenario of the two-level models ran in this process already and "
                                                 "left its state: run the tests with ctest, or one per process with "
                                                 "--gtest_filter";
    }
};

template <typename T>
inline ::testing::AssertionResult sameBitsIn(const std::string& name, const T* got, const T* wanted, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        const ::testing::AssertionResult same = sameBits(got[i], wanted[i]);
        if (!same) {
            return ::testing::AssertionFailure() << name << "[" << i << "]: " << same.message();
        }
    }
    return ::testing::AssertionSuccess();
}

template <typename T>
inline ::testing::AssertionResult sameCount(const std::string& name, T got, T wanted)
{
    return got == wanted ? ::testing::AssertionSuccess()
                         : ::testing::AssertionFailure() << name << ": wanted " << wanted << ", got " << got;
}

// The first field that differs names itself.
inline ::testing::AssertionResult allOf(std::initializer_list<::testing::AssertionResult> results)
{
    for (const ::testing::AssertionResult& result : results) {
        if (!result) {
            return result;
        }
    }
    return ::testing::AssertionSuccess();
}

template <typename Model>
void prime(Model& model, Priming prm)
{
    float factors[8] = {};
    model.set_iMMode(prm.parity);
    model.UpdateSFactors(factors, 8);
    model.UpdateQVCParameters(prm.qvc.data(), 6);
    model.UpdateLevel1Parameters(prm.level1.data(), 7);
    model.UpdateLevel2Parameters(prm.level2.data(), 7);
    model.SetDynamicParameters(prm.dynamic.data());
}

template <typename Model>
bool run(Model& model, const Call& call, const Priming& prm, std::array<double, 9>& io)
{
    model.SetLevelLimits(call.excluded1, call.excluded2);
    model.SetCounter(call.counter1, call.counter2);
    model.SetTimeInterval(call.time1, call.time2);
    io = call.io;
    return model.CalTranxMatrix(io.data(), prm.azRef, prm.elRef, 3);
}

class OpenV1 : public CKorThreeVec2Level {
public:
    OpenV1() = default;
    explicit OpenV1(const Priming& prm) { prime(*this, prm); }

    using CKorThreeVec2Level::m_accAlongL1;
    using CKorThreeVec2Level::m_accAlongL2;
    using CKorThreeVec2Level::m_accL1;
    using CKorThreeVec2Level::m_accL2;
    using CKorThreeVec2Level::m_counterL1;
    using CKorThreeVec2Level::m_counterL2;
    using CKorThreeVec2Level::m_driftA;
    using CKorThreeVec2Level::m_driftB;
    using CKorThreeVec2Level::m_filterBufL1;
    using CKorThreeVec2Level::m_filterBufL2;
    using CKorThreeVec2Level::m_filterCountL1;
    using CKorThreeVec2Level::m_filterCountL2;
    using CKorThreeVec2Level::m_filterLength;
    using CKorThreeVec2Level::m_filterReserve;
    using CKorThreeVec2Level::m_lastLevel2Output;
    using CKorThreeVec2Level::m_level1Excluded;
    using CKorThreeVec2Level::m_level1Filtered;
    using CKorThreeVec2Level::m_level2Excluded;
    using CKorThreeVec2Level::m_level2Filtered;
    using CKorThreeVec2Level::m_posHistL1;
    using CKorThreeVec2Level::m_posHistL2;
    using CKorThreeVec2Level::m_timeL1;
    using CKorThreeVec2Level::m_timeL2;
    using CKorThreeVec2Level::m_velHistL1;
    using CKorThreeVec2Level::m_velHistL2;
    using CKorThreeVec2Level::qvcMatrix;

    ::testing::AssertionResult holdsWhat(const LiteralV1& wanted) const
    {
        return allOf({sameCount("filterCountL1", m_filterCountL1, wanted.path[0].average.count),
                      sameCount("filterCountL2", m_filterCountL2, wanted.path[1].average.count),
                      sameBitsIn("posHistL1", m_posHistL1[0], wanted.path[0].estimator.position[0], 306),
                      sameBitsIn("velHistL1", m_velHistL1[0], wanted.path[0].estimator.velocity[0], 306),
                      sameBitsIn("accL1", m_accL1, wanted.path[0].estimator.acceleration, 3),
                      sameBitsIn("accAlongL1", &m_accAlongL1, &wanted.path[0].along, 1),
                      sameBitsIn("level1Filtered", &m_level1Filtered, &wanted.path[0].filtered, 1),
                      sameBitsIn("posHistL2", m_posHistL2[0], wanted.path[1].estimator.position[0], 306),
                      sameBitsIn("velHistL2", m_velHistL2[0], wanted.path[1].estimator.velocity[0], 306),
                      sameBitsIn("accL2", m_accL2, wanted.path[1].estimator.acceleration, 3),
                      sameBitsIn("accAlongL2", &m_accAlongL2, &wanted.path[1].along, 1),
                      sameBitsIn("level2Filtered", &m_level2Filtered, &wanted.path[1].filtered, 1),
                      sameBitsIn("filterBufL1", m_filterBufL1, wanted.path[0].average.buffer.get(),
                                 std::min<std::size_t>(80, m_filterCountL1)),
                      sameBitsIn("filterBufL2", m_filterBufL2, wanted.path[1].average.buffer.get(),
                                 std::min<std::size_t>(80, m_filterCountL2)),
                      sameBitsIn("lastLevel2Output", &m_lastLevel2Output, &wanted.lastLevel2, 1),
                      sameBitsIn("driftA", &m_driftA, &wanted.driftA, 1),
                      sameBitsIn("driftB", &m_driftB, &wanted.driftB, 1),
                      sameBitsIn("qvcMatrix", qvcMatrix, wanted.residual.data(), 6)});
    }
};

class OpenV2 : public CKorThreeVec2Levelv2 {
public:
    OpenV2() = default;
    explicit OpenV2(const Priming& prm) { prime(*this, prm); }

    using CKorThreeVec2Level::m_counterL1;
    using CKorThreeVec2Level::m_counterL2;
    using CKorThreeVec2Level::m_filterBufL1;
    using CKorThreeVec2Level::m_filterBufL2;
    using CKorThreeVec2Level::m_level1Excluded;
    using CKorThreeVec2Level::m_level1Filtered;
    using CKorThreeVec2Level::m_level2Excluded;
    using CKorThreeVec2Level::m_level2Filtered;
    using CKorThreeVec2Level::m_timeL1;
    using CKorThreeVec2Level::m_timeL2;
    using CKorThreeVec2Levelv2::m_accAlongL1v2;
    using CKorThreeVec2Levelv2::m_accAlongL2v2;
    using CKorThreeVec2Levelv2::m_accVectorV2;
    using CKorThreeVec2Levelv2::m_axisZRing;
    using CKorThreeVec2Levelv2::m_counterL1v2;
    using CKorThreeVec2Levelv2::m_counterL2v2;
    using CKorThreeVec2Levelv2::m_dynamicParams;
    using CKorThreeVec2Levelv2::m_filteredRing;
    using CKorThreeVec2Levelv2::m_level1ExcludedV2;
    using CKorThreeVec2Levelv2::m_level1Value;
    using CKorThreeVec2Levelv2::m_level2ExcludedV2;
    using CKorThreeVec2Levelv2::m_level2Value;
    using CKorThreeVec2Levelv2::m_logStream;
    using CKorThreeVec2Levelv2::m_psdFilteredRing;
    using CKorThreeVec2Levelv2::m_psdRing;
    using CKorThreeVec2Levelv2::m_rawRing;
    using CKorThreeVec2Levelv2::m_ringIndex;
    using CKorThreeVec2Levelv2::m_shortLength;
    using CKorThreeVec2Levelv2::m_timeL1v2;
    using CKorThreeVec2Levelv2::m_timeL2v2;
    using CKorThreeVec2Levelv2::qvcMatrix;

    ::testing::AssertionResult holdsWhat(const LiteralV2& wanted) const
    {
        return allOf({sameCount("ringIndex", m_ringIndex, wanted.ringIndex),
                      sameBitsIn("rawRing", m_rawRing[0], wanted.rawRing[0], 51 * 9),
                      sameBitsIn("filteredRing", m_filteredRing[0], wanted.filteredRing[0], 51 * 9),
                      sameBitsIn("psdRing", m_psdRing[0], wanted.psdRing[0], 51 * 2),
                      sameBitsIn("psdFilteredRing", m_psdFilteredRing[0], wanted.psdFilteredRing[0], 51 * 2),
                      sameBitsIn("axisZRing", m_axisZRing[0], wanted.axisZRing[0], 51 * 2),
                      sameBitsIn("accVectorV2", m_accVectorV2, wanted.acceleration, 3),
                      sameBitsIn("accAlongL1v2", &m_accAlongL1v2, &wanted.along[0], 1),
                      sameBitsIn("accAlongL2v2", &m_accAlongL2v2, &wanted.along[1], 1),
                      sameBitsIn("level1Value", &m_level1Value, &wanted.levelValue[0], 1),
                      sameBitsIn("level2Value", &m_level2Value, &wanted.levelValue[1], 1),
                      sameBitsIn("qvcMatrix", qvcMatrix, wanted.residual.data(), 6)});
    }
};

// A model and its literal counterpart, fed alike.
template <typename Model, typename Literal, typename Process>
class Pair {
public:
    Pair(Process& process, const Priming& priming) : model(priming), literal(process, priming) {}

    Model model;
    Literal literal;
    std::array<double, 9> io{}; // what the last call left
    bool ok = false;            // what it returned
    int calls = 0;

    void set(const Priming& priming)
    {
        literal.prm = priming;
        prime(model, priming);
    }

    ::testing::AssertionResult feed(const Call& call)
    {
        ++calls;
        std::array<double, 9> wanted = call.io;
        const bool wantedOk = literal.run(call, wanted.data());
        ok = run(model, call, literal.prm, io);
        if (ok != wantedOk) {
            return ::testing::AssertionFailure() << "call " << calls << " returned " << ok << ", wanted " << wantedOk;
        }
        const ::testing::AssertionResult same =
            allOf({sameBitsIn("io", io.data(), wanted.data(), 9), model.holdsWhat(literal)});
        if (!same) {
            return ::testing::AssertionFailure() << "call " << calls << ", " << same.message();
        }
        return ::testing::AssertionSuccess();
    }
};

using PairV1 = Pair<OpenV1, LiteralV1, LiteralV1Process>;
using PairV2 = Pair<OpenV2, LiteralV2, LiteralV2Process>;

inline bool isFinite(const Matrix& m)
{
    for (const double element : m) {
        if (!std::isfinite(element)) {
            return false;
        }
    }
    return true;
}

// How far a matrix is from a rotation: the largest element of R transposed(R) - 1.
inline double distanceFromRotation(const Matrix& m)
{
    const Matrix product = multiply(m, transposed(m));
    double worst = 0.0;
    for (std::size_t i = 0; i < 9; ++i) {
        worst = std::max(worst, std::abs(product[i] - kIdentity[i]));
    }
    return worst;
}

} // namespace kor_test
