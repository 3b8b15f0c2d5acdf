// What a host needs and the system's own interface does not offer: additions beside it.
//
// A session with one sensor: read the parameter file with an account of what is wrong with it (ReadParameterFile),
// configure an engine in one call (Configure), feed it and learn what became of each sample (ProcessSample), and, when
// one process works on several recordings, begin each of them as a new process would (FreshProcessValues).
#ifndef KORINTERFACE_SESSION_H
#define KORINTERFACE_SESSION_H

#include <cstdint>

#include "KORInterface/CKor.h"
#include "KORInterface/CKorPrm.h"
#include "KORInterface/Export.h"
#include "KORInterface/OrientationModel.h"
#include "KORInterface/Records.h"

namespace kor {

/// What a read passed over without a message.
enum class FindingKind : std::int32_t {
    unreadableValue = 0, ///< a value that cannot be read: it and those read with it keep their previous content
    shortTable = 1       ///< a table that cannot be read to the end of the rows that its count announces
};

/// One place of a parameter file that a read passed over. The texts live as long as the report, UTF-8, never null.
struct ReadFinding {
    FindingKind kind;
    std::uint32_t line;   ///< from 1, of the text that could not be read
    const char* block;    ///< title of its block
    const char* expected; ///< what should have stood there
    const char* found;    ///< what stood there, short and printable; "end of file" at the end
    const char* text;     ///< all of this in one sentence, with the name of the file
    std::uint64_t values; ///< values that were not read for it
    std::uint64_t rows;   ///< shortTable: rows that could be read whole, otherwise 0
    std::uint64_t count;  ///< shortTable: rows that the count announces, otherwise 0
};

struct ReadReportData;

/// An account of one read of a parameter file.
///
/// Notes  1  The texts that the operations hand out live as long as the report and until it is used for another read.
///        2  Only the constructors throw, and only the allocator's std::bad_alloc.
class KORINTERFACE_API ReadReport {
public:
    ReadReport();
    ReadReport(const ReadReport& other);
    ReadReport& operator=(const ReadReport& other);
    ~ReadReport();

    /// Result of the read: kSuccess, kBadArgument, kCannotOpen or kFormatError (Status.h).
    int status() const;

    /// Number of the message that the failure loaded, 601 to 624 (MessageText); 0 if there was none.
    unsigned int message() const;

    /// Whether the read has failed because there was not enough memory: its result is kFormatError then, too, and
    /// nothing is known of the file.
    bool outOfMemory() const;

    /// Line of the text that made the read fail, from 1; 0 if the read did not get that far.
    std::uint32_t line() const;

    /// Title of the block in which the read failed, as it stands in parameter files; empty if there is none.
    const char* block() const;

    /// What should have stood where the read failed.
    const char* expected() const;

    /// What stood there, short and printable; "end of file" at the end.
    const char* found() const;

    /// The failure in one sentence: file, line, block, what was found, what was expected. Empty after a success.
    const char* text() const;

    /// Number of findings that finding() hands out: the first ten thousand.
    std::uint32_t findings() const;

    /// Number of all findings.
    std::uint64_t allFindings() const;

    /// One finding, in the order of the file.
    /// Given     index  below findings(); any other gives a finding without texts
    ReadFinding finding(std::uint32_t index) const;

private:
    friend struct ReadReportAccess;
    ReadReportData* m_data;
};

/// Reads a sensor's parameter file as CKorPrm::ReadCalibrationFile does, with the same effect and the same result, and
/// gives an account of it.
/// Given     prm        the parameter set to fill
///           directory  as for ReadCalibrationFile
///           id         sensor ID, as for ReadCalibrationFile
/// Returned  report     the account of the read
///           result     that of ReadCalibrationFile
KORINTERFACE_API int ReadParameterFile(CKorPrm& prm, const wchar_t* directory, std::uint32_t id, ReadReport& report);

/// The same with the directory in UTF-8, which is what the arguments of a program are on most systems but Windows.
/// Returned  result  also kCannotOpen when the directory is not valid UTF-8
KORINTERFACE_API int ReadParameterFile(CKorPrm& prm, const char* directory, std::uint32_t id, ReadReport& report);

/// What Configure does beyond copying the parameter groups. Without any change it chooses the file's mount mode, leaves
/// the parameter store empty, and leaves MCS flag and detector reading as they are.
class ConfigureOptions {
public:
    ConfigureOptions()
        : m_hasMountMode(false), m_hasMcsFlag(false), m_hasDetector(false), m_store(false), m_mcsFlag(true),
          m_mountMode(0), m_detector()
    {
    }

    /// Chooses a mount mode in place of the file's.
    ConfigureOptions& mountMode(int mode)
    {
        m_hasMountMode = true;
        m_mountMode = mode;
        return *this;
    }

    /// Fills the engine's parameter store from the set: in mount modes 9 and 10 the model gets the dynamic parameters,
    /// and in modes 7 and above the detector reading moves the line of sight.
    ConfigureOptions& parameterStore(bool fill = true)
    {
        m_store = fill;
        return *this;
    }

    /// Chooses machine (true, the engine's default) or local coordinates in mount modes below 7.
    ConfigureOptions& mcsFlag(bool flag)
    {
        m_hasMcsFlag = true;
        m_mcsFlag = flag;
        return *this;
    }

    /// Sets the reading of the position-sensitive detector: two coordinates and their common divisor.
    ConfigureOptions& detector(std::int32_t first, std::int32_t second, std::int32_t divisor)
    {
        m_hasDetector = true;
        m_detector[0] = first;
        m_detector[1] = second;
        m_detector[2] = divisor;
        return *this;
    }

private:
    friend struct ConfigureAccess;
    bool m_hasMountMode;
    bool m_hasMcsFlag;
    bool m_hasDetector;
    bool m_store;
    bool m_mcsFlag;
    std::int32_t m_mountMode;
    std::int32_t m_detector[3];
};

/// Copies every parameter group of a loaded set into an engine, fills the parameter store if asked to, and chooses the
/// mount mode, in the only order that has full effect.
/// Given     engine   a new engine; one that has a model already keeps that model's kind
///           prm      a parameter set that a read has filled
///           options  what differs from the file
/// Returned  result   kSuccess, or that of the first step that failed: kNotLoaded when the set is not loaded or the
///                    engine has been destroyed, kBadArgument when a table does not fit the engine's or there is no
///                    memory for it or for the model. The groups before that step have been copied
KORINTERFACE_API int Configure(CKor& engine, const CKorPrm& prm, const ConfigureOptions& options);

/// The same with the default options.
inline int Configure(CKor& engine, const CKorPrm& prm)
{
    return Configure(engine, prm, ConfigureOptions());
}

/// The outcome of a sample.
enum class SampleOutcome : std::int32_t {
    neverFed = 0,         ///< no sample has been fed since construction or Destroy
    noModel = 1,          ///< refused: no mount mode has been chosen, or the engine has been destroyed
    rejectedByStatus = 2, ///< refused: its status is not 2
    noMatrix = 3,         ///< the model formed no matrix (NoMatrixReason)
    notFinite = 4,        ///< the matrix holds a value that is not a finite number
    beforeReference = 5, ///< the matrix is sound, but no reference had been captured: angles are 0, matrix the identity
    valid = 6,           ///< angles and matrix are the sensor's orientation
    spoiled = 7          ///< the matrix holds a value that is not a finite number, and an earlier sample is the reason
};

/// What carries a nan or an infinity of one sample on to those that follow.
enum class SpoiledBy : std::int32_t {
    nothing = 0,
    /// Mount modes 9, 10: the values that the two-level models keep for the whole process. The next sample of every
    /// engine of these modes is spoiled, also of a new one, until FreshProcessValues is called.
    processValues = 1,
    /// Mount modes below 7, MCS flag off: the reference was captured from a sample that is not finite. Nothing clears
    /// it again; a new engine captures a reference of its own.
    reference = 2
};

/// Why a model formed no matrix.
enum class NoMatrixReason : std::int32_t {
    none = 0,               ///< it formed one, or was not called
    bothLevelsExcluded = 1, ///< mount modes 9, 10: both levels are outside their tables
    filtersFilling = 2,     ///< mount modes 9, 10: the filters do not hold enough samples yet
    modelRefused = 3        ///< the model's equations have no solution for this sample
};

/// Account of one sample.
struct SampleReport {
    SampleOutcome outcome;
    NoMatrixReason reason;  ///< none unless the outcome is noMatrix
    OrientationModel model; ///< that is in use
    bool capturedReference; ///< this sample became the reference
    bool levelXOutside;     ///< level X was outside its table, or has none; false without a model
    bool levelYOutside;     ///< the same for level Y
    SpoiledBy spoiledBy;    ///< nothing if the model was not called
    /// The sample from which on this is so, counted from 1 over all samples that this engine was fed; 0 if nothing is
    /// spoiled. The outcome of that sample follows from its own readings, or from a sample shortly before it that the
    /// model's filters still hold; the outcome of later samples is spoiled. If another engine has spoiled the values of
    /// the process, it is the first sample that was fed to this engine after that.
    std::uint64_t spoiledSince;
};

/// Everything that an engine tells of one sample.
struct SampleResult {
    KOR_INFO info;           ///< as updateKORData fills it
    double matrix[9];        ///< as ReadMatrix gives it, row-major
    std::int32_t matrixCode; ///< result of ReadMatrix
    SampleReport report;
};

/// Account of the last sample that an engine was fed, by updateKORData or ProcessSample.
/// Notes  1  Takes the engine's lock. Each sample stores what this call needs, at no cost that can be measured; this
///           call computes the account.
KORINTERFACE_API SampleReport LastSample(CKor& engine);

/// Feeds one sample and collects what the engine tells of it, all under one hold of the engine's lock: updateKORData,
/// ReadMatrix and LastSample.
/// Given     raw     the sample
/// Returned  result  its results and its account
KORINTERFACE_API void ProcessSample(CKor& engine, const KOR_RAWINFO& raw, SampleResult& result);

/// An outcome, a reason, a model or a cause in words: lower case, ASCII, valid as long as the library is loaded; never
/// null, empty for reason none and cause nothing, "unknown" for a number without meaning.
KORINTERFACE_API const char* OutcomeText(SampleOutcome outcome);
KORINTERFACE_API const char* ReasonText(NoMatrixReason reason);
KORINTERFACE_API const char* ModelText(OrientationModel model);
KORINTERFACE_API const char* SpoiledText(SpoiledBy by);

/// A report in one line of words: the outcome, its reason, and what is spoiled since which sample.
/// Given     size    size of text in bytes; 0 to ask for the length
/// Returned  text    ASCII, ended by a zero; cut off if it does not fit
///           result  length of the whole line without the zero
KORINTERFACE_API std::uint32_t SampleText(const SampleReport& report, char* text, std::uint32_t size);

/// Gives the values that the two-level models (mount modes 9 and 10) keep for the whole process the content that they
/// have in a new process: the next sample of such a model sets them up again. A recording that is fed to a new engine
/// after this call gives the results that it gives in a process of its own.
///
/// It also repairs these values after a sample with a nan or an infinity, which otherwise stays in them and spoils
/// every later sample of the process (SampleOutcome::spoiled).
///
/// Notes  1  Call it while no engine with such a model is being fed. The set-up itself stays safe when several threads
///           get to it at once.
///        2  If an engine is fed further, its model forgets its earlier samples too: its results are those of a new
///           engine in a new process, except for the reference, which the engine keeps.
///        3  A model object that the host has made itself keeps its earlier samples; make a new one.
KORINTERFACE_API void FreshProcessValues();

} // namespace kor

#endif
