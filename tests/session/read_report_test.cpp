// Reading a parameter file with an account: the effect of a plain read, and every place that it passes over.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "KORInterface/Session.h"
#include "KORInterface/Status.h"
#include "params/prm_file.h"

namespace {

using namespace prm_test;
using kor::FindingKind;
using kor::ReadFinding;
using kor::ReadReport;

class Report : public ParamsTest {
protected:
    int reported(CKorPrm& prm, std::string_view text, ReadReport& report)
    {
        writeFile(filePath(), text);
        return kor::ReadParameterFile(prm, m_dir.path().wstring().c_str(), kId, report);
    }

    // The text of line `number`, from 1.
    static std::string lineOf(const std::string& text, std::uint32_t number)
    {
        std::size_t at = 0;
        for (std::uint32_t line = 1; line < number; ++line) {
            at = text.find('\n', at) + 1;
        }
        return text.substr(at, text.find('\n', at) - at);
    }
};

// To the bit: not a number is the same as itself.
bool sameThroughout(const Snapshot& a, const Snapshot& b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const auto& one, const auto& other) {
        return one.first == other.first && one.second.size() == other.second.size() &&
               (one.second.empty() ||
                std::memcmp(one.second.data(), other.second.data(), one.second.size() * sizeof(double)) == 0);
    });
}

PrmFile sensorFile(std::int32_t mode)
{
    return PrmFile(firstSensor(mode));
}

TEST_F(Report, aSoundFileHasNothingToTell)
{
    CKorPrm prm;
    ReadReport report;
    EXPECT_EQ(reported(prm, sensorFile(9).text(), report), kor::kSuccess);
    EXPECT_EQ(report.status(), kor::kSuccess);
    EXPECT_EQ(report.message(), 0U);
    EXPECT_STREQ(report.text(), "");
    EXPECT_STREQ(report.block(), "");
    EXPECT_EQ(report.findings(), 0U);
    EXPECT_EQ(report.allFindings(), 0U);
    EXPECT_TRUE(loadedFlag(prm));
}

// Cut anywhere and with any byte replaced, a file has the same effect and the same result either way.
TEST_F(Report, theEffectAndTheResultAreThoseOfAPlainRead)
{
    const std::string whole = sensorFile(9).text();
    std::vector<std::string> texts;
    for (std::size_t length = 0; length < whole.size(); length += 23) {
        texts.push_back(whole.substr(0, length));
        std::string spoiled = whole;
        spoiled[length] = 'x';
        texts.push_back(spoiled);
    }
    int failed = 0;
    for (const std::string& text : texts) {
        CKorPrm plain;
        CKorPrm told;
        ReadReport report;
        const int code = read(plain, text);
        ASSERT_EQ(reported(told, text, report), code);
        ASSERT_EQ(report.status(), code);
        ASSERT_EQ(loadedFlag(told), loadedFlag(plain));
        ASSERT_TRUE(sameThroughout(snapshot(told), snapshot(plain))) << text.size();
        ASSERT_EQ(*report.text() == '\0', code == 0) << report.text();
        failed += code == 0 ? 0 : 1;
    }
    EXPECT_GT(failed, 20) << "the texts must reach the failures";
    EXPECT_LT(failed, static_cast<int>(texts.size())) << "and the successes";
}

TEST_F(Report, aFailureNamesFileLineBlockAndWhatStoodThere)
{
    PrmFile file = sensorFile(1);
    file[9].title = "Transfer Vector\n";
    const std::string text = file.text();
    CKorPrm prm;
    ReadReport report;
    EXPECT_EQ(reported(prm, text, report), kor::kFormatError);
    EXPECT_EQ(report.message(), 610U);
    EXPECT_STREQ(report.block(), "Transform Vector");
    EXPECT_STREQ(report.found(), "Transfer Vector");
    EXPECT_STREQ(report.expected(), "Transform Vector");
    EXPECT_EQ(lineOf(text, report.line()), "Transfer Vector");
    const std::string said = report.text();
    EXPECT_NE(said.find("Tg17.prm: line " + std::to_string(report.line()) + ": "), std::string::npos) << said;
    EXPECT_NE(said.find("Found \"Transfer Vector\", expected \"Transform Vector\""), std::string::npos) << said;
}

TEST_F(Report, aModeThatIsAWordIsFoundAlthoughTheReadSucceeds)
{
    PrmFile file = sensorFile(1);
    file[20].body = "upright\n";
    const std::string text = file.text(1, 20);
    CKorPrm prm;
    ReadReport report;
    EXPECT_EQ(reported(prm, text, report), kor::kSuccess);
    ASSERT_EQ(report.findings(), 1U);
    const ReadFinding finding = report.finding(0);
    EXPECT_EQ(finding.kind, FindingKind::unreadableValue);
    EXPECT_STREQ(finding.block, "Mounting Mode");
    EXPECT_STREQ(finding.found, "upright");
    EXPECT_STREQ(finding.expected, "a whole number");
    EXPECT_EQ(finding.values, 1U);
    EXPECT_EQ(lineOf(text, finding.line), "upright");
    EXPECT_NE(std::string(finding.text).find("Tg17.prm: line " + std::to_string(finding.line)), std::string::npos);
}

TEST_F(Report, aModeThatIsMissingIsFoundAtTheEndOfTheFile)
{
    PrmFile file = sensorFile(1);
    file[20].body = "";
    CKorPrm prm;
    ReadReport report;
    EXPECT_EQ(reported(prm, file.text(1, 20), report), kor::kSuccess);
    ASSERT_EQ(report.findings(), 1U);
    EXPECT_STREQ(report.finding(0).found, "end of file");
}

TEST_F(Report, aTableWithFewerRowsThanItsCountIsShort)
{
    const std::size_t rows = firstSensor(1).azimuth.size();
    PrmFile file = sensorFile(1);
    file[15].body.replace(0, file[15].body.find('\n'), std::to_string(rows + 62));
    const std::string text = file.text();
    CKorPrm prm;
    ReadReport report;
    EXPECT_EQ(reported(prm, text, report), kor::kSuccess) << "which is why somebody has to tell";
    ASSERT_EQ(report.findings(), 1U);
    const ReadFinding finding = report.finding(0);
    EXPECT_EQ(finding.kind, FindingKind::shortTable);
    EXPECT_STREQ(finding.block, "AZ Calibration Table");
    EXPECT_EQ(finding.rows, rows);
    EXPECT_EQ(finding.count, rows + 62);
    EXPECT_EQ(finding.values, 2U * 62U);
    EXPECT_STREQ(finding.found, "EL");
    EXPECT_EQ(lineOf(text, finding.line), "EL Calibration Table");
}

TEST_F(Report, aNumberThatIsMissingInARowLeavesTheTableOneShort)
{
    const std::size_t rows = firstSensor(1).elevation.size();
    PrmFile file = sensorFile(1);
    std::string& body = file[16].body;
    body.erase(body.rfind('\t'), body.size() - 1 - body.rfind('\t'));
    CKorPrm prm;
    ReadReport report;
    EXPECT_EQ(reported(prm, file.text(), report), kor::kSuccess);
    ASSERT_EQ(report.findings(), 1U);
    EXPECT_EQ(report.finding(0).kind, FindingKind::shortTable);
    EXPECT_EQ(report.finding(0).rows, rows - 1);
    EXPECT_EQ(report.finding(0).count, rows);
    EXPECT_EQ(report.finding(0).values, 1U);
    EXPECT_STREQ(report.finding(0).found, "Tilt");
}

TEST_F(Report, aTiltTableWithoutRowsEnoughIsShortAndItsExtraRowCounts)
{
    const std::size_t rows = firstSensor(1).tiltX.rows.size();
    PrmFile file = sensorFile(1);
    file[17].body.replace(0, file[17].body.find('\n'), std::to_string(rows + 5));
    CKorPrm prm;
    ReadReport report;
    EXPECT_EQ(reported(prm, file.text(), report), kor::kSuccess);
    ASSERT_EQ(report.findings(), 1U);
    EXPECT_EQ(report.finding(0).kind, FindingKind::shortTable);
    // The three extra values make up one row and half of another.
    EXPECT_EQ(report.finding(0).rows, rows + 1);
    EXPECT_EQ(report.finding(0).values, 1U + 3U * 2U + 3U);
    EXPECT_STREQ(report.finding(0).found, "Table_End");
}

TEST_F(Report, theFirstUnreadValueStandsBeforeTheTitleThatIsMissed)
{
    PrmFile file = sensorFile(1);
    file[8].body = "1.5\tabout-two\n";
    const std::string text = file.text();
    CKorPrm prm;
    ReadReport report;
    EXPECT_EQ(reported(prm, text, report), kor::kFormatError);
    EXPECT_EQ(report.message(), 610U);
    ASSERT_GE(report.findings(), 1U);
    EXPECT_STREQ(report.finding(0).block, "Angle Offset");
    EXPECT_STREQ(report.finding(0).found, "about-two");
    EXPECT_EQ(report.finding(0).values, 1U);
    EXPECT_NE(std::string(report.text()).find("block \"Angle Offset\""), std::string::npos) << report.text();
}

// What has been read of an item before it turned out to be no number belongs to what was found, wherever the pieces
// lie in which a file is fetched.
TEST_F(Report, whatWasFoundIsTheWholeWordWhereverItLies)
{
    for (std::size_t filling = 4096 - 400; filling < 4096 + 40; ++filling) {
        PrmFile file = sensorFile(1);
        file[2].body = std::string(filling, 'o') + "\n";
        file[8].body = "1.5\t-12.25e+volt\n";
        CKorPrm prm;
        ReadReport report;
        EXPECT_EQ(reported(prm, file.text(), report), kor::kFormatError);
        ASSERT_GE(report.findings(), 1U);
        ASSERT_STREQ(report.finding(0).found, "-12.25e+volt") << filling;
    }
}

TEST_F(Report, whatWasFoundIsShortAndPrintable)
{
    PrmFile file = sensorFile(1);
    file[8].body = "1.5\t\x01\xFF\x1B" + std::string(100000, 'z') + "\n";
    CKorPrm prm;
    ReadReport report;
    EXPECT_EQ(reported(prm, file.text(), report), kor::kFormatError);
    ASSERT_GE(report.findings(), 1U);
    const std::string found = report.finding(0).found;
    EXPECT_LT(found.size(), 80U);
    EXPECT_EQ(found.substr(0, 4), "???z");
}

TEST_F(Report, theNumberOfFindingsKeptIsBounded)
{
    constexpr std::size_t kRows = 12000;
    PrmFile file = sensorFile(1);
    file[15].body = std::to_string(kRows) + "\n";
    for (std::size_t i = 0; i < 2 * kRows; ++i) {
        file[15].body += "1e+ "; // read as far as its exponent, and no number
    }
    file[15].body += "\n";
    CKorPrm prm;
    ReadReport report;
    reported(prm, file.text(), report);
    EXPECT_EQ(report.findings(), 10000U);
    EXPECT_GE(report.allFindings(), kRows);
    EXPECT_STREQ(report.finding(9999).found, "1e+");
    EXPECT_STREQ(report.finding(10000).found, "");
    EXPECT_STREQ(report.finding(4294967295U).text, "");
}

// Once there are as many, those that fail at one place are still one.
TEST_F(Report, whatIsBeyondThemIsCountedOnceForEachPlace)
{
    PrmFile file = sensorFile(1);
    file[15].body = "12000\n";
    for (int row = 0; row < 11000; ++row) {
        file[15].body += "1e+ ";
    }
    file[15].body += "\n";
    CKorPrm prm;
    ReadReport report;
    EXPECT_EQ(reported(prm, file.text(), report), kor::kSuccess) << report.text();
    EXPECT_EQ(report.findings(), 10000U);
    EXPECT_EQ(report.allFindings(), 11001U) << "and the title behind the table, where a thousand rows fail";
    EXPECT_EQ(report.finding(9999).values, report.finding(0).values) << "these rows are none of the last one kept";
}

TEST_F(Report, argumentsAndFilesThatAreNotThere)
{
    CKorPrm prm;
    ReadReport report;
    EXPECT_EQ(kor::ReadParameterFile(prm, static_cast<const wchar_t*>(nullptr), kId, report), kor::kBadArgument);
    EXPECT_STRNE(report.text(), "");
    EXPECT_EQ(kor::ReadParameterFile(prm, static_cast<const char*>(nullptr), kId, report), kor::kBadArgument);
    EXPECT_EQ(kor::ReadParameterFile(prm, m_dir.path().wstring().c_str(), kId, report), kor::kCannotOpen);
    EXPECT_EQ(report.line(), 0U);
    EXPECT_NE(std::string(report.text()).find("Tg17.prm: the parameter file cannot be opened"), std::string::npos)
        << report.text();
    EXPECT_EQ(kor::ReadParameterFile(prm, "\xC0\xAF", kId, report), kor::kCannotOpen);
    EXPECT_NE(std::string(report.text()).find("UTF-8"), std::string::npos) << report.text();
    EXPECT_FALSE(loadedFlag(prm));
}

TEST_F(Report, aDirectoryInUtf8MayHoldAnyCharacter)
{
    const std::filesystem::path folder = m_dir.path() / u8"m\u00e4rz \u6e2c";
    std::filesystem::create_directories(folder);
    writeFile(folder / "Tg17.prm", sensorFile(3).text());
    const std::u8string directory = folder.u8string();
    CKorPrm prm;
    ReadReport report;
    EXPECT_EQ(kor::ReadParameterFile(prm, std::string(directory.begin(), directory.end()).c_str(), kId, report), 0);
    EXPECT_TRUE(loadedFlag(prm));
}

TEST_F(Report, anotherReadReplacesAllOfIt)
{
    CKorPrm prm;
    ReadReport report;
    PrmFile broken = sensorFile(1);
    broken[20].body = "upright\n";
    reported(prm, broken.text(1, 20), report);
    ASSERT_EQ(report.findings(), 1U);
    EXPECT_EQ(reported(prm, sensorFile(1).text(), report), 0);
    EXPECT_EQ(report.findings(), 0U);
    EXPECT_EQ(report.allFindings(), 0U);
    EXPECT_STREQ(report.text(), "");
}

TEST_F(Report, aCopyKeepsItsTexts)
{
    ReadReport assigned;
    PrmFile broken = sensorFile(1);
    broken[20].body = "upright\n";
    {
        CKorPrm prm;
        ReadReport report;
        reported(prm, broken.text(1, 20), report);
        const ReadReport copy(report);
        assigned = copy;
        EXPECT_STREQ(copy.finding(0).found, "upright");
    }
    const ReadReport& itself = assigned;
    assigned = itself;
    EXPECT_STREQ(assigned.finding(0).found, "upright");
    EXPECT_EQ(assigned.allFindings(), 1U);
}

} // namespace
