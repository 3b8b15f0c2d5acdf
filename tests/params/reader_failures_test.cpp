// Parameter files that do not load: for every block the result, the message, and what the object holds afterwards.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "params/prm_file.h"

namespace {

using namespace prm_test;

struct BlockCase {
    int block;
    int atEnd;   ///< message when the file ends where the title is due
    int missing; ///< message when another title stands there
};

// 609 stands for the half angles too, and 619 for the mounting mode: hosts know the codes like this.
constexpr std::array<BlockCase, kBlockCount> kCases = {{
    {1, 601, 601},
    {2, 603, 603},
    {3, 604, 604},
    {4, 605, 605},
    {5, 606, 606},
    {6, 607, 607},
    {7, 608, 608},
    {8, 609, 609},
    {9, 610, 610},
    {10, 611, 611},
    {11, 612, 612},
    {12, 613, 613},
    {13, 614, 614},
    {14, 615, 615},
    {15, 616, 616},
    {16, 617, 617},
    {17, 618, 618},
    {18, kNoMessage, 619},
    {19, kNoMessage, 621},
    {20, kNoMessage, 619},
    {21, 609, 622}, // the defaults of blocks 21 to 23, then the half angles are missing
    {22, 609, 623},
    {23, 609, 624},
    {24, 609, 609},
    {25, kNoMessage, kNoMessage},
    {26, kNoMessage, kNoMessage},
    {27, kNoMessage, kNoMessage},
}};

bool mayEndBefore(int block)
{
    return block >= 18 && block <= 20;
}

class Failures : public ParamsTest, public ::testing::WithParamInterface<BlockCase> {
protected:
    /// The read fails for new and for loaded objects, with this message, and the loaded one then holds `after`.
    void expectFailure(const std::string& text, int message, const PrmValues& after)
    {
        EXPECT_EQ(this->message(text), message);
        EXPECT_EQ(m_status, kBadFormat);

        CKorPrm fresh;
        EXPECT_EQ(read(fresh, text), kBadFormat);
        EXPECT_FALSE(loadedFlag(fresh));
        int mode = 4711;
        unsigned int count = 4711;
        EXPECT_EQ(fresh.getMountMode(mode), kNotLoaded);
        EXPECT_EQ(fresh.getAzimuthComp(count, nullptr), kNotLoaded);
        EXPECT_EQ(mode, 4711);
        EXPECT_EQ(count, 4711U);

        CKorPrm loaded;
        ASSERT_EQ(read(loaded, PrmFile(firstSensor(9)).text()), kSuccess);
        EXPECT_EQ(read(loaded, text), kBadFormat);
        EXPECT_TRUE(loadedFlag(loaded));
        EXPECT_FALSE(modifiedFlag(loaded));
        expectSame(snapshot(loaded), expected(after));
    }

    /// Blocks 1 to `last` of the second sensor over the first, whose tilt limits stay.
    static PrmValues replacedUpTo(int last)
    {
        PrmValues values = merged(firstSensor(9), secondSensor(10), last);
        values.limits = {-28.0F, 27.0F, -23.0F, 24.0F};
        return values;
    }
};

// Pins [message-codes, fields-after-failure].
TEST_P(Failures, fileThatEndsWhereTheTitleIsDue)
{
    const BlockCase& c = GetParam();
    const std::string text = PrmFile(secondSensor(10)).text(1, c.block - 1);
    if (mayEndBefore(c.block)) {
        EXPECT_EQ(message(text), kNoMessage);
        EXPECT_EQ(m_status, kSuccess);
        PrmValues wanted = merged(firstSensor(9), secondSensor(10), c.block - 1);
        if (c.block <= 18) {
            wanted.limits = {-17.0F, 16.0F, -35.0F, 35.0F};
        }
        if (c.block <= 19) {
            wanted.scaleFactors = {0.0F, 0.0F, 0.0F, 0.0F, 1.0F, 1.0F, 1.0F, 0.0F};
        }
        wanted.mountMode = 0;
        CKorPrm loaded;
        ASSERT_EQ(read(loaded, PrmFile(firstSensor(9)).text()), kSuccess);
        EXPECT_EQ(read(loaded, text), kSuccess);
        expectSame(snapshot(loaded), expected(wanted));
        return;
    }
    PrmValues after = replacedUpTo(c.block - 1);
    if (c.block >= 21 && c.block <= 23) {
        after.qvc = c.block <= 21 ? std::array<float, 6>{} : after.qvc;
        after.level1 = c.block <= 22 ? std::array<float, 7>{} : after.level1;
        after.level2 = {};
    }
    expectFailure(text, c.atEnd, after);
    // Nothing has been read of an empty file, so its end is not known yet and the title is merely not there.
    EXPECT_EQ(m_endedAtTitle, c.block > 1);
}

TEST_P(Failures, anotherTitle)
{
    const BlockCase& c = GetParam();
    PrmFile file(secondSensor(10));
    // As many words as the title has, and nothing that a number could begin with.
    std::string title;
    for (const char character : titleOf(c.block)) {
        title += character == ' ' ? ' ' : 'w';
    }
    file[c.block].title = title + "\n";
    expectFailure(file.text(), c.missing, replacedUpTo(c.block - 1));
    EXPECT_FALSE(m_endedAtTitle);
}

// Pins [message-codes].
TEST_P(Failures, blockLeftOut)
{
    const BlockCase& c = GetParam();
    const PrmFile file(secondSensor(10));
    const std::string text = file.text(1, c.block - 1) + file.text(c.block + 1);
    // Without the last block the file ends where its title is due; any other gap shows the next title.
    expectFailure(text, c.missing, replacedUpTo(c.block - 1));
}

TEST_P(Failures, titleInAnotherCase)
{
    const BlockCase& c = GetParam();
    PrmFile file(secondSensor(10));
    std::string title(titleOf(c.block));
    title.back() = static_cast<char>(title.back() ^ 0x20);
    file[c.block].title = title + "\n";
    expectFailure(file.text(), c.missing, replacedUpTo(c.block - 1));
}

TEST_P(Failures, titleCutShort)
{
    const BlockCase& c = GetParam();
    std::string title(titleOf(c.block));
    title.pop_back();
    const std::string text = PrmFile(secondSensor(10)).text(1, c.block - 1) + title;
    expectFailure(text, c.missing, replacedUpTo(c.block - 1));
}

TEST_P(Failures, titleWithAWordInFront)
{
    const BlockCase& c = GetParam();
    PrmFile file(secondSensor(10));
    file[c.block].title = "my " + std::string(titleOf(c.block)) + "\n";
    // The word takes the place of the title's first.
    expectFailure(file.text(), c.missing, replacedUpTo(c.block - 1));
}

INSTANTIATE_TEST_SUITE_P(Block, Failures, ::testing::ValuesIn(kCases), [](const auto& instance) {
    return std::to_string(instance.param.block / 10) + std::to_string(instance.param.block % 10);
});

class ReaderFailures : public ParamsTest {};

// The words of the title before do not fill the gap: "EL Position" is not completed by an earlier "Gain".
TEST_F(ReaderFailures, aTitleWithoutItsLastWordsIsMissing)
{
    const PrmFile file(secondSensor(9));
    for (const BlockCase& c : kCases) {
        std::string title(titleOf(c.block));
        for (std::size_t blank = title.rfind(' '); blank != std::string::npos; blank = title.rfind(' ')) {
            title.resize(blank);
            EXPECT_EQ(message(file.text(1, c.block - 1) + title), c.missing) << title;
            EXPECT_EQ(m_status, kBadFormat);
            EXPECT_FALSE(m_endedAtTitle) << title;
        }
    }
}

// Pins [integers-saturate].
TEST_F(ReaderFailures, anotherIdInTheFileGivesMessage602)
{
    PrmFile file(secondSensor(9));
    for (const char* id : {"18", "0", "-17", "170", "1", "abc", ""}) {
        file[1].body = std::string(id) + "\n";
        EXPECT_EQ(message(file.text()), 602) << id;
        EXPECT_EQ(m_status, kBadFormat);
        EXPECT_FALSE(m_endedAtTitle);
        CKorPrm prm;
        ASSERT_EQ(read(prm, PrmFile(firstSensor(9)).text()), kSuccess);
        EXPECT_EQ(read(prm, file.text()), kBadFormat);
        expectSame(snapshot(prm), expected(firstSensor(9)));
    }
    // Numbers beyond 64 bits, of which the low 32 are the sensor's ID.
    for (const auto& [text, id] : {std::pair("18446744073709551617", 1UL), std::pair("18446744073709551633", kId),
                                   std::pair("-18446744073709551615", 1UL), std::pair("4294967313", kId)}) {
        file[1].body = std::string(text) + "\n";
        EXPECT_EQ(message(file.text(), id), 602) << text;
    }
    EXPECT_EQ(message("Serial Number"), 602);
    EXPECT_EQ(message("Serial Number 17"), 603);
}

TEST_F(ReaderFailures, mode7ThatEndsAfterTheMountingModeFailsWith609)
{
    for (const int mode : {7, 8, 9, 10}) {
        const std::string text = PrmFile(secondSensor(mode)).text(1, 20);
        EXPECT_EQ(message(text), 609);
        CKorPrm prm;
        ASSERT_EQ(read(prm, PrmFile(firstSensor(9)).text()), kSuccess);
        EXPECT_EQ(read(prm, text), kBadFormat);
        PrmValues wanted = merged(firstSensor(9), secondSensor(mode), 20);
        wanted.qvc = {};
        wanted.level1 = {};
        wanted.level2 = {};
        wanted.limits = {-28.0F, 27.0F, -23.0F, 24.0F};
        expectSame(snapshot(prm), expected(wanted));
    }
}

// What stands after the last number makes no difference to whether the end is known.
TEST_F(ReaderFailures, theEndIsNoticedWithAndWithoutAFinalNewlineOrBlanks)
{
    const PrmFile file(secondSensor(9));
    for (const BlockCase& c : kCases) {
        if (c.block == 1 || mayEndBefore(c.block)) {
            continue;
        }
        std::string text = file.text(1, c.block - 1);
        while (text.back() == '\n' || text.back() == '\t') {
            text.pop_back();
        }
        for (const char* tail : {"", "\n", " \t ", "\r\n\r\n"}) {
            EXPECT_EQ(message(text + tail), c.atEnd) << c.block;
            EXPECT_EQ(m_status, kBadFormat);
            EXPECT_TRUE(m_endedAtTitle) << c.block;
        }
    }
}

TEST_F(ReaderFailures, anEmptyFileHasNoSerialNumber)
{
    for (const char* text : {"", "\n", " \t\r\n ", "Serial"}) {
        EXPECT_EQ(message(text), 601);
        CKorPrm prm;
        EXPECT_EQ(read(prm, text), kBadFormat);
    }
}

TEST_F(ReaderFailures, aFileThatCannotBeOpenedHasNoMessage)
{
    EXPECT_EQ(messageHere(), kNoMessage);
    EXPECT_EQ(m_status, kCannotOpen);
}

// Pins [unread-values].
TEST_F(ReaderFailures, aValueThatDoesNotParseMakesTheNextTitleFail)
{
    const PrmValues first = firstSensor(9);
    const PrmValues second = secondSensor(9);
    for (const BlockCase& c : kCases) {
        if (c.block == 2 || c.block == 20) {
            continue; // the owner may be any word; without a mounting mode a new object stops there
        }
        PrmFile file(second);
        const std::string& body = file[c.block].body;
        // The last number of the block; in the tilt tables it is followed by their word.
        const std::string word = c.block == 17 || c.block == 18 ? "Table_End\n" : "";
        const std::size_t end = body.find_last_of("0123456789", body.size() - 1 - word.size());
        const std::size_t begin = body.find_last_of("\t\n", end) + 1;
        std::string changed = body;
        changed.replace(begin, end + 1 - begin, "?");
        file[c.block].body = changed;
        int wanted = c.block == kBlockCount ? kNoMessage : kCases[static_cast<std::size_t>(c.block)].missing;
        wanted = c.block == 1 ? 602 : wanted;
        EXPECT_EQ(message(file.text()), wanted) << c.block;
        EXPECT_EQ(m_status, c.block == kBlockCount ? kSuccess : kBadFormat) << c.block;
    }
}

TEST_F(ReaderFailures, aDecimalCommaMakesTheNextTitleFail)
{
    PrmFile file(firstSensor(9));
    file[8].body = "1,5\t2.5\n";
    EXPECT_EQ(message(file.text()), 610);
    CKorPrm prm;
    ASSERT_EQ(read(prm, PrmFile(secondSensor(9)).text()), kSuccess);
    EXPECT_EQ(read(prm, file.text()), kBadFormat);
    PrmValues wanted = secondSensor(9);
    wanted.angleOffset[0] = 1.0F;
    expectSame(snapshot(prm), expected(wanted));
}

TEST_F(ReaderFailures, moreValuesThanTheBlockHasMakeTheNextTitleFail)
{
    const PrmValues second = secondSensor(9);
    for (const BlockCase& c : kCases) {
        PrmFile file(second);
        file[c.block].body += "1\n";
        EXPECT_EQ(message(file.text()),
                  c.block == kBlockCount ? kNoMessage : kCases[static_cast<std::size_t>(c.block)].missing)
            << c.block;
        EXPECT_EQ(m_status, c.block == kBlockCount ? kSuccess : kBadFormat) << c.block;
    }
}

TEST_F(ReaderFailures, moreRowsThanTheCountMakeTheNextTitleFail)
{
    for (const int block : {15, 16}) {
        PrmFile file(secondSensor(9));
        file[block].body += "1\t2\n";
        EXPECT_EQ(message(file.text()), block == 15 ? 617 : 618);
    }
}

TEST_F(ReaderFailures, aMissingTiltYTableIsNoticedBeforeOtherBlocks)
{
    const PrmFile file(secondSensor(9));
    EXPECT_EQ(message(file.text(1, 17) + file.text(19)), 619);
    EXPECT_EQ(m_status, kBadFormat);
}

} // namespace
