// The results and messages in words.
#include "KORInterface/Status.h"

#include <set>
#include <string>

#include <gtest/gtest.h>

namespace {

TEST(StatusText, everyResultHasATextOfItsOwn)
{
    std::set<std::string> texts;
    for (const int status :
         {kor::kSuccess, kor::kBadArgument, kor::kCannotOpen, kor::kNotLoaded, kor::kFormatError, kor::kNoMatrix}) {
        EXPECT_TRUE(texts.insert(kor::StatusText(status)).second) << status;
    }
    EXPECT_EQ(texts.count(""), 0U);
    EXPECT_EQ(texts.count("unknown status"), 0U);
}

TEST(StatusText, aNumberThatNoOperationReturnsIsUnknown)
{
    for (const int status : {-1, 1, 19, 21, 549, 552, 555}) {
        EXPECT_STREQ(kor::StatusText(status), "unknown status") << status;
    }
}

TEST(StatusText, theNamesAreTheNumbersOfTheInterface)
{
    EXPECT_EQ(kor::kSuccess, 0);
    EXPECT_EQ(kor::kBadArgument, 20);
    EXPECT_EQ(kor::kCannotOpen, 550);
    EXPECT_EQ(kor::kNotLoaded, 551);
    EXPECT_EQ(kor::kFormatError, 553);
    EXPECT_EQ(kor::kNoMatrix, 554);
}

TEST(MessageText, givesTheStoredTextsToTheLastBlank)
{
    EXPECT_STREQ(kor::MessageText(601), "Block title \"Serial Number\" is not found.");
    EXPECT_STREQ(kor::MessageText(602), "File ID doesn't match KOR ID.");
    EXPECT_STREQ(kor::MessageText(615), "Block title \"ADM Offset\" is not foun.");
    EXPECT_STREQ(kor::MessageText(622), "Block \"QVC\" is not found ");
    EXPECT_STREQ(kor::MessageText(624), "Block \"Level2\" is not found");
}

TEST(MessageText, anyOtherNumberHasNone)
{
    for (const unsigned id : {0U, 600U, 625U, 4294967295U}) {
        EXPECT_STREQ(kor::MessageText(id), "") << id;
    }
}

} // namespace
