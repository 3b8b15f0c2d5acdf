// The C interface beside the classes, number by number, and the test vectors by the classes.
//   capi_test --record FILE   writes the test vectors anew
#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "KORInterface/Session.h"
#include "KORInterface/Status.h"

#include "layout.h"

namespace {

struct Shipped {
    const char* name;
    std::uint32_t id;
    int mode;
};
constexpr Shipped kShipped[] = {
    {"dual_level", 1001, 1}, {"dual_level_even", 1002, 2}, {"pendulum", 1003, 3},     {"pendulum_even", 1004, 4},
    {"polarizer", 1005, 5},  {"polarizer_even", 1006, 6},  {"three_vector", 1007, 7}, {"three_vector_even", 1008, 8},
    {"two_level", 1009, 9},  {"two_level_even", 1010, 10}};

std::string folderOf(const std::string& name)
{
    return std::string(KOR_DATA "/") + name;
}

std::vector<KOR_RAWINFO> recordingOf(const std::string& name)
{
    std::vector<KOR_RAWINFO> samples(2500);
    kor_reader* reader = nullptr;
    std::size_t count = 0;
    EXPECT_EQ(kor_reader_create(&reader), KOR_SUCCESS);
    EXPECT_EQ(kor_reader_open(reader, (folderOf(name) + "/" + name + ".csv").c_str(), KOR_FORMAT_ANY), KOR_SUCCESS);
    EXPECT_EQ(kor_reader_read(reader, samples.data(), samples.size(), &count), KOR_SUCCESS);
    EXPECT_GE(count, 1200U);
    kor_reader_destroy(reader);
    samples.resize(count);
    return samples;
}

struct Options {
    int mode;
    bool mcs;
    bool store;
    std::int32_t detector[3];
};

// Whether two records are the same to the last bit.
template <typename Record>
bool same(const Record& one, const Record& other)
{
    return std::memcmp(&one, &other, sizeof one) == 0;
}

void expectTheSame(const Shipped& shipped, const Options& options)
{
    const std::vector<KOR_RAWINFO> samples = recordingOf(shipped.name);
    const std::size_t count = samples.size();

    CKorPrm set;
    kor::ReadReport read;
    ASSERT_EQ(kor::ReadParameterFile(set, folderOf(shipped.name).c_str(), shipped.id, read), kor::kSuccess);
    CKor engine;
    kor::FreshProcessValues();
    ASSERT_EQ(kor::Configure(engine, set,
                             kor::ConfigureOptions()
                                 .mountMode(options.mode)
                                 .mcsFlag(options.mcs)
                                 .parameterStore(options.store)
                                 .detector(options.detector[0], options.detector[1], options.detector[2])),
              kor::kSuccess);
    std::vector<kor::SampleResult> wanted(count);
    for (std::size_t i = 0; i < count; ++i) {
        kor::ProcessSample(engine, samples[i], wanted[i]);
    }

    kor_prm* prm = nullptr;
    ASSERT_EQ(kor_prm_create(&prm), KOR_SUCCESS);
    ASSERT_EQ(kor_prm_read(prm, folderOf(shipped.name).c_str(), shipped.id), KOR_SUCCESS);
    kor_configure_options chosen = {};
    chosen.size = sizeof chosen;
    chosen.has_mount_mode = chosen.has_mcs_flag = chosen.has_detector = 1;
    chosen.mount_mode = options.mode;
    chosen.mcs_flag = options.mcs ? 1 : 0;
    chosen.parameter_store = options.store ? 1 : 0;
    std::memcpy(chosen.detector, options.detector, sizeof chosen.detector);
    kor_engine* handle = nullptr;
    ASSERT_EQ(kor_engine_create(&handle), KOR_SUCCESS);
    kor::FreshProcessValues();
    ASSERT_EQ(kor_engine_configure(handle, prm, &chosen), KOR_SUCCESS);
    std::vector<KOR_INFO> info(count);
    std::vector<double> matrices(9 * count);
    std::vector<std::int32_t> codes(count);
    std::vector<std::int32_t> outcomes(count);
    ASSERT_EQ(kor_engine_update_many(handle, samples.data(), count, info.data(), matrices.data(), codes.data(),
                                     outcomes.data()),
              KOR_SUCCESS);
    for (std::size_t i = 0; i < count; ++i) {
        ASSERT_TRUE(same(info[i], wanted[i].info)) << i;
        ASSERT_EQ(std::memcmp(&matrices[9 * i], wanted[i].matrix, sizeof wanted[i].matrix), 0) << i;
        ASSERT_EQ(codes[i], wanted[i].matrixCode) << i;
        ASSERT_EQ(outcomes[i], static_cast<std::int32_t>(wanted[i].report.outcome)) << i;
    }
    kor_sample_report report = {};
    report.size = sizeof report;
    EXPECT_EQ(kor_engine_last_sample(handle, &report), KOR_SUCCESS);
    const kor::SampleReport last = kor::LastSample(engine);
    EXPECT_EQ(report.model, static_cast<std::int32_t>(last.model));
    EXPECT_EQ(report.reason, static_cast<std::int32_t>(last.reason));
    EXPECT_EQ(report.level_x_outside, last.levelXOutside ? 1 : 0);
    EXPECT_EQ(report.level_y_outside, last.levelYOutside ? 1 : 0);
    float reading = 0.0F;
    EXPECT_EQ(kor_engine_inverse_azimuth(handle, 12.5F, &reading), KOR_SUCCESS);
    EXPECT_TRUE(same(reading, engine.getInverseAzCalib(12.5F)));
    EXPECT_EQ(kor_engine_inverse_elevation(handle, -7.25F, &reading), KOR_SUCCESS);
    EXPECT_TRUE(same(reading, engine.getInverseElCalib(-7.25F)));
    kor_engine_destroy(handle);
    kor_prm_destroy(prm);
}

TEST(CInterface, givesTheResultsOfTheClassesToTheLastBit)
{
    for (const Shipped& shipped : kShipped) {
        SCOPED_TRACE(shipped.name);
        expectTheSame(shipped, {shipped.mode, true, false, {0, 0, 1}});
        expectTheSame(shipped, {shipped.mode, false, true, {150, -80, 1000}});
    }
}

TEST(CInterface, readsAndChecksAsTheClassesDo)
{
    for (const Shipped& shipped : kShipped) {
        SCOPED_TRACE(shipped.name);
        CKorPrm set;
        kor::ReadReport read;
        ASSERT_EQ(kor::ReadParameterFile(set, folderOf(shipped.name).c_str(), shipped.id, read), kor::kSuccess);
        kor_prm* prm = nullptr;
        ASSERT_EQ(kor_prm_create(&prm), KOR_SUCCESS);
        ASSERT_EQ(kor_prm_read(prm, folderOf(shipped.name).c_str(), shipped.id), KOR_SUCCESS);
        float one[8] = {};
        float other[8] = {};
        unsigned int count = 0;
        const auto expectGroup = [&](int classes, int functions) {
            EXPECT_EQ(classes, kor::kSuccess);
            EXPECT_EQ(functions, KOR_SUCCESS);
            EXPECT_TRUE(same(one, other));
        };
        expectGroup(set.getScaleFactors(one, count), kor_prm_get_scale_factors(prm, other));
        expectGroup(set.getQVCParameters(one, count), kor_prm_get_qvc_parameters(prm, other));
        expectGroup(set.getLevel1Parameters(one, count), kor_prm_get_level1_parameters(prm, other));
        expectGroup(set.getLevel2Parameters(one, count), kor_prm_get_level2_parameters(prm, other));
        expectGroup(set.getDynamicKORParameters(one), kor_prm_get_dynamic_parameters(prm, other));
        expectGroup(set.getPSDParameters(one, one + 3), kor_prm_get_detector(prm, other, other + 3));
        expectGroup(set.getADMOffset(one[0]), kor_prm_get_adm_offset(prm, other));
        F_VECTOR4 four = {};
        F_VECTOR4 otherFour = {};
        EXPECT_EQ(set.GetKORLevelLimits(four), kor_prm_get_level_limits(prm, &otherFour));
        EXPECT_TRUE(same(four, otherFour));
        EXPECT_EQ(set.getEncoderLimit(four), kor_prm_get_encoder_limit(prm, &otherFour));
        EXPECT_TRUE(same(four, otherFour));
        EXPECT_EQ(set.getThermalFactor(four), kor_prm_get_thermal_factor(prm, &otherFour));
        EXPECT_TRUE(same(four, otherFour));
        F_VECTOR2 two = {};
        F_VECTOR2 otherTwo = {};
        EXPECT_EQ(set.getEncoderOffset(two), kor_prm_get_encoder_offset(prm, &otherTwo));
        EXPECT_TRUE(same(two, otherTwo));
        EXPECT_EQ(set.getTiltOffset(two), kor_prm_get_tilt_offset(prm, &otherTwo));
        EXPECT_TRUE(same(two, otherTwo));
        double nine[9] = {};
        double otherNine[9] = {};
        EXPECT_EQ(set.getMachineMatrix(nine, 3), kor_prm_get_machine_matrix(prm, otherNine));
        EXPECT_TRUE(same(nine, otherNine));
        EXPECT_EQ(set.getLocalMatrix(nine, 3), kor_prm_get_local_matrix(prm, otherNine));
        EXPECT_TRUE(same(nine, otherNine));
        EXPECT_EQ(set.getKnownVector(nine), kor_prm_get_known_vector(prm, otherNine));
        EXPECT_TRUE(same(nine, otherNine));
        kor_prm_destroy(prm);
    }
}

// The test vectors.

struct Line {
    int number = 0;
    std::vector<std::string> words{};
};

std::vector<std::string> wordsOf(const std::string& line)
{
    std::vector<std::string> words;
    std::istringstream parts(line);
    for (std::string word; std::getline(parts, word, ',');) {
        words.push_back(word);
    }
    return words;
}

double numberOf(const std::string& word)
{
    double value = std::numeric_limits<double>::quiet_NaN();
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    EXPECT_TRUE(error == std::errc() && end == word.data() + word.size()) << word;
    return value;
}

// From the text itself: a float that comes by way of a double may be rounded twice.
float singleOf(const std::string& word)
{
    float value = std::numeric_limits<float>::quiet_NaN();
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    EXPECT_TRUE(error == std::errc() && end == word.data() + word.size()) << word;
    return value;
}

std::int32_t wholeOf(const std::string& word)
{
    return static_cast<std::int32_t>(numberOf(word));
}

template <typename Number>
std::string textOf(Number number)
{
    char text[64];
    return std::isnan(number) ? "nan" : std::string(text, std::to_chars(text, text + sizeof text, number).ptr);
}

KOR_RAWINFO sampleOf(const std::vector<std::string>& words)
{
    KOR_RAWINFO raw{};
    raw.status = wholeOf(words[1]);
    for (std::size_t i = 0; i < 3; ++i) {
        raw.sensorVector[i] = singleOf(words[2 + i]);
        raw.temperatureCount[i] = wholeOf(words[12 + i]);
    }
    raw.azimuthRaw = singleOf(words[5]);
    raw.elevationRaw = singleOf(words[6]);
    raw.levelXRaw = singleOf(words[7]);
    raw.levelYRaw = singleOf(words[8]);
    raw.levelTemperature = singleOf(words[9]);
    raw.referenceGate = singleOf(words[10]);
    raw.referenceHold = static_cast<std::uint8_t>(wholeOf(words[11]));
    raw.timeStampMs = static_cast<std::uint32_t>(numberOf(words[15]));
    return raw;
}

// How many words of a line are its kind and inputs.
std::size_t givenOf(const std::string& kind)
{
    return kind == "sample" ? 16 : kind == "home" ? 11 : kind == "inverse" ? 3 : 10;
}

// What the classes make of the inputs of lines, as texts.
class Computed {
public:
    std::vector<std::string> of(const std::vector<std::string>& words)
    {
        if (words[0] == "scenario") {
            configure(words);
            return {};
        }
        if (words[0] == "sample") {
            return feed(sampleOf(words));
        }
        if (words[0] == "inverse") {
            return {textOf(m_engine->getInverseAzCalib(singleOf(words[1]))),
                    textOf(m_engine->getInverseElCalib(singleOf(words[2])))};
        }
        EXPECT_EQ(words[0], "home");
        double in[10];
        for (std::size_t i = 0; i < 10; ++i) {
            in[i] = numberOf(words[1 + i]);
        }
        double first = 0;
        double second = 0;
        const bool solved = m_engine->Calc_HV0({in[0], in[1], in[2]}, {in[3], in[4], in[5]}, {in[6], in[7]},
                                               {in[8], in[9], 0}, &first, &second);
        return {textOf(first), textOf(second), solved ? "1" : "0"};
    }

private:
    void configure(const std::vector<std::string>& words)
    {
        CKorPrm set;
        kor::ReadReport read;
        EXPECT_EQ(kor::ReadParameterFile(set, folderOf(words[2]).c_str(), static_cast<std::uint32_t>(wholeOf(words[3])),
                                         read),
                  kor::kSuccess);
        kor::FreshProcessValues();
        m_engine = std::make_unique<CKor>();
        EXPECT_EQ(kor::Configure(*m_engine, set,
                                 kor::ConfigureOptions()
                                     .mountMode(wholeOf(words[4]))
                                     .mcsFlag(wholeOf(words[5]) != 0)
                                     .parameterStore(wholeOf(words[6]) != 0)
                                     .detector(wholeOf(words[7]), wholeOf(words[8]), wholeOf(words[9]))),
                  kor::kSuccess);
    }

    std::vector<std::string> feed(const KOR_RAWINFO& raw)
    {
        kor::SampleResult result;
        kor::ProcessSample(*m_engine, raw, result);
        const KOR_INFO& info = result.info;
        std::vector<std::string> texts = {textOf(info.azimuth), textOf(info.elevation), textOf(info.levelX),
                                          textOf(info.levelY)};
        for (const auto& three : {info.orientationAngles, info.sensorOut, info.temperature}) {
            for (int i = 0; i < 3; ++i) {
                texts.push_back(textOf(three[i]));
            }
        }
        for (const double element : result.matrix) {
            texts.push_back(textOf(element));
        }
        texts.push_back(std::to_string(result.matrixCode));
        texts.push_back(std::to_string(static_cast<std::int32_t>(result.report.outcome)));
        texts.push_back(std::to_string(static_cast<std::int32_t>(result.report.reason)));
        return texts;
    }

    std::unique_ptr<CKor> m_engine = std::make_unique<CKor>();
};

// How far a value may be from the recorded one: the head of the file says why.
double toleranceOf(const std::string& kind, std::size_t value, double wanted)
{
    const auto size = static_cast<float>(std::fabs(wanted));
    const double twoUlps = 2.0 * (std::nextafter(size, std::numeric_limits<float>::infinity()) - size);
    if (kind == "home") {
        return value < 2 ? 1e-11 : 0;
    }
    if (kind == "inverse" || value < 4) {
        return twoUlps;
    }
    return value < 7 ? 3.5e-6 : value < 13 ? twoUlps : value < 22 ? 1.6e-14 : 0;
}

TEST(TestVectors, areWhatTheClassesGive)
{
    std::ifstream file(KOR_VECTORS);
    Computed computed;
    int samples = 0;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        if (line.empty() || line[0] == '#') {
            continue;
        }
        const std::vector<std::string> words = wordsOf(line);
        const std::vector<std::string> values = computed.of(words);
        const std::size_t given = givenOf(words[0]);
        ASSERT_EQ(words.size(), given + values.size()) << "line " << number;
        for (std::size_t i = 0; i < values.size(); ++i) {
            const bool isSingle = words[0] == "inverse" || (words[0] == "sample" && i < 13);
            const auto read = [isSingle](const std::string& word) {
                return isSingle ? static_cast<double>(singleOf(word)) : numberOf(word);
            };
            const double found = read(values[i]);
            const double wanted = read(words[given + i]);
            ASSERT_TRUE(found == wanted || std::fabs(found - wanted) <= toleranceOf(words[0], i, wanted) ||
                        (std::isnan(found) && std::isnan(wanted)))
                << "line " << number << ", value " << i << ": " << found << ", recorded " << wanted;
        }
        samples += words[0] == "sample" ? 1 : 0;
    }
    EXPECT_GE(samples, 500);
}

constexpr const char* kHead =
    R"(# Test vectors of the library: inputs and what it makes of them, for the interfaces in C++, C and other languages.
# build/dev/tests/capi/capi_test --record FILE writes the file; tests/capi compares C++ and C with it.
#
# scenario,NAME,FOLDER,ID,MODE,MCS,STORE,D0,D1,D2: make the process-wide values fresh, read data/FOLDER/Tg<ID>.prm, and
#   configure a new engine with that mount mode, MCS flag (1 machine coordinates), parameter store (1 filled), and
#   detector reading. The lines below it are for this engine.
# sample,<15 columns of a recording>,<13 values of the result: azimuth, elevation, levels X and Y, 3 orientation angles,
#   3 of sensorOut, 3 temperatures>,<9 elements of the matrix, row by row>,CODE,OUTCOME,REASON
# inverse,AZIMUTH,ELEVATION,<encoder reading of the azimuth>,<encoder reading of the elevation>
# home,<3 of a>,<3 of b>,<2 of reference>,<2 of measured>,FIRST,SECOND,SOLVED: home-vector solve
#
# Numbers have the shortest text that reads back as the same number, in single precision but for matrices and home
# vectors. Tolerances: 2 units in the last place of a float, 3.5e-6 degrees for orientation angles, 1.6e-14 for elements
# of a matrix, 1e-11 degrees for home vectors, none for whole numbers. The mathematical functions of C libraries differ in
# their last bits; with those that this file was recorded with (glibc 2.36, x86-64 with FMA) the results are the same.
)";

std::string rawText(const KOR_RAWINFO& raw)
{
    std::string text = "sample," + std::to_string(raw.status);
    for (const float value :
         {raw.sensorVector[0], raw.sensorVector[1], raw.sensorVector[2], raw.azimuthRaw, raw.elevationRaw,
          raw.levelXRaw, raw.levelYRaw, raw.levelTemperature, raw.referenceGate}) {
        text += "," + textOf(value);
    }
    text += "," + std::to_string(raw.referenceHold);
    for (const std::int32_t count : raw.temperatureCount) {
        text += "," + std::to_string(count);
    }
    return text + "," + std::to_string(raw.timeStampMs);
}

// Forty samples around the capture of the reference, some of them odd.
std::vector<KOR_RAWINFO> chosenSamples(const Shipped& shipped)
{
    constexpr int kFirst = 98;
    const std::vector<KOR_RAWINFO> all = recordingOf(shipped.name);
    std::vector<KOR_RAWINFO> samples(all.begin() + kFirst, all.begin() + kFirst + 40);
    samples[30].status = 1;
    samples[32].levelYRaw = 1000.0F;
    samples[33].temperatureCount[1] = 8388609;
    samples[34].timeStampMs -= 5;
    if (shipped.mode < 9) { // later ones would be spoiled
        samples[36].azimuthRaw = std::numeric_limits<float>::quiet_NaN();
        samples[37].sensorVector[2] = std::numeric_limits<float>::infinity();
    } else {
        samples[39].sensorVector[1] = std::numeric_limits<float>::quiet_NaN();
    }
    return samples;
}

int record(const char* path)
{
    std::ofstream file(path, std::ios::binary);
    file << kHead;
    Computed computed;
    const auto put = [&](const std::string& inputs) {
        file << inputs;
        for (const std::string& value : computed.of(wordsOf(inputs))) {
            file << ',' << value;
        }
        file << '\n';
    };
    for (const Shipped& shipped : kShipped) {
        for (const bool plain : {true, false}) {
            const std::string folder = shipped.name;
            put("scenario," + folder +
                (plain              ? ""
                 : shipped.mode < 7 ? "_local"
                                    : "_detector") +
                "," + folder + "," + std::to_string(shipped.id) + "," + std::to_string(shipped.mode) +
                (plain              ? ",1,0,0,0,1"
                 : shipped.mode < 7 ? ",0,0,0,0,1"
                                    : ",1,1,150,-80,1000"));
            for (const KOR_RAWINFO& raw : chosenSamples(shipped)) {
                put(rawText(raw));
            }
            put("inverse,12.5,-7.25");
            put("inverse,359.9,0");
        }
    }
    put("home,0.6,0.8,0,-0.48,0.64,0.6,10,-5,0.25,-0.125");
    put("home,1,0,0,0.6,-0.8,0,120.5,3,-1.5,2");
    put("home,0,1,0,0,0,0,0,0,0.5,0.5");
    put("home,0.6,0.8,0,-0.48,0.64,0.6,10,-5,0,0");
    put("home,0,0,0,0.6,0.8,0,0,0,0.5,0.5");
    return file.flush() ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 3 && std::string(argv[1]) == "--record") {
        return record(argv[2]);
    }
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
