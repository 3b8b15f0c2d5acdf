// Parameter files made to break a reader: wrong counts, tables that do not fit, files cut anywhere, files with
// random changes. Meant to run under sanitizers too.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "params/file/Blocks.h"
#include "params/prm_file.h"

namespace {

using namespace prm_test;

class Hostile : public ParamsTest {
protected:
    /// A loaded object hands out every group; a table whose count failed may be withheld as not loaded.
    static void expectUsable(CKorPrm& prm)
    {
        for (const auto& [name, values] : snapshot(prm)) {
            if (name.starts_with("failed")) {
                EXPECT_TRUE(name.ends_with("table") || name.ends_with("tilt x") || name.ends_with("tilt y")) << name;
                EXPECT_EQ(values, std::vector{static_cast<double>(kNotLoaded)}) << name;
            }
        }
    }

    static bool known(int result) { return result == kSuccess || result == kCannotOpen || result == kBadFormat; }
};

constexpr std::array<int, 4> kTables = {15, 16, 17, 18};

int codeOf(int table)
{
    return table + 601;
}

// Pins [table-counts-bounded].
TEST_F(Hostile, negativeCountsFailWithTheCodeOfTheirBlock)
{
    for (const int table : kTables) {
        for (const char* count : {"-1", "-3", "-2147483648", "-18446744073709551615", "-99999999999999999999"}) {
            PrmFile file(secondSensor(9));
            file[table].body.replace(0, file[table].body.find('\n'), count);
            EXPECT_EQ(message(file.text()), codeOf(table)) << count;
            EXPECT_EQ(m_status, kBadFormat);
            CKorPrm fresh;
            EXPECT_EQ(read(fresh, file.text()), kBadFormat);
            CKorPrm loaded;
            ASSERT_EQ(read(loaded, PrmFile(firstSensor(9)).text()), kSuccess);
            EXPECT_EQ(read(loaded, file.text()), kBadFormat);
            expectUsable(loaded);
        }
    }
}

// Pins [table-counts-bounded].
TEST_F(Hostile, countsBeyondTheFileFailWithTheCodeOfTheirBlock)
{
    for (const int table : kTables) {
        for (const char* count : {"100000", "1073741823", "1073741824", "1431655766", "2147483645", "2147483647",
                                  "4294967297", "18446744073709551617", "99999999999999999999"}) {
            PrmFile file(secondSensor(9));
            file[table].body.replace(0, file[table].body.find('\n'), count);
            EXPECT_EQ(message(file.text()), codeOf(table)) << count;
            EXPECT_EQ(m_status, kBadFormat);
            CKorPrm loaded;
            ASSERT_EQ(read(loaded, PrmFile(firstSensor(9)).text()), kSuccess);
            EXPECT_EQ(read(loaded, file.text()), kBadFormat);
            expectUsable(loaded);
        }
    }
}

TEST_F(Hostile, countsThatDoNotParseFailForNewObjectsWithTheCodeOfTheirBlock)
{
    for (const int table : kTables) {
        for (const char* count : {"?", "-", "+", ".", ",3", "three"}) {
            PrmFile file(secondSensor(9));
            file[table].body.replace(0, file[table].body.find('\n'), count);
            EXPECT_EQ(message(file.text()), codeOf(table)) << count;
            EXPECT_EQ(m_status, kBadFormat);
            CKorPrm fresh;
            EXPECT_EQ(read(fresh, file.text()), kBadFormat);
        }
        // The file that ends behind the title has no count either.
        EXPECT_EQ(message(PrmFile(secondSensor(9)).text(1, table - 1) + std::string(titleOf(table))), codeOf(table));
    }
}

// The count lands in its field before anything is known of the rows, so it is told, but no rows are handed out.
// Pins [refused-table-stays].
TEST_F(Hostile, aTableWhoseCountFailedKeepsItsOldCountAndRows)
{
    for (const int table : kTables) {
        for (const char* count : {"-7", "1000000", "99999999999"}) {
            PrmFile file(firstSensor(9));
            file[table].body.replace(0, file[table].body.find('\n'), count);
            CKorPrm loaded;
            ASSERT_EQ(read(loaded, PrmFile(firstSensor(9)).text()), kSuccess);
            EXPECT_EQ(read(loaded, file.text()), kBadFormat);
            expectSame(snapshot(loaded), expected(firstSensor(9)));
        }
    }
}

// Pins [azimuth-rows-bounded].
TEST_F(Hostile, aLargerAzimuthTableThanTheKeptOneIsRefused)
{
    CKorPrm prm;
    ASSERT_EQ(read(prm, PrmFile(secondSensor(9)).text()), kSuccess);
    CKorPrm copy(prm);
    EXPECT_EQ(read(prm, PrmFile(firstSensor(9)).text()), kBadFormat);
    PrmValues after = merged(secondSensor(9), firstSensor(9), 14);
    after.limits = {-17.0F, 16.0F, -13.0F, 12.0F};
    // The kept table stands as it was, count and all.
    expectSame(snapshot(prm), expected(after));
    expectSame(snapshot(copy), expected(secondSensor(9)));
    // A new object has no table to keep, so the file itself is sound.
    EXPECT_EQ(message(PrmFile(firstSensor(9)).text()), kNoMessage);
}

TEST_F(Hostile, aKeptAzimuthTableStaysAsLargeAsItWasMade)
{
    PrmValues values = withoutModel(firstSensor(5));
    const auto withRows = [&values](int rows) {
        values.azimuth.clear();
        for (int i = 0; i < rows; ++i) {
            values.azimuth.push_back({static_cast<float>(10 * rows + i), 0.0F});
        }
        return PrmFile(values).text();
    };
    CKorPrm prm;
    ASSERT_EQ(read(prm, withRows(5)), kSuccess);
    ASSERT_EQ(read(prm, withRows(2)), kSuccess);
    EXPECT_EQ(read(prm, withRows(6)), kBadFormat);
    ASSERT_EQ(read(prm, withRows(5)), kSuccess);
    expectSame(snapshot(prm), expected(values));

    CKorPrm copy(prm);
    EXPECT_EQ(read(copy, withRows(6)), kBadFormat);
    EXPECT_EQ(read(copy, withRows(5)), kSuccess);

    CKorPrm empty;
    PrmFile file(values);
    file[15].body = "0\n";
    ASSERT_EQ(read(empty, file.text(1, 20)), kSuccess);
    EXPECT_EQ(read(empty, withRows(1)), kBadFormat);
}

TEST_F(Hostile, tablesThatAreAllButEmptyMayStillSucceed)
{
    // As many rows announced as there are bytes at least, none of them there.
    PrmFile file(firstSensor(5));
    file[15].body = "100\n";
    file[16].body = "100\n";
    file[17].body = "100\nTable_End\n";
    file[18].body = "50\nTable_End\n";
    CKorPrm prm;
    ASSERT_EQ(read(prm, file.text(1, 20) + std::string(500, ' ')), kSuccess);
    const Snapshot got = snapshot(prm);
    EXPECT_EQ(got.at("azimuth table"), std::vector<double>(200));
    EXPECT_EQ(got.at("elevation table"), std::vector<double>(200));
    EXPECT_EQ(got.at("tilt x table"), std::vector<double>(103));
    EXPECT_EQ(got.at("tilt y table"), std::vector<double>(53));
}

// Pins [table-y-room].
TEST_F(Hostile, theExtraRowOfTiltYFitsWhateverTheCounts)
{
    // The object keeps X's count from this file or, when that one is missing, from the one before.
    for (const int x : {0, 1, 2, 10, 300}) {
        for (const int y : {0, 1, 2, 3, 9, 250}) {
            const auto body = [](int count) {
                std::string text = std::to_string(count) + "\n";
                for (int i = 0; i < count; ++i) {
                    text += std::to_string(i) + " " + std::to_string(i % 3) + "\n";
                }
                return text + "-1000 1000 5\nTable_End\n";
            };
            PrmFile file(firstSensor(5));
            file[17].body = body(x);
            file[18].body = body(y);
            const auto prm = std::make_unique<CKorPrm>();
            ASSERT_EQ(read(*prm, file.text(1, 20)), kSuccess);
            const Snapshot got = snapshot(*prm);
            const std::vector<double>& table = got.at("tilt y table");
            ASSERT_EQ(table.size(), static_cast<std::size_t>(y) + 3);
            const auto extra = static_cast<std::size_t>(x);
            for (std::size_t i = 0; i < table.size(); ++i) {
                double wanted = i < static_cast<std::size_t>(y) ? static_cast<double>(i) : 0.0;
                if (i >= extra && i < extra + 3) {
                    wanted = std::array{-1000.0, 1000.0, 5.0}[i - extra];
                }
                ASSERT_EQ(table[i], wanted) << x << " and " << y << " rows, [" << i << "]";
            }
            EXPECT_EQ(got.at("level limits"), (std::vector{-1000.0, 1000.0, -1000.0, 1000.0}));
        }
    }
}

// Up to a million rows a byte for each will do, as it always has; more need the bytes of their shortest text.
TEST(RowRoom, isAByteForARowUpToAMillionAndFourBeyond)
{
    using kor::params::RowRoom;
    EXPECT_TRUE(RowRoom(1'000'100).holds(1'000'000, 100));
    EXPECT_FALSE(RowRoom(1'000'100).holds(1'000'000, 101));
    EXPECT_FALSE(RowRoom(4'000'103).holds(1'000'001, 100));
    EXPECT_TRUE(RowRoom(4'000'104).holds(1'000'001, 100));
    EXPECT_TRUE(RowRoom(8'589'934'588).holds(2'147'483'647, 0));
    EXPECT_FALSE(RowRoom(8'589'934'587).holds(2'147'483'647, 0));
    EXPECT_FALSE(RowRoom(~std::uint64_t{0}).holds(2'147'483'648, 0));
    EXPECT_FALSE(RowRoom(100).holds(-1, 0));
    EXPECT_TRUE(RowRoom(0).holds(0, 0));
    EXPECT_FALSE(RowRoom(100).holds(1, 100));
    EXPECT_FALSE(RowRoom(100).holds(1, 200)) << "the file has shrunk";
}

// The rows of one table cannot be those of another, too.
// Pins [table-counts-bounded].
TEST(RowRoom, isNotGivenTwice)
{
    kor::params::RowRoom room(100'000'000);
    EXPECT_TRUE(room.holds(2'000'000, 92'000'000));
    room.note(2'000'000, 2'000'000);
    EXPECT_TRUE(room.holds(2'000'000, 92'000'000)) << "all rows were there";
    room.note(1'000'000, 0);
    EXPECT_TRUE(room.holds(2'000'000, 92'000'000)) << "a small table";
    room.note(1'500'000, 1'499'999);
    EXPECT_FALSE(room.holds(2'000'000, 92'000'000));
    EXPECT_TRUE(room.holds(2'000'000, 91'999'996));
}

// Pins [table-counts-bounded].
TEST_F(Hostile, aCountBeyondAMillionNeedsFourBytesForEachRow)
{
    for (const int table : kTables) {
        PrmFile file(firstSensor(5));
        const std::string before = file.text(1, table - 1) + std::string(titleOf(table)) + "\n1000001\n";
        const std::string behind = (table < 17 ? "" : "End\n") + file.text(table + 1, 20);
        const std::size_t blanks = 4'000'004 - behind.size();
        EXPECT_EQ(message(before + behind + std::string(blanks - 1, ' ')), codeOf(table));
        EXPECT_EQ(message(before + behind + std::string(blanks, ' ')), kNoMessage);
    }
}

// Titles anywhere in the words of their line, however long these are, and wherever the file is cut into pieces.
// Pins [nul-ends-title].
TEST_F(Hostile, aTitleIsFoundInWordsOfAnyLength)
{
    for (std::size_t before : {0U, 1U, 50U, 4050U, 4060U, 4070U, 4080U, 4090U, 4096U, 8180U, 100'000U}) {
        for (std::size_t behind : {0U, 4096U, 100'000U}) {
            PrmFile file(secondSensor(9));
            const std::string words = std::string(before, 'A') + "ADM Offset" + std::string(behind, 'x');
            file[14].title = words + "\n";
            EXPECT_EQ(message(file.text()), kNoMessage) << before << ", " << behind;
            file[14].title = std::string(before, 'A') + '\0' + words + "\n";
            EXPECT_EQ(message(file.text()), 615) << before << ", " << behind;
            file[14].title = std::string(before, 'A') + "ADM Offse" + std::string(behind, 'x') + "\n";
            EXPECT_EQ(message(file.text()), 615) << before << ", " << behind;
        }
    }
}

TEST_F(Hostile, wordsAndNumbersWithoutEnd)
{
    const std::string words(100'000, 'x');
    const std::string digits(100'000, '7');
    for (const std::string& junk :
         {words, digits, std::string(100'000, '.'), std::string(100'000, '-'), std::string(100'000, '\0'),
          std::string(100'000, '\xff'), "1e" + digits, "0x" + digits, "nan(" + words, "1" + words}) {
        for (int block = 1; block <= kBlockCount; ++block) {
            PrmFile file(firstSensor(9));
            file[block].body.insert(0, junk);
            CKorPrm prm;
            const int result = read(prm, file.text());
            ASSERT_TRUE(known(result)) << result;
        }
    }
}

TEST_F(Hostile, filesOfOneByteOrOneByteRepeated)
{
    for (int byte = 0; byte < 256; ++byte) {
        CKorPrm prm;
        EXPECT_EQ(read(prm, std::string(1, static_cast<char>(byte))), kBadFormat);
        EXPECT_EQ(read(prm, std::string(3000, static_cast<char>(byte))), kBadFormat);
    }
}

TEST_F(Hostile, filesCutAtEveryByteFailOrLoad)
{
    const std::string text = PrmFile(secondSensor(9)).text();
    const std::size_t optionalFrom = PrmFile(secondSensor(9)).text(1, 17).size();
    CKorPrm kept;
    ASSERT_EQ(read(kept, PrmFile(firstSensor(9)).text()), kSuccess);
    for (std::size_t size = 0; size < text.size(); ++size) {
        const std::string cut = text.substr(0, size);
        CKorPrm fresh;
        const int result = read(fresh, cut);
        ASSERT_TRUE(result == kSuccess || result == kBadFormat) << size;
        ASSERT_EQ(loadedFlag(fresh), result == kSuccess);
        if (size < PrmFile(secondSensor(9)).text(1, 16).size()) {
            ASSERT_EQ(result, kBadFormat) << size;
        } else if (size == optionalFrom) {
            ASSERT_EQ(result, kSuccess);
        }
        if (result == kSuccess) {
            expectUsable(fresh);
        }
        const int again = readHere(kept);
        ASSERT_TRUE(again == kSuccess || again == kBadFormat) << size;
        ASSERT_TRUE(loadedFlag(kept));
        expectUsable(kept);
    }
}

TEST_F(Hostile, filesWithRandomChangesFailOrLoad)
{
    std::mt19937 random(20240517);
    const auto below = [&random](std::size_t n) { return static_cast<std::size_t>(random() % n); };
    const std::array<std::string, 12> pieces = {"-1",  "0",  "999999999", "\n",         "\t", "inf",
                                                "nan", "1e", "0x1",       "2147483647", ",",  std::string(1, '\0')};
    CKorPrm kept;
    ASSERT_EQ(read(kept, PrmFile(firstSensor(9)).text()), kSuccess);
    for (int round = 0; round < 3000; ++round) {
        std::string text = PrmFile(round % 2 == 0 ? firstSensor(9) : secondSensor(5)).text();
        for (std::size_t changes = 1 + below(4); changes > 0; --changes) {
            const std::size_t at = below(text.size());
            switch (below(5)) {
            case 0:
                text[at] = static_cast<char>(below(256));
                break;
            case 1:
                text.erase(at, 1 + below(20));
                break;
            case 2:
                text.insert(at, pieces[below(pieces.size())]);
                break;
            case 3:
                text.insert(at, text.substr(below(text.size()), below(200)));
                break;
            default:
                text[at] = static_cast<char>('0' + below(10));
                break;
            }
        }
        CKorPrm fresh;
        const int result = read(fresh, text);
        ASSERT_TRUE(known(result)) << round;
        ASSERT_EQ(loadedFlag(fresh), result == kSuccess) << round;
        if (result == kSuccess) {
            expectUsable(fresh);
        }
        ASSERT_TRUE(known(readHere(kept))) << round;
        expectUsable(kept);
    }
}

} // namespace
