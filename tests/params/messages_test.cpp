// The message texts, character for character, and the operation that loads them.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

#include "params/file/Messages.h"
#include "params/prm_file.h"

namespace {

using namespace prm_test;

// The odd ones ("Tranform", "foun.", "Tilt YCalibration", the final blank of 622, "Scale Factors") are what hosts
// search for.
constexpr std::array<std::pair<unsigned, std::string_view>, 24> kTexts = {{
    {601, R"(Block title "Serial Number" is not found.)"},
    {602, R"(File ID doesn't match KOR ID.)"},
    {603, R"(Block title "Device Owner" is not found.)"},
    {604, R"(Block title "AZ Position Gain" is not found.)"},
    {605, R"(Block title "EL Position Gain" is not found.)"},
    {606, R"(Block title "AZ Tracking Gain" is not found.)"},
    {607, R"(Block title "EL Tracking Gain" is not found.)"},
    {608, R"(Block title "Digital Damping" is not found.)"},
    {609, R"(Block title "Angle Offset" is not found.)"},
    {610, R"(Block title "Transform Vector" is not found.)"},
    {611, R"(Block title "Local Coordinate Tranform Matrix" is not found.)"},
    {612, R"(Block title "Machine Coordinate Tranform Matrix" is not found.)"},
    {613, R"(Block title "Thermal Compensation Factor" is not found.)"},
    {614, R"(Block title "Tilt Sensor Offset" is not found.)"},
    {615, R"(Block title "ADM Offset" is not foun.)"},
    {616, R"(Block title "AZ Calibration Table" is not found.)"},
    {617, R"(Block title "EL Calibration Table" is not found.)"},
    {618, R"(Block title "Tilt X Calibration Table" is not found.)"},
    {619, R"(Block title "Tilt YCalibration Table" is not found.)"},
    {620, R"(PRM File Format Error)"},
    {621, R"(Block title "Scale Factors" is not found.)"},
    {622, R"(Block "QVC" is not found )"},
    {623, R"(Block "Level1" is not found)"},
    {624, R"(Block "Level2" is not found)"},
}};

// Pins [misspelt-texts].
TEST(Messages, everyTextIsAsStoredCharacterForCharacter)
{
    for (const auto& [id, text] : kTexts) {
        EXPECT_EQ(kor::params::messageText(id), text) << id;
    }
}

TEST(Messages, captionIsAsStored)
{
    EXPECT_EQ(kor::params::messageCaption(), "Mek Error Message for KOR");
}

TEST(Messages, otherIdentifiersHaveNoText)
{
    for (const unsigned id : {0U, 1U, 20U, 550U, 553U, 600U, 625U, 0x80000259U, 0xffffffffU}) {
        EXPECT_TRUE(kor::params::messageText(id).empty()) << id;
    }
}

class DisplayErrMsg : public ParamsTest {};

// Pins [message-not-shown].
TEST_F(DisplayErrMsg, showsNothingAndChangesNothing)
{
    CKorPrm prm;
    ASSERT_EQ(read(prm, PrmFile(firstSensor(9)).text()), kSuccess);
    std::array<unsigned char, sizeof(CKorPrm)> before{};
    std::memcpy(before.data(), reinterpret_cast<const unsigned char*>(&prm), before.size());
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    for (const unsigned id : {602U, 601U, 620U, 624U, 0U, 600U, 625U, 0xffffffffU}) {
        prm.DisplayErrMsg(id);
    }
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    std::array<unsigned char, sizeof(CKorPrm)> after{};
    std::memcpy(after.data(), reinterpret_cast<const unsigned char*>(&prm), after.size());
    EXPECT_EQ(before, after);
    expectSame(snapshot(prm), expected(firstSensor(9)));
}

TEST_F(DisplayErrMsg, needsNoLoadedObject)
{
    CKorPrm prm;
    prm.DisplayErrMsg(602);
    EXPECT_FALSE(loadedFlag(prm));
    EXPECT_FALSE(modifiedFlag(prm));
}

// Pins [message-not-shown].
TEST_F(DisplayErrMsg, failedReadsShowNothing)
{
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    CKorPrm prm;
    const int missing = readHere(prm);
    const int empty = read(prm, "");
    const int otherId = read(prm, "Serial Number\n18\n");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(missing, kCannotOpen);
    EXPECT_EQ(empty, kBadFormat);
    EXPECT_EQ(otherId, kBadFormat);
}

} // namespace
