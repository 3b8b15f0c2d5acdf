// One level input of an engine, held to the plain spline for any bit pattern of the reading.
#pragma once

#include "KORInterface/KORInterface.h"
#include "engine/State.h"
#include "literal/Support.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

namespace kor_test {

/// An engine whose level X has a table that leaves room on both sides, zero among its knots or between them.
class LevelPatterns {
public:
    /// Given  knots  with the three extra values that an engine expects
    explicit LevelPatterns(std::vector<float> knots) : m_knots(std::move(knots))
    {
        const auto rows = static_cast<std::size_t>(rowCount());
        // The pieces do not meet, so that each knot shows which of them it was given to.
        for (std::size_t i = 0; i < rows; ++i) {
            const double step = static_cast<double>(i);
            m_coefficients.insert(m_coefficients.end(), {0.5 + step, 0.25 - 0.125 * step, 0.001 * step, -0.0001});
        }
        m_engine.setLevelXComp(rowCount(), m_knots.data(), m_coefficients.data());
        m_engine.setTiltOffset(F_VECTOR2{kOffset, 0.0F});
        m_engine.setThermalFactor(F_VECTOR4{kGain, kThermalOffset, 0.0F, 1.0F});
        m_engine.setMountMode(1);
        std::memset(&m_raw, 0, sizeof m_raw); // a status that ends the sample behind its corrections
        m_raw.levelTemperature = kTemperature;
    }

    const std::vector<float>& knots() const { return m_knots; }

    /// Whether the engine gives the plain spline's value and sees the table's range as that does.
    bool agreesAt(std::uint32_t pattern)
    {
        m_raw.levelXRaw = std::bit_cast<float>(pattern);
        m_engine.updateKORData(m_raw, m_info);

        bool outside = false;
        float wanted =
            literal::CalcSpline(true, m_knots.data(), m_coefficients.data(), rowCount() - 1, m_raw.levelXRaw, &outside);
        wanted -= kOffset;
        wanted *= kGain * kTemperature + kThermalOffset;
        const bool same = std::isnan(wanted)
                              ? std::isnan(m_info.levelX)
                              : std::bit_cast<std::uint32_t>(wanted) == std::bit_cast<std::uint32_t>(m_info.levelX);
        return same && CKorAccess::state(m_engine).lastSample.levelXOutside == outside;
    }

private:
    static constexpr float kOffset = 0.03125F;
    static constexpr float kGain = 0.0009765625F;
    static constexpr float kThermalOffset = 1.0F;
    static constexpr float kTemperature = 21.5F;

    int rowCount() const { return static_cast<int>(m_knots.size()) - 3; }

    std::vector<float> m_knots;
    std::vector<double> m_coefficients;
    CKor m_engine;
    KOR_RAWINFO m_raw;
    KOR_INFO m_info;
};

/// An ascending table with a knot at zero, a descending one, and one of two rows that begins at zero.
inline std::vector<std::vector<float>> levelTables()
{
    return {{-30.0F, -12.5F, -1.0F, 0.0F, 0.75F, 8.0F, 31.0F, 0.0F, 0.0F, 0.0F},
            {20.0F, 6.5F, 0.5F, -0.25F, -19.0F, 0.0F, 0.0F, 0.0F},
            {0.0F, 40.0F, 0.0F, 0.0F, 0.0F}};
}

} // namespace kor_test
