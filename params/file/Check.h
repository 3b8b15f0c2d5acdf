// What is wrong, and what is unusual, with a parameter file: rules over the account of it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "params/file/Document.h"

namespace kor::params {

enum class Severity : std::uint8_t {
    note,    ///< worth knowing
    warning, ///< the library takes the file, and its results are probably not what is wanted
    error,   ///< the library refuses the file, or takes something else than what it says
};

/// The rules, errors first, then warnings, then notes.
enum class Rule : std::uint8_t {
    notText,
    tooLarge,
    titleMissing,
    blockOrder,
    fileEnds,
    unreadableValue,
    missingValue,
    surplusValue,
    missingWord,
    rowCount,
    modeRange,
    idMismatch,
    refused,
    modePendulum,
    blockMissing,
    tableEmpty,
    tableOrder,
    tableDouble,
    tableGap,
    tableLayout,
    tiltRows,
    rollover,
    notMonotone,
    overshoot,
    notFinite,
    implausible,
    notRotation,
    limitsReversed,
    ignoredText,
    precision,
    rewriteDrops,
    rewriteTruncates,
    blockIgnored,
    rewriteRefused,
};

/// What a rule is called and when it speaks.
struct RuleText {
    Rule rule;
    const char* name; ///< stable, lower case with hyphens
    Severity severity;
    const char* meaning; ///< a clause without full stop
};

/// All rules in the order of the enumeration.
std::span<const RuleText> rules();

const RuleText& textOf(Rule rule);

/// One thing that a rule has found. The texts are for a person, printable.
struct CheckFinding {
    Rule rule = Rule::refused;
    std::uint32_t line = 0; ///< from 1, 0 if it has no place
    const char* block = ""; ///< title as the format has it
    std::string field;      ///< row and value, "" for the block as a whole
    std::string found;
    std::string expected;
    std::string advice;
    std::uint64_t more = 0; ///< further findings of the same rule in the same block, which are not told
};

/// Checks a file.
/// Given     document  of the file
///           mode      mount mode that it is to be used with, in place of its own
/// Returned  result    in the order of the lines; those without a place first
/// Notes  1  Throws only std::bad_alloc or std::length_error.
std::vector<CheckFinding> check(const Document& document, std::optional<std::int32_t> mode);

/// A finding in one sentence. Given  file  its name; may be empty
std::string sentence(const std::string& file, const CheckFinding& finding);

/// Gathers findings: of one rule in one block the first three, the others only in number.
class Findings {
public:
    void add(CheckFinding finding);

    bool any(Severity severity) const;
    bool anyError(const char* block) const;

    /// In the order of the lines.
    std::vector<CheckFinding> take();

private:
    std::vector<CheckFinding> m_all;
};

/// Explains by the file's lines and titles why a read fails or passes over values: the true place of what is wrong,
/// which is often far from where the read notices.
void explainStructure(const Document& document, Findings& findings);

} // namespace kor::params
