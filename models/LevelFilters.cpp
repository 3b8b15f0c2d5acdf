// Level filtering and acceleration of the two-level models.
#include <cmath>
#include <cstdint>

#include "KORInterface/CKorThreeVec2Level.h"
#include "KORInterface/CKorThreeVec2Levelv2.h"
#include "mek/Polyfit.h"
#include "models/Geometry.h"
#include "models/Rings.h"

namespace {

constexpr std::uint32_t kPairs = 51;
constexpr std::uint32_t kHistory = 2 * kPairs;

// Mean of a growing, then rolling buffer. Kept [newest-left-out]: while it fills, the value just stored is left out.
double rollingMean(double* buffer, std::uint32_t length, std::uint32_t count, double value)
{
    buffer[count % length] = value;
    const std::uint32_t used = count >= length ? length : count;
    if (used == 0) {
        return value;
    }
    double sum = 0.0;
    for (std::uint32_t i = 0; i < used; ++i) {
        sum += buffer[i];
    }
    return sum / static_cast<double>(used);
}

double slope(const double (&history)[kHistory])
{
    double coefficients[2];
    mek::JPolyfit(static_cast<int>(kPairs), history, 1, coefficients);
    return coefficients[1];
}

void remember(double (&history)[kHistory], std::uint32_t counter, double time, double value)
{
    const std::uint32_t twice = counter * 2U;
    history[twice % kHistory] = time;
    history[(twice + 1U) % kHistory] = value;
}

// Second derivative of a position by straight lines through 51 positions and 51 velocities; both fits see the
// history as it was before this sample.
bool acceleration(double (&positions)[3][kHistory], double (&velocities)[3][kHistory], double (&acc)[3],
                  const double* position, const double* axis, std::uint32_t counter, double time, double& accAlong)
{
    accAlong = 0.0;
    double velocity[3] = {};
    for (int i = 0; i < 3; ++i) {
        if (counter >= kPairs) {
            velocity[i] = slope(positions[i]);
        }
        remember(positions[i], counter, time, position[i]);
    }
    if (counter < kPairs) {
        return false;
    }
    for (int i = 0; i < 3; ++i) {
        if (counter >= kHistory) {
            acc[i] = slope(velocities[i]);
        }
        remember(velocities[i], counter, time, velocity[i]);
    }
    if (counter < kHistory) {
        return false;
    }
    accAlong = acc[0] * axis[0] + acc[1] * axis[1] + acc[2] * axis[2];
    return true;
}

// Mean of the last five rows, this one first, summed from 0.0 in that order. Kept [unwritten-rows]: counted as zeros.
template <int Channels>
double meanOfFive(const double (*ring)[Channels], std::int32_t row, int channel)
{
    double sum = 0.0;
    for (std::int32_t back = 0; back < 5; ++back) {
        sum += ring[kor::ringRow(row, back)][channel];
    }
    return sum / 5.0;
}

} // namespace

int CKorThreeVec2Level::MovingFilter(double& value)
{
    value = rollingMean(m_filterBufL1, static_cast<std::uint32_t>(m_filterLength), m_filterCountL1, value);
    ++m_filterCountL1;
    return 0;
}

int CKorThreeVec2Level::MovingFilterLevelY(double& value)
{
    value = rollingMean(m_filterBufL2, static_cast<std::uint32_t>(m_filterLength), m_filterCountL2, value);
    ++m_filterCountL2;
    m_lastLevel2Output = value;
    return 0;
}

bool CKorThreeVec2Level::GetAccLx(const double* pos, const double* axis, unsigned long counter, double time,
                                  double& accAlong)
{
    return acceleration(m_posHistL1, m_velHistL1, m_accL1, pos, axis, static_cast<std::uint32_t>(counter), time,
                        accAlong);
}

bool CKorThreeVec2Level::GetAccLy(const double* pos, const double* axis, unsigned long counter, double time,
                                  double& accAlong)
{
    return acceleration(m_posHistL2, m_velHistL2, m_accL2, pos, axis, static_cast<std::uint32_t>(counter), time,
                        accAlong);
}

void CKorThreeVec2Level::GetLevelAfterAccComp(double& levelDeg, double acc)
{
    levelDeg = kor::levelWithoutAcceleration(levelDeg, acc, levelDeg);
}

void CKorThreeVec2Levelv2::GetLevelAfterAccComp(double& levelDeg, double acc, double& outDeg)
{
    outDeg = kor::levelWithoutAcceleration(levelDeg, acc, outDeg);
}

int CKorThreeVec2Levelv2::MovingFilter(double ring[][9], double* sample)
{
    double* current = ring[kor::ringRow(m_ringIndex, 0)];
    for (int channel = 0; channel < 9; ++channel) {
        current[channel] = sample[channel];
    }
    for (int channel = 0; channel < 5; ++channel) {
        sample[channel] = meanOfFive<9>(ring, m_ringIndex, channel);
    }
    // Kept [two-samples-back]: the middle of the mean above, so that all nine outputs refer to one instant.
    for (int channel = 5; channel < 9; ++channel) {
        sample[channel] = ring[kor::ringRow(m_ringIndex, 2)][channel];
    }
    return 0;
}

int CKorThreeVec2Levelv2::PsdMovingFilter(double ring[][2], double* pair)
{
    double* current = ring[kor::ringRow(m_ringIndex, 0)];
    for (int channel = 0; channel < 2; ++channel) {
        current[channel] = pair[channel];
    }
    for (int channel = 0; channel < 2; ++channel) {
        pair[channel] = meanOfFive<2>(ring, m_ringIndex, channel);
    }
    return 0;
}

// Kept [first-five-entries]: the value goes to the current ring row while the mean reads the first five entries.
int CKorThreeVec2Levelv2::AccMovingFilter(double* buffer, double& value)
{
    buffer[m_ringIndex] = value;
    value = (buffer[0] + buffer[1] + buffer[2] + buffer[3] + buffer[4]) / 5.0;
    return 0;
}
