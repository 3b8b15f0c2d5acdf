// Base of the orientation models.
#ifndef KORINTERFACE_CKORMODEL_H
#define KORINTERFACE_CKORMODEL_H

#include "KORInterface/Export.h"

/// What every orientation model carries, and the interface through which an engine drives it.
///
/// The engine owns one model, chosen by the mount mode, primes it with the parameter groups and calls
/// CalTranxMatrix once per valid sample. A host may also make, prime and call a model itself.
///
/// Notes  1  The base ignores every parameter and leaves every buffer as it is; each derived class says which
///           operations it implements.
///        2  A model has no lock: never enter one from two threads at once. The two-level models share state, so all
///           objects of those classes together need one lock when threads feed them.
///        3  Copies and moves carry every field; the results of a copy are bit-identical to the original's.
class KORINTERFACE_API CKorModel {
public:
    /// A model that is not primed yet. Every field is zero.
    CKorModel();
    CKorModel(const CKorModel& other);
    CKorModel(CKorModel&& other) noexcept;
    CKorModel& operator=(const CKorModel& other);
    CKorModel& operator=(CKorModel&& other) noexcept;

    // The order of the virtual operations is part of the binary interface: append, never insert.

    virtual ~CKorModel();

    /// Scale factors and angle offsets of the model.
    /// Given     values  count values, 8 in use; each model gives them its own meaning, angles in degrees
    ///           count   number of values; 0 or less copies nothing, values beyond the eighth are ignored, and a null
    ///                   pointer copies nothing
    virtual void UpdateSFactors(float* values, int count);

    /// The sensor's orientation from one sample.
    /// Given     matrix  nine inputs: [0..2] measured position of the target point (tracker frame, mm),
    ///                   [3] level X, [4] level Y, [5] azimuth-axis angle, [6] elevation-axis angle (degrees),
    ///                   [7] first and [8] third temperature
    ///           angle1  azimuth encoder offset, radians
    ///           angle2  elevation encoder offset, radians
    ///           size    dimension of the matrix, 3; other values are ignored
    /// Returned  matrix  3 x 3 rotation from the sensor's base to the tracker frame, row-major
    ///           result  true when a matrix was formed, false when this sample gives none; the two-level models then
    ///                   leave the buffer as it was, the dual-level and pendulum models have written it
    virtual bool CalTranxMatrix(double* const matrix, double angle1, double angle2, int size);

    /// QVC parameters: 6 in use, same rules as UpdateSFactors.
    virtual void UpdateQVCParameters(float* values, int count);

    /// Calibration of the first level: 7 in use, same rules as UpdateSFactors.
    virtual void UpdateLevel1Parameters(float* values, int count);

    /// Calibration of the second level: 7 in use, same rules as UpdateSFactors.
    virtual void UpdateLevel2Parameters(float* values, int count);

    /// QVC values that the last CalTranxMatrix left.
    /// Given     count  number of values wanted; 0 or less copies nothing, at most 6 are written
    /// Returned  out    untouched by models that compute none
    virtual void GetQVCMatrix(float* out, int count);

    /// Which levels lie outside their compensation tables: such a level must not be used.
    virtual void SetLevelLimits(bool level1Excluded, bool level2Excluded);

    /// Samples of the current uninterrupted run of each level, modulo 2^32.
    virtual void SetCounter(unsigned long counter1, unsigned long counter2);

    /// Time since the start of each level's current run, seconds.
    virtual void SetTimeInterval(double time1, double time2);

    /// Level values after the model's own filtering, degrees; untouched by models without such filters.
    virtual void GetLevelValues(float& level1, float& level2);

    /// The seven dynamic parameters; null changes nothing. Only the second two-level model uses them.
    virtual void SetDynamicParameters(float* values);

    /// Sets or returns the mount parity.
    /// Given     mode    mount mode modulo 2; a negative number changes nothing
    /// Returned  result  the parity after the call
    int set_iMMode(int mode);

protected:
    float sFactors[8];         ///< scale factors and angle offsets
    int iMMode;                ///< mount parity: 1 odd, 0 even
    float qvcParameters[6];    ///< QVC parameters
    float level1Parameters[7]; ///< calibration of the first level
    float level2Parameters[7]; ///< calibration of the second level
    float qvcMatrix[6];        ///< QVC values, a result
};

#endif
