// Three-vector two-level model, second version: mount modes 9 and 10.
#ifndef KORINTERFACE_CKORTHREEVEC2LEVELV2_H
#define KORINTERFACE_CKORTHREEVEC2LEVELV2_H

#include <cstdint>
#include <fstream>

#include "KORInterface/CKorThreeVec2Level.h"

/// Orientation from the line of sight and two levels, with centred filters, a lag per input group and a blend that
/// follows how long each level has been usable.
///
/// With d the dynamic parameters, Q and L as in the first version, row(n) the filtered sample n back:
///   1  filter: five-sample mean of position, levels and detector (Q[3], Q[4]); axis angles and temperatures are taken
///      two samples old, the middle of that mean
///   2  geometry from row(d[4]): P, axis angles, and the detector for the line of sight at zero elevation
///   3  levels from row(d[5]): (1 - d[0]) the sample before it + d[0] that row; angle = (L[5] + level) L[6]
///   4  the acceleration (GetAccO1) along the level's axis, turned by the previous F, is removed from the angle
///   5  temperature terms: c7 = (T1 - T1ref) 0.01 d[1] (F[4] h.x - F[1] h.y) and
///      c8 = (T3 - T3ref) 0.01 d[2] (F[5] h.x - F[2] h.y), h the unit horizontal part of the level's axis;
///      sums S7 = (S7 + c7) d[3], S8 likewise. T1ref and T3ref are the first sample's; after 400 samples with a
///      first temperature they become the mean of the last 200
///   6  angle: smoothed = ref + (angle - ref)(1 - d[3]), then + S7 + S8; for its first ten usable samples a level takes
///      its last output + c7 + c8 instead of the reading; an excluded level takes the angle of step 3
///   7  rotations F1, F2 (GetF1), blended as angles x, y, z of Rx Ry Rz with w for level 1. With c1, c2 samples without
///      exclusion: w = 1/2, or 1 (0) while only c1 (c2) is above ten; with c1 + c2 above 20,
///      min(1, ((c1 - 10)/(c1 + c2 - 20))^2)
/// R = F Rz(-(azimuth - A1 K) k). GetQVCMatrix gives P - F q.
///
/// The result is false, with the buffer and the QVC values untouched, when both levels are excluded, and as long as the
/// filtered level X in the rings' fifth row is exactly 0: for four new samples, and for a lap of 51 after a zero there.
///
/// Accuracy  degrees, tilts to 5, elevations to 30 (tests/models/two_level): at rest 1.7e-10 from call 16 on; at
///           100 mm/s and 1 degree/s, against the truth two samples back, 8e-6 with d[0] = 1 and 1.4e-2 with d = 0.
/// Notes  1  The model's state belongs to the process and outlives its objects: objects that are fed in turn disturb
///           each other, and for objects that two threads feed, also inside two engines, the host needs a lock.
///        2  A sample with the times of the sample before it gives the previous matrix again; the first call of the
///           process gives the previous matrix too, which is zero then.
///        3  Samples must be 0.01 s apart: the acceleration takes no account of the times it is given.
///        4  A level whose solve fails keeps its rotation: level 1 the last blend, level 2 its own last one, zero at
///           first.
///        5  With level 1 excluded and level 2 in its 21st to 30th usable sample w is 1, then (10/(c2 - 20))^2. With
///           both in use for long w tends to 1/4.
///        6  Angles are blended without regard to the full turn: near a heading of 180 degrees the blend may be a
///           quarter turn off.
///        7  d[6] has no effect. Lags are truncated and reduced to the 51 rows; -1 reads the oldest.
///        8  A copy carries every member; the copy has a stream of its own, which is closed.
///        9  A nan or an infinity that reaches the smoother or the sums of step 5 stays there: all later samples of the
///           process are spoiled, those of new objects too, until kor::FreshProcessValues (Session.h) is called.
class KORINTERFACE_API CKorThreeVec2Levelv2 : public CKorThreeVec2Level {
public:
    CKorThreeVec2Levelv2();
    CKorThreeVec2Levelv2(const CKorThreeVec2Levelv2& other);
    CKorThreeVec2Levelv2& operator=(const CKorThreeVec2Levelv2& other);
    ~CKorThreeVec2Levelv2() override;

    /// The second version adds overloads beside these.
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
    ///           result         false when no direction makes the given angles, or the line of sight lies along the
    ///                          level's axis
    virtual bool GetF1(const double* levelAxis, double levelAngleDeg, double* dir, double horizDeg, double vertDeg,
                       int stride, double* out);

    /// Acceleration from the last seven positions: 625 (p0 + 2 p1 - p2 - 4 p3 - p4 + 2 p5 + p6) per axis, pn the
    /// position n calls back; mm/s^2 for samples 0.01 s apart. The positions belong to the process. Returns true.
    /// Given     pos            position, tracker frame, mm
    ///           counter, time  not used
    virtual bool GetAccO1(const double* pos, unsigned long counter, double time);

    /// As in the first version, but the result goes to outDeg.
    /// Given     levelDeg  degrees; unchanged
    ///           acc       mm/s^2
    /// Returned  outDeg    degrees; keeps its value when the corrected sine is beyond one; a NaN passes on
    virtual void GetLevelAfterAccComp(double& levelDeg, double acc, double& outDeg);

    /// Mean of the first five entries of a buffer after storing value at the current ring row. Returns 0.
    /// Given     buffer  at least 51 doubles
    /// Notes  1  No operation of the library calls it.
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
                                     ///< [3] level smoothing, [4], [5] lags in samples, [6] without effect
};

#endif
