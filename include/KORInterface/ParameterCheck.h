// The check of a parameter file: an addition beside the system's own interface.
//
// The library accepts many faults of a parameter file silently, and if it refuses a file, its message often names
// another place than the fault's. The check names each fault: its line, what was found and expected, and what to do.
#ifndef KORINTERFACE_PARAMETERCHECK_H
#define KORINTERFACE_PARAMETERCHECK_H

#include <cstdint>

#include "KORInterface/Export.h"
#include "KORInterface/ParameterFile.h"

namespace kor {

/// How much a finding matters.
enum class CheckSeverity : std::int32_t {
    note = 0,    ///< worth knowing; nothing is wrong
    warning = 1, ///< the library takes the file, and its results are probably not what is wanted
    error = 2    ///< the library refuses the file, or takes other values than the file says
};

/// A rule of the check. The texts live as long as the library is loaded.
struct CheckRule {
    const char* name; ///< stable: lower-case words with hyphens
    CheckSeverity severity;
    const char* meaning; ///< the fault that it finds, a clause without full stop
};

/// Number of rules.
KORINTERFACE_API std::uint32_t CheckRules();

/// A rule, errors first, then warnings, then notes.
/// Given  index  below CheckRules(); any other gives an empty name
KORINTERFACE_API CheckRule CheckRuleOf(std::uint32_t index);

/// One finding. The texts are UTF-8, printable, never null, and live as long as the report.
struct CheckFinding {
    CheckSeverity severity;
    std::uint32_t line; ///< from 1; 0 if the finding has no place
    const char* rule;   ///< name of its rule
    const char* block;  ///< title of its block, empty for the whole file
    const char* field;  ///< row and name of the value, empty for the whole block
    const char* found;
    const char* expected;
    const char* advice; ///< what to do
    const char* text;   ///< all of this in one sentence, with the path of the file
    std::uint64_t more; ///< further findings of the same rule in the same block, which have no entry
};

struct CheckReportData;

/// What a check has found.
///
/// Notes  1  The texts that the operations hand out live as long as the report and until it is used for another check.
///        2  Only the constructors throw, and only the allocator's std::bad_alloc.
class KORINTERFACE_API CheckReport {
public:
    CheckReport();
    CheckReport(const CheckReport& other);
    CheckReport& operator=(const CheckReport& other);
    ~CheckReport();

    /// Result of the library's own read: kSuccess, kBadArgument, kCannotOpen or kFormatError (Status.h).
    int status() const;

    /// Number of the message that the read loads, 601 to 624 (MessageText); 0 if there is none. Some messages name
    /// another block than the one that is wrong; the findings do not.
    unsigned int message() const;

    /// Whether there was not enough memory for the check: the result is kFormatError then, without findings.
    bool outOfMemory() const;

    /// Path of the file, UTF-8.
    const char* path() const;

    /// Numbers of findings: all, and of each severity.
    std::uint32_t findings() const;
    std::uint32_t errors() const;
    std::uint32_t warnings() const;
    std::uint32_t notes() const;

    /// One finding, in the order of the lines; those without a place come first.
    /// Given     index  below findings(); any other gives a finding without texts
    CheckFinding finding(std::uint32_t index) const;

private:
    friend struct CheckReportAccess;
    CheckReportData* m_data;
};

/// Stands for the mount mode that the file itself names.
const std::int32_t kModeOfFile = -2147483647 - 1;

/// Checks a parameter file that has been taken apart.
/// Given     file  loaded by LoadParameterFile or LoadParameterBytes
///           mode  mount mode that the file is to be used with, or kModeOfFile
/// Returned  report  what was found
///           result  report.status()
KORINTERFACE_API int CheckParameters(const ParameterFile& file, std::int32_t mode, CheckReport& report);

/// Loads a parameter file, by directory and ID or by its path (LoadParameterFile), and checks it.
KORINTERFACE_API int CheckParameterFile(const char* directory, std::uint32_t id, std::int32_t mode,
                                        CheckReport& report);
KORINTERFACE_API int CheckParameterFile(const char* path, std::int32_t mode, CheckReport& report);

} // namespace kor

#endif
