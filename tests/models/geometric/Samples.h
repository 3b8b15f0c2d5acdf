// One call of an orientation model as a value: what goes in, what comes out, and inputs chosen to be awkward.
#pragma once

#include "KORInterface/CKorModel.h"
#include "support/Float.h"
#include "support/Matrices.h"
#include "support/SimulatedSensor.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace kor_test {

inline constexpr double kDegree = 0.01745329251994;
inline constexpr double kRadian = 57.29577951308;
inline constexpr double kExactPi = 3.14159265358979323846;

struct Outcome {
    bool ok = false;
    Matrix matrix{};
    std::array<float, 6> qvc{};
};

inline void prime(CKorModel& model, Parameters parameters)
{
    model.set_iMMode(parameters.parity);
    model.UpdateSFactors(parameters.factors.data(), 8);
    model.UpdateQVCParameters(parameters.qvc.data(), 6);
    model.UpdateLevel1Parameters(parameters.level1.data(), 7);
    model.UpdateLevel2Parameters(parameters.level2.data(), 7);
}

inline Outcome feed(CKorModel& model, const Sample& sample, int size = 3)
{
    Outcome outcome;
    outcome.matrix = sample.slots;
    outcome.ok = model.CalTranxMatrix(outcome.matrix.data(), sample.offset1, sample.offset2, size);
    model.GetQVCMatrix(outcome.qvc.data(), 6);
    return outcome;
}

template <typename Model>
Outcome run(const Parameters& parameters, const Sample& sample)
{
    Model model;
    prime(model, parameters);
    return feed(model, sample);
}

inline std::string describe(const Parameters& parameters, const Sample& sample)
{
    std::string text = "slots";
    for (const double slot : sample.slots)
        text += "\n  " + describe(slot);
    text += "\noffsets\n  " + describe(sample.offset1) + "\n  " + describe(sample.offset2) + "\nfactors";
    for (const float factor : parameters.factors)
        text += "\n  " + describe(factor);
    text += "\nqvc";
    for (const float value : parameters.qvc)
        text += "\n  " + describe(value);
    text += "\nlevel 1";
    for (const float value : parameters.level1)
        text += "\n  " + describe(value);
    return text + "\nparity " + std::to_string(parameters.parity);
}

inline ::testing::AssertionResult sameOutcome(const Outcome& got, const Outcome& wanted)
{
    if (got.ok != wanted.ok)
        return ::testing::AssertionFailure() << "wanted result " << wanted.ok << ", got " << got.ok;
    const ::testing::AssertionResult matrix = sameBitsThroughout(got.matrix, wanted.matrix);
    if (!matrix)
        return ::testing::AssertionFailure() << "matrix " << matrix.message();
    const ::testing::AssertionResult qvc = sameBitsThroughout(got.qvc, wanted.qvc);
    if (!qvc)
        return ::testing::AssertionFailure() << "qvc " << qvc.message();
    return ::testing::AssertionSuccess();
}

// Sign and bits of zero apart, the same matrix to within a tolerance an element.
inline ::testing::AssertionResult closeTo(const Matrix& got, const Matrix& wanted, double tolerance)
{
    for (std::size_t i = 0; i < 9; ++i) {
        const ::testing::AssertionResult close = within(got[i], wanted[i], tolerance);
        if (!close)
            return ::testing::AssertionFailure() << "element " << i << ": " << close.message();
    }
    return ::testing::AssertionSuccess();
}

inline bool allFinite(const Matrix& matrix)
{
    for (const double element : matrix) {
        if (!std::isfinite(element))
            return false;
    }
    return true;
}

inline bool anyNan(const Matrix& matrix)
{
    for (const double element : matrix) {
        if (std::isnan(element))
            return true;
    }
    return false;
}

// Largest departure of m^T m from the identity and of the determinant from +1.
inline double departureFromRotation(const Matrix& m)
{
    const Matrix product = multiply(transposed(m), m);
    double worst = std::abs(determinant(m) - 1.0);
    for (std::size_t i = 0; i < 9; ++i)
        worst = std::max(worst, std::abs(product[i] - kIdentity[i]));
    return worst;
}

// Numbers that break careless arithmetic: zeros of both signs, not-a-number, infinities, the ends of the range.
template <typename Float>
std::vector<Float> awkwardNumbers()
{
    using Limits = std::numeric_limits<Float>;
    std::vector<Float> numbers = {Limits::quiet_NaN()};
    for (const Float magnitude : {Float(0), Limits::denorm_min(), Limits::min() / 2, Limits::min(), Float(1e-30),
                                  Float(1e-12), Limits::epsilon(), Float(1), Float(45), Float(90), Float(180),
                                  Float(1e20), Limits::max(), Limits::infinity()}) {
        numbers.push_back(magnitude);
        numbers.push_back(-magnitude);
    }
    return numbers;
}

// A number with the doubles around it, in both signs.
inline std::vector<double> aroundBothSigns(double value, int steps)
{
    std::vector<double> numbers;
    double low = value;
    for (int i = 0; i < steps; ++i)
        low = std::nextafter(low, 0.0);
    for (int i = 0; i <= 2 * steps; ++i) {
        numbers.push_back(low);
        numbers.push_back(-low);
        low = std::nextafter(low, 2.0 * std::abs(value));
    }
    return numbers;
}

// Every input of a model as one numbered list, so that tests can put anything anywhere.
struct Inputs {
    Parameters parameters;
    Sample sample;

    static constexpr std::size_t kDoubles = 11;
    static constexpr std::size_t kFloats = 28;

    double& doubleAt(std::size_t i) { return i < 9 ? sample.slots[i] : (i == 9 ? sample.offset1 : sample.offset2); }
    float& floatAt(std::size_t i)
    {
        if (i < 8)
            return parameters.factors[i];
        if (i < 14)
            return parameters.qvc[i - 8];
        return i < 21 ? parameters.level1[i - 14] : parameters.level2[i - 21];
    }
};

// Calls check with every awkward number in every slot and parameter of a sound input, then with several awkward
// numbers in several places at once; a fatal failure ends it.
template <typename Check>
void forAwkwardInputs(const Inputs& sound, const std::vector<double>& thresholds, unsigned int seed, int combinations,
                      Check check)
{
    std::vector<double> doubles = awkwardNumbers<double>();
    doubles.insert(doubles.end(), thresholds.begin(), thresholds.end());
    const std::vector<float> floats = awkwardNumbers<float>();
    for (std::size_t i = 0; i < Inputs::kDoubles; ++i) {
        for (const double number : doubles) {
            Inputs inputs = sound;
            inputs.doubleAt(i) = number;
            check(inputs);
            if (::testing::Test::HasFatalFailure())
                return;
        }
    }
    for (std::size_t i = 0; i < Inputs::kFloats; ++i) {
        for (const float number : floats) {
            Inputs inputs = sound;
            inputs.floatAt(i) = number;
            check(inputs);
            if (::testing::Test::HasFatalFailure())
                return;
        }
    }
    std::mt19937 random(seed);
    const auto pick = [&random](std::size_t count) {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(random);
    };
    for (int i = 0; i < combinations; ++i) {
        Inputs inputs = sound;
        inputs.parameters.parity = std::array<int, 4>{0, 1, 2, 7}[pick(4)];
        for (std::size_t change = pick(5) + 1; change > 0; --change) {
            if (pick(3) == 0)
                inputs.floatAt(pick(Inputs::kFloats)) = floats[pick(floats.size())];
            else
                inputs.doubleAt(pick(Inputs::kDoubles)) = doubles[pick(doubles.size())];
        }
        check(inputs);
        if (::testing::Test::HasFatalFailure())
            return;
    }
}

} // namespace kor_test
