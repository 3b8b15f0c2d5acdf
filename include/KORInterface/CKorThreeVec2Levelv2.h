// Three-vector two-level model, second version: mount modes 9 and 10.
#ifndef KORINTERFACE_CKORTHREEVEC2LEVELV2_H
#define KORINTERFACE_CKORTHREEVEC2LEVELV2_H

#include <cstdint>
#include <fstream>

#include "KORInterface/CKorThreeVec2Level.h"

/// Orientation from the line of sight and two levels, with centred filters, a lag per input group and a blend
/// that follows how long each level has been usable.
///
/// Notes  1  The solve's state belongs to the process: all objects of this class share it.
///        2  A sample with the time stamps of the one before returns the previous matrix again.
///        3  A copy carries every member; its stream is a closed one of its own.
class KORINTERFACE_API CKorThreeVec2Levelv2 : public CKorThreeVec2Level {
public:
    CKorThreeVec2Levelv2();
    CKorThreeVec2Levelv2(const CKorThreeVec2Levelv2& other);
    CKorThreeVec2Levelv2& operator=(const CKorThreeVec2Levelv2& other);
    ~CKorThreeVec2Levelv2() override;

    // The second version adds overloads beside these.
    using CKorThreeVec2Level::GetF1;
    using CKorThreeVec2Level::GetLevelAfterAccComp;
    using CKorThreeVec2Level::MovingFilter;

    bool CalTranxMatrix(double* const io, double azRefRad, double elRefRad, int stride) override;
    void SetLevelLimits(bool level1Excluded, bool level2Excluded) override;
    void SetCounter(unsigned long counterL1, unsigned long counterL2) override;
    void SetTimeInterval(double timeL1, double timeL2) override;
    void GetLevelValues(float& level1, float& level2) override;
    void SetDynamicParameters(float* params) override;

    /// Rotation of the azimuth stage that one level and the line of sight give.
    /// Given     levelAxis      the level's axis in the stage, unit vector
    ///           levelAngleDeg  level angle, degrees
    ///           dir, horizDeg, vertDeg, stride  as in the first version
    /// Returned  out            3 x 3, row-major; untouched when the result is false
    ///           result         false when no orientation makes the given angles
    virtual bool GetF1(const double* levelAxis, double levelAngleDeg, double* dir, double horizDeg, double vertDeg,
                       int stride, double* out);

    /// Acceleration from the last seven positions, for samples 0.01 s apart. Returns true.
    /// Given     pos            position, tracker frame, mm
    ///           counter, time  not used
    virtual bool GetAccO1(const double* pos, unsigned long counter, double time);

    /// As the first version, but out of place.
    /// Returned  outDeg  keeps its value when the corrected sine is beyond one
    virtual void GetLevelAfterAccComp(double& levelDeg, double acc, double& outDeg);

    /// Mean of the first five entries of a buffer after storing value at the current ring row. Returns 0.
    /// Given     buffer  at least 51 doubles
    virtual int AccMovingFilter(double* buffer, double& value);

    /// Nine-channel filter in place: five-sample mean of channels 0 to 4, two samples' delay of 5 to 8. Returns 0.
    /// Given     ring    at least 51 rows
    virtual int MovingFilter(double ring[][9], double* sample);

    /// Five-sample mean of the two detector channels in place. Returns 0.
    /// Given     ring    at least 51 rows
    virtual int PsdMovingFilter(double ring[][2], double* pair);

protected:
    std::int32_t m_ringIndex;        ///< current row of every ring, 0..50
    double m_rawRing[51][9];         ///< input channels as received
    double m_filteredRing[51][9];    ///< input channels after MovingFilter
    double m_psdRing[51][2];         ///< detector channels as received
    double m_psdFilteredRing[51][2]; ///< detector channels after PsdMovingFilter
    double m_axisZRing[51][2];       ///< vertical component of the two level axes
    double m_accAlongL1v2;           ///< acceleration along level 1's axis, mm/s^2
    double m_level1Value;            ///< interpolated level 1, degrees
    double m_accVectorV2[3];         ///< last acceleration, tracker frame, mm/s^2
    double m_accAlongL2v2;           ///< acceleration along level 2's axis, mm/s^2
    double m_level2Value;            ///< interpolated level 2, degrees
    std::uint32_t m_counterL1v2;     ///< samples of level 1's current run
    std::uint32_t m_counterL2v2;     ///< samples of level 2's current run
    bool m_level1ExcludedV2;         ///< level 1 must not be used; set until the engine clears it
    bool m_level2ExcludedV2;         ///< level 2 must not be used; set until the engine clears it
    double m_timeL1v2;               ///< time of the sample on level 1's clock, seconds
    double m_timeL2v2;               ///< time of the sample on level 2's clock, seconds
    std::int32_t m_shortLength;      ///< length of the short filters, 5
    std::ofstream m_logStream;       ///< never opened
    float m_dynamicParams[7];        ///< [0] level interpolation, [1], [2] gains of the two drift inputs,
                                     ///< [3] level smoothing, [4], [5], [6] lags in samples
};

#endif
