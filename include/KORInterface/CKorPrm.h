// Parameter set of one sensor.
#ifndef KORINTERFACE_CKORPRM_H
#define KORINTERFACE_CKORPRM_H

#include "KORInterface/Export.h"
#include "KORInterface/ParameterSet.h"
#include "KORInterface/Records.h"

namespace kor {
struct ParameterAccess;
}

/// The calibration and model parameters of one sensor, read from its parameter file.
///
/// Results: 0 success; 20 a required pointer is null or a count is out of range; 550 the file cannot be opened;
/// 551 nothing has been loaded yet; 553 the file's format is wrong. Every accessor but SetVector and
/// TgUpdateThermal returns 551, and writes nothing, until a read has succeeded.
///
/// Notes  1  No lock: use one object from one thread at a time.
///        2  The set operations change the object only, never the file.
///        3  Copies share the six tables with their source; the last object that refers to a table releases it.
///        4  No operation throws.
class KORINTERFACE_API CKorPrm {
public:
    CKorPrm();
    CKorPrm(const CKorPrm& other);
    CKorPrm& operator=(const CKorPrm& other);
    ~CKorPrm();

    /// Releases the six tables; harmless when called again.
    /// Notes  1  Counts and the loaded state stay; the table getters then give the count and the result 551.
    void Destroy();

    /// Reads a sensor's parameter file, DIRECTORY\TgID.prm (DIRECTORY/TgID.prm where paths use '/').
    /// Given     directory  shorter than 255 characters; empty means the current directory
    ///           id         sensor ID; its low 32 bits, signed, name the file and must match the file's own
    /// Returned  result     0, 20 (null directory), 550 (cannot be opened, or the directory is too long), 553
    /// Notes  1  A failed read keeps what the blocks before the failure have replaced, and whether the object
    ///           counts as loaded.
    ///        2  Later reads use the azimuth table of the first read again, and so change it in the copies that share
    ///           it; a file with more rows than that table holds is refused with 553.
    ///        3  A table whose row count is negative or larger than the bytes left in the file is refused with 553,
    ///           and so is one of more than a million rows with less than four bytes for each. A read takes less than
    ///           64 MB of memory and twelve times the size of the file.
    ///        4  If there is not enough memory, the read fails with 553.
    int ReadCalibrationFile(const wchar_t* directory, unsigned long id);

    /// Rewrites the parameter file at prmDirectory, which the host has set to the file's full path: copies it block
    /// by block in its canonical layout to "$tmp.prm" in the current directory, waits half a second twice, and puts
    /// the copy in the file's place. Numbers get six decimals; lines end as in the system's text files, with CR LF on
    /// Windows and with LF elsewhere.
    /// Given     prmDirectory  the path; a read leaves its directory there
    ///           mount mode    the object's, decides whether the blocks behind "Mounting Mode" are copied
    /// Returned  result        0 (also if there is no such file), 550 (the file or the copy cannot be opened, or the
    ///                         copy cannot be written), 553 (format)
    ///           dynamicParameters  those of the file, as far as the copying got
    /// Notes  1  What is written was read from the file; changes made through the set operations are not saved.
    ///        2  A file that holds a "Mounting Mode" block fails with 553, and so does every file when the object's
    ///           mount mode is 7 or more. Only a file that ends before that block is rewritten, and then holds one. The
    ///           rewrite of a file that ends before "Scale Factor" lacks the tilt Y table and is not read again (619).
    ///        3  After 553 and 550 the file is as it was, but no longer read-only; "$tmp.prm" holds the blocks copied
    ///           so far.
    ///        4  A file is replaced in one step and only by a complete copy. If the system refuses that, the result is
    ///           0, the file is as it was and the copy stays in "$tmp.prm".
    ///        5  A symbolic link at the path is replaced, not followed. "$tmp.prm" itself cannot be rewritten (550),
    ///           and nothing is when that name is a link to another file, symbolic or hard (550).
    ///        6  The file keeps owner, group and permissions where the process may give them, and its owner may read
    ///           and write it. Where it may not be given to its owner, it belongs to the user of the process, and the
    ///           former owner may read it: as one of its group, or as anybody if that cannot be kept either. On
    ///           Windows it has the rights that its directory hands down.
    ///        7  If there is not enough memory, the call fails with 553, and the file is as it was.
    ///        8  Two calls at a time in one current directory would share "$tmp.prm".
    int PrmFileCopy();

    /// Loads the message of a format failure, 601 to 624, and shows nothing.
    void DisplayErrMsg(unsigned int id);

    /// Azimuth calibration table.
    /// Returned  count   rows; written even when table is null (the result is then 20)
    ///           table   2 x count floats: reading and correction of each row, degrees
    ///           result  551 also when the table is gone: after Destroy, or when a read found no memory for it
    int getAzimuthComp(unsigned int& count, float* table) const;

    /// Elevation calibration table, as getAzimuthComp.
    int getElevationComp(unsigned int& count, float* table) const;

    /// First and last reading of the azimuth table, degrees.
    int getAzimuthCompRollover(float& first, float& last);

    /// First and last reading of the elevation table, degrees.
    int getElevationCompRollover(float& first, float& last);

    /// Compensation table of level X.
    /// Returned  count   rows; written even when a pointer is null (the result is then 20)
    ///           table   count + 3 floats: knots, then the three extra values
    ///           coeffs  4 x count doubles: spline coefficients c0..c3 of each interval
    int getLevelXComp(unsigned int& count, float* table, double* coeffs) const;

    /// Compensation table of level Y, as getLevelXComp. A file without the table leaves that of the file before it in
    /// this object; a new object then gives count 0.
    int getLevelYComp(unsigned int& count, float* table, double* coeffs) const;

    /// Calibration of the first level: count 7. A null pointer leaves count alone, here and below.
    int getLevel1Parameters(float* values, unsigned int& count) const;

    /// Calibration of the second level: count 7.
    int getLevel2Parameters(float* values, unsigned int& count) const;

    /// QVC parameters: count 6.
    int getQVCParameters(float* values, unsigned int& count) const;

    /// Scale factors of the orientation model: count 8.
    int getScaleFactors(float* values, unsigned int& count) const;

    /// Replaces the first count scale factors, 1 to 8.
    int setScaleFactors(const float* values, unsigned int count);

    /// Seven dynamic parameters.
    int getDynamicKORParameters(float* values) const;

    /// Detector coefficients, three each.
    int getPSDParameters(float* x, float* y) const;

    /// Encoder offsets of azimuth (x) and elevation (y), radians.
    int getEncoderOffset(F_VECTOR2& offset) const;
    int setEncoderOffset(const F_VECTOR2& offset);

    /// Encoder limits, degrees: azimuth low, high, elevation low, high (offset -+ half range).
    int getEncoderLimit(F_VECTOR4& limit) const;

    /// Transform vector, three doubles.
    int getKnownVector(double* vector) const;
    int setKnownVector(const double* vector);

    /// Writes the vector's first component into all three elements of the known vector.
    void SetVector(D_VECTOR3 vector);

    /// Local coordinate transform.
    /// Given     n  3; with a larger n the values that follow the matrix in the object are copied too, none beyond it
    /// Returned  m  n x n, row-major
    int getLocalMatrix(double* m, int n) const;
    int setLocalMatrix(const double* m, int n);

    /// Machine coordinate transform: the inverse of the matrix in the file. n as for getLocalMatrix.
    int getMachineMatrix(double* m, int n);
    int setMachineMatrix(double* m, int n);

    /// Thermal compensation factors: X gain, X offset, Y gain, Y offset.
    int getThermalFactor(F_VECTOR4& factor) const;
    int setThermalFactor(const F_VECTOR4& factor);

    /// Tilt offsets of level X and level Y.
    int getTiltOffset(F_VECTOR2& offset) const;
    int setTiltOffset(const F_VECTOR2& offset);

    /// Mount mode of the sensor.
    int getMountMode(int& mode) const;

    /// Offset of the distance meter.
    int getADMOffset(float& offset) const;

    /// Tilt limits: X low, X high, Y low, Y high.
    int GetKORLevelLimits(F_VECTOR4& limits);
    int SetKORLevelLimits(F_VECTOR4 limits);

    /// One step of the thermal drift, in place: with m the mean of three temperatures and p = m gain,
    /// offset = (p + offset) factor - p.
    /// Given     which  0: gain and offset of level X, otherwise those of level Y
    void TgUpdateThermal(float factor, float* temps, int which);

private:
    bool prmLoaded;   ///< a read has succeeded
    bool prmModified; ///< a set operation has changed a group

public:
    /// Directory of the last file read. A host that rewrites a file places its full path here.
    wchar_t prmDirectory[255];

private:
    friend struct kor::ParameterAccess;

    kor::ParameterSet m_set; ///< what the file said, as changed by the set operations
};

#endif
