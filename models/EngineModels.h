// The orientation models as the engine makes them.
#pragma once

#include <cstdint>

#include "KORInterface/CKorDualLevel.h"
#include "KORInterface/CKorPendulum.h"
#include "KORInterface/CKorPolarizer.h"
#include "KORInterface/CKorThreeVec.h"
#include "KORInterface/CKorThreeVec2Levelv2.h"
#include "mek/Values.h"
#include "models/FromParameters.h"
#include "models/Geometry.h"

namespace kor {

// These are the models of the public headers with room for what depends on parameters alone. Those have a fixed size,
// and work it out for every sample.

/// The angle between the two level axes of the dual-level model.
struct LevelPair {
    double cosine;
    double sine;
};

class EngineDualLevel final : public CKorDualLevel {
public:
    bool CalTranxMatrix(double* const matrix, double angle1, double angle2, int size) override;

private:
    FromParameters<LevelPair, float, 1> m_pair;
};

/// The pendulum's direction in the sensor, and the arm's angles to the line of sight on either side of it.
struct PendulumGeometry {
    mek::Vec3 direction;
    double cosArm;
    double cosOtherArm;
};

class EnginePendulum final : public CKorPendulum {
public:
    bool CalTranxMatrix(double* const matrix, double angle1, double angle2, int size) override;

private:
    FromParameters<PendulumGeometry, float, 3> m_geometry;
};

class EnginePolarizer final : public CKorPolarizer {
public:
    bool CalTranxMatrix(double* const matrix, double angle1, double angle2, int size) override;

private:
    FromParameters<mek::AboutZ, float, 1> m_squareness;
};

/// Directions in the stage of the three-vector model.
struct StageDirections {
    mek::Vec3 turnAxis;
    mek::Vec3 level;
    mek::Vec3 sight; ///< at zero elevation
};

class EngineThreeVec final : public CKorThreeVec {
public:
    bool CalTranxMatrix(double* const matrix, double angle1, double angle2, int size) override;

private:
    FromParameters<StageDirections, float, 5> m_directions;
};

class EngineTwoLevels final : public CKorThreeVec2Levelv2 {
public:
    using CKorThreeVec2Levelv2::GetF1;

    bool CalTranxMatrix(double* const io, double azRefRad, double elRefRad, int stride) override;

    /// Both solves of a sample are handed the same line of sight.
    bool GetF1(const double* levelAxis, double levelAngleDeg, double* dir, double horizDeg, double vertDeg, int stride,
               double* out) override;

private:
    void forgetSamples();

    FromParameters<SightLine, double, 5> m_sight;
    std::uint32_t m_timesMadeFresh = 0; ///< the process-wide values, as this object last met them
};

} // namespace kor
