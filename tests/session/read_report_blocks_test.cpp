// For every block of a parameter file: which message a read that fails there loads, and where the report places it.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <ostream>
#include <string>

#include "KORInterface/Session.h"
#include "KORInterface/Status.h"
#include "params/prm_file.h"

namespace {

using namespace prm_test;

constexpr unsigned int kNone = 0;

// What a read answers when the file ends where a block's title is due: it goes on with defaults, or it fails there or
// at a later block.
struct BlockCase {
    int block;
    int atEndStatus;
    unsigned int atEnd;   // message
    int atEndBlock;       // where a failure shows, 0 for a success
    unsigned int missing; // message if another title stands there
};

void PrintTo(const BlockCase& c, std::ostream* out)
{
    *out << "block " << c.block;
}

constexpr std::array<BlockCase, kBlockCount> kCases = {{
    {1, kBadFormat, 601, 1, 601},
    {2, kBadFormat, 603, 2, 603},
    {3, kBadFormat, 604, 3, 604},
    {4, kBadFormat, 605, 4, 605},
    {5, kBadFormat, 606, 5, 606},
    {6, kBadFormat, 607, 6, 607},
    {7, kBadFormat, 608, 7, 608},
    {8, kBadFormat, 609, 8, 609},
    {9, kBadFormat, 610, 9, 610},
    {10, kBadFormat, 611, 10, 611},
    {11, kBadFormat, 612, 11, 612},
    {12, kBadFormat, 613, 12, 613},
    {13, kBadFormat, 614, 13, 614},
    {14, kBadFormat, 615, 14, 615},
    {15, kBadFormat, 616, 15, 616},
    {16, kBadFormat, 617, 16, 617},
    {17, kBadFormat, 618, 17, 618},
    {18, kSuccess, kNone, 0, 619},
    {19, kSuccess, kNone, 0, 621},
    {20, kSuccess, kNone, 0, 619}, // the message of the tilt Y table serves the
                                   // mounting mode, too
    {21, kBadFormat, 609, 24, 622},
    {22, kBadFormat, 609, 24, 623},
    {23, kBadFormat, 609, 24, 624},
    {24, kBadFormat, 609, 24, 609}, // the message of the angle offset serves the half angles, too
    {25, kBadFormat, kNone, 25, kNone},
    {26, kBadFormat, kNone, 26, kNone},
    {27, kBadFormat, kNone, 27, kNone},
}};

std::uint32_t lineBehind(const std::string& text)
{
    return static_cast<std::uint32_t>(1 + std::count(text.begin(), text.end(), '\n'));
}

class ReportOfFile : public ParamsTest {
protected:
    // Reads the text with a report; the plain read must answer the same.
    void readWithReport(const std::string& text)
    {
        writeFile(filePath(), text);
        const std::wstring directory = m_dir.path().wstring();
        CKorPrm prm;
        m_code = kor::ReadParameterFile(prm, directory.c_str(), kId, m_report);
        EXPECT_EQ(m_report.status(), m_code);
        CKorPrm plain;
        EXPECT_EQ(plain.ReadCalibrationFile(directory.c_str(), kId), m_code);
        EXPECT_EQ(loadedFlag(prm), loadedFlag(plain));
        expectSame(snapshot(prm), snapshot(plain));
    }

    void expectPlace(int block, std::uint32_t line) const
    {
        EXPECT_EQ(std::string(m_report.block()), std::string(titleOf(block)));
        EXPECT_EQ(std::string(m_report.expected()), std::string(titleOf(block)));
        EXPECT_EQ(m_report.line(), line);
        EXPECT_NE(std::string(m_report.text()).find(titleOf(block)), std::string::npos) << m_report.text();
    }

    int m_code = -1;
    kor::ReadReport m_report;
};

class ReportOfBlock : public ReportOfFile, public ::testing::WithParamInterface<BlockCase> {};

TEST_P(ReportOfBlock, whenTheFileEndsBeforeIt)
{
    const BlockCase& c = GetParam();
    const std::string text = PrmFile(firstSensor(10)).text(1, c.block - 1);
    readWithReport(text);
    EXPECT_EQ(m_code, c.atEndStatus);
    EXPECT_EQ(m_report.message(), c.atEnd);
    if (c.atEndBlock != 0) {
        expectPlace(c.atEndBlock, lineBehind(text));
        EXPECT_EQ(std::string(m_report.found()), "end of file");
    } else {
        EXPECT_EQ(std::string(m_report.text()), "");
    }
}

TEST_P(ReportOfBlock, whenAnotherTitleStandsInItsPlace)
{
    const BlockCase& c = GetParam();
    PrmFile file(firstSensor(10));
    file[c.block].title = "Nothing Of The Kind\n";
    readWithReport(file.text());
    EXPECT_EQ(m_code, kBadFormat);
    EXPECT_EQ(m_report.message(), c.missing);
    expectPlace(c.block, lineBehind(file.text(1, c.block - 1)));
    EXPECT_EQ(std::string(m_report.found()).rfind("Nothing", 0), 0U) << m_report.found();
    if (c.missing != kNone) {
        // The sentence holds the message; 622 has a blank at its end, two lack the full stop.
        std::string message = kor::MessageText(c.missing);
        message.erase(message.find_last_not_of(" .") + 1);
        EXPECT_NE(std::string(m_report.text()).find(message), std::string::npos) << m_report.text();
    }
}

TEST_P(ReportOfBlock, whenItsTitleIsThereTheReadGoesOn)
{
    const BlockCase& c = GetParam();
    PrmFile file(firstSensor(10));
    file[c.block].title.insert(titleOf(c.block).size(), "s"); // belongs to the title's last word
    readWithReport(file.text());
    EXPECT_EQ(m_code, kSuccess) << m_report.text();
    EXPECT_EQ(m_report.message(), kNone);
}

INSTANTIATE_TEST_SUITE_P(All, ReportOfBlock, ::testing::ValuesIn(kCases),
                         [](const auto& of) { return "block" + std::to_string(of.param.block); });

TEST_F(ReportOfFile, whoseIdIsAnothers)
{
    PrmFile file(firstSensor(10));
    file[1].body = "18\n";
    readWithReport(file.text());
    EXPECT_EQ(m_code, kBadFormat);
    EXPECT_EQ(m_report.message(), 602U);
    EXPECT_EQ(m_report.line(), 2U);
    EXPECT_EQ(std::string(m_report.found()), "18");
}

TEST_F(ReportOfFile, thatLoadsHasNoMessage)
{
    readWithReport(PrmFile(firstSensor(10)).text());
    EXPECT_EQ(m_code, kSuccess);
    EXPECT_EQ(m_report.message(), kNone);
    EXPECT_EQ(std::string(m_report.block()), "");
    EXPECT_EQ(std::string(m_report.text()), "");
    EXPECT_EQ(m_report.allFindings(), 0U);
}

TEST_F(ReportOfFile, thatIsNotThereHasNoMessage)
{
    CKorPrm prm;
    const std::wstring directory = m_dir.path().wstring();
    EXPECT_EQ(kor::ReadParameterFile(prm, directory.c_str(), 4711, m_report), kCannotOpen);
    EXPECT_EQ(m_report.status(), kCannotOpen);
    EXPECT_EQ(m_report.message(), kNone);
    EXPECT_EQ(m_report.line(), 0U);
}

TEST_F(ReportOfFile, ofAnEarlierReadIsReplacedThroughout)
{
    PrmFile file(firstSensor(10));
    file[5].title = "Nothing Of The Kind\n";
    readWithReport(file.text());
    EXPECT_EQ(m_report.message(), 606U);
    readWithReport(PrmFile(firstSensor(10)).text());
    EXPECT_EQ(m_report.status(), kSuccess);
    EXPECT_EQ(m_report.message(), kNone);
    EXPECT_EQ(m_report.line(), 0U);
    EXPECT_EQ(std::string(m_report.expected()), "");
    EXPECT_EQ(std::string(m_report.found()), "");
}

} // namespace
