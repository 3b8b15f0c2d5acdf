// Three-vector two-level model, first version.
#ifndef KORINTERFACE_CKORTHREEVEC2LEVEL_H
#define KORINTERFACE_CKORTHREEVEC2LEVEL_H

#include <cstdint>

#include "KORInterface/CKorModel.h"

/// Orientation from the line of sight and two levels, which are corrected for the sensor's own acceleration.
///
/// For each level that is not excluded, with L its parameters (the names of CKorThreeVec):
///   1  F(level) = B A^T with x at el + 90 degrees to r and 90 - (L[5] + level) L[6] degrees to l (GetF1)
///   2  raw value: centre = P - F q with q = (Q[0], Q[2], Q[1]); axis = unit(F (1, tan L[3], tan L[4]))
///   3  acceleration of the centre along the axis (GetAccLx, GetAccLy)
///   4  moving average over 80 samples, from which the acceleration is removed (GetLevelAfterAccComp)
///   5  s += (level - s) 0.006; F(s + drift), drift += (third temperature - its first value)/1000 with every sample
/// R = F Rz(-(azimuth - A1 K) k). Two rotations are blended: the means of their angles x, y, z in Rx Ry Rz.
/// GetQVCMatrix gives P - F q (tracker frame, mm), entries 3 to 5 stay as they are.
///
/// The result is false, with the buffer and the QVC values untouched, when both levels are excluded and as long as no
/// level has an acceleration: during the first 101 samples of a run.
///
/// Accuracy  at rest 7e-11 degrees (tilts to 5, elevations to 30; even parity upright, odd parity upside down). In
///           motion the levels are 40 + 167 samples old: about 2.5 degrees for each degree per second of tilting.
/// Notes  1  No mount mode selects this class; it is the base of the second version and open to hosts that drive a
///           model themselves.
///        2  References and smoothing belong to the process: objects that are fed in turn disturb each other, and for
///           objects that two threads feed the host needs a lock.
///        3  Angles are blended without regard to the full turn: when the two rotations lie on both sides of a heading
///           of 180 degrees the blend points the other way.
///        4  The compensation takes the reading before offset and gain: exact for L[5] = 0, L[6] = 1 only.
///        5  The tracker's vertical is -z for both parities; the parity picks the mirror solution only.
///        6  Copies share the two moving-average buffers of their source. The buffers are never released.
///        7  The counters are 32-bit: larger values are reduced modulo 2^32.
///        8  When only one of two usable levels has an acceleration, the QVC values are those of its first solve.
///        9  A nan or an infinity that reaches the smoothing stays there and spoils all later samples until
///           kor::FreshProcessValues (Session.h) is called or an object has two usable levels and no acceleration yet.
class KORINTERFACE_API CKorThreeVec2Level : public CKorModel {
public:
    CKorThreeVec2Level();
    CKorThreeVec2Level(const CKorThreeVec2Level& other);
    CKorThreeVec2Level& operator=(const CKorThreeVec2Level& other);
    ~CKorThreeVec2Level() override;

    void UpdateSFactors(float* values, int count) override;
    bool CalTranxMatrix(double* const io, double azRefRad, double elRefRad, int stride) override;
    void UpdateQVCParameters(float* values, int count) override;
    void UpdateLevel1Parameters(float* values, int count) override;
    void UpdateLevel2Parameters(float* values, int count) override;
    void GetQVCMatrix(float* out, int count) override;
    void SetLevelLimits(bool level1Excluded, bool level2Excluded) override;
    void SetCounter(unsigned long counterL1, unsigned long counterL2) override;
    void SetTimeInterval(double timeL1, double timeL2) override;
    void GetLevelValues(float& level1, float& level2) override;

    /// Rotation of the azimuth stage that one level and the line of sight give.
    /// Given     levelPrm   seven level parameters; [3], [4] tilt of the axis, [5] offset, [6] gain
    ///           levelDeg   level reading, degrees
    ///           dir        line of sight in the stage, unit vector
    ///           horizDeg   horizontal angle of the measured position, degrees
    ///           vertDeg    its vertical angle, degrees
    ///           stride     row stride of the matrices, 3
    /// Returned  out        3 x 3, row-major
    ///           result     always true
    virtual bool GetF1(const float* levelPrm, double levelDeg, double* dir, double horizDeg, double vertDeg, int stride,
                       double* out);

    /// Takes the effect of an acceleration out of a level reading.
    /// Given     levelDeg  reading, degrees
    ///           acc       acceleration along the level's axis, mm/s^2
    /// Returned  levelDeg  asin(sin(level) + acc/9800); unchanged when the sum is beyond one; a NaN passes on
    virtual void GetLevelAfterAccComp(double& levelDeg, double acc);

    /// Acceleration along the axis of level 1 by two straight-line fits over 51 samples.
    /// Given     pos       position of the rotation centre, tracker frame, mm
    ///           axis      the level's axis, tracker frame, unit vector
    ///           counter   samples of the current run, modulo 2^32
    ///           time      time of the sample, seconds
    /// Returned  accAlong  mm/s^2; zero while the histories fill
    ///           result    true from counter 102 on
    virtual bool GetAccLx(const double* pos, const double* axis, unsigned long counter, double time, double& accAlong);

    /// The same for level 2, on histories of its own.
    virtual bool GetAccLy(const double* pos, const double* axis, unsigned long counter, double time, double& accAlong);

    /// Moving average of level 1 over 80 samples, in place; while the buffer fills, the mean of the samples before
    /// this one, and the first sample stays as it is. Returns 0.
    virtual int MovingFilter(double& value);

    /// The same for level 2; keeps its last output.
    virtual int MovingFilterLevelY(double& value);

protected:
    double m_posHistL1[3][102];    ///< rotation-centre history of level 1 per axis: 51 (time, value) pairs
    double m_velHistL1[3][102];    ///< velocity history, same layout
    double m_accL1[3];             ///< last acceleration, mm/s^2
    double m_accAlongL1;           ///< its component along the level's axis
    double m_level1Filtered;       ///< level 1 after the moving average, degrees
    double m_posHistL2[3][102];    ///< rotation-centre history of level 2
    double m_velHistL2[3][102];    ///< velocity history of level 2
    double m_accL2[3];             ///< last acceleration on level 2's path, mm/s^2
    double m_accAlongL2;           ///< its component along level 2's axis
    double m_level2Filtered;       ///< level 2 after the moving average, degrees
    std::uint32_t m_counterL1;     ///< samples of level 1's current run
    std::uint32_t m_counterL2;     ///< samples of level 2's current run
    bool m_level1Excluded;         ///< level 1 must not be used
    bool m_level2Excluded;         ///< level 2 must not be used
    double m_timeL1;               ///< time of the sample on level 1's clock, seconds
    double m_timeL2;               ///< time of the sample on level 2's clock, seconds
    std::int32_t m_filterLength;   ///< length of both moving averages, 80
    std::uint32_t m_filterCountL1; ///< samples fed into the moving average of level 1
    double m_filterReserve;        ///< not used
    double* m_filterBufL1;         ///< ring of the moving average of level 1, shared by copies
    double* m_filterBufL2;         ///< ring of the moving average of level 2, shared by copies
    std::uint32_t m_filterCountL2; ///< samples fed into the moving average of level 2
    double m_lastLevel2Output;     ///< last output of the moving average of level 2
    double m_driftA;               ///< accumulated drift input A
    double m_driftB;               ///< accumulated drift input B, added to both levels
};

#endif
