// The check of parameter files: a sound file, broken by hand in every way that the rules are there for.
#include "KORInterface/ParameterCheck.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "KORInterface/Status.h"
#include "params/prm_file.h"

namespace {

using kor::CheckFinding;
using kor::CheckReport;
using kor::CheckSeverity;
using prm_test::number;

// The lines of a file that nothing is wrong with, open to changes.
class Lines {
public:
    explicit Lines(int mode);

    /// Number of the line of a title, from 1.
    std::uint32_t line(std::string_view title) const
    {
        const auto at = std::find(m_lines.begin(), m_lines.end(), title);
        return static_cast<std::uint32_t>(at - m_lines.begin()) + 1;
    }

    /// A line by its distance from a title.
    std::string& at(std::string_view title, std::size_t offset) { return m_lines.at(line(title) - 1 + offset); }

    void remove(std::string_view title, std::size_t offset, std::size_t lines = 1)
    {
        const auto first = m_lines.begin() + static_cast<std::ptrdiff_t>(line(title) - 1 + offset);
        m_lines.erase(first, first + static_cast<std::ptrdiff_t>(lines));
    }

    void insert(std::string_view title, std::size_t offset, const std::string& text)
    {
        m_lines.insert(m_lines.begin() + static_cast<std::ptrdiff_t>(line(title) - 1 + offset), text);
    }

    void swap(std::string_view title, std::size_t offset) { at(title, offset).swap(at(title, offset + 1)); }

    /// Ends the file in front of a line.
    void cut(std::string_view title, std::size_t offset = 0) { m_lines.resize(line(title) - 1 + offset); }

    void append(const std::string& text) { m_lines.push_back(text); }

    /// Gives a table other rows, each a reading and a share of it.
    void setRows(std::string_view title, const std::vector<double>& readings, double share = 0.0,
                 const char* separator = "\t")
    {
        const auto old = static_cast<std::size_t>(std::stoi(at(title, 1)));
        remove(title, 2, old);
        at(title, 1) = std::to_string(readings.size());
        std::vector<std::string> rows;
        for (const double reading : readings) {
            rows.push_back(number(static_cast<float>(reading)) + separator +
                           number(static_cast<float>(share * reading)));
        }
        m_lines.insert(m_lines.begin() + static_cast<std::ptrdiff_t>(line(title) + 1), rows.begin(), rows.end());
    }

    std::string text() const
    {
        std::string all;
        for (const std::string& one : m_lines) {
            all += one + "\n";
        }
        return all;
    }

private:
    void addTable(double first, double step, int rows, const std::function<double(double)>& value)
    {
        m_lines.push_back(std::to_string(rows));
        for (int i = 0; i < rows; ++i) {
            const double x = first + step * i;
            m_lines.push_back(number(static_cast<float>(x)) + "\t" + number(static_cast<float>(value(x))));
        }
    }

    std::vector<std::string> m_lines;
};

Lines::Lines(int mode)
{
    const auto block = [this](const char* title, const std::vector<std::string>& lines) {
        m_lines.emplace_back(title);
        m_lines.insert(m_lines.end(), lines.begin(), lines.end());
    };
    const std::string six = "10.000000\t2.000000\t0.500000\t0.100000\t0.050000\t1.000000";
    block("Serial Number", {"1009"});
    block("Device Owner", {"Workshop"});
    block("AZ Position Gain", {six});
    block("EL Position Gain", {six});
    block("AZ Tracking Gain", {six});
    block("EL Tracking Gain", {six});
    block("Digital Damping", {"0.900000\t0.100000\t0.900000\t0.100000"});
    block("Angle Offset", {"21.345678\t-0.876543"});
    block("Transform Vector", {"0.000000\t1.000000\t0.000000"});
    block("Local Coordinate Tranform Matrix",
          {"0.600000\t-0.768000\t0.224000", "0.800000\t0.576000\t-0.168000", "0.000000\t0.280000\t0.960000"});
    block("Machine Coordinate Tranform Matrix",
          {"1.000000\t0.000000\t0.000000", "0.000000\t1.000000\t0.000000", "0.000000\t0.000000\t1.000000"});
    block("Thermal Compensation Factor", {"0.000120\t0.997600\t0.000100\t0.998000"});
    block("Tilt Sensor Offset", {"0.021500\t-0.034200"});
    block("ADM Offset", {"0.000000"});
    m_lines.emplace_back("AZ Calibration Table");
    addTable(0.5, 9.9, 37, [](double x) { return 0.005 * std::sin(x * 0.0174533); });
    m_lines.emplace_back("EL Calibration Table");
    addTable(-60.0, 7.5, 17, [](double x) { return 0.002 * std::sin(x * 0.0174533); });
    for (const char* title : {"Tilt X Calibration Table", "Tilt Y Calibration Table"}) {
        m_lines.emplace_back(title);
        addTable(-20.0, 2.0, 21, [](double x) { return 0.98 * x - 0.0001 * x * x * x; });
        m_lines.emplace_back("-20.000000\t20.000000\t0.000000");
        m_lines.emplace_back("Degrees");
    }
    block("Scale Factor",
          {"0.400000", "0.000000", "0.000000", "0.000000", "1.000000", "1.000000", "1.000000", "0.000000"});
    block("Mounting Mode", {std::to_string(mode)});
    if (mode < 7) {
        return;
    }
    block("QVC", {"1.200000\t-0.800000\t35.000000\t0.000000\t0.250000\t0.000000\t"});
    block("Level_X", {"0.000000\t0.000000\t0.000000\t0.300000\t-0.200000\t0.100000\t1.002000\t"});
    block("Level_Y", {"0.000000\t0.000000\t0.000000\t45.000000\t0.400000\t-0.080000\t0.998500\t"});
    block("Half Angle", {"180.000000\t60.000000"});
    block("PSDX", {"0.000000\t1.000000\t0.000000"});
    block("PSDY", {"0.000000\t1.000000\t0.000000"});
    block("DynamicParameters", {"0.000000\t0.000000\t0.000000\t0.000000\t0.000000\t0.000000\t0.000000"});
}

CheckReport checked(const std::string& text, std::int32_t mode = kor::kModeOfFile)
{
    kor::ParameterFile file;
    kor::LoadParameterBytes(file, text.data(), text.size());
    CheckReport report;
    EXPECT_EQ(kor::CheckParameters(file, mode, report), file.status());
    return report;
}

// The rules of all findings but notes, in the order of the lines.
std::string rulesOf(const CheckReport& report)
{
    std::string rules;
    for (std::uint32_t i = 0; i < report.findings(); ++i) {
        if (report.finding(i).severity != CheckSeverity::note) {
            rules += (rules.empty() ? "" : " ") + std::string(report.finding(i).rule);
        }
    }
    return rules;
}

// A file broken in one way, and what the check must say of it.
struct Broken {
    const char* name;
    int mode;
    std::function<void(Lines&)> edit;
    const char* rules;  ///< of all findings; the others hold for the first of them
    std::uint32_t line; ///< of the edited file, counted from the title `from`; from the first line without one
    const char* from;
    const char* block;
    const char* found;    ///< words in it
    const char* expected; ///< words in it
};

class Breakage : public ::testing::TestWithParam<Broken> {};

TEST_P(Breakage, isToldWithItsPlace)
{
    const Broken& broken = GetParam();
    Lines lines(broken.mode);
    broken.edit(lines);
    const CheckReport report = checked(lines.text());
    std::string all;
    for (std::uint32_t i = 0; i < report.findings(); ++i) {
        all += std::string(report.finding(i).text) + "\n";
    }
    EXPECT_EQ(rulesOf(report), broken.rules) << all;
    std::uint32_t first = 0;
    while (first < report.findings() && report.finding(first).severity == CheckSeverity::note) {
        ++first;
    }
    ASSERT_LT(first, report.findings());
    const CheckFinding finding = report.finding(first);
    const std::uint32_t from = *broken.from == '\0' ? 0 : lines.line(broken.from);
    EXPECT_EQ(finding.line, from + broken.line) << all;
    EXPECT_STREQ(finding.block, broken.block) << all;
    EXPECT_NE(std::string(finding.found).find(broken.found), std::string::npos) << all;
    EXPECT_NE(std::string(finding.expected).find(broken.expected), std::string::npos) << all;
    EXPECT_STRNE(finding.advice, "");
    const std::string place = finding.line > 0 ? "line " + std::to_string(finding.line) + ": " : "";
    EXPECT_TRUE(std::string(finding.text).starts_with(place)) << all;
    EXPECT_NE(std::string(finding.text).find(finding.found), std::string::npos);
    EXPECT_NE(std::string(finding.text).find(finding.expected), std::string::npos);
    // What makes the library fail or pass over a value is an error, and nothing else is one but the rules on the mode.
    if (report.status() != kor::kSuccess) {
        EXPECT_GT(report.errors(), 0U) << all;
    }
}

const Broken kBroken[] = {
    {"wordForTheMode", 9, [](Lines& l) { l.at("Mounting Mode", 1) = "nine"; }, "unreadable-value ignored-text", 1,
     "Mounting Mode", "Mounting Mode", "\"nine\"", "whole number"},
    {"modeWithDecimals", 9, [](Lines& l) { l.at("Mounting Mode", 1) = "9.0"; }, "unreadable-value", 1, "Mounting Mode",
     "Mounting Mode", "\"9.0\"", "whole number"},
    {"noModeBehindItsTitle", 5, [](Lines& l) { l.cut("Mounting Mode", 1); }, "missing-value", 0, "Mounting Mode",
     "Mounting Mode", "nothing", "mount mode"},
    {"noModeBlock", 5, [](Lines& l) { l.cut("Mounting Mode"); }, "mode-pendulum", 0, "", "Mounting Mode", "ends before",
     "1 to 10"},
    {"modeZero", 5, [](Lines& l) { l.at("Mounting Mode", 1) = "0"; }, "mode-pendulum", 1, "Mounting Mode",
     "Mounting Mode", "0", "1 to 10"},
    {"modeBeyondTheRange", 9, [](Lines& l) { l.at("Mounting Mode", 1) = "99"; }, "mode-range", 1, "Mounting Mode",
     "Mounting Mode", "99", "1 to 10"},
    {"modeBelowTheRange", 5, [](Lines& l) { l.at("Mounting Mode", 1) = "-2"; }, "mode-range", 1, "Mounting Mode",
     "Mounting Mode", "-2", "1 to 10"},
    {"halfAngleMissingInMode55", 9,
     [](Lines& l) {
         l.at("Mounting Mode", 1) = "55";
         l.remove("Half Angle", 0, 2);
     },
     "mode-range title-missing", 1, "Mounting Mode", "Mounting Mode", "55", "1 to 10"},
    {"halfAngleMissing", 9, [](Lines& l) { l.remove("Half Angle", 0, 2); }, "title-missing", 0, "PSDX", "Half Angle",
     "\"PSDX\"", "\"Half Angle\""},
    {"halfAngleTitleMissing", 9, [](Lines& l) { l.remove("Half Angle", 0); }, "title-missing", 2, "Level_Y",
     "Half Angle", "\"180.000000 60.000000\"", "\"Half Angle\""},
    {"wordAmongTheFactors", 5, [](Lines& l) { l.insert("Scale Factor", 4, "oops"); }, "unreadable-value surplus-value",
     4, "Scale Factor", "Scale Factor", "\"oops\"", "a number"},
    {"factorMissing", 5, [](Lines& l) { l.remove("Scale Factor", 8); }, "missing-value", 7, "Scale Factor",
     "Scale Factor", "7 numbers", "8 numbers"},
    {"wordBehindTiltYMissing", 9, [](Lines& l) { l.remove("Tilt Y Calibration Table", 24); }, "missing-word", 23,
     "Tilt Y Calibration Table", "Tilt Y Calibration Table", "nothing", "one word"},
    {"twoWordsBehindTiltX", 9, [](Lines& l) { l.at("Tilt X Calibration Table", 24) = "Degrees Celsius"; },
     "surplus-value", 24, "Tilt X Calibration Table", "Tilt X Calibration Table", "\"Celsius\"", "Tilt Y"},
    {"idIsAWord", 5, [](Lines& l) { l.at("Serial Number", 1) = "KOR1009"; }, "unreadable-value", 1, "Serial Number",
     "Serial Number", "\"KOR1009\"", "whole number"},
    {"idMissing", 5, [](Lines& l) { l.remove("Serial Number", 1); }, "missing-value", 0, "Serial Number",
     "Serial Number", "nothing", "the ID"},
    {"titleMisspelt", 5, [](Lines& l) { l.at("Angle Offset", 0) = "Angel Offset"; }, "title-missing", 0, "Angel Offset",
     "Angle Offset", "\"Angel Offset\"", "\"Angle Offset\""},
    {"titleInSmallLetters", 5, [](Lines& l) { l.at("ADM Offset", 0) = "adm offset"; }, "title-missing", 0, "adm offset",
     "ADM Offset", "\"adm offset\"", "\"ADM Offset\""},
    {"blockMissing", 5, [](Lines& l) { l.remove("ADM Offset", 0, 2); }, "title-missing", 0, "AZ Calibration Table",
     "ADM Offset", "\"AZ Calibration Table\"", "\"ADM Offset\""},
    {"blockTwice", 5,
     [](Lines& l) {
         l.insert("Thermal Compensation Factor", 0, "Transform Vector");
         l.insert("Thermal Compensation Factor", 0, "0.000000\t1.000000\t0.000000");
     },
     "block-order", 4, "Machine Coordinate Tranform Matrix", "Transform Vector", "\"Transform Vector\"",
     "\"Thermal Compensation Factor\""},
    {"ownerOfTwoWords", 5, [](Lines& l) { l.at("Device Owner", 1) = "Main Workshop"; }, "surplus-value", 1,
     "Device Owner", "Device Owner", "\"Workshop\"", "\"AZ Position Gain\""},
    {"ownerMissing", 5, [](Lines& l) { l.remove("Device Owner", 1); }, "missing-word", 0, "Device Owner",
     "Device Owner", "nothing", "one word"},
    {"numberMissingInATableRow", 5, [](Lines& l) { l.at("AZ Calibration Table", 12) = "99.500000"; }, "missing-value",
     12, "AZ Calibration Table", "AZ Calibration Table", "1 number, \"99.500000\"", "2 numbers"},
    {"numberTooManyInATableRow", 5, [](Lines& l) { l.at("EL Calibration Table", 5) += "\t0.1"; }, "surplus-value", 5,
     "EL Calibration Table", "EL Calibration Table", "3 numbers", "2 numbers"},
    {"numberMissingInATiltRow", 9, [](Lines& l) { l.at("Tilt X Calibration Table", 6) = "-12.0"; }, "missing-value", 6,
     "Tilt X Calibration Table", "Tilt X Calibration Table", "1 number", "2 numbers"},
    {"countTooLarge", 5, [](Lines& l) { l.at("AZ Calibration Table", 1) = "99"; }, "row-count", 1,
     "AZ Calibration Table", "AZ Calibration Table", "99", "37"},
    {"countTooSmall", 5, [](Lines& l) { l.at("AZ Calibration Table", 1) = "36"; }, "row-count", 1,
     "AZ Calibration Table", "AZ Calibration Table", "36", "37"},
    {"countFarTooLarge", 5, [](Lines& l) { l.at("EL Calibration Table", 1) = "1000000"; }, "row-count", 1,
     "EL Calibration Table", "EL Calibration Table", "1000000", "17"},
    {"countBelowZero", 5, [](Lines& l) { l.at("EL Calibration Table", 1) = "-17"; }, "row-count", 1,
     "EL Calibration Table", "EL Calibration Table", "-17", "17"},
    {"countOfTiltTableTooLarge", 9, [](Lines& l) { l.at("Tilt X Calibration Table", 1) = "23"; }, "row-count", 1,
     "Tilt X Calibration Table", "Tilt X Calibration Table", "23", "21"},
    {"countOfTiltTableTooSmall", 9, [](Lines& l) { l.at("Tilt Y Calibration Table", 1) = "20"; }, "row-count", 1,
     "Tilt Y Calibration Table", "Tilt Y Calibration Table", "20", "21"},
    {"countIsAWord", 5, [](Lines& l) { l.at("AZ Calibration Table", 1) = "many"; }, "unreadable-value", 1,
     "AZ Calibration Table", "AZ Calibration Table", "\"many\"", "row count"},
    {"limitsMissing", 9, [](Lines& l) { l.remove("Tilt X Calibration Table", 23); }, "missing-value", 22,
     "Tilt X Calibration Table", "Tilt X Calibration Table", "nothing behind the rows", "3 numbers"},
    {"limitMissing", 9, [](Lines& l) { l.at("Tilt X Calibration Table", 23) = "-20\t20"; }, "missing-value", 23,
     "Tilt X Calibration Table", "Tilt X Calibration Table", "2 numbers", "3 numbers"},
    {"decimalComma", 5, [](Lines& l) { l.at("ADM Offset", 1) = "0,5"; }, "unreadable-value", 1, "ADM Offset",
     "ADM Offset", "\"0,5\"", "a number"},
    {"decimalCommaInAShortModeWithTextBehind", 5,
     [](Lines& l) {
         l.at("ADM Offset", 1) = "0,5";
         l.append("QVC");
     },
     "unreadable-value", 1, "ADM Offset", "ADM Offset", "\"0,5\"", "a number"},
    {"decimalCommaBehindAnOwnerWithTheNameOfABlock", 5,
     [](Lines& l) {
         l.at("Device Owner", 1) = "QVC";
         l.at("ADM Offset", 1) = "0,5";
     },
     "unreadable-value", 1, "ADM Offset", "ADM Offset", "\"0,5\"", "a number"},
    {"countWrongInATableWithoutRegardToLines", 5,
     [](Lines& l) {
         l.setRows("EL Calibration Table", {-60, -40, -20, 0, 20, 40, 60}, 0.0, "\n");
         l.at("EL Calibration Table", 1) = "9";
     },
     "row-count", 1, "EL Calibration Table", "EL Calibration Table", "9", "14 numbers follow"},
    {"numberMissingInAMatrix", 5, [](Lines& l) { l.at("Local Coordinate Tranform Matrix", 2) = "0.8\t-0.168"; },
     "missing-value", 2, "Local Coordinate Tranform Matrix", "Local Coordinate Tranform Matrix", "2 numbers",
     "3 numbers"},
    {"numberTooManyInAMatrix", 5, [](Lines& l) { l.at("Local Coordinate Tranform Matrix", 2) += "\t0"; },
     "surplus-value", 2, "Local Coordinate Tranform Matrix", "Local Coordinate Tranform Matrix", "4 values",
     "3 numbers"},
    {"fileCutInATable", 5, [](Lines& l) { l.cut("EL Calibration Table", 9); }, "row-count file-ends", 1,
     "EL Calibration Table", "EL Calibration Table", "17", "7"},
    {"fileCutBeforePsd", 9, [](Lines& l) { l.cut("PSDX"); }, "file-ends", 2, "Half Angle", "PSDX", "end of file",
     "\"PSDX\""},
    {"fileCutBeforeQvc", 9, [](Lines& l) { l.cut("QVC"); }, "file-ends", 2, "Mounting Mode", "Half Angle", "end of file",
     "\"Half Angle\""},
    {"emptyFile", 5, [](Lines& l) { l.cut("Serial Number"); }, "file-ends", 1, "", "Serial Number", "end of file",
     "\"Serial Number\""},
    {"rowDeleted", 5,
     [](Lines& l) {
         l.remove("AZ Calibration Table", 10);
         l.at("AZ Calibration Table", 1) = "36";
     },
     "table-gap", 10, "AZ Calibration Table", "AZ Calibration Table", "step of 19.8", "steps of about 9.9"},
    {"rowsSwapped", 5, [](Lines& l) { l.swap("AZ Calibration Table", 10); }, "table-order", 11, "AZ Calibration Table",
     "AZ Calibration Table", "reading 79.7 behind 89.6", "ascend strictly"},
    {"rowDoubled", 5,
     [](Lines& l) {
         l.insert("AZ Calibration Table", 11, std::string(l.at("AZ Calibration Table", 10)));
         l.at("AZ Calibration Table", 1) = "38";
     },
     "table-double", 11, "AZ Calibration Table", "AZ Calibration Table", "reading 79.7 behind 79.7", "ascend strictly"},
    {"numberMovedToTheNextRow", 5,
     [](Lines& l) {
         l.at("AZ Calibration Table", 10) = "79.7";
         l.at("AZ Calibration Table", 11) = "0.001\t89.6\t0.001";
     },
     "table-layout", 10, "AZ Calibration Table", "AZ Calibration Table", "lines", "one line"},
    {"numberMovedToTheNextRowOfATiltTable", 9,
     [](Lines& l) {
         std::string& row = l.at("Tilt X Calibration Table", 7);
         l.at("Tilt X Calibration Table", 8).insert(0, row.substr(row.find('\t') + 1) + "\t");
         row.resize(row.find('\t'));
     },
     "table-layout", 7, "Tilt X Calibration Table", "Tilt X Calibration Table", "lines", "one line"},
    {"tableThatDoesNotGoRound", 5,
     [](Lines& l) {
         l.remove("AZ Calibration Table", 32, 7);
         l.at("AZ Calibration Table", 1) = "30";
     },
     "rollover", 31, "AZ Calibration Table", "AZ Calibration Table", "leave 72.9", "rows for the whole turn"},
    {"tableBeyondATurn", 5, [](Lines& l) { l.at("AZ Calibration Table", 2) = "-3.5\t0.0"; }, "rollover", 38,
     "AZ Calibration Table", "AZ Calibration Table", "-3.5 to 356.9", "at most one turn"},
    {"tableThatDoesNotClose", 5, [](Lines& l) { l.at("AZ Calibration Table", 38) = "356.9\t0.9"; }, "rollover", 38,
     "AZ Calibration Table", "AZ Calibration Table", "corrections 0.9", "a difference of at most"},
    {"tableThatNearlyCloses", 5, [](Lines& l) { l.at("AZ Calibration Table", 38) = "356.9\t0.02"; }, "rollover", 38,
     "AZ Calibration Table", "AZ Calibration Table", "corrections 0.02", "a difference of at most"},
    {"rowMissingInATableWithFinerSteps", 5,
     [](Lines& l) {
         l.setRows("EL Calibration Table", {-60, -50, -40, -25, -10, -5, 5, 10, 25, 40, 50, 60});
     },
     "table-gap", 8, "EL Calibration Table", "EL Calibration Table", "step of 10 from -5 to 5", "steps of about"},
    {"stepTooLargeInATableOfNearlyEvenSteps", 5,
     [](Lines& l) {
         l.setRows("EL Calibration Table",
                   {-60, -52.6, -45, -37.4, -30, -22.6, -15, -7.4, 0, 12.5, 20, 27.4, 35, 42.6});
     },
     "table-gap", 11, "EL Calibration Table", "EL Calibration Table", "step of 12.5 from 0 to 12.5", "steps of about"},
    {"curveThatTurnsBack", 5, [](Lines& l) { l.at("EL Calibration Table", 5) = "-44.9\t-0.5"; },
     "not-monotone table-gap", 5, "EL Calibration Table", "EL Calibration Table", "calibrated angle -45.4", "ascend"},
    {"correctionOfDegrees", 5, [](Lines& l) { l.at("EL Calibration Table", 5) = "-37.5\t-12.9"; },
     "implausible not-monotone", 5, "EL Calibration Table", "EL Calibration Table", "\"-12.9\"", "-1 to 1 degrees"},
    {"angleOfTheTiltTableWrong", 9, [](Lines& l) { l.at("Tilt X Calibration Table", 8) = "-8.0\t-17.0"; },
     "not-monotone overshoot", 8, "Tilt X Calibration Table", "Tilt X Calibration Table", "angle -17 behind", "ascend"},
    {"moreRowsInTiltY", 9,
     [](Lines& l) {
         l.remove("Tilt X Calibration Table", 22);
         l.at("Tilt X Calibration Table", 1) = "20";
     },
     "tilt-rows", 1, "Tilt Y Calibration Table", "Tilt Y Calibration Table", "21 rows, and 20", "no more rows"},
    {"tiltTableWithoutRows", 9,
     [](Lines& l) {
         l.remove("Tilt Y Calibration Table", 2, 21);
         l.at("Tilt Y Calibration Table", 1) = "0";
     },
     "table-empty", 1, "Tilt Y Calibration Table", "Tilt Y Calibration Table", "0", "two rows"},
    {"limitsReversed", 9, [](Lines& l) { l.at("Tilt X Calibration Table", 23) = "20\t-20\t0"; }, "limits-reversed", 23,
     "Tilt X Calibration Table", "Tilt X Calibration Table", "20 to -20", "below"},
    {"tiltOffsetTimesThousand", 5, [](Lines& l) { l.at("Tilt Sensor Offset", 1) = "21.5\t-34.2"; },
     "implausible implausible", 1, "Tilt Sensor Offset", "Tilt Sensor Offset", "\"21.5\"", "-5 to 5 degrees"},
    {"nanAmongTheThermalFactors", 5, [](Lines& l) { l.at("Thermal Compensation Factor", 1) = "0.00012\t1\tnan\t1"; },
     "not-finite", 1, "Thermal Compensation Factor", "Thermal Compensation Factor", "\"nan\"", "-0.01 to 0.01"},
    {"infiniteAmongTheThermalFactors", 5,
     [](Lines& l) { l.at("Thermal Compensation Factor", 1) = "0.00012\t1\t0.0001\t1e50"; }, "not-finite", 1,
     "Thermal Compensation Factor", "Thermal Compensation Factor", "\"1e50\"", "0.5 to 2"},
    {"gainOfZero", 5, [](Lines& l) { l.at("Scale Factor", 5) = "0.0"; }, "implausible", 5, "Scale Factor",
     "Scale Factor", "\"0.0\"", "a magnitude of 0.5 to 2"},
    {"matrixThatIsNoRotation", 5, [](Lines& l) { l.at("Local Coordinate Tranform Matrix", 1) = "0.6\t-0.768\t0.3"; },
     "not-rotation", 1, "Local Coordinate Tranform Matrix", "Local Coordinate Tranform Matrix", "determinant 1.01702",
     "determinant 1"},
    {"matrixWrongInTheFifthDigit", 5,
     [](Lines& l) { l.at("Local Coordinate Tranform Matrix", 1) = "0.60001\t-0.768\t0.224"; }, "not-rotation", 1,
     "Local Coordinate Tranform Matrix", "Local Coordinate Tranform Matrix", "by up to 1.2e-05", "determinant 1"},
    {"matrixThatMirrors", 5, [](Lines& l) { l.at("Machine Coordinate Tranform Matrix", 3) = "0\t0\t-1"; },
     "not-rotation", 1, "Machine Coordinate Tranform Matrix", "Machine Coordinate Tranform Matrix", "determinant -1",
     "determinant 1"},
    {"textBehindTheMode", 5, [](Lines& l) { l.append("checked in spring"); }, "ignored-text", 2, "Mounting Mode", "",
     "\"checked in spring\"", "end of the file"},
    {"longBlocksInAShortMode", 9, [](Lines& l) { l.at("Mounting Mode", 1) = "5"; }, "ignored-text", 2, "Mounting Mode",
     "", "\"QVC\" and 13 more lines", "Mounting Mode 5"},
    {"textBehindTheLastBlock", 9, [](Lines& l) { l.append("0.5"); }, "ignored-text", 2, "DynamicParameters", "",
     "\"0.5\"", "DynamicParameters"},
    {"byteThatEndsTheText", 5, [](Lines& l) { l.append("\x1A more"); }, "ignored-text", 2, "Mounting Mode", "",
     "0x1A with 6 bytes", "end of the file"},
    {"fileThatEndsBeforeTiltY", 5, [](Lines& l) { l.cut("Tilt Y Calibration Table"); },
     "mode-pendulum block-missing block-missing", 0, "", "Mounting Mode", "ends before", "1 to 10"},
    {"digitsBeyondSinglePrecision", 5, [](Lines& l) { l.at("Angle Offset", 1) = "123.4567891\t-0.876543"; },
     "precision", 1, "Angle Offset", "Angle Offset", "\"123.4567891\"", "at most 8 digits"},
    {"digitsBeyondSinglePrecisionWithAnExponent", 5,
     [](Lines& l) { l.at("Angle Offset", 1) = "1.234567891E+2\t-8.76543e-1"; }, "precision", 1, "Angle Offset",
     "Angle Offset", "\"1.234567891E+2\"", "at most 8 digits"},
    {"moreDecimalsThanARewriteKeeps", 5, [](Lines& l) { l.at("Thermal Compensation Factor", 1) = "1.25e-7\t1\t0\t1"; },
     "rewrite-truncates", 1, "Thermal Compensation Factor", "Thermal Compensation Factor", "\"1.25e-7\"",
     "six decimals"},
    {"idBeyondThirtyTwoBits", 5, [](Lines& l) { l.at("Serial Number", 1) = "4294967296"; }, "refused", 1,
     "Serial Number", "Serial Number", "\"4294967296\"", "the ID of the sensor"},
    {"nanInAMatrix", 5, [](Lines& l) { l.at("Machine Coordinate Tranform Matrix", 1) = "1\tnan\t0"; }, "not-finite", 1,
     "Machine Coordinate Tranform Matrix", "Machine Coordinate Tranform Matrix", "\"nan\"", "single precision"},
    {"nanForTheFirstReading", 5, [](Lines& l) { l.at("EL Calibration Table", 2) = "nan\t0.0"; }, "not-finite", 2,
     "EL Calibration Table", "EL Calibration Table", "\"nan\"", "-360 to 360 degrees"},
    {"infiniteCorrectionInTheLastRow", 5, [](Lines& l) { l.at("AZ Calibration Table", 38) = "356.9\tinf"; },
     "not-finite", 38, "AZ Calibration Table", "AZ Calibration Table", "\"inf\"", "-1 to 1 degrees"},
    {"tableThatDoesNotGoRoundWithoutStops", 9,
     [](Lines& l) {
         l.setRows("AZ Calibration Table", {-80, -60, -40, -20, 0, 20, 40, 60, 80});
         l.at("Half Angle", 1) = "0\t60";
     },
     "rollover", 10, "AZ Calibration Table", "AZ Calibration Table", "leave 200 degrees", "rows for the whole turn"},
    {"tableThatDoesNotGoRoundAndNobodyKnowsOfStops", 9,
     [](Lines& l) {
         l.setRows("AZ Calibration Table", {-80, -60, -40, -20, 0, 20, 40, 60, 80});
         l.at("Half Angle", 1) = "wide\t60";
     },
     "rollover unreadable-value", 10, "AZ Calibration Table", "AZ Calibration Table", "leave 200 degrees",
     "rows for the whole turn"},
    {"nothingBehindTheCountOfATiltTable", 9, [](Lines& l) { l.remove("Tilt X Calibration Table", 2, 22); },
     "missing-value row-count", 1, "Tilt X Calibration Table", "Tilt X Calibration Table", "nothing behind the rows",
     "3 numbers"},
    {"tiltTableWithoutRowsThatTheModeDoesNotUse", 5,
     [](Lines& l) { l.setRows("Tilt X Calibration Table", {}); }, "tilt-rows", 1, "Tilt Y Calibration Table",
     "Tilt Y Calibration Table", "21 rows, and 0", "no more rows"},
    {"titleInThePlural", 5, [](Lines& l) { l.at("Scale Factor", 0) = "Scale Factors"; }, "rewrite-drops", 0,
     "Scale Factors", "Scale Factor", "\"Scale Factors\"", "\"Scale Factor\""},
};

INSTANTIATE_TEST_SUITE_P(ParameterCheck, Breakage, ::testing::ValuesIn(kBroken),
                         [](const auto& one) { return std::string(one.param.name); });

// What the check says of a file, under a heading. Notes are the same for all files of a mode.
std::string account(const std::string& heading, const std::string& text, std::int32_t mode, bool withNotes)
{
    const CheckReport report = checked(text, mode);
    std::string all = "# " + heading + ": status " + std::to_string(report.status()) + ", message " +
                      std::to_string(report.message()) + "\n";
    for (std::uint32_t i = 0; i < report.findings(); ++i) {
        const CheckFinding finding = report.finding(i);
        if (finding.severity == CheckSeverity::note && !withNotes) {
            continue;
        }
        all += std::string(finding.text) + " [" + finding.rule + "]";
        all += finding.more > 0 ? " and " + std::to_string(finding.more) + " more\n" : "\n";
    }
    return all;
}

// The whole wording, which people read and which other tests look at in places only. After an intended change
// KOR_RECORD=tests/session/findings.txt session_test --gtest_filter=ParameterCheck.findingsReadAsRecorded writes it
// anew.
TEST(ParameterCheck, findingsReadAsRecorded)
{
    std::string all;
    for (const Broken& broken : kBroken) {
        Lines lines(broken.mode);
        broken.edit(lines);
        all += account(broken.name, lines.text(), kor::kModeOfFile, false);
    }
    for (int mode = 1; mode <= 10; ++mode) {
        all += account("sound in mode " + std::to_string(mode), Lines(mode).text(), mode, true);
        all += account("of mode 9 in mode " + std::to_string(mode), Lines(9).text(), mode, true);
    }
    Lines pendulum(5);
    pendulum.at("Mounting Mode", 1) = "0";
    all += account("of mode 0 in mode 0", pendulum.text(), 0, true);
    // The first value of every line that begins with a number; of a table, those of its count and its first rows.
    const std::string sound = Lines(9).text();
    for (std::size_t at = 0, line = 1, rows = 0; at < sound.size(); ++line) {
        const std::size_t end = sound.find('\n', at);
        const bool isNumber = sound[at] == '-' || (sound[at] >= '0' && sound[at] <= '9');
        rows = isNumber ? rows + 1 : 0;
        if (rows > 0 && rows < 5) {
            const std::size_t value = sound.find_first_of("\t\n", at);
            for (const char* const other : {"oops", "1e9", "-1e9", "nan", "0", "1.23456789", "0x1", "1e-50"}) {
                all += account("line " + std::to_string(line) + ": " + other,
                               sound.substr(0, at) + other + sound.substr(value), kor::kModeOfFile, false);
            }
        }
        at = end + 1;
    }
    if (const char* const path = std::getenv("KOR_RECORD")) {
        std::ofstream(path, std::ios::binary) << all;
    }
    std::ifstream file(KOR_RECORDED "/findings.txt", std::ios::binary);
    const std::string recorded((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::istringstream found(all);
    std::istringstream expected(recorded);
    std::string heading;
    for (std::string a, b; std::getline(found, a);) {
        ASSERT_TRUE(std::getline(expected, b)) << "after " << heading;
        heading = a.starts_with('#') ? a : heading;
        ASSERT_EQ(a, b) << "under " << heading;
    }
    EXPECT_EQ(all.size(), recorded.size());
}

// Unusual files that nothing is wrong with.
TEST(ParameterCheck, hasNothingToSayOfWhatIsNearTheLimitsOfItsRules)
{
    const struct {
        const char* name;
        int mode;
        std::function<void(Lines&)> edit;
    } files[] = {
        {"a rotation rounded to six digits", 5,
         [](Lines& l) { l.at("Local Coordinate Tranform Matrix", 1) = "0.600001\t-0.768\t0.224"; }},
        {"finer steps in the middle", 5,
         [](Lines& l) {
             l.setRows("EL Calibration Table", {-60, -50, -40, -25, -10, -5, 0, 5, 10, 25, 40, 50, 60});
         }},
        {"an azimuth axis with stops", 9,
         [](Lines& l) {
             l.setRows("AZ Calibration Table", {-80, -60, -40, -20, 0, 20, 40, 60, 80});
             l.at("Half Angle", 1) = "90\t60";
         }},
        {"a level that descends", 9,
         [](Lines& l) {
             l.setRows("Tilt Y Calibration Table", {20, 15, 10, 5, 0, -5, -10, -15, -20}, 0.98);
         }},
        {"a level with its sign turned round", 9,
         [](Lines& l) {
             l.setRows("Tilt Y Calibration Table", {-20, -15, -10, -5, 0, 5, 10, 15, 20}, -0.98);
         }},
        {"three rows for the whole turn", 5,
         [](Lines& l) {
             l.setRows("AZ Calibration Table", {0, 120, 240}, 0.002);
         }},
        {"zeros for a level that the mode does not use", 5,
         [](Lines& l) { l.at("Thermal Compensation Factor", 1) = "0\t0\t0.0001\t0.998"; }},
        {"an axis that counts the other way", 5, [](Lines& l) { l.at("Scale Factor", 5) = "-1.0"; }},
        {"nine digits that single precision holds", 5,
         [](Lines& l) { l.at("Transform Vector", 1) = "1.00000006e3\t1\t0"; }},
        {"a table without regard to lines", 5,
         [](Lines& l) {
             l.setRows("EL Calibration Table", {-60, -40, -20, 0, 20, 40, 60}, 0.0, "\n");
         }},
    };
    for (const auto& file : files) {
        Lines lines(file.mode);
        file.edit(lines);
        EXPECT_EQ(rulesOf(checked(lines.text())), "") << file.name;
    }
}

TEST(ParameterCheck, hasNothingToSayOfAByteThatEndsTheTextAndTheFile)
{
    EXPECT_EQ(rulesOf(checked(Lines(5).text() + "\x1A")), "");
    EXPECT_EQ(rulesOf(checked(Lines(5).text() + "\x1A\n")), "ignored-text");
}

TEST(ParameterCheck, hasNothingToSayOfASoundFile)
{
    for (int mode = 1; mode <= 10; ++mode) {
        const CheckReport report = checked(Lines(mode).text());
        EXPECT_EQ(rulesOf(report), "") << mode;
        EXPECT_EQ(report.status(), kor::kSuccess);
        EXPECT_EQ(report.errors() + report.warnings(), 0U);
        EXPECT_EQ(report.notes(), report.findings());
    }
}

TEST(ParameterCheck, saysWhichBlocksAModeDoesNotUse)
{
    const CheckReport report = checked(Lines(7).text());
    ASSERT_EQ(report.notes(), 2U);
    EXPECT_STREQ(report.finding(0).rule, "block-ignored");
    EXPECT_STREQ(report.finding(0).found,
                 "Local Coordinate Tranform Matrix, Machine Coordinate Tranform Matrix, Tilt X Calibration Table, "
                 "Scale Factor, Level_Y, DynamicParameters");
    EXPECT_STREQ(report.finding(1).rule, "rewrite-refused");
}

TEST(ParameterCheck, judgesByTheModeThatTheFileIsUsedWith)
{
    EXPECT_EQ(rulesOf(checked(Lines(5).text(), 9)), "block-missing block-missing block-missing block-missing "
                                                    "block-missing block-missing");
    Lines lines(5);
    lines.at("Mounting Mode", 1) = "0";
    EXPECT_EQ(rulesOf(checked(lines.text(), 5)), "");
}

TEST(ParameterCheck, saysWhatIsNoTextFile)
{
    const std::string text = Lines(5).text();
    std::string wide = "\xFF\xFE";
    for (const char c : text) {
        wide += {c, '\0'};
    }
    const std::pair<std::string, const char*> files[] = {{wide, "UTF-16"},
                                                         {wide.substr(2), "UTF-16"},
                                                         {"\x1F\x8B\x08", "compressed"},
                                                         {text.substr(0, 99) + std::string(1, '\0'), "binary"}};
    for (const auto& [bytes, says] : files) {
        const CheckReport report = checked(bytes);
        ASSERT_EQ(report.findings(), 1U);
        EXPECT_STREQ(report.finding(0).rule, "not-text");
        EXPECT_NE(std::string(report.finding(0).found).find(says), std::string::npos) << report.finding(0).found;
    }
    EXPECT_EQ(rulesOf(checked(std::string((std::size_t{1} << 24) + 1, ' '))), "too-large");
    // Zeros in nine of ten places of one parity are the other halves of Latin characters; in fewer they are not.
    for (const auto& [others, says] : {std::pair(10, "UTF-16"), std::pair(11, "binary")}) {
        std::string little;
        std::string big;
        for (int i = 0; i < 100; ++i) {
            little += {'x', i < others ? 'y' : '\0'};
            big += {i < others ? 'y' : '\0', 'x'};
        }
        for (const std::string& bytes : {little, big}) {
            EXPECT_NE(std::string(checked(bytes).finding(0).found).find(says), std::string::npos) << others;
        }
    }
}

TEST(ParameterCheck, holdsTheIdAgainstTheNameAndGoesOn)
{
    const prm_test::TempDir dir;
    Lines lines(5);
    lines.at("Tilt Sensor Offset", 1) = "0.0\t-34.2";
    prm_test::writeFile(dir.path() / "Tg7.prm", lines.text());
    CheckReport report;
    EXPECT_EQ(kor::CheckParameterFile(dir.path().string().c_str(), 7, kor::kModeOfFile, report), kor::kFormatError);
    EXPECT_EQ(report.message(), 602U);
    EXPECT_EQ(rulesOf(report), "id-mismatch implausible");
    EXPECT_EQ(report.finding(0).line, 2U);
    EXPECT_STREQ(report.finding(0).found, "1009");
    EXPECT_STREQ(report.finding(0).expected, "7, the ID in the file's name");
    EXPECT_TRUE(std::string(report.finding(0).text).starts_with(report.path()));
    EXPECT_EQ(kor::CheckParameterFile(dir.path().string().c_str(), 8, kor::kModeOfFile, report), kor::kCannotOpen);
    EXPECT_EQ(report.findings(), 0U);
    prm_test::writeFile(dir.path() / "any.prm", Lines(5).text());
    EXPECT_EQ(kor::CheckParameterFile((dir.path() / "any.prm").string().c_str(), kor::kModeOfFile, report),
              kor::kSuccess);
    EXPECT_EQ(report.errors(), 0U);
}

TEST(ParameterCheck, tellsTheFirstOfManyAndCountsTheOthers)
{
    Lines lines(5);
    for (std::size_t row = 2; row < 39; ++row) {
        lines.at("AZ Calibration Table", row) += "000e6";
    }
    const CheckReport report = checked(lines.text());
    std::uint32_t implausible = 0;
    for (std::uint32_t i = 0; i < report.findings(); ++i) {
        if (std::string(report.finding(i).rule) == "implausible") {
            ++implausible;
            EXPECT_EQ(report.finding(i).more, implausible == 3 ? 34U : 0U);
        }
    }
    EXPECT_EQ(implausible, 3U);
    // Numbers with too many digits usually fill whole blocks.
    Lines digits(5);
    digits.at("Angle Offset", 1) = "123.4567891\t-21.3456789012";
    const CheckReport once = checked(digits.text());
    EXPECT_EQ(rulesOf(once), "precision");
    EXPECT_EQ(once.finding(0).more, 1U);
}

TEST(ParameterCheck, saysToWriteADecimalPointForAComma)
{
    Lines lines(5);
    lines.at("ADM Offset", 1) = "0,5";
    EXPECT_STREQ(checked(lines.text()).finding(0).advice, "write a decimal point, and nothing between thousands");
}

TEST(ParameterCheck, saysInWhichWayAMatrixIsNoRotation)
{
    for (const auto& [row, says] : {std::pair("0\t0\t-1", "this one mirrors"), std::pair("0\t0\t0", "is singular"),
                                    std::pair("0\t0\t0.9", "look for a wrong sign or digit")}) {
        Lines lines(5);
        lines.at("Machine Coordinate Tranform Matrix", 3) = row;
        const CheckReport report = checked(lines.text());
        EXPECT_EQ(rulesOf(report), "not-rotation");
        EXPECT_NE(std::string(report.finding(0).advice).find(says), std::string::npos) << report.finding(0).text;
    }
}

TEST(ParameterCheck, hasAnAccountOfItsRules)
{
    ASSERT_GT(kor::CheckRules(), 0U);
    std::vector<std::string> names;
    for (std::uint32_t i = 0; i < kor::CheckRules(); ++i) {
        names.emplace_back(kor::CheckRuleOf(i).name);
        EXPECT_STRNE(kor::CheckRuleOf(i).meaning, "");
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(std::unique(names.begin(), names.end()), names.end());
    EXPECT_STREQ(kor::CheckRuleOf(kor::CheckRules()).name, "");
    const CheckReport empty;
    EXPECT_STREQ(empty.finding(0).text, "");
}

// Whatever grew with the square of the words or rows would take minutes.
TEST(ParameterCheck, isDoneWithHostileFilesInSeconds)
{
    std::string words = "Serial Number\n1009\n";
    for (int i = 0; i < 500000; ++i) {
        words += "x ";
    }
    Lines lines(5);
    std::vector<double> readings(120000);
    for (std::size_t i = 0; i < readings.size(); ++i) {
        readings[i] = 0.003 * static_cast<double>(i);
    }
    lines.setRows("AZ Calibration Table", readings);
    for (const auto& [text, rules] :
         {std::pair<std::string, std::string>(words, "title-missing missing-word file-ends"), {lines.text(), ""}}) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(rulesOf(checked(text)), rules);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    }
}

// Two steps of four fall and two stand still: the table descends.
// The lines of rows that break an order, which is to be this one.
std::vector<std::uint32_t> linesThatAreNot(const char* expected, const CheckReport& report)
{
    std::vector<std::uint32_t> lines;
    for (std::uint32_t i = 0; i < report.findings(); ++i) {
        const CheckFinding finding = report.finding(i);
        if (std::string_view(finding.rule) == "not-monotone") {
            lines.push_back(finding.line);
            EXPECT_STREQ(finding.expected, expected);
        }
    }
    return lines;
}

TEST(ParameterCheck, takesRowsThatStandStillForNeitherDirection)
{
    const char* const title = "Tilt X Calibration Table";
    Lines lines(9);
    lines.setRows(title, {-20.0, -10.0, 0.0, 10.0, 20.0}, -1.0);
    lines.at(title, 3) = "-10.0\t20.0";
    lines.at(title, 4) = "0.0\t20.0";
    const CheckReport report = checked(lines.text());
    const std::vector<std::uint32_t> found = linesThatAreNot("angles that descend with their rows", report);
    EXPECT_EQ(found, (std::vector<std::uint32_t>{lines.line(title) + 3, lines.line(title) + 4}));
}

// Of as many steps up as down those down are taken for wrong.
TEST(ParameterCheck, takesATableToAscendUnlessMostOfItsStepsDescend)
{
    const char* const title = "Tilt X Calibration Table";
    Lines lines(9);
    lines.setRows(title, {-20.0, 0.0, 20.0}, 1.0);
    lines.at(title, 4) = "20.0\t-1.0";
    const CheckReport report = checked(lines.text());
    const std::vector<std::uint32_t> found = linesThatAreNot("angles that ascend with their rows", report);
    EXPECT_EQ(found, std::vector<std::uint32_t>{lines.line(title) + 4});
}

TEST(ParameterCheck, takesTwoRowsForATable)
{
    Lines lines(5);
    lines.setRows("EL Calibration Table", {-60.0, 60.0});
    EXPECT_EQ(rulesOf(checked(lines.text())), "");
    lines.setRows("EL Calibration Table", {-60.0});
    EXPECT_EQ(rulesOf(checked(lines.text())), "table-empty");
}

TEST(ParameterCheck, tellsWhatStandsBeforeTheFirstTitle)
{
    const CheckReport report = checked("Calibrated on Monday\n" + Lines(5).text());
    EXPECT_EQ(report.status(), kor::kFormatError);
    ASSERT_GT(report.findings(), 0U);
    EXPECT_EQ(report.finding(0).line, 1U);
    EXPECT_STREQ(report.finding(0).advice, "take out what stands before the first title");
}

// Three rows have two steps, of which none can be told to be the usual one.
TEST(ParameterCheck, looksForGapsInTablesOfFourRowsAndMore)
{
    Lines lines(5);
    lines.setRows("EL Calibration Table", {-60.0, -59.0, 60.0});
    EXPECT_EQ(rulesOf(checked(lines.text())), "");
    lines.setRows("EL Calibration Table", {-60.0, -59.0, -58.0, 60.0});
    EXPECT_EQ(rulesOf(checked(lines.text())), "table-gap");
}

// Beside rows with the same angle the points turn round, whichever side of a steep row they are on.
TEST(ParameterCheck, takesNoSwingBesideALevelPieceForAnOvershoot)
{
    const auto rulesWith = [](const std::array<double, 6>& angles) {
        Lines lines(9);
        lines.setRows("Tilt X Calibration Table", {-20.0, -12.0, -4.0, 4.0, 12.0, 20.0});
        for (std::size_t i = 0; i < angles.size(); ++i) {
            lines.at("Tilt X Calibration Table", 2 + i) =
                number(static_cast<float>(-20.0 + 8.0 * static_cast<double>(i))) + "\t" +
                number(static_cast<float>(angles[i]));
        }
        return rulesOf(checked(lines.text()));
    };
    EXPECT_EQ(rulesWith({-10.0, -9.0, -8.0, 8.0, 8.0, 9.0}), "overshoot overshoot not-monotone tilt-rows");
    EXPECT_EQ(rulesWith({-9.0, -8.0, -8.0, 8.0, 9.0, 10.0}), "not-monotone overshoot overshoot tilt-rows");
}

// Angles that are neighbours in single precision: what rounding makes of the spline between them is no overshoot.
TEST(ParameterCheck, takesRoundingForNoOvershoot)
{
    Lines lines(9);
    lines.setRows("Tilt X Calibration Table", {-20.0, -10.0, 0.0, 10.0, 20.0});
    const char* const rows[] = {"-20\t5.0", "-10\t5.00000048", "0\t5.00000095", "10\t5.00000143", "20\t5.00000191"};
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        lines.at("Tilt X Calibration Table", 2 + i) = rows[i];
    }
    EXPECT_EQ(rulesOf(checked(lines.text())), "rewrite-truncates tilt-rows");
}

TEST(CheckReport, isCopiedWhole)
{
    Lines lines(5);
    lines.at("ADM Offset", 1) = "1.25x";
    const auto sameThroughout = [](const CheckReport& a, const CheckReport& b) {
        EXPECT_EQ(a.status(), b.status());
        EXPECT_EQ(a.message(), b.message());
        EXPECT_STREQ(a.path(), b.path());
        ASSERT_EQ(a.findings(), b.findings());
        for (std::uint32_t i = 0; i < a.findings(); ++i) {
            EXPECT_STREQ(a.finding(i).text, b.finding(i).text);
            EXPECT_EQ(a.finding(i).line, b.finding(i).line);
        }
    };
    CheckReport assigned = checked(Lines(9).text());
    {
        const CheckReport original = checked(lines.text());
        ASSERT_GT(original.findings(), 0U);
        const CheckReport copy(original);
        sameThroughout(copy, original);
        assigned = original;
        sameThroughout(assigned, original);
    }
    // Its texts are its own.
    const CheckReport& itself = assigned;
    assigned = itself;
    sameThroughout(assigned, checked(lines.text()));
    EXPECT_STREQ(assigned.finding(assigned.findings()).text, "");
}

// Cut anywhere and with items replaced, a file that the library refuses has an error, and a sentence for each finding.
TEST(ParameterCheck, hasAnErrorForWhateverTheLibraryRefuses)
{
    const std::string whole = Lines(9).text();
    for (std::size_t at = 0; at < whole.size(); at += 37) {
        for (const char* piece : {"x", "", " 1 ", "\n", "-", "1e+"}) {
            for (const std::string& text :
                 {whole.substr(0, at) + piece, whole.substr(0, at) + piece + whole.substr(at + 1)}) {
                const CheckReport report = checked(text);
                EXPECT_TRUE(report.status() == kor::kSuccess || report.errors() > 0) << text;
                for (std::uint32_t i = 0; i < report.findings(); ++i) {
                    EXPECT_STRNE(report.finding(i).text, "");
                }
            }
        }
    }
}

} // namespace
