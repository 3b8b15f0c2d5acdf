// Engine of one sensor.
#ifndef KORINTERFACE_CKOR_H
#define KORINTERFACE_CKOR_H

#include "KORInterface/Export.h"
#include "KORInterface/Records.h"

/// Turns the raw samples of one KOR sensor into calibrated angles, corrected levels, temperatures and the
/// sensor's orientation.
///
/// A host configures the engine once (every parameter group, the mount mode last) and then calls updateKORData
/// for every sample. Operations return 0 on success and 20 when a required pointer is null.
///
/// Notes  1  One recursive lock per engine: a host may configure or read from one thread while another feeds
///           samples. setThermalFactor, setMountMode, the two inverse calibrations and Calc_HV0 do not take it: call
///           the first two only while no other operation runs on the engine, and the inverse calibrations only while
///           no encoder table is set, released or replaced.
///        2  Fields that the host has not set are zero, except the MCS flag, which is true at first.
///        3  Only the two constructors throw, and only the allocator's std::bad_alloc.
///        4  Copies share the tables, the model and the parameter store of their source; each has a lock of its
///           own, which does not cover what they share. Feed or configure only one of them at a time.
class KORINTERFACE_API CKor {
public:
    CKor();
    CKor(const CKor& other);
    CKor& operator=(const CKor& other);

    /// Calls Destroy.
    virtual ~CKor();

    /// Releases the tables, the model and the parameter store; safe to call twice. Samples are refused afterwards.
    virtual void Destroy();

    /// Does nothing; returns 0.
    int Initialization();

    /// Scale factors of the orientation model.
    /// Given     values  count floats, 8 in use; values beyond the eighth are ignored
    int setScaleFactors(const float* values, int count);

    /// QVC parameters of the three-vector models: 6 in use, as setScaleFactors.
    int setQVCParameters(const float* values, int count);

    /// Calibration of the first level for the three-vector models: 7 in use, as setScaleFactors.
    int setLevel1Parameters(const float* values, int count);

    /// Calibration of the second level for the three-vector models: 7 in use, as setScaleFactors.
    int setLevel2Parameters(const float* values, int count);

    /// Compensation table of level X.
    /// Given     count         knots of the spline, at least 1
    ///           knots         count + 3 floats: the knots, then the three extra values of the table
    ///           coefficients  4 x count doubles: c0..c3 of each of the count - 1 intervals; the last four are kept
    ///                         and not used
    /// Returned  result        20 also for a count below 1 or above that of the first call
    /// Notes  1  The table is allocated by the first call and keeps its size. If this fails, the result is 20.
    ///        2  If a level has no table, or a single knot, its reading is not corrected and counts as out of range.
    int setLevelXComp(int count, const float* knots, const double* coefficients);

    /// Compensation table of level Y, as setLevelXComp.
    int setLevelYComp(int count, const float* knots, const double* coefficients);

    /// Calibration table of the azimuth encoder.
    /// Given     count   rows; below 1 for no correction
    ///           table   2 x count floats: reading and correction of each row, degrees, readings ascending
    /// Returned  result  20 also for a count above that of the first call, and if there is not enough memory
    /// Notes  1  The table is allocated by the first call and keeps its size, even if the size is zero.
    int setAzimuthComp(int count, const float* table);

    /// Calibration table of the elevation encoder, as setAzimuthComp.
    int setElevationComp(int count, const float* table);

    /// Zero references of the azimuth (x) and elevation (y) axes, radians.
    int setEncoderOffset(const F_VECTOR2& offset);

    /// Tilt offsets subtracted from level X (x) and level Y (y), degrees.
    int setTiltOffset(const F_VECTOR2& offset);

    /// Thermal factors: level X is multiplied by x t + y, level Y by z t + w, t the sample's levelTemperature.
    int setThermalFactor(const F_VECTOR4& factor);

    /// Three doubles, kept for the host.
    int setKnownVector(const double* vector);

    /// Local coordinate transform; takes effect in mount modes below 7 while the MCS flag is false.
    /// Given     matrix  n x n, row-major
    ///           n       3; of a larger matrix the first nine values are taken
    int setLocalMatrix(const double* matrix, int n);

    /// Machine coordinate transform, n as for setLocalMatrix; takes effect in mount modes below 7 while the MCS flag is
    /// true.
    int setMachineMatrix(double* matrix, int n);

    /// Chooses machine (true) or local (false) coordinates in mount modes below 7.
    int setMcsFlag(bool flag);

    /// Reading of the position-sensitive detector: the two coordinates and their common divisor.
    int setPSDParameters(int first, int second, int divisor);

    /// Chooses the orientation model, creates it on the first call and primes it with the parameter groups.
    /// Given     mode  1, 2 dual level; 5, 6 polarizer; 7, 8 three vectors; 9, 10 three vectors and two levels;
    ///                 anything else pendulum
    /// Returned  result  0
    /// Notes  1  A later call changes the mode of the per-sample steps but keeps the model, its kind and its parity.
    ///        2  If there is not enough memory for the model, samples are still refused.
    int setMountMode(int mode);

    /// Encoder reading that calibrates to an azimuth; degrees in and out.
    float getInverseAzCalib(float value);

    /// Encoder reading that calibrates to an elevation; degrees in and out.
    float getInverseElCalib(float value);

    /// One sample through corrections, calibration and orientation model.
    /// Given     raw   the sample
    /// Returned  info  the result; a rejected sample (status other than 2, or no matrix from the model) has zero
    ///                 angles and sensorOut; before setMountMode and after Destroy every field is zero
    /// Notes  1  The orientation matrix is kept for ReadMatrix.
    ///        2  The first valid sample with referenceGate at most 0.4 and referenceHold zero becomes the
    ///           reference; its own angles are zero.
    ///        3  A sample that is not finite may become the reference too. Nothing clears this reference: in mount
    ///           modes below 7 with the MCS flag false, no later result is finite.
    ///        4  Mount modes 9 and 10: one nan or infinity may spoil all later samples of the process, including those
    ///           of other engines and those after Destroy, until kor::FreshProcessValues (Session.h) is called.
    void updateKORData(const KOR_RAWINFO& raw, KOR_INFO& info);

    /// Orientation matrix of the last sample.
    /// Returned  matrix  nine doubles, row-major, base to tracker frame; the identity after a sample that was rejected
    ///                   or refused, and after Destroy; zeros before the first sample
    ///           result  0, 20 for a null pointer, 554 when the last sample was not valid or there was none
    /// Notes  1  For a null pointer the call does not take the lock.
    int ReadMatrix(double* matrix);

    /// Home-vector solve: two directions and two pairs of angles to two angles. Uses no engine state.
    /// Given     a, b       direction vectors
    ///           reference  two reference angles, degrees
    ///           measured   two measured angles (x, y), degrees; z is not used
    /// Returned  first, second  degrees; either pointer may be null
    ///           result     false when the first frame is singular; both angles are written all the same
    /// Notes  1  measured = (0, 0) leaves both angles not-a-number.
    bool Calc_HV0(D_VECTOR3 a, D_VECTOR3 b, D_VECTOR2 reference, D_VECTOR3 measured, double* first, double* second);

private:
    struct State;
    friend struct CKorAccess;
    State* m_state;
};

#endif
