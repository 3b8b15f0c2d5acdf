// The account of a parameter file without loss, and its agreement with the reader.
#include "KORInterface/ParameterFile.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "KORInterface/Status.h"
#include "params/file/Document.h"
#include "params/file/ParameterSet.h"
#include "params/file/Reader.h"
#include "params/prm_file.h"

namespace {

using namespace prm_test;
using kor::ParameterBlock;
using kor::ParameterEncoding;
using kor::ParameterFile;
using kor::ParameterLayout;
using kor::ParameterValue;
using kor::params::Document;
using kor::params::DocumentBlock;
using kor::params::Item;
using kor::params::Target;

PrmFile sensorFile(std::int32_t mode)
{
    return PrmFile(firstSensor(mode));
}

// The first line of a text that holds some words, from 1.
std::uint32_t lineOf(const std::string& text, const std::string& words)
{
    const auto at = static_cast<std::ptrdiff_t>(text.find(words));
    return static_cast<std::uint32_t>(1 + std::count(text.begin(), text.begin() + at, '\n'));
}

// What a block holds, as a read of a new object stores it.
std::vector<float> floatsOf(const Document& document, Target target)
{
    std::vector<float> values;
    if (const DocumentBlock* const block = document.find(target)) {
        for (const Item& item : block->values) {
            values.push_back(item.single);
        }
    }
    return values;
}

// Taken apart and read, a file ends in the same way, and the same numbers come out.
void expectAgreement(const std::string& text)
{
    kor::ParameterSet set;
    kor::params::ReadReport report(true);
    kor::params::readBytes(text, 17, set, report);
    const Document document = kor::params::takeApart(text, 17);
    ASSERT_EQ(document.status, report.status) << text;
    EXPECT_EQ(document.messageId, report.messageId) << text;
    EXPECT_STREQ(document.block, report.block) << text;
    EXPECT_EQ(document.line, report.line) << text;
    EXPECT_STREQ(document.expected, report.expected) << text;
    EXPECT_EQ(document.found, report.found) << text;
    std::uint64_t unread = 0;
    for (const DocumentBlock& block : document.blocks) {
        unread += block.unread;
    }
    std::uint64_t values = 0;
    for (const kor::params::Finding& finding : report.findings) {
        values += finding.values;
    }
    EXPECT_EQ(unread, values) << text;
    if (report.status == kor::kSuccess) {
        EXPECT_EQ(document.mode, set.mountMode) << text;
        const std::vector<float> azimuth = floatsOf(document, Target::azimuthTable);
        ASSERT_LE(azimuth.size(), 2 * std::size_t{set.azCompCount}) << text;
        if (!azimuth.empty()) {
            EXPECT_EQ(std::memcmp(azimuth.data(), set.azCompTable, azimuth.size() * sizeof(float)), 0) << text;
        }
        const std::vector<float> thermal = floatsOf(document, Target::thermalFactor);
        ASSERT_EQ(thermal.size(), 4U) << text;
        EXPECT_EQ(std::memcmp(thermal.data(), set.thermalFactor, sizeof set.thermalFactor), 0) << text;
    }
    kor::params::releaseTables(set);
}

TEST(ParameterFile, failsExactlyWhereAReadFails)
{
    for (const std::int32_t mode : {5, 9}) {
        const std::string whole = sensorFile(mode).text();
        for (std::size_t length = 0; length <= whole.size(); length += 7) {
            expectAgreement(whole.substr(0, length));
        }
        // Whole items and single bytes replaced by what a scanner takes in part, in whole or not at all.
        const std::vector<std::string> pieces = {"x",     "",     "1e+",    "nan", "-",    "1.5-2",
                                                 "99999", "-3",   "0x1p3 ", "\n",  "\x1A", "inf",
                                                 "+",     "\xFF", "1e50",   ".",   "0x",   "Angle Offset"};
        std::mt19937 random(static_cast<std::uint32_t>(mode));
        for (int i = 0; i < 400; ++i) {
            std::string spoiled = whole;
            for (int change = 0; change < 1 + i % 3; ++change) {
                const std::size_t at = random() % spoiled.size();
                const std::size_t end =
                    i % 2 == 0 ? at + 1 : std::min(spoiled.size(), spoiled.find_first_of("\t\n", at));
                spoiled.replace(at, end - at, pieces[random() % pieces.size()]);
            }
            expectAgreement(spoiled);
        }
    }
    expectAgreement("");
    expectAgreement(std::string(5, '\0'));
}

TEST(ParameterFile, tellsEveryValueWithItsTextItsLineAndItsNumbers)
{
    PrmFile file = sensorFile(9);
    file[8].title = "Angle Offsets\n";
    file[8].body = " +1.50\n-2.2500000001e0 \n";
    file[17].body.replace(file[17].body.rfind("6.500000\n"), std::string::npos, "0x1p-1\nGrad\n");
    const std::string text = file.text();
    ParameterFile told;
    ASSERT_EQ(kor::LoadParameterBytes(told, text.data(), text.size()), kor::kSuccess);
    ASSERT_EQ(told.blocks(), 27U);
    EXPECT_EQ(told.mode(), 9);
    EXPECT_EQ(told.encoding(), ParameterEncoding::text);

    const ParameterBlock offset = told.block(7);
    EXPECT_EQ(offset.kind, 7U);
    EXPECT_STREQ(offset.title, "Angle Offsets");
    EXPECT_EQ(offset.line, lineOf(text, "Angle Offset"));
    EXPECT_EQ(offset.lastLine, offset.line + 2);
    EXPECT_EQ(offset.rows, 1U);
    EXPECT_EQ(offset.columns, 2U);
    EXPECT_EQ(offset.unread, 0U);
    const ParameterValue azimuth = told.value(7, 0);
    EXPECT_STREQ(azimuth.text, "+1.50");
    EXPECT_EQ(azimuth.line, offset.line + 1);
    EXPECT_TRUE(azimuth.readable);
    EXPECT_EQ(azimuth.number, 1.5);
    const ParameterValue elevation = told.value(7, 1);
    EXPECT_STREQ(elevation.text, "-2.2500000001e0");
    EXPECT_EQ(elevation.line, offset.line + 2);
    EXPECT_EQ(elevation.number, -2.2500000001);
    EXPECT_EQ(elevation.single, -2.25F);

    const ParameterBlock serial = told.block(0);
    EXPECT_EQ(serial.integer, 17);
    EXPECT_STREQ(serial.whole.text, "17");
    EXPECT_STREQ(told.block(1).word.text, "Workshop");

    const ParameterBlock tilt = told.block(16);
    EXPECT_EQ(tilt.integer, 4);
    EXPECT_EQ(tilt.whole.line, tilt.line + 1);
    EXPECT_EQ(tilt.rows, 4U);
    EXPECT_EQ(tilt.extras, 3U);
    EXPECT_EQ(told.value(16, 3).number, -5.25);
    EXPECT_EQ(told.extra(16, 2).number, 0.5);
    EXPECT_STREQ(told.extra(16, 2).text, "0x1p-1");
    EXPECT_STREQ(tilt.word.text, "Grad");
    EXPECT_EQ(tilt.word.line, tilt.lastLine);

    EXPECT_EQ(told.find(16), 16U);
    EXPECT_EQ(told.find(99), told.blocks());
    EXPECT_EQ(told.value(16, 8).line, 0U);
    EXPECT_EQ(told.value(99, 0).line, 0U);
    EXPECT_EQ(told.extra(7, 0).line, 0U);
    EXPECT_EQ(told.extra(99, 0).line, 0U);
    EXPECT_EQ(told.block(99).kind, kor::ParameterBlockKinds());
}

TEST(ParameterFile, tellsWhatCouldNotBeRead)
{
    PrmFile file = sensorFile(5);
    file[12].body = "0.5\tx\xC3\xA9y\t1\n2\n";
    file[15].body.replace(0, 1, "7");
    const std::string text = file.text(1, 20);
    ParameterFile told;
    EXPECT_EQ(kor::LoadParameterBytes(told, text.data(), text.size()), kor::kFormatError);
    EXPECT_EQ(told.message(), 614U);
    EXPECT_STREQ(told.block(), "Tilt Sensor Offset");
    ASSERT_EQ(told.blocks(), 12U);
    const ParameterBlock thermal = told.block(11);
    EXPECT_EQ(thermal.rows, 1U);
    EXPECT_EQ(thermal.unread, 3U);
    EXPECT_STREQ(told.value(11, 1).text, "x\xC3\xA9y");
    EXPECT_FALSE(told.value(11, 1).readable);
    EXPECT_EQ(told.value(11, 1).line, thermal.line + 1);
    EXPECT_EQ(told.value(11, 2).line, 0U); // the call had ended

    file = sensorFile(5);
    file[15].body.replace(0, 1, "7");
    const std::string longer = file.text(1, 20);
    EXPECT_EQ(kor::LoadParameterBytes(told, longer.data(), longer.size()), kor::kSuccess);
    const ParameterBlock table = told.block(14);
    EXPECT_EQ(table.integer, 7);
    EXPECT_EQ(table.rows, 5U); // four whole ones, and the one that met the next title
    EXPECT_EQ(table.unread, 6U);
    EXPECT_STREQ(told.value(14, 8).text, "EL");
}

TEST(ParameterFile, tellsWhatStandsBehindTheLastBlockAndBehindTheTextsEnd)
{
    const std::string body = sensorFile(5).text();
    ParameterFile told;
    ASSERT_EQ(kor::LoadParameterBytes(told, body.data(), body.size()), kor::kSuccess);
    EXPECT_EQ(told.blocks(), 20U);
    EXPECT_EQ(told.restLine(), lineOf(body, "QVC"));
    EXPECT_TRUE(std::string(told.rest()).starts_with("QVC\\x0a")) << told.rest();
    EXPECT_EQ(told.restBytes(), body.size() - body.find("QVC") - 1);
    EXPECT_EQ(told.textEndLine(), 0U);

    const std::string cut = sensorFile(5).text(1, 20) + "\x1A behind";
    ASSERT_EQ(kor::LoadParameterBytes(told, cut.data(), cut.size()), kor::kSuccess);
    EXPECT_EQ(told.restLine(), 0U);
    EXPECT_STREQ(told.rest(), "");
    EXPECT_EQ(told.textEndLine(), lineOf(cut, "\x1A"));
}

TEST(ParameterFile, knowsWhatIsNoText)
{
    const auto encoding = [](std::string_view bytes) { return kor::params::encodingOf(bytes); };
    using kor::params::Encoding;
    const std::string text = sensorFile(5).text();
    std::string little = "\xFF\xFE";
    std::string big;
    for (const char c : text) {
        little += {c, '\0'};
        big += {'\0', c};
    }
    EXPECT_EQ(encoding(text), Encoding::text);
    EXPECT_EQ(encoding("\xEF\xBB\xBF" + text), Encoding::text);
    EXPECT_EQ(encoding("Owner \xC3\xA9 \xE9"), Encoding::text);
    EXPECT_EQ(encoding(""), Encoding::text);
    EXPECT_EQ(encoding(little), Encoding::utf16);
    EXPECT_EQ(encoding(big), Encoding::utf16);
    EXPECT_EQ(encoding("\xFE\xFF" + big), Encoding::utf16);
    EXPECT_EQ(encoding("\x1F\x8B\x08 and more"), Encoding::compressed);
    EXPECT_EQ(encoding(text + std::string(1, '\0')), Encoding::binary);
    EXPECT_EQ(encoding(text + "\x1A" + std::string(1, '\0')), Encoding::text);
    EXPECT_EQ(encoding("\x01"), Encoding::binary);
    // Nine of ten places are enough for either order of the bytes, and one less is not.
    for (const bool bigEndian : {false, true}) {
        for (const std::size_t zeros : {17U, 18U}) {
            std::string bytes(40, 'A');
            for (std::size_t i = 0; i < zeros; ++i) {
                bytes[2 * i + (bigEndian ? 0 : 1)] = '\0';
            }
            EXPECT_EQ(encoding(bytes), zeros == 18 ? Encoding::utf16 : Encoding::binary) << zeros << bigEndian;
        }
    }
    EXPECT_EQ(encoding("a\x0E"), Encoding::binary);
    EXPECT_EQ(encoding("a\x7F"), Encoding::binary);
    EXPECT_EQ(encoding("a\t\n\v\f\r "), Encoding::text);
}

TEST(ParameterFile, tellsNumbersInEveryFormAndBeyondEveryRange)
{
    using kor::params::wideNumberOf;
    EXPECT_EQ(wideNumberOf("0x1.8p1"), 3.0);
    EXPECT_EQ(wideNumberOf("-0X1.8P1"), -3.0);
    EXPECT_EQ(wideNumberOf("+012e1"), 120.0);
    EXPECT_EQ(wideNumberOf("1e400"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(wideNumberOf("-1e400"), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(wideNumberOf("0x1p-2000"), 0.0);
    EXPECT_TRUE(std::signbit(wideNumberOf("-1e-400")));
    EXPECT_TRUE(std::isnan(wideNumberOf("nan")));
}

TEST(ParameterFile, isRefusedWithAnIdBeyondThirtyTwoBits)
{
    PrmFile file = sensorFile(5);
    ParameterFile told;
    for (const char* const id : {"-2147483649", "4294967296"}) {
        file[1].body = std::string(id) + "\n";
        const std::string text = file.text(1, 20);
        EXPECT_EQ(kor::LoadParameterBytes(told, text.data(), text.size()), kor::kFormatError);
        EXPECT_EQ(told.message(), 602U);
        EXPECT_STREQ(told.found(), id);
        EXPECT_STREQ(told.expected(), "the ID of the sensor");
        EXPECT_EQ(told.blocks(), 1U);
    }
    for (const char* const id : {"-2147483648", "4294967295"}) {
        file[1].body = std::string(id) + "\n";
        const std::string text = file.text(1, 20);
        EXPECT_EQ(kor::LoadParameterBytes(told, text.data(), text.size()), kor::kSuccess) << id;
    }
}

TEST(ParameterFile, isFoundByDirectoryAndIdOrByItsPath)
{
    const TempDir dir;
    const std::string text = sensorFile(5).text(1, 20);
    writeFile(dir.path() / "Tg17.prm", text);
    writeFile(dir.path() / "TG18.PRM", text);
    writeFile(dir.path() / "copy.prm", text);
    ParameterFile told;
    EXPECT_EQ(kor::LoadParameterFile(told, dir.path().string().c_str(), 17), kor::kSuccess);
    EXPECT_TRUE(std::string(told.path()).ends_with("Tg17.prm"));
    EXPECT_EQ(kor::LoadParameterFile(told, (dir.path() / "copy.prm").string().c_str()), kor::kSuccess);
    EXPECT_EQ(kor::LoadParameterFile(told, (dir.path() / "TG18.PRM").string().c_str()), kor::kFormatError);
    EXPECT_EQ(told.message(), 602U);
    EXPECT_EQ(kor::LoadParameterFile(told, dir.path().string().c_str(), 19), kor::kCannotOpen);
    EXPECT_EQ(told.blocks(), 0U);
    EXPECT_TRUE(std::string(told.path()).ends_with("Tg19.prm")) << told.path();
    EXPECT_EQ(kor::LoadParameterFile(told, nullptr), kor::kBadArgument);
    EXPECT_EQ(kor::LoadParameterFile(told, nullptr, 17), kor::kBadArgument);
    EXPECT_EQ(kor::LoadParameterBytes(told, nullptr, 0), kor::kBadArgument);
    EXPECT_EQ(kor::LoadParameterFile(told, std::string(255, 'd').c_str(), 17), kor::kCannotOpen);
    EXPECT_EQ(kor::LoadParameterFile(told, "\xC0\xAF", 17), kor::kCannotOpen);
    // A name that lacks the ID asks for none.
    writeFile(dir.path() / "Tg.prm", text);
    EXPECT_EQ(kor::LoadParameterFile(told, (dir.path() / "Tg.prm").string().c_str()), kor::kSuccess);
}

TEST(ParameterFile, isLookedForInTheCurrentDirectoryWithoutAnother)
{
    const TempDir dir;
    writeFile(dir.path() / "Tg17.prm", sensorFile(5).text(1, 20));
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(dir.path());
    ParameterFile told;
    EXPECT_EQ(kor::LoadParameterFile(told, "", 17), kor::kSuccess);
    EXPECT_EQ(kor::LoadParameterFile(told, "", 18), kor::kCannotOpen);
#ifndef _WIN32 // where the current directory can go
    const std::filesystem::path gone = dir.path() / "gone";
    std::filesystem::create_directory(gone);
    std::filesystem::current_path(gone);
    std::filesystem::remove(gone);
    EXPECT_EQ(kor::LoadParameterFile(told, "", 17), kor::kCannotOpen);
    EXPECT_EQ(told.blocks(), 0U);
#endif
    std::filesystem::current_path(before);
}

TEST(ParameterFile, isNotTakenApartBeyondItsLimit)
{
    const std::string large(kor::params::Document::kMostBytes + 1, ' ');
    ParameterFile told;
    EXPECT_EQ(kor::LoadParameterBytes(told, large.data(), large.size()), kor::kFormatError);
    EXPECT_STREQ(told.expected(), "a parameter file of at most 16 MiB");
    EXPECT_STREQ(told.found(), "16777217 bytes");

    // A file of that kind has little on the disk, and is read as far as the limit.
    const TempDir dir;
    const std::filesystem::path path = dir.path() / "Tg17.prm";
    writeFile(path, "Serial Number\n17\n");
    std::filesystem::resize_file(path, 20U << 20U);
    EXPECT_EQ(kor::LoadParameterFile(told, path.string().c_str()), kor::kFormatError);
    EXPECT_EQ(told.status(), kor::kFormatError);
    EXPECT_STREQ(told.expected(), "a parameter file of at most 16 MiB");
    EXPECT_STREQ(told.found(), "20971520 bytes");
    EXPECT_EQ(told.path(), path.string());
    EXPECT_EQ(told.blocks(), 0U);
}

// So many decimals that nothing of the process lies as many doubles behind a table of powers.
TEST(ParameterFile, tellsANumberOfMillionsOfDecimals)
{
    PrmFile file = sensorFile(0);
    file[14].body = "0." + std::string(4'000'000, '0') + "1\n";
    file[13].body = "1." + std::string(100, '2') + "\t-0.0000000000000000000025\n";
    const std::string text = file.text(1, 17);
    ParameterFile told;
    ASSERT_EQ(kor::LoadParameterBytes(told, text.data(), text.size()), kor::kSuccess);
    const ParameterValue value = told.value(13, 0);
    EXPECT_TRUE(value.readable);
    EXPECT_EQ(value.number, 0.0);
    EXPECT_EQ(value.single, 0.0F);
    EXPECT_EQ(told.value(12, 0).number, 11.0 / 9.0);
    EXPECT_EQ(told.value(12, 1).number, -25e-22);
}

TEST(ParameterFile, isCopiedWhole)
{
    const std::string text = sensorFile(9).text();
    ParameterFile copy;
    {
        ParameterFile told;
        ASSERT_EQ(kor::LoadParameterBytes(told, text.data(), text.size()), kor::kSuccess);
        copy = told;
        const ParameterFile other(told);
        EXPECT_EQ(other.blocks(), 27U);
    }
    const ParameterFile& itself = copy;
    copy = itself;
    EXPECT_STREQ(copy.block(26).title, "DynamicParameters");
    EXPECT_EQ(copy.value(26, 6).number, 67.0);
}

// Every value of every block has a name of its own, and the blocks are those of the format.
TEST(ParameterFields, nameEveryValueOnce)
{
    ASSERT_EQ(kor::ParameterBlockKinds(), 27U);
    for (std::uint32_t kind = 0; kind < 27; ++kind) {
        const kor::ParameterBlockKind block = kor::ParameterBlockKindOf(kind);
        EXPECT_EQ(block.title, titleOf(static_cast<int>(kind) + 1));
        const bool isTable =
            block.layout == ParameterLayout::encoderTable || block.layout == ParameterLayout::tiltTable;
        EXPECT_EQ(block.fields,
                  isTable ? (block.layout == ParameterLayout::tiltTable ? 5U : 2U) : block.rows * block.columns)
            << block.title;
        std::vector<std::string> names;
        for (std::uint32_t field = 0; field < block.fields; ++field) {
            const kor::ParameterField told = kor::ParameterFieldOf(kind, field);
            EXPECT_STRNE(told.name, "") << block.title << field;
            EXPECT_LT(told.least, told.most) << block.title << told.name;
            names.emplace_back(told.name);
        }
        std::sort(names.begin(), names.end());
        EXPECT_EQ(std::unique(names.begin(), names.end()), names.end()) << block.title;
        EXPECT_STREQ(kor::ParameterFieldOf(kind, block.fields).name, "");
    }
    EXPECT_STREQ(kor::ParameterBlockKindOf(27).title, "");
    EXPECT_STREQ(kor::ParameterFieldOf(27, 0).name, "");
    EXPECT_STREQ(kor::ParameterFieldOf(9, 5).name, "m12");
    EXPECT_STREQ(kor::ParameterFieldOf(7, 1).unit, "degrees");
}

// Messages, kor and JSON documents that people keep speak of the values by these names.
TEST(ParameterFields, keepTheirNames)
{
    const char* const wanted[] = {
        "Serial Number:",
        "Device Owner:",
        "AZ Position Gain: value_1 value_2 value_3 value_4 value_5 value_6",
        "EL Position Gain: value_1 value_2 value_3 value_4 value_5 value_6",
        "AZ Tracking Gain: value_1 value_2 value_3 value_4 value_5 value_6",
        "EL Tracking Gain: value_1 value_2 value_3 value_4 value_5 value_6",
        "Digital Damping: value_1 value_2 value_3 value_4",
        "Angle Offset: azimuth[degrees] elevation[degrees]",
        "Transform Vector: x y z",
        "Local Coordinate Tranform Matrix: m00 m01 m02 m10 m11 m12 m20 m21 m22",
        "Machine Coordinate Tranform Matrix: m00 m01 m02 m10 m11 m12 m20 m21 m22",
        "Thermal Compensation Factor: x_gain[per unit of levelTemperature] x_offset y_gain[per unit of "
        "levelTemperature] y_offset",
        "Tilt Sensor Offset: x[degrees] y[degrees]",
        "ADM Offset: offset[mm]",
        "AZ Calibration Table: reading[degrees] correction[degrees]",
        "EL Calibration Table: reading[degrees] correction[degrees]",
        "Tilt X Calibration Table: reading[reading] angle[degrees] low[reading] high[reading] third[reading]",
        "Tilt Y Calibration Table: reading[reading] angle[degrees] low[reading] high[reading] third[reading]",
        "Scale Factor: angle_1[degrees] angle_2[degrees] angle_3[degrees] angle_4[degrees] azimuth_gain "
        "elevation_gain tilt_gain factor_8",
        "Mounting Mode:",
        "QVC: x[mm] y[mm] z[mm] angle_1[degrees] angle_2[degrees] angle_3[degrees]",
        "Level_X: value_1 value_2 value_3 angle_1[degrees] angle_2[degrees] offset[degrees] gain",
        "Level_Y: value_1 value_2 value_3 angle_1[degrees] angle_2[degrees] offset[degrees] gain",
        "Half Angle: azimuth[degrees] elevation[degrees]",
        "PSDX: a0 a1 a2",
        "PSDY: b0 b1 b2",
        "DynamicParameters: level_weight temperature_1_gain temperature_3_gain smoothing lag_1[samples] "
        "lag_2[samples] lag_3[samples]",
    };
    ASSERT_EQ(kor::ParameterBlockKinds(), std::size(wanted));
    for (std::uint32_t kind = 0; kind < kor::ParameterBlockKinds(); ++kind) {
        const kor::ParameterBlockKind block = kor::ParameterBlockKindOf(kind);
        std::string told = std::string(block.title) + ":";
        for (std::uint32_t field = 0; field < block.fields; ++field) {
            const kor::ParameterField each = kor::ParameterFieldOf(kind, field);
            told += std::string(" ") + each.name + (*each.unit == '\0' ? "" : "[" + std::string(each.unit) + "]");
        }
        EXPECT_EQ(told, wanted[kind]);
    }
}

TEST(ParameterFields, tellWhichModelUsesThem)
{
    using kor::ModelUsesBlock;
    using kor::ModelUsesField;
    using kor::OrientationModel;
    EXPECT_TRUE(ModelUsesBlock(OrientationModel::dualLevel, 18));
    EXPECT_FALSE(ModelUsesBlock(OrientationModel::twoLevels, 18)); // scale factors
    EXPECT_FALSE(ModelUsesBlock(OrientationModel::pendulum, 16));  // tilt X
    EXPECT_TRUE(ModelUsesBlock(OrientationModel::twoLevels, 16));
    EXPECT_FALSE(ModelUsesBlock(OrientationModel::threeVectors, 9)); // local matrix
    EXPECT_FALSE(ModelUsesBlock(OrientationModel::polarizer, 2));    // gains of the drives
    EXPECT_TRUE(ModelUsesField(OrientationModel::twoLevels, 22, 6));
    EXPECT_FALSE(ModelUsesField(OrientationModel::threeVectors, 22, 6));
    EXPECT_FALSE(ModelUsesField(OrientationModel::twoLevels, 22, 7));
    EXPECT_TRUE(ModelUsesBlock(OrientationModel::polarizer, 19)); // the mount mode, which chooses it
    EXPECT_FALSE(ModelUsesBlock(OrientationModel::twoLevels, 27));
    EXPECT_FALSE(ModelUsesField(OrientationModel::twoLevels, 27, 0));
}

} // namespace
