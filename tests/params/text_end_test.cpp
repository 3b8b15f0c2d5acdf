// The text of a parameter file ends at its first byte 0x1A: what stands behind that is not there, for the reader and
// for the rewriting alike.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "params/file/Writer.h"
#include "params/prm_file.h"

namespace {

using namespace prm_test;

const std::string kTextEnd = "\x1A";

class TextEnd : public ParamsTest {
protected:
    void SetUp() override
    {
        m_before = std::filesystem::current_path();
        std::filesystem::current_path(m_here.path());
    }
    void TearDown() override { std::filesystem::current_path(m_before); }

    // The canonical file up to a block, with its last line end or without.
    static std::string upTo(int block, bool lineEnd = true)
    {
        std::string text = PrmFile(firstSensor(5)).text(1, block);
        if (!lineEnd) {
            text.pop_back();
        }
        return text;
    }

    Snapshot loaded(const std::string& text)
    {
        CKorPrm prm;
        EXPECT_EQ(read(prm, text), kSuccess);
        EXPECT_TRUE(loadedFlag(prm));
        return snapshot(prm);
    }

    std::string rewritten(const std::string& text)
    {
        writeFile(filePath(), text);
        float dynamic[7] = {};
        const kor::params::RewriteReport report =
            kor::params::rewriteFile(kor::platform::textOf(filePath()), 0, dynamic, [](std::uint32_t) {});
        EXPECT_EQ(report.status, kSuccess);
        EXPECT_EQ(static_cast<int>(report.messageId), kNoMessage);
        std::ifstream file(filePath(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    TempDir m_here;
    std::filesystem::path m_before;
};

class TextEndBehindBlock : public TextEnd, public ::testing::WithParamInterface<int> {};

// Pins [text-end].
TEST_P(TextEndBehindBlock, aFileThatEndsThereLoads)
{
    const Snapshot wanted = loaded(upTo(GetParam()));
    for (const bool lineEnd : {true, false}) {
        expectSame(loaded(upTo(GetParam(), lineEnd) + kTextEnd), wanted);
        expectSame(loaded(upTo(GetParam(), lineEnd) + kTextEnd + "\r\n"), wanted);
        expectSame(loaded(upTo(GetParam(), lineEnd) + kTextEnd + kTextEnd), wanted);
    }
}

TEST_P(TextEndBehindBlock, whatStandsBehindIsNotRead)
{
    const std::string text = upTo(GetParam());
    const std::string rest = PrmFile(secondSensor(5)).text(GetParam() + 1);
    const Snapshot wanted = loaded(text);
    expectSame(loaded(text + kTextEnd + rest), wanted);
    expectSame(loaded(text + kTextEnd + "\n" + rest), wanted);
}

INSTANTIATE_TEST_SUITE_P(All, TextEndBehindBlock, ::testing::Values(17, 18, 19, 20),
                         [](const auto& of) { return "block" + std::to_string(of.param); });

class TextEndBehindShortFile : public TextEndBehindBlock {};

TEST_P(TextEndBehindShortFile, aFileThatEndsThereIsRewrittenWithoutIt)
{
    const std::string wanted = rewritten(upTo(GetParam()));
    ASSERT_NE(wanted.find("Mounting Mode"), std::string::npos);
    EXPECT_EQ(wanted.find(kTextEnd), std::string::npos);
    for (const bool lineEnd : {true, false}) {
        EXPECT_EQ(rewritten(upTo(GetParam(), lineEnd) + kTextEnd), wanted);
        EXPECT_EQ(rewritten(upTo(GetParam(), lineEnd) + kTextEnd + "\r\n"), wanted);
        EXPECT_EQ(rewritten(upTo(GetParam(), lineEnd) + kTextEnd + "Mounting Mode\n9\n"), wanted);
    }
}

INSTANTIATE_TEST_SUITE_P(All, TextEndBehindShortFile, ::testing::Values(17, 18, 19),
                         [](const auto& of) { return "block" + std::to_string(of.param); });

// Pins [text-end].
TEST_F(TextEnd, endsANumberAndAWord)
{
    // The first of two values is read, the second is not there; then the next title is missing.
    PrmFile file(firstSensor(5));
    file[8].body = "12.5" + kTextEnd + "0\t3\n";
    EXPECT_EQ(message(file.text()), 610);
    CKorPrm prm;
    ASSERT_EQ(read(prm, PrmFile(secondSensor(5)).text()), kSuccess);
    EXPECT_EQ(read(prm, file.text()), kBadFormat);
    F_VECTOR2 offset{};
    ASSERT_EQ(prm.getEncoderOffset(offset), kSuccess);
    EXPECT_EQ(offset.x, static_cast<float>(12.5 * kRadPerDegree));
    EXPECT_EQ(offset.y, static_cast<float>(static_cast<double>(secondSensor(5).angleOffset[1]) * kRadPerDegree));
}

TEST_F(TextEnd, inATitleTheRestOfTheTitleIsMissing)
{
    PrmFile file(firstSensor(5));
    file[9].title = "Transform" + kTextEnd + " Vector\n";
    EXPECT_EQ(message(file.text()), 610);
    file[9].title = "Transform Vector" + kTextEnd + "\n";
    EXPECT_EQ(message(file.text()), 611) << "the title is there, its values are not";
}

TEST_F(TextEnd, atTheBeginningTheFileIsEmpty)
{
    EXPECT_EQ(message(kTextEnd + PrmFile(firstSensor(5)).text()), 601);
}

} // namespace
