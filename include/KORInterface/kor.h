// The C interface of the library: for hosts in C, and for all languages and compilers that call C. C11 and C++11.
//
// A session with one sensor: read its parameter file (kor_prm_read), configure an engine (kor_engine_configure), open a
// recording (kor_reader_open), feed the engine and take what it gives (kor_engine_update or kor_engine_update_many).
// The functions call the classes CKor and CKorPrm and the functions of Session.h, whose headers describe them in full;
// results are the same to the last bit.
//
// Results   A function that can fail returns a kor_status. KOR_BAD_ARGUMENT (20) means: a handle or a required pointer
//           is null, a size or a number is out of range, or there is not enough memory. Nothing has been written
//           through the other pointers then, unless the function says so.
// Threads   One thread may configure or read an engine while another feeds it, as with CKor, except by
//           kor_engine_set_thermal_factor, kor_engine_set_mount_mode, kor_engine_configure and the inverse
//           calibrations: no other thread may use the engine during these calls. Use a kor_prm, a kor_reader and a
//           kor_writer from one thread at a time. Different handles are independent of each other, except for what
//           kor_fresh_process_values says. Destroy a handle when no other call uses it any more. Any thread may call
//           the functions that give the text of a number.
// Structs   A structure that begins with `size` may become longer in later releases. The caller sets size to sizeof of
//           the structure that it was compiled with. The library reads and writes no more than that. A size below that
//           of the first release, or above 1024, gives KOR_BAD_ARGUMENT.
// Texts     UTF-8. Functions with the arguments text, room and length write at most room bytes, always with a zero at
//           the end; what does not fit is cut off in front of a character. length becomes the number of bytes of the
//           whole text without the zero. text may be null if room is 0, and length may be null, but not both of them.
// Notes  1  No function throws or lets an exception pass, or changes the locale or a signal. None writes to a
//           standard stream, except a writer that was given the name "-".
//        2  Only releases of the same major version promise to keep what stands here; functions and fields are added
//           at the end.
#ifndef KORINTERFACE_KOR_H
#define KORINTERFACE_KOR_H

#include <stddef.h> // NOLINT(modernize-deprecated-headers): C has no other
#include <stdint.h> // NOLINT(modernize-deprecated-headers)

#include "KORInterface/Export.h"
#include "KORInterface/Records.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Results of the functions.
enum kor_status {
    KOR_SUCCESS = 0,        ///< done
    KOR_BAD_ARGUMENT = 20,  ///< a handle or pointer is null, a size or number is out of range, or there is no memory
    KOR_CANNOT_OPEN = 550,  ///< a file cannot be opened, read, made or written
    KOR_NOT_LOADED = 551,   ///< no parameter file has been loaded; nothing is open
    KOR_FORMAT_ERROR = 553, ///< the content of a file is not what it should be
    KOR_NO_MATRIX = 554     ///< the engine has no valid orientation matrix
};

/// The outcome of a sample: the numbers of kor::SampleOutcome.
enum kor_outcome {
    KOR_OUTCOME_NEVER_FED = 0,          ///< no sample has been fed
    KOR_OUTCOME_NO_MODEL = 1,           ///< refused: no mount mode has been chosen
    KOR_OUTCOME_REJECTED_BY_STATUS = 2, ///< refused: its status is not 2
    KOR_OUTCOME_NO_MATRIX = 3,          ///< the model formed no matrix (kor_reason)
    KOR_OUTCOME_NOT_FINITE = 4,         ///< the matrix holds a value that is not a finite number
    KOR_OUTCOME_BEFORE_REFERENCE = 5,   ///< sound, but there was no reference: angles 0, the matrix is the identity
    KOR_OUTCOME_VALID = 6,              ///< angles and matrix are the sensor's orientation
    KOR_OUTCOME_SPOILED = 7             ///< as KOR_OUTCOME_NOT_FINITE, and an earlier sample is the reason
};

/// Why a model formed no matrix: the numbers of kor::NoMatrixReason.
enum kor_reason {
    KOR_REASON_NONE = 0,                 ///< it formed one, or was not called
    KOR_REASON_BOTH_LEVELS_EXCLUDED = 1, ///< mount modes 9, 10: both levels are outside their tables
    KOR_REASON_FILTERS_FILLING = 2,      ///< mount modes 9, 10: the filters do not hold enough samples yet
    KOR_REASON_MODEL_REFUSED = 3         ///< the model's equations have no solution for this sample
};

/// The orientation models: the numbers of kor::OrientationModel.
enum kor_model {
    KOR_MODEL_NONE = 0,          ///< no mount mode has been chosen
    KOR_MODEL_DUAL_LEVEL = 1,    ///< mount modes 1, 2
    KOR_MODEL_PENDULUM = 2,      ///< mount modes 3, 4 and all that are not named here
    KOR_MODEL_POLARIZER = 3,     ///< mount modes 5, 6
    KOR_MODEL_THREE_VECTORS = 4, ///< mount modes 7, 8
    KOR_MODEL_TWO_LEVELS = 5     ///< mount modes 9, 10
};

/// What carries a nan or an infinity of one sample on to those that follow: the numbers of kor::SpoiledBy.
enum kor_spoiled_by {
    KOR_SPOILED_BY_NOTHING = 0,        ///< nothing is spoiled
    KOR_SPOILED_BY_PROCESS_VALUES = 1, ///< mount modes 9, 10: see kor_fresh_process_values
    KOR_SPOILED_BY_REFERENCE = 2       ///< mount modes below 7, MCS flag off: the captured reference
};

/// The parts of an account in words. A part that does not apply is empty.
enum kor_text {
    KOR_TEXT_SENTENCE = 0, ///< all of it in one sentence
    KOR_TEXT_FILE = 1,     ///< the file, fit for a terminal
    KOR_TEXT_BLOCK = 2,    ///< title of the block of a parameter file
    KOR_TEXT_FIELD = 3,    ///< row and name of a value in its block; name of a column of a recording
    KOR_TEXT_FOUND = 4,    ///< what stands there
    KOR_TEXT_EXPECTED = 5, ///< what should stand there
    KOR_TEXT_REASON = 6,   ///< the system's reason, or what is wrong when that is not a matter of found and expected
    KOR_TEXT_ADVICE = 7,   ///< what to do
    KOR_TEXT_RULE = 8      ///< name of the rule of a check
};

/// How the samples of a recording stand in its file.
enum kor_format {
    KOR_FORMAT_ANY = 0, ///< reading: by the name and the content; writing: binary if the name ends in .korraw, else CSV
    KOR_FORMAT_CSV = 1, ///< a header line, then one line for each sample
    KOR_FORMAT_BINARY = 2 ///< KOR_RAWINFO records one behind the other
};

/// What a read of a parameter file passed over: the numbers of kor::FindingKind.
enum kor_finding_kind {
    KOR_FINDING_UNREADABLE_VALUE = 0, ///< a value that cannot be read; it keeps its previous content
    KOR_FINDING_SHORT_TABLE = 1       ///< a table that cannot be read to the end of the rows that its count announces
};

/// How much a finding of a check matters: the numbers of kor::CheckSeverity.
enum kor_severity {
    KOR_SEVERITY_NOTE = 0,    ///< worth knowing; nothing is wrong
    KOR_SEVERITY_WARNING = 1, ///< the library takes the file, and its results are probably not what is wanted
    KOR_SEVERITY_ERROR = 2    ///< the library refuses the file, or takes other values than the file says
};

/// The mount mode to check a parameter file for: that of the file itself.
enum kor_mode { KOR_MODE_OF_FILE = -2147483647 - 1 };

/// A parameter set with the account of its last read and of its last check.
typedef struct kor_prm kor_prm;

/// An engine: turns the samples of one sensor into orientations.
typedef struct kor_engine kor_engine;

/// A recording that is read.
typedef struct kor_reader kor_reader;

/// A recording that is written.
typedef struct kor_writer kor_writer;

/// Account of a read of a parameter file.
typedef struct kor_read_report {
    uint32_t size;
    int32_t status;        ///< result of the read
    uint32_t message;      ///< number of the message that the failure loaded, 601 to 624; 0 if there was none
    uint32_t line;         ///< line of the text that made the read fail, from 1; 0 if it did not get that far
    int32_t out_of_memory; ///< 1 if there was not enough memory: the result is KOR_FORMAT_ERROR then, too
    uint32_t findings;     ///< findings that can be asked for: the first ten thousand
    uint64_t all_findings; ///< number of all
} kor_read_report;

/// One place of a parameter file that a read passed over.
typedef struct kor_read_finding {
    uint32_t size;
    int32_t kind;      ///< a kor_finding_kind
    uint32_t line;     ///< from 1
    uint32_t reserved; ///< 0
    uint64_t values;   ///< values that were not read for it
    uint64_t rows;     ///< of a short table: rows that could be read whole
    uint64_t count;    ///< of a short table: rows that its count announces
} kor_read_finding;

/// Account of a check of a parameter file.
typedef struct kor_check_report {
    uint32_t size;
    int32_t status;        ///< result of the library's own read
    uint32_t message;      ///< number of the message that this read loads, 601 to 624; 0 if there is none
    int32_t out_of_memory; ///< 1 if there was no memory for the check: there are no findings then
    uint32_t findings;     ///< number of all
    uint32_t errors;
    uint32_t warnings;
    uint32_t notes;
} kor_check_report;

/// One finding of a check.
typedef struct kor_check_finding {
    uint32_t size;
    int32_t severity;  ///< a kor_severity
    uint32_t line;     ///< from 1; 0 if the finding has no place
    uint32_t reserved; ///< 0
    uint64_t more;     ///< further findings of the same rule in the same block, which have no entry
} kor_check_finding;

/// What kor_engine_configure does beyond copying the parameter groups; all zeros but size: nothing.
typedef struct kor_configure_options {
    uint32_t size;
    int32_t has_mount_mode; ///< not 0: choose mount_mode in place of the file's
    int32_t mount_mode;
    int32_t has_mcs_flag;    ///< not 0: choose machine (mcs_flag not 0) or local coordinates in mount modes below 7
    int32_t mcs_flag;        ///< the engine's own choice is machine coordinates
    int32_t parameter_store; ///< not 0: fill the engine's parameter store from the set
    int32_t has_detector;    ///< not 0: set the reading of the position-sensitive detector
    int32_t detector[3];     ///< two coordinates and their common divisor
} kor_configure_options;

/// Account of one sample.
typedef struct kor_sample_report {
    uint32_t size;
    int32_t outcome;            ///< a kor_outcome
    int32_t reason;             ///< a kor_reason; KOR_REASON_NONE unless the outcome is KOR_OUTCOME_NO_MATRIX
    int32_t model;              ///< a kor_model: the one that is in use
    int32_t captured_reference; ///< 1: this sample became the reference
    int32_t level_x_outside;    ///< 1: level X was outside its table, or has none
    int32_t level_y_outside;    ///< 1: the same for level Y
    int32_t spoiled_by;         ///< a kor_spoiled_by
    uint64_t spoiled_since;     ///< number of the sample from which on this is so, from 1; 0 if nothing is spoiled
} kor_sample_report;

/// Account of what has gone wrong with a recording.
typedef struct kor_problem {
    uint32_t size;
    int32_t status;        ///< result of the call that met it; KOR_SUCCESS: nothing has gone wrong
    uint64_t line;         ///< of a CSV file, from 1; 0 when no line is meant
    uint64_t record;       ///< of a binary file, from 1; 0 when no record is meant
    uint64_t byte;         ///< where that record begins, from 0
    int32_t goes_on;       ///< 1: one sample could not be read, and the next kor_reader_read goes on after it
    int32_t out_of_memory; ///< 1: there was not enough memory
} kor_problem;

/// A number in words: a short ASCII text, valid as long as the library is loaded; never null, "unknown" for a number
/// that has no meaning, empty for a number that means none.
KORINTERFACE_API const char* kor_status_text(int32_t status);
KORINTERFACE_API const char* kor_outcome_text(int32_t outcome);
KORINTERFACE_API const char* kor_reason_text(int32_t reason);
KORINTERFACE_API const char* kor_model_text(int32_t model);
KORINTERFACE_API const char* kor_spoiled_text(int32_t spoiled_by);

/// A message of the parameter file, exactly as the module stores it.
/// Given     id    601 to 624
/// Returned  text  as above; empty for any other id
KORINTERFACE_API const char* kor_message_text(uint32_t id);

/// Makes an empty parameter set.
/// Returned  prm     the handle; null when the result is not KOR_SUCCESS
///           result  KOR_BAD_ARGUMENT also when there is no memory; the same holds for the other handles
KORINTERFACE_API int32_t kor_prm_create(kor_prm** prm);

/// Destroys a parameter set. Engines that were configured with it keep their parameters.
KORINTERFACE_API int32_t kor_prm_destroy(kor_prm* prm);

/// Reads a sensor's parameter file, with an account of it.
/// Given     directory  UTF-8, below 255 characters; empty: the current directory
///           id         sensor ID: the file is DIRECTORY/Tg<id>.prm
/// Returned  result     KOR_CANNOT_OPEN, KOR_FORMAT_ERROR (also without memory: kor_read_report says so)
/// Notes  1  A failed read keeps what the blocks before the failure have replaced.
KORINTERFACE_API int32_t kor_prm_read(kor_prm* prm, const char* directory, uint32_t id);

/// Account of the last read.
KORINTERFACE_API int32_t kor_prm_read_report(const kor_prm* prm, kor_read_report* report);

/// Why the last read failed, in words; empty after a success.
/// Given     which  KOR_TEXT_SENTENCE, KOR_TEXT_BLOCK, KOR_TEXT_FOUND, KOR_TEXT_EXPECTED
KORINTERFACE_API int32_t kor_prm_read_text(const kor_prm* prm, int32_t which, char* text, size_t room, size_t* length);

/// What the last read passed over, in the order of the file.
/// Given     index  below the report's number of findings
///           which  as for kor_prm_read_text
KORINTERFACE_API int32_t kor_prm_read_finding(const kor_prm* prm, uint32_t index, kor_read_finding* finding);
KORINTERFACE_API int32_t kor_prm_read_finding_text(const kor_prm* prm, uint32_t index, int32_t which, char* text,
                                                   size_t room, size_t* length);

/// Checks a parameter file: what is wrong or unusual with it. The content of the set stays as it is.
/// Given     directory, id  as for kor_prm_read
///           path           of the file itself. A file whose name is Tg<id>.prm must hold that ID; a file with
///                          another name may hold any ID
///           mode           mount mode that the file is to be used with, or KOR_MODE_OF_FILE
/// Returned  result         that of the library's own read; findings say what is wrong
KORINTERFACE_API int32_t kor_prm_check(kor_prm* prm, const char* directory, uint32_t id, int32_t mode);
KORINTERFACE_API int32_t kor_prm_check_file(kor_prm* prm, const char* path, int32_t mode);

/// Account of the last check.
KORINTERFACE_API int32_t kor_prm_check_report(const kor_prm* prm, kor_check_report* report);

/// A finding of the last check, in the order of the lines; those without a place come first.
/// Given     index  below the report's number of findings
///           which  KOR_TEXT_SENTENCE, KOR_TEXT_BLOCK, KOR_TEXT_FIELD, KOR_TEXT_FOUND, KOR_TEXT_EXPECTED,
///                  KOR_TEXT_ADVICE, KOR_TEXT_RULE
KORINTERFACE_API int32_t kor_prm_check_finding(const kor_prm* prm, uint32_t index, kor_check_finding* finding);
KORINTERFACE_API int32_t kor_prm_check_finding_text(const kor_prm* prm, uint32_t index, int32_t which, char* text,
                                                    size_t room, size_t* length);

/// Calibration table of the azimuth or the elevation encoder.
/// Given     room   size of table, in rows
/// Returned  count  rows; written also if the table is too small or null, which gives KOR_BAD_ARGUMENT
///           table  2 x count floats: reading and correction of each row, degrees
///           result KOR_NOT_LOADED until a read has succeeded; the same holds for all that follow
KORINTERFACE_API int32_t kor_prm_get_azimuth_table(const kor_prm* prm, float* table, size_t room, size_t* count);
KORINTERFACE_API int32_t kor_prm_get_elevation_table(const kor_prm* prm, float* table, size_t room, size_t* count);

/// Compensation table of level X or level Y.
/// Given     room          size of both arrays, in rows
/// Returned  count         as above; 0 if the file has no such table
///           knots         count + 3 floats: the knots, then the three extra values
///           coefficients  4 x count doubles: spline coefficients c0..c3 of each interval
KORINTERFACE_API int32_t kor_prm_get_level_x_table(const kor_prm* prm, float* knots, double* coefficients, size_t room,
                                                   size_t* count);
KORINTERFACE_API int32_t kor_prm_get_level_y_table(const kor_prm* prm, float* knots, double* coefficients, size_t room,
                                                   size_t* count);

/// The other groups of a parameter set: as many values as the type or the comment says.
KORINTERFACE_API int32_t kor_prm_get_scale_factors(const kor_prm* prm, float* values);      ///< 8
KORINTERFACE_API int32_t kor_prm_get_qvc_parameters(const kor_prm* prm, float* values);     ///< 6
KORINTERFACE_API int32_t kor_prm_get_level1_parameters(const kor_prm* prm, float* values);  ///< 7
KORINTERFACE_API int32_t kor_prm_get_level2_parameters(const kor_prm* prm, float* values);  ///< 7
KORINTERFACE_API int32_t kor_prm_get_dynamic_parameters(const kor_prm* prm, float* values); ///< 7
KORINTERFACE_API int32_t kor_prm_get_detector(const kor_prm* prm, float* x, float* y);      ///< 3 coefficients each
KORINTERFACE_API int32_t kor_prm_get_encoder_offset(const kor_prm* prm, F_VECTOR2* offset); ///< radians
KORINTERFACE_API int32_t kor_prm_get_encoder_limit(const kor_prm* prm, F_VECTOR4* limit);   ///< degrees
KORINTERFACE_API int32_t kor_prm_get_known_vector(const kor_prm* prm, double* vector);      ///< 3
KORINTERFACE_API int32_t kor_prm_get_local_matrix(const kor_prm* prm, double* matrix);      ///< 9, row by row
KORINTERFACE_API int32_t kor_prm_get_machine_matrix(const kor_prm* prm, double* matrix);    ///< 9, row by row
KORINTERFACE_API int32_t kor_prm_get_thermal_factor(const kor_prm* prm, F_VECTOR4* factor);
KORINTERFACE_API int32_t kor_prm_get_tilt_offset(const kor_prm* prm, F_VECTOR2* offset);
KORINTERFACE_API int32_t kor_prm_get_level_limits(const kor_prm* prm, F_VECTOR4* limits);
KORINTERFACE_API int32_t kor_prm_get_mount_mode(const kor_prm* prm, int32_t* mode);
KORINTERFACE_API int32_t kor_prm_get_adm_offset(const kor_prm* prm, float* offset);

/// Replaces a group of a parameter set that has been read; the file stays as it is.
/// Given     count  1 to 8: the first count scale factors
KORINTERFACE_API int32_t kor_prm_set_scale_factors(kor_prm* prm, const float* values, uint32_t count);
KORINTERFACE_API int32_t kor_prm_set_encoder_offset(kor_prm* prm, const F_VECTOR2* offset);
KORINTERFACE_API int32_t kor_prm_set_known_vector(kor_prm* prm, const double* vector);
KORINTERFACE_API int32_t kor_prm_set_local_matrix(kor_prm* prm, const double* matrix);
KORINTERFACE_API int32_t kor_prm_set_machine_matrix(kor_prm* prm, const double* matrix);
KORINTERFACE_API int32_t kor_prm_set_thermal_factor(kor_prm* prm, const F_VECTOR4* factor);
KORINTERFACE_API int32_t kor_prm_set_tilt_offset(kor_prm* prm, const F_VECTOR2* offset);
KORINTERFACE_API int32_t kor_prm_set_level_limits(kor_prm* prm, const F_VECTOR4* limits);

/// Makes an engine without parameters and without a mount mode; it refuses samples.
KORINTERFACE_API int32_t kor_engine_create(kor_engine** engine);

/// Destroys an engine.
KORINTERFACE_API int32_t kor_engine_destroy(kor_engine* engine);

/// Copies every parameter group of a loaded set into an engine and chooses the mount mode, in the only order that has
/// full effect.
/// Given     engine   a new engine; an engine that has a model already keeps the kind of that model
///           options  null: the default options
/// Returned  result   KOR_NOT_LOADED when the set is not loaded; KOR_BAD_ARGUMENT also when a table does not fit the
///                    engine's. The groups before that step have been copied
KORINTERFACE_API int32_t kor_engine_configure(kor_engine* engine, const kor_prm* prm,
                                              const kor_configure_options* options);

/// Set the parameter groups one by one, before the mount mode is chosen.
/// Given     count  number of values; those beyond the group are ignored, and a count below 1 changes nothing
KORINTERFACE_API int32_t kor_engine_set_scale_factors(kor_engine* engine, const float* values, int32_t count);  ///< 8
KORINTERFACE_API int32_t kor_engine_set_qvc_parameters(kor_engine* engine, const float* values, int32_t count); ///< 6
KORINTERFACE_API int32_t kor_engine_set_level1_parameters(kor_engine* engine, const float* values,
                                                          int32_t count); ///< 7
KORINTERFACE_API int32_t kor_engine_set_level2_parameters(kor_engine* engine, const float* values,
                                                          int32_t count); ///< 7

/// Compensation table of level X or level Y.
/// Given     count         knots, at least 1 and not more than in the first call, which allocates the table
///           knots         count + 3 floats: the knots, then the three extra values
///           coefficients  4 x count doubles: c0..c3 of each interval
KORINTERFACE_API int32_t kor_engine_set_level_x_table(kor_engine* engine, int32_t count, const float* knots,
                                                      const double* coefficients);
KORINTERFACE_API int32_t kor_engine_set_level_y_table(kor_engine* engine, int32_t count, const float* knots,
                                                      const double* coefficients);

/// Calibration table of the azimuth or the elevation encoder.
/// Given     count  rows, not more than in the first call, which allocates the table; below 1 for no correction
///           table  2 x count floats: reading and correction of each row, degrees, readings ascending
KORINTERFACE_API int32_t kor_engine_set_azimuth_table(kor_engine* engine, int32_t count, const float* table);
KORINTERFACE_API int32_t kor_engine_set_elevation_table(kor_engine* engine, int32_t count, const float* table);

/// Single values: see the functions of the same names in CKor.h. Matrices have nine values, row by row, vectors three;
/// the MCS flag chooses machine (not 0) or local (0) coordinates in mount modes below 7.
KORINTERFACE_API int32_t kor_engine_set_encoder_offset(kor_engine* engine, const F_VECTOR2* offset);
KORINTERFACE_API int32_t kor_engine_set_tilt_offset(kor_engine* engine, const F_VECTOR2* offset);
KORINTERFACE_API int32_t kor_engine_set_thermal_factor(kor_engine* engine, const F_VECTOR4* factor);
KORINTERFACE_API int32_t kor_engine_set_known_vector(kor_engine* engine, const double* vector);
KORINTERFACE_API int32_t kor_engine_set_local_matrix(kor_engine* engine, const double* matrix);
KORINTERFACE_API int32_t kor_engine_set_machine_matrix(kor_engine* engine, const double* matrix);
KORINTERFACE_API int32_t kor_engine_set_mcs_flag(kor_engine* engine, int32_t machine);
KORINTERFACE_API int32_t kor_engine_set_detector(kor_engine* engine, int32_t first, int32_t second, int32_t divisor);

/// Fills the parameter store: the model gets the dynamic parameters when the mount mode is chosen, and in mount modes 7
/// and above every sample moves the line of sight by the detector reading.
/// Given     dynamic  7 values
///           x, y     3 coefficients each
KORINTERFACE_API int32_t kor_engine_set_parameter_store(kor_engine* engine, const float* dynamic, const float* x,
                                                        const float* y);

/// Chooses the orientation model, creates it on the first call and primes it with the parameter groups. Comes last.
/// Given     mode    1, 2 dual level; 5, 6 polarizer; 7, 8 three vectors; 9, 10 three vectors and two levels; anything
///                   else pendulum
/// Returned  result  KOR_BAD_ARGUMENT also when there is no memory for the model
KORINTERFACE_API int32_t kor_engine_set_mount_mode(kor_engine* engine, int32_t mode);

/// Feeds one sample. Each of the four pointers that are returned through may be null.
/// Given     raw     the sample
/// Returned  info    the result
///           matrix  nine values, row by row: base to tracker frame; the identity after a sample that was refused
///           code    KOR_SUCCESS or KOR_NO_MATRIX: whether the matrix is valid
///           report  what became of the sample
/// Notes  1  Nothing is allocated.
KORINTERFACE_API int32_t kor_engine_update(kor_engine* engine, const KOR_RAWINFO* raw, KOR_INFO* info, double* matrix,
                                           int32_t* code, kor_sample_report* report);

/// Feeds many samples, one after the other. Each of the four pointers that are returned through may be null.
/// Given     raw       count samples, in the order of time
/// Returned  info      count results
///           matrices  9 x count values
///           codes     count results as kor_engine_update gives them
///           outcomes  count numbers of kor_outcome
/// Notes  1  The engine's lock is taken and released for each sample.
KORINTERFACE_API int32_t kor_engine_update_many(kor_engine* engine, const KOR_RAWINFO* raw, size_t count,
                                                KOR_INFO* info, double* matrices, int32_t* codes, int32_t* outcomes);

/// Account of the last sample that the engine was fed.
KORINTERFACE_API int32_t kor_engine_last_sample(kor_engine* engine, kor_sample_report* report);

/// An account in one line of words: the outcome, its reason, and what is spoiled since which sample.
KORINTERFACE_API int32_t kor_sample_text(const kor_sample_report* report, char* text, size_t room, size_t* length);

/// Orientation matrix of the last sample.
/// Returned  matrix  nine values, row by row; written also when the result is KOR_NO_MATRIX
///           result  KOR_NO_MATRIX when the last sample was not valid or there was none
KORINTERFACE_API int32_t kor_engine_read_matrix(kor_engine* engine, double* matrix);

/// Encoder reading that calibrates to an angle; degrees in and out.
KORINTERFACE_API int32_t kor_engine_inverse_azimuth(kor_engine* engine, float azimuth, float* reading);
KORINTERFACE_API int32_t kor_engine_inverse_elevation(kor_engine* engine, float elevation, float* reading);

/// Home-vector solve: two directions and two pairs of angles to two angles. Uses no state of the engine.
/// Given     a, b       direction vectors
///           reference  two reference angles, degrees
///           measured   two measured angles (x, y), degrees; z is not used
/// Returned  first, second  degrees; either may be null
///           solved     0 when the first frame is singular, else 1; both angles are written all the same; may be null
KORINTERFACE_API int32_t kor_engine_home_vector(kor_engine* engine, const D_VECTOR3* a, const D_VECTOR3* b,
                                                const D_VECTOR2* reference, const D_VECTOR3* measured, double* first,
                                                double* second, int32_t* solved);

/// Gives the values that the two-level models (mount modes 9 and 10) keep for the whole process the content that they
/// have in a new process. Call it before each recording that is fed to a new engine, while no engine of these modes is
/// being fed.
KORINTERFACE_API int32_t kor_fresh_process_values(void);

/// Makes a reader; kor_reader_open opens a recording. kor_reader_problem may be called also when nothing is open.
KORINTERFACE_API int32_t kor_reader_create(kor_reader** reader);

/// Destroys a reader and closes its file.
KORINTERFACE_API int32_t kor_reader_destroy(kor_reader* reader);

/// Opens a recording; one that is open is closed first.
/// Given     path    UTF-8; "-" is standard input
///           format  a kor_format
/// Returned  result  KOR_CANNOT_OPEN, KOR_FORMAT_ERROR: kor_reader_problem says what and where
/// Notes  1  The library does not decompress: a compressed recording is refused with KOR_FORMAT_ERROR. Decompress it
///           with gzip -d, zstd -d or kor convert.
KORINTERFACE_API int32_t kor_reader_open(kor_reader* reader, const char* path, int32_t format);

/// Reads samples, at most room of them.
/// Returned  raw     count samples, in the order of the file
///           count   fewer than room when the recording ends or the result is not KOR_SUCCESS; 0 at the end
///           result  KOR_FORMAT_ERROR when the sample after them cannot be read: the next call goes on after it if
///                   the problem's goes_on is 1; KOR_CANNOT_OPEN when reading fails; KOR_NOT_LOADED when nothing is
///                   open
KORINTERFACE_API int32_t kor_reader_read(kor_reader* reader, KOR_RAWINFO* raw, size_t room, size_t* count);

/// Where the sample that was read last stands: its line in a CSV file, its number in a binary one, from 1.
KORINTERFACE_API int32_t kor_reader_place(const kor_reader* reader, uint64_t* place);

/// What went wrong in the last open or read.
KORINTERFACE_API int32_t kor_reader_problem(const kor_reader* reader, kor_problem* problem);

/// The same in words.
/// Given     which  KOR_TEXT_SENTENCE, KOR_TEXT_FILE, KOR_TEXT_FIELD, KOR_TEXT_FOUND, KOR_TEXT_EXPECTED,
///                  KOR_TEXT_REASON, KOR_TEXT_ADVICE
KORINTERFACE_API int32_t kor_reader_problem_text(const kor_reader* reader, int32_t which, char* text, size_t room,
                                                 size_t* length);

/// Columns of the file that are left out, because a recording has no such column: how many, and each in a sentence.
/// Given     index  below count
KORINTERFACE_API int32_t kor_reader_warnings(const kor_reader* reader, size_t* count);
KORINTERFACE_API int32_t kor_reader_warning_text(const kor_reader* reader, size_t index, char* text, size_t room,
                                                 size_t* length);

/// Closes the recording; the reader can open another one.
/// Returned  result  KOR_NOT_LOADED when nothing is open
KORINTERFACE_API int32_t kor_reader_close(kor_reader* reader);

/// Makes a writer; kor_writer_open opens a recording.
KORINTERFACE_API int32_t kor_writer_create(kor_writer** writer);

/// Destroys a writer. A recording that has not been closed is dropped.
KORINTERFACE_API int32_t kor_writer_destroy(kor_writer* writer);

/// Opens a new recording; one that is open is dropped. The samples go to a temporary file in the same directory, which
/// gets the name when kor_writer_close is called; until then an older file of that name stays as it is.
/// Given     path    UTF-8; "-" is standard output. A device or a pipe is written directly
///           format  a kor_format
/// Returned  result  KOR_CANNOT_OPEN: kor_writer_problem says why
/// Notes  1  The library does not compress: a name that ends in .gz or .zst is refused.
///        2  At most 64 recordings can be open for writing at a time.
///        3  On systems with SIGPIPE a host that writes to a pipe handles or ignores that signal.
KORINTERFACE_API int32_t kor_writer_open(kor_writer* writer, const char* path, int32_t format);

/// Writes samples.
/// Returned  result  KOR_CANNOT_OPEN when writing has failed; the recording cannot be completed then.
///                   KOR_NOT_LOADED when nothing is open
KORINTERFACE_API int32_t kor_writer_write(kor_writer* writer, const KOR_RAWINFO* raw, size_t count);

/// Completes the recording and gives it its name.
/// Returned  result  KOR_CANNOT_OPEN when this, or any writing before it, has failed: a file of that name is as it was
KORINTERFACE_API int32_t kor_writer_close(kor_writer* writer);

/// What went wrong in the last open, write or close.
KORINTERFACE_API int32_t kor_writer_problem(const kor_writer* writer, kor_problem* problem);

/// The same in words.
/// Given     which  as for kor_reader_problem_text
KORINTERFACE_API int32_t kor_writer_problem_text(const kor_writer* writer, int32_t which, char* text, size_t room,
                                                 size_t* length);

#ifdef __cplusplus
}
#endif

#endif
