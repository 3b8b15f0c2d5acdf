// Parameter files as JSON and back, and compared.
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "KORInterface/CKorPrm.h"
#include "KORInterface/Status.h"

#include "platform/Files.h"
#include "platform/Process.h"
#include "platform/Text.h"
#include "tools/kor/Exit.h"
#include "tools/kor/JsonTree.h"
#include "tools/kor/PrmContent.h"
#include "tools/kor/PrmDifference.h"
#include "tools/kor/PrmJson.h"

namespace {

namespace fs = std::filesystem;

using namespace kor::tool;

constexpr std::array<const char*, 10> kShipped = {
    "dual_level/Tg1001.prm", "dual_level_even/Tg1002.prm", "pendulum/Tg1003.prm",     "pendulum_even/Tg1004.prm",
    "polarizer/Tg1005.prm",  "polarizer_even/Tg1006.prm",  "three_vector/Tg1007.prm", "three_vector_even/Tg1008.prm",
    "two_level/Tg1009.prm",  "two_level_even/Tg1010.prm"};

std::string contentOf(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::string shipped(const char* name)
{
    return contentOf(fs::path(KOR_DATA) / name);
}

class Folder {
public:
    Folder() : m_path(fs::temp_directory_path() / ("kor_prm_" + std::to_string(kor::platform::processId())))
    {
        fs::create_directory(m_path);
    }
    ~Folder() { fs::remove_all(m_path); }
    const fs::path& path() const { return m_path; }

private:
    fs::path m_path;
};

// Every value that a parameter set hands out, bit by bit; the result of the read first.
std::vector<std::uint64_t> fieldsOf(const std::string& bytes, std::int32_t id)
{
    static const Folder folder;
    const fs::path path = folder.path() / ("Tg" + std::to_string(id) + ".prm");
    std::ofstream(path, std::ios::binary) << bytes;
    CKorPrm prm;
    std::vector<std::uint64_t> all;
    const auto add = [&all](auto value) {
        // Which NaN it is depends on more than the file.
        using Bits = std::conditional_t<sizeof(value) == 4, std::uint32_t, std::uint64_t>;
        all.push_back(value != value ? ~std::uint64_t{0} : std::uint64_t{std::bit_cast<Bits>(value)});
    };
    all.push_back(static_cast<std::uint64_t>(
        prm.ReadCalibrationFile(folder.path().wstring().c_str(), static_cast<std::uint32_t>(id))));
    F_VECTOR2 pair{};
    F_VECTOR4 four{};
    const auto addFour = [&] {
        for (const float value : {four.x, four.y, four.z, four.w}) {
            add(value);
        }
    };
    prm.getEncoderOffset(pair);
    add(pair.x);
    add(pair.y);
    prm.getTiltOffset(pair);
    add(pair.x);
    add(pair.y);
    prm.getEncoderLimit(four);
    addFour();
    prm.getThermalFactor(four);
    addFour();
    prm.GetKORLevelLimits(four);
    addFour();
    double doubles[9] = {};
    for (const auto& get :
         {std::function([&] { prm.getKnownVector(doubles); }), std::function([&] { prm.getLocalMatrix(doubles, 3); }),
          std::function([&] { prm.getMachineMatrix(doubles, 3); })}) {
        get();
        std::for_each(std::begin(doubles), std::end(doubles), add);
    }
    int mode = 0;
    prm.getMountMode(mode);
    add(static_cast<std::int32_t>(mode));
    float adm = 0;
    prm.getADMOffset(adm);
    add(adm);
    float floats[8] = {};
    float more[8] = {};
    unsigned count = 0;
    for (const auto& get : {std::function([&] { prm.getScaleFactors(floats, count); }),
                            std::function([&] { prm.getQVCParameters(floats, count); }),
                            std::function([&] { prm.getLevel1Parameters(floats, count); }),
                            std::function([&] { prm.getLevel2Parameters(floats, count); }),
                            std::function([&] { prm.getDynamicKORParameters(floats); }),
                            std::function([&] { prm.getPSDParameters(floats, more); })}) {
        get();
        std::for_each(std::begin(floats), std::end(floats), add);
        std::for_each(std::begin(more), std::end(more), add);
    }
    for (auto get : {&CKorPrm::getAzimuthComp, &CKorPrm::getElevationComp}) {
        (prm.*get)(count, nullptr);
        std::vector<float> table(2 * std::size_t{count});
        (prm.*get)(count, table.data());
        std::for_each(table.begin(), table.end(), add);
    }
    for (auto get : {&CKorPrm::getLevelXComp, &CKorPrm::getLevelYComp}) {
        (prm.*get)(count, nullptr, nullptr);
        std::vector<float> knots(count + 3);
        std::vector<double> coefficients(4 * std::size_t{count});
        (prm.*get)(count, knots.data(), coefficients.data());
        std::for_each(knots.begin(), knots.end(), add);
        std::for_each(coefficients.begin(), coefficients.end(), add);
    }
    return all;
}

// What is told of a text that is refused; empty if it is taken.
std::string refusalOf(const std::function<void()>& act)
{
    try {
        act();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status(), kExitDataError);
        return failure.what();
    }
    return {};
}

std::string refusalOfJson(const std::string& json)
{
    return refusalOf([&json] { contentOfJson(json, "a.json"); });
}

// Through JSON to a parameter file.
std::string made(const std::string& bytes)
{
    return prmText(contentOfJson(jsonOf(prmOf(bytes, "a.prm")), "a.json"));
}

std::string replaced(std::string text, const std::string& what, const std::string& by)
{
    const std::size_t at = text.find(what);
    EXPECT_NE(at, std::string::npos) << what;
    return at == std::string::npos ? text : text.replace(at, what.size(), by);
}

TEST(PrmJson, everyShippedFileComesBackToTheLastBit)
{
    for (const char* name : kShipped) {
        const std::string original = shipped(name);
        const std::string again = made(original);
        const std::int32_t id = idInName(name).value();
        const std::vector<std::uint64_t> wanted = fieldsOf(original, id);
        EXPECT_EQ(wanted.front(), 0U) << name;
        EXPECT_EQ(fieldsOf(again, id), wanted) << name;
        EXPECT_EQ(made(again), again) << name;
        EXPECT_NE(again.find("Tilt Y Calibration Table\n"), std::string::npos);
    }
}

TEST(PrmJson, awkwardNumbersComeBackToTheLastBit)
{
    using Limits = std::numeric_limits<float>;
    std::vector<float> numbers = {0.0F,
                                  -0.0F,
                                  Limits::denorm_min(),
                                  -Limits::denorm_min(),
                                  Limits::min(),
                                  Limits::max(),
                                  -Limits::max(),
                                  Limits::infinity(),
                                  -Limits::infinity(),
                                  Limits::quiet_NaN(),
                                  16777216.0F,
                                  0.1F,
                                  1e-7F,
                                  8388609.0F,
                                  -33554448.0F};
    std::mt19937 random(7);
    while (numbers.size() < 3000) {
        numbers.push_back(std::bit_cast<float>(static_cast<std::uint32_t>(random())));
    }
    PrmContent content = prmOf(shipped(kShipped[8]), "a.prm");
    PrmBlock& table = content.at("AZ Calibration Table");
    table.values.assign(numbers.begin(), numbers.end());
    const std::string text = prmText(content);
    for (const PrmContent& back : {contentOfJson(jsonOf(content), "a.json"), prmOf(text, "a.prm")}) {
        const std::vector<PrmNumber>& values = back.at("AZ Calibration Table").values;
        ASSERT_EQ(values.size(), numbers.size());
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            ASSERT_TRUE(values[i].has_value());
            const auto wanted = std::bit_cast<std::uint32_t>(numbers[i]);
            const auto got = std::bit_cast<std::uint32_t>(*values[i]);
            // Of a NaN the sign comes back, not its payload.
            ASSERT_TRUE(std::isnan(numbers[i]) ? std::isnan(*values[i]) && (wanted ^ got) >> 31U == 0 : wanted == got)
                << shortestText(numbers[i]) << " came back as " << shortestText(*values[i]);
        }
    }
    EXPECT_EQ(made(text), text);
}

// A file with a few changes, as they come about by hand, by a cut transfer or by a bad merge.
std::string damaged(const std::string& original, int round, std::mt19937& random)
{
    // The first ones can be read.
    constexpr std::size_t kReadable = 18;
    static const std::array<std::string, 24> kItems = {"nan",
                                                       "-nan",
                                                       "inf",
                                                       "-inf",
                                                       "1e50",
                                                       "-1e-60",
                                                       "-0",
                                                       "0x1.8p3",
                                                       "1e-40",
                                                       "3.4028236e38",
                                                       "+2.5",
                                                       "99",
                                                       "-3",
                                                       "7",
                                                       "10",
                                                       "2147483648",
                                                       "1.0000001192092896",
                                                       "16777217",
                                                       "abc",
                                                       "1,5",
                                                       "1e+x",
                                                       "",
                                                       "QVC",
                                                       "\x1A"};
    std::vector<std::string> lines;
    std::istringstream in(original);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    const std::size_t changes = 1 + random() % 3;
    for (std::size_t change = 0; change < changes && !lines.empty(); ++change) {
        const std::size_t at = random() % lines.size();
        const bool gentle = round % 2 == 0; // nothing but numbers that can be read
        switch (gentle ? 6 : random() % 6) {
        case 0:
            lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(at));
            break;
        case 1:
            lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(at), lines[at]);
            break;
        case 2:
            std::swap(lines[at], lines[random() % lines.size()]);
            break;
        case 3:
            lines.resize(at);
            break;
        default: {
            const std::size_t tab = lines[at].find('\t');
            const std::string& item = kItems[random() % (gentle ? kReadable : kItems.size())];
            if (tab != std::string::npos) {
                lines[at] = random() % 2 == 0 ? item + lines[at].substr(tab) : lines[at].substr(0, tab + 1) + item;
            } else if (!gentle) {
                lines[at] = item;
            }
            break;
        }
        }
    }
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

TEST(PrmJson, damagedFilesComeBackToTheLastBitOrAreRefused)
{
    std::mt19937 random(11);
    std::size_t same = 0;
    std::size_t unread = 0;
    std::size_t refused = 0;
    for (int round = 0; round < 200; ++round) {
        const std::string bytes = damaged(shipped(kShipped[random() % kShipped.size()]), round, random);
        PrmContent content;
        if (const std::string why = refusalOf([&] { content = prmOf(bytes, "a.prm"); }); !why.empty()) {
            ++refused;
            EXPECT_EQ(why.rfind("a.prm: ", 0), 0U) << why;
            continue;
        }
        const std::string json = jsonOf(content);
        if (content.unread > 0) {
            ++unread;
            EXPECT_NE(refusalOfJson(json).find("found null"), std::string::npos) << bytes;
            continue;
        }
        ++same;
        const std::string again = prmText(contentOfJson(json, "a.json"));
        const std::vector<std::uint64_t> wanted = fieldsOf(bytes, content.id());
        ASSERT_EQ(wanted.front(), 0U) << bytes;
        ASSERT_EQ(fieldsOf(again, content.id()), wanted) << bytes << "\n" << again;
        ASSERT_EQ(made(again), again);
    }
    // Each way is taken often enough to mean something.
    EXPECT_GT(same, 60U);
    EXPECT_GT(unread, 0U);
    EXPECT_GT(refused, 20U);
}

TEST(PrmJson, valuesAreRoundedOnce)
{
    const std::string json = jsonOf(prmOf(shipped(kShipped[4]), "a.prm"));
    const auto factor = [&json](const std::string& text) {
        const PrmContent content = contentOfJson(replaced(json, "17.345678", text), "a.json");
        return content.at("Angle Offset").values[0].value();
    };
    // Halfway between two floats plus a part that double precision does not hold: 1 + 2^-24 + 2^-70.
    EXPECT_EQ(factor("1.000000059604644775390625847032947254300339068322500679641962051391601562"), 1.0000001F);
    EXPECT_EQ(factor("1.000000059604644775390625"), 1.0F);
    EXPECT_EQ(factor("16777217"), 16777216.0F);
    EXPECT_EQ(factor("123456789012345678901234567890"), 123456789012345678901234567890.0F);
    EXPECT_EQ(factor("1e-60"), 0.0F);
    EXPECT_TRUE(std::signbit(factor("-1e-60")));
    EXPECT_TRUE(std::signbit(factor("-0")));
    EXPECT_TRUE(std::signbit(factor("\"-nan\"")));
    EXPECT_EQ(factor("\"-inf\""), -std::numeric_limits<float>::infinity());
}

TEST(PrmJson, textThatIsNoJsonIsRefusedWithItsPlace)
{
    EXPECT_NE(refusalOfJson("").find("a.json: line 1, column 1: found end of file, expected JSON"), std::string::npos)
        << refusalOfJson("");
    EXPECT_NE(refusalOfJson("{\n \"format\": tru }").find("a.json: line 2, column 15: found \"tru\""),
              std::string::npos)
        << refusalOfJson("{\n \"format\": tru }");
    EXPECT_NE(refusalOfJson("{} {}").find("a.json: line 1, column 4"), std::string::npos) << refusalOfJson("{} {}");
    EXPECT_NE(refusalOfJson("{\"\xFF\": 1}").find("expected JSON"), std::string::npos);
    EXPECT_NE(refusalOfJson("{\"a\": \"\x01\"}").find("expected JSON"), std::string::npos);
    EXPECT_NE(refusalOfJson("NaN").find("expected JSON"), std::string::npos);
    for (const std::string& json :
         {std::string("\xFF\xFE{\0", 4), std::string(3, '\0'), std::string("Serial Number\n1005\n")}) {
        EXPECT_NE(refusalOfJson(json).find("a.json: line 1, column "), std::string::npos);
    }
}

TEST(PrmJson, hostileJsonIsBounded)
{
    const auto nested = [](std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
    EXPECT_NE(refusalOfJson(nested(1000000)).find("found values more than 8 deep in each other"), std::string::npos);
    EXPECT_NE(refusalOfJson("{\"format\": " + nested(8) + "}")
                  .find("a.json: /format/0/0/0/0/0/0: found values more than 8 deep"),
              std::string::npos)
        << refusalOfJson("{\"format\": " + nested(8) + "}");
    const auto refusalWithin = [](const std::string& json, const JsonLimits& limits) {
        return refusalOf([&] { parseJson(json, "a.json", limits); });
    };
    EXPECT_EQ(refusalWithin("[0, 1, 2]", {.values = 4}), "");
    EXPECT_EQ(refusalWithin("[0, [1], 2]", {.values = 4}),
              "a.json: /: found more than 4 values, expected a parameter file");
    EXPECT_EQ(refusalWithin("[[1, 2]]", {.depth = 2}), "");
    EXPECT_EQ(refusalWithin(R"({"a": 1, "b": 2})", {.members = 2}), "");
    EXPECT_EQ(refusalWithin(R"({"a": 1, "b": 2})", {.members = 1}),
              "a.json: /: found more than 1 members, expected the blocks of a parameter file");
    EXPECT_NE(refusalOfJson(std::string((std::size_t{1} << 24) + 1, ' ')).find("found more than 16777216 bytes"),
              std::string::npos);
    EXPECT_EQ(refusalOfJson("\"" + std::string(100000, 'x') + "\"").size(),
              refusalOfJson("\"" + std::string(1000, 'x') + "\"").size());
    EXPECT_LT(refusalOfJson(std::string(100000, 'x')).size(), 500U);
}

TEST(PrmJson, whatDoesNotFitIsRefusedWithItsPath)
{
    const std::string polarizer = jsonOf(prmOf(shipped(kShipped[4]), "a.prm"));
    const std::string levels = jsonOf(prmOf(shipped(kShipped[8]), "a.prm"));
    const auto rows = [](std::size_t count) {
        std::string text = "[[0, 0]";
        for (std::size_t i = 1; i < count; ++i) {
            text += ", [0, 0]";
        }
        return text + "]";
    };
    const auto withTable = [&](const std::string& table) {
        const std::size_t begin = polarizer.find("\"AZ Calibration Table\": ") + 24;
        return polarizer.substr(0, begin) + table + polarizer.substr(polarizer.find(",\n  \"EL Calibration Table\""));
    };
    ASSERT_EQ(refusalOfJson(polarizer), "");
    struct Case {
        std::string json;
        std::string message;
    };
    const std::vector<Case> cases = {
        {"[]", "/: found an array of 0 values, expected an object with a member for each block"},
        {"{}", "/format: found nothing, expected \"kor prm 1\""},
        {replaced(polarizer, "kor prm 1", "kor prm 2"), "/format: found \"kor prm 2\", expected \"kor prm 1\""},
        {replaced(polarizer, "\"Angle Offset\"", "\"Angle  Offset\""),
         "/Angle  Offset: found a member of that name, expected the title of a block"},
        {replaced(polarizer, "\"Angle Offset\"", "\"a~b/c\""), "/a~0b~1c: found a member of that name"},
        {replaced(polarizer, "\"Transform Vector\"", "\"Angle Offset\""),
         "/Angle Offset: found a second value of that name, expected each name once"},
        {replaced(polarizer, "1005", "\"1005\""),
         "/Serial Number: found \"1005\", expected a whole number from -2147483648 to 4294967295"},
        {replaced(polarizer, "1005", "1005.5"), "/Serial Number: found 1005.5, expected a whole number"},
        {replaced(polarizer, "1005", "4294967296"), "/Serial Number: found 4294967296, expected a whole number"},
        {replaced(polarizer, "\"Mounting Mode\": 5", "\"Mounting Mode\": 4294967295"),
         "/Mounting Mode: found 4294967295, expected a whole number from -2147483648 to 2147483647"},
        {replaced(polarizer, "\"Mounting Mode\": 5", "\"Mounting Mode\": null"),
         "/Mounting Mode: found null, expected a whole number from -2147483648 to 2147483647; null stands for a value "
         "that could not be read"},
        {replaced(polarizer, "\"Simulated\"", "\"two words\""),
         "/Device Owner: found \"two words\", expected a string of one"},
        {replaced(polarizer, "\"Simulated\"", "\"\""), "/Device Owner: found \"\", expected a string of one word"},
        {replaced(polarizer, "\"Simulated\"", "\"\\u001a\""),
         "/Device Owner: found \"\\x1a\", expected a string of one word"},
        {replaced(polarizer, "\"Simulated\"", "7"), "/Device Owner: found 7, expected a string of one word"},
        {replaced(polarizer, "[17.345678, -0.876543]", "[17.345678]"),
         "/Angle Offset: found an array of one value, expected an array of 2 numbers"},
        {replaced(polarizer, "[17.345678, -0.876543]", "17.345678"),
         "/Angle Offset: found 17.345678, expected an array of 2 numbers"},
        {replaced(polarizer, "17.345678", "true"), "/Angle Offset/0: found true, expected a number, or one of \"nan\""},
        {replaced(polarizer, "17.345678", "\"17.345678\""), "/Angle Offset/0: found \"17.345678\", expected a number"},
        {replaced(polarizer, "17.345678", "null"), "/Angle Offset/0: found null, expected a number"},
        {replaced(polarizer, "17.345678", "[1]"), "/Angle Offset/0: found an array of one value, expected a number"},
        {replaced(polarizer, "17.345678", "1e39"),
         "/Angle Offset/0: found 1e39, expected a number that single precision"},
        {replaced(polarizer, "17.345678", "-1e999"),
         "/Angle Offset/0: found \"-1e999\", expected a number that single precision can hold"},
        {replaced(polarizer, "[0.8, 0.576, -0.168]", "[0.8, 0.576]"),
         "/Local Coordinate Tranform Matrix/1: found an array of 2 values, expected an array of 3 numbers"},
        {replaced(polarizer, "[0.8, 0.576, -0.168],", ""),
         "/Local Coordinate Tranform Matrix: found an array of 2 values, expected 3 rows of 3 numbers"},
        {replaced(polarizer, "[10.4, -0.00659]", "[10.4, \"x\"]"),
         "/AZ Calibration Table/1/1: found \"x\", expected a number"},
        {withTable("{}"), "/AZ Calibration Table: found an object, expected at most 100000 rows of 2 numbers"},
        {withTable(rows(100001)),
         "/AZ Calibration Table: found an array of 100001 values, expected at most 100000 rows"},
        {replaced(polarizer, "\"limits\": [-1, 1, 0]", "\"limits\": [-1, 1]"),
         "/Tilt X Calibration Table/limits: found an array of 2 values, expected an array of 3 numbers"},
        {replaced(polarizer, "\"limits\": [-1, 1, 0]", "\"limit\": [-1, 1, 0]"),
         "/Tilt X Calibration Table/limit: found a member of that name, expected \"rows\", \"limits\" or \"word\""},
        {replaced(polarizer, "\"limits\": [-1, 1, 0],", ""),
         "/Tilt X Calibration Table/limits: found nothing, expected the member"},
        {replaced(polarizer, "  \"ADM Offset\": 0,\n", ""),
         "/ADM Offset: found nothing, expected the block, which every parameter file has"},
        {replaced(levels, "\"Half Angle\": [180, 60],\n", ""),
         "/Half Angle: found nothing, expected the block, which mount mode 9 requires"},
        {replaced(levels, "\"QVC\": [0.7, 1.4, 33, -0.25, 0.3, 0.2],\n", ""),
         "/QVC: found nothing, expected the block, because \"Level_X\" stands behind it"},
        {replaced(levels, "\"Mounting Mode\": 9", "\"Mounting Mode\": 6"),
         "/QVC: found the block, expected no such block: in mount mode 6 a file ends behind \"Mounting Mode\""},
    };
    for (const Case& one : cases) {
        EXPECT_EQ(refusalOfJson(one.json).rfind("a.json: " + one.message, 0), 0U) << one.message << "\n"
                                                                                  << refusalOfJson(one.json);
    }
}

TEST(PrmJson, aFileThatEndsEarlyEndsAtTheSameBlock)
{
    const std::string whole = shipped(kShipped[2]);
    for (const char* const title : {"Mounting Mode", "Scale Factor", "Tilt Y Calibration Table"}) {
        const std::string bytes = whole.substr(0, whole.find(title));
        const std::string again = made(bytes);
        EXPECT_EQ(again.find(title), std::string::npos);
        EXPECT_EQ(fieldsOf(again, 1003), fieldsOf(bytes, 1003)) << title;
        EXPECT_EQ(fieldsOf(bytes, 1003).front(), 0U) << title;
    }
    // The word behind the last table may be missing in the file; without one the next title would lose its first word.
    const std::string cut = whole.substr(0, whole.find("Degrees"));
    EXPECT_EQ(made(cut).substr(made(cut).size() - 4), "End\n");
}

TEST(PrmDifference, rowsAreMatchedByTheirReadingsWhenOneIsMissing)
{
    const PrmContent a = prmOf(shipped(kShipped[4]), "a.prm");
    PrmContent b = a;
    EXPECT_TRUE(differencesOf(a, b, 0.0).empty());
    std::vector<PrmNumber>& rows = b.at("AZ Calibration Table").values;
    rows.erase(rows.begin() + 10, rows.begin() + 12); // the sixth row
    rows[20] = 1.5F;                                  // reading of the twelfth row of a
    const auto found = differencesOf(a, b, 0.0);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].rowsOfA, 37U);
    EXPECT_EQ(found[0].rowsOfB, 36U);
    // b does not ascend any more, so that its rows are compared one by one; the others would all differ.
    EXPECT_GT(found[0].values.size(), 30U);
    rows[20] = a.at("AZ Calibration Table").values[22];
    rows[21] = 1.5F;
    const auto matched = differencesOf(a, b, 0.0);
    ASSERT_EQ(matched.size(), 1U);
    ASSERT_EQ(matched[0].values.size(), 2U);
    EXPECT_EQ(matched[0].values[0].field, "row");
    EXPECT_EQ(matched[0].values[0].row, 6U);
    EXPECT_EQ(matched[0].values[0].b, "");
    EXPECT_EQ(matched[0].values[1].field, "correction");
    EXPECT_EQ(matched[0].values[1].row, 12U);
    EXPECT_EQ(matched[0].values[1].b, "1.5");
    EXPECT_EQ(differenceCount(matched), 2U);
}

TEST(PrmDifference, toleranceAndNumbersThatAreNone)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    const auto differ = [](PrmNumber one, PrmNumber other, double tolerance) {
        PrmContent a = prmOf(shipped(kShipped[0]), "a.prm");
        PrmContent b = a;
        a.at("ADM Offset").values[0] = one;
        b.at("ADM Offset").values[0] = other;
        return !differencesOf(a, b, tolerance).empty();
    };
    EXPECT_FALSE(differ(1.0F, 1.5F, 0.5));
    EXPECT_TRUE(differ(1.0F, 1.5F, 0.49));
    EXPECT_TRUE(differ(1.0F, std::nextafter(1.0F, 2.0F), 0.0));
    EXPECT_FALSE(differ(0.0F, -0.0F, 0.0));
    EXPECT_FALSE(differ(nan, nan, 0.0));
    EXPECT_TRUE(differ(nan, 1.0F, 1e30));
    EXPECT_FALSE(differ(infinity, infinity, 0.0));
    EXPECT_TRUE(differ(infinity, -infinity, 1e30));
    EXPECT_FALSE(differ(std::nullopt, std::nullopt, 0.0));
    EXPECT_TRUE(differ(std::nullopt, 0.0F, 1e30));
}

TEST(PrmContent, namesOfFilesTellTheId)
{
    EXPECT_EQ(idInName("a/b/Tg1005.prm"), 1005);
    EXPECT_EQ(idInName("Tg-7.prm"), -7);
    for (const char* const name :
         {"Tg.prm", "Tg01005.prm", "Tg1005.prm.bak", "1005.prm", "Tg99999999999.prm", "Tg+1.prm", "-"}) {
        EXPECT_EQ(idInName(name), std::nullopt) << name;
    }
    PrmContent content;
    content.at("Serial Number").integer = 4294967295;
    EXPECT_EQ(prmName(content.id()), "Tg-1.prm");
}

} // namespace
