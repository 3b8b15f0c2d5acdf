// Every public operation that allocates, with each of its allocations failing in turn: alone, and with all behind it.
// What must hold: only constructors and the shared records' copies throw, and only std::bad_alloc; every other
// operation answers with the result that it promises, and the object serves on when there is memory again.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "KORInterface/KORInterface.h"
#include "KORInterface/ParameterCheck.h"
#include "KORInterface/ParameterFile.h"
#include "KORInterface/Session.h"
#include "KORInterface/Status.h"
#include "KORInterface/kor.h"

#include "faults/faults.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kSensor = KOR_DATA "/two_level";
constexpr std::uint32_t kId = 1009;

struct Ended {
    bool threw = false;
    int result = 0;
};

/// Does the work with its n-th allocation failing, for every n; every time on something newly prepared. What came of it
/// goes to `judge`, and that of the run in which nothing failed to `judge` as well, with `failed` false.
/// Returned: the number of allocations.
template <typename Prepare, typename Work, typename Judge>
long withEachAllocationFailing(Prepare prepare, Work work, Judge judge)
{
    long most = 0;
    for (const bool andAfter : {false, true}) {
        bool failed = true;
        for (long number = 1; failed && !::testing::Test::HasFatalFailure(); ++number) {
            auto thing = prepare();
            Ended ended;
            kor_faults::failAllocation(number, andAfter);
            try {
                ended.result = work(thing);
            } catch (const std::bad_alloc&) {
                ended.threw = true;
            }
            failed = kor_faults::allocations() >= number;
            kor_faults::failAllocation(0, false);
            SCOPED_TRACE("allocation " + std::to_string(number) + (andAfter ? " and those behind it" : ""));
            judge(thing, ended, failed);
            most = failed ? number : most;
        }
    }
    return most;
}

/// The same for a constructor or a copy: throws whenever an allocation fails, and only then.
template <typename Made, typename... Given>
void expectToThrowOnly(const Given&... given)
{
    const long allocations = withEachAllocationFailing(
        [] { return std::optional<Made>(); },
        [&](std::optional<Made>& made) {
            made.emplace(given...);
            return 0;
        },
        [](std::optional<Made>&, const Ended& ended, bool failed) { EXPECT_EQ(ended.threw, failed); });
    EXPECT_GT(allocations, 0);
}

/// That a read or a check has its full result, or else says that there was no memory; `refused` counts the latter.
void expectResult(const Ended& ended, bool failed, bool outOfMemory, int& refused)
{
    EXPECT_FALSE(ended.threw);
    EXPECT_EQ(ended.result, outOfMemory ? kor::kFormatError : kor::kSuccess);
    EXPECT_TRUE(failed || !outOfMemory);
    refused += outOfMemory ? 1 : 0;
}

CKorPrm readSensor()
{
    CKorPrm prm;
    kor::ReadReport report;
    EXPECT_EQ(kor::ReadParameterFile(prm, kSensor, kId, report), kor::kSuccess) << report.text();
    return prm;
}

std::wstring wide(const std::string& ascii)
{
    return {ascii.begin(), ascii.end()};
}

std::string bytesOf(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

KOR_RAWINFO sample(std::uint32_t timeStampMs)
{
    KOR_RAWINFO raw{};
    raw.status = 2;
    raw.sensorVector[0] = 4000.0F;
    raw.sensorVector[1] = 100.0F;
    raw.timeStampMs = timeStampMs;
    return raw;
}

TEST(WithoutMemory, constructorsThrowTheAllocatorsException)
{
    expectToThrowOnly<CKor>();
    expectToThrowOnly<CKor>(CKor());
    expectToThrowOnly<kor::ReadReport>();
    expectToThrowOnly<kor::ReadReport>(kor::ReadReport());
    expectToThrowOnly<kor::ParameterFile>();
    expectToThrowOnly<kor::ParameterFile>(kor::ParameterFile());
    expectToThrowOnly<kor::CheckReport>();
    expectToThrowOnly<kor::CheckReport>(kor::CheckReport());
    expectToThrowOnly<CKorThreeVec2Level>();
    expectToThrowOnly<CKorThreeVec2Levelv2>();
}

TEST(WithoutMemory, copiesOfRecordsThrowAndKeepTheTarget)
{
    CStyloPRM source;
    source.entries.resize(3);
    expectToThrowOnly<CStyloPRM>(source);
    withEachAllocationFailing([] { return CStyloPRM(); },
                              [&source](CStyloPRM& target) {
                                  target = source;
                                  return 0;
                              },
                              [](const CStyloPRM& target, const Ended& ended, bool failed) {
                                  EXPECT_EQ(ended.threw, failed);
                                  EXPECT_EQ(target.entries.size(), failed ? 0U : 3U);
                              });
}

// Pins [unfit-table-refused].
TEST(WithoutMemory, setOperationsAnswer20AndServeLater)
{
    const std::vector<float> table = {1.0F, 0.5F, 2.0F, 0.25F, 9.0F, 9.0F, 9.0F};
    const std::vector<double> coefficients(8);
    const auto expectToServe = [](auto operation) {
        const long allocations =
            withEachAllocationFailing([] { return CKor(); }, operation,
                                      [&operation](CKor& engine, const Ended& ended, bool failed) {
                                          EXPECT_FALSE(ended.threw);
                                          EXPECT_EQ(ended.result, failed ? kor::kBadArgument : kor::kSuccess);
                                          EXPECT_EQ(operation(engine), kor::kSuccess);
                                      });
        EXPECT_GT(allocations, 0);
    };
    expectToServe([&](CKor& engine) { return engine.setAzimuthComp(2, table.data()); });
    expectToServe([&](CKor& engine) { return engine.setElevationComp(2, table.data()); });
    expectToServe([&](CKor& engine) { return engine.setLevelXComp(2, table.data(), coefficients.data()); });
    expectToServe([&](CKor& engine) { return engine.setLevelYComp(2, table.data(), coefficients.data()); });
}

// Pins [mode-without-memory]: setMountMode answers 0 without a model, too.
TEST(WithoutMemory, aMountModeIsChosenLater)
{
    for (const int mode : {1, 3, 5, 7, 9}) {
        withEachAllocationFailing([] { return CKor(); }, [mode](CKor& engine) { return engine.setMountMode(mode); },
                                  [mode](CKor& engine, const Ended& ended, bool failed) {
                                      EXPECT_FALSE(ended.threw);
                                      EXPECT_EQ(ended.result, kor::kSuccess);
                                      KOR_INFO info{};
                                      engine.updateKORData(sample(1), info);
                                      EXPECT_EQ(kor::LastSample(engine).outcome == kor::SampleOutcome::noModel, failed);
                                      EXPECT_EQ(engine.setMountMode(mode), kor::kSuccess);
                                      engine.updateKORData(sample(2), info);
                                      EXPECT_NE(kor::LastSample(engine).outcome, kor::SampleOutcome::noModel);
                                  });
    }
}

TEST(WithoutMemory, anEngineThatCannotBeConfiguredSaysSo)
{
    const CKorPrm prm = readSensor();
    const long allocations = withEachAllocationFailing(
        [] { return CKor(); },
        [&prm](CKor& engine) { return kor::Configure(engine, prm, kor::ConfigureOptions().parameterStore()); },
        [&prm](CKor& engine, const Ended& ended, bool failed) {
            EXPECT_FALSE(ended.threw);
            EXPECT_EQ(ended.result, failed ? kor::kBadArgument : kor::kSuccess);
            EXPECT_EQ(kor::Configure(engine, prm), kor::kSuccess);
            EXPECT_EQ(kor::LastSample(engine).model, kor::OrientationModel::twoLevels);
        });
    EXPECT_GT(allocations, 8) << "two for each of four tables, and the model";
}

TEST(WithoutMemory, samplesAreFedAllTheSame)
{
    const CKorPrm prm = readSensor();
    std::uint32_t time = 0;
    const long allocations = withEachAllocationFailing(
        [&prm] {
            CKor engine;
            EXPECT_EQ(kor::Configure(engine, prm), kor::kSuccess);
            return engine;
        },
        [&time](CKor& engine) {
            kor::SampleResult result{};
            for (int i = 0; i < 100; ++i) {
                time += 10;
                kor::ProcessSample(engine, sample(time), result);
            }
            CKor other(engine);
            other = engine;
            return static_cast<int>(result.report.outcome);
        },
        [](CKor&, const Ended&, bool) {});
    EXPECT_EQ(allocations, 1) << "the copy's";
}

// Pins [no-memory-gives-553].
TEST(WithoutMemory, aReadAnswers553AndTheObjectServesLater)
{
    const std::wstring directory = wide(kSensor);
    CKorPrm sound = readSensor();
    unsigned int count = 0;
    ASSERT_EQ(sound.getLevelXComp(count, nullptr, nullptr), kor::kBadArgument);
    const long allocations = withEachAllocationFailing(
        [] { return CKorPrm(); },
        [&directory](CKorPrm& prm) { return prm.ReadCalibrationFile(directory.c_str(), kId); },
        [&](CKorPrm& prm, const Ended& ended, bool failed) {
            EXPECT_FALSE(ended.threw);
            EXPECT_EQ(ended.result, failed ? kor::kFormatError : kor::kSuccess);
            EXPECT_EQ(prm.ReadCalibrationFile(directory.c_str(), kId), kor::kSuccess);
            std::vector<float> table(count + 3);
            std::vector<float> wanted(count + 3);
            std::vector<double> coefficients(4 * count);
            std::vector<double> wantedCoefficients(4 * count);
            unsigned int rows = 0;
            EXPECT_EQ(prm.getLevelXComp(rows, table.data(), coefficients.data()), kor::kSuccess);
            EXPECT_EQ(sound.getLevelXComp(rows, wanted.data(), wantedCoefficients.data()), kor::kSuccess);
            EXPECT_EQ(table, wanted);
            EXPECT_EQ(coefficients, wantedCoefficients);
        });
    EXPECT_GT(allocations, 6) << "one for each table at least";
}

struct Reading {
    CKorPrm prm;
    kor::ReadReport report;
};

TEST(WithoutMemory, aReadWithAnAccountSaysSo)
{
    const std::wstring directory = wide(kSensor);
    const auto expectAccount = [](auto read) {
        int refused = 0;
        const long allocations =
            withEachAllocationFailing([] { return Reading(); }, read,
                                      [&](Reading& reading, const Ended& ended, bool failed) {
                                          expectResult(ended, failed, reading.report.outOfMemory(), refused);
                                          EXPECT_EQ(reading.report.status(), ended.result);
                                          EXPECT_EQ(reading.report.message(), 0U);
                                          EXPECT_EQ(read(reading), kor::kSuccess);
                                          EXPECT_FALSE(reading.report.outOfMemory());
                                      });
        EXPECT_GE(refused, 2 * allocations - 2) << "the last one, for the sentences, can be done without";
    };
    expectAccount([](Reading& to) { return kor::ReadParameterFile(to.prm, kSensor, kId, to.report); });
    expectAccount([&](Reading& to) { return kor::ReadParameterFile(to.prm, directory.c_str(), kId, to.report); });

    kor::ReadReport bad;
    CKorPrm prm;
    ASSERT_EQ(kor::ReadParameterFile(prm, KOR_DATA, 1, bad), kor::kCannotOpen);
    withEachAllocationFailing([] { return kor::ReadReport(); },
                              [&bad](kor::ReadReport& to) {
                                  to = bad;
                                  return 0;
                              },
                              [](const kor::ReadReport& to, const Ended& ended, bool) {
                                  EXPECT_FALSE(ended.threw);
                                  EXPECT_EQ(to.status(), kor::kCannotOpen);
                              });
}

TEST(WithoutMemory, aFileThatCannotBeTakenApartSaysSo)
{
    const std::string path = std::string(kSensor) + "/Tg1009.prm";
    const std::string bytes = bytesOf(path);
    const auto expectAccount = [](auto load) {
        const long allocations =
            withEachAllocationFailing([] { return kor::ParameterFile(); }, load,
                                      [&load](kor::ParameterFile& file, const Ended& ended, bool failed) {
                                          EXPECT_FALSE(ended.threw);
                                          EXPECT_EQ(ended.result, failed ? kor::kFormatError : kor::kSuccess);
                                          EXPECT_EQ(file.status(), ended.result);
                                          EXPECT_EQ(file.outOfMemory(), failed);
                                          EXPECT_EQ(file.blocks(), failed ? 0U : kor::ParameterBlockKinds());
                                          EXPECT_EQ(load(file), kor::kSuccess);
                                          EXPECT_FALSE(file.outOfMemory());
                                      });
        EXPECT_GT(allocations, 20);
    };
    expectAccount([](kor::ParameterFile& file) { return kor::LoadParameterFile(file, kSensor, kId); });
    expectAccount([&](kor::ParameterFile& file) { return kor::LoadParameterFile(file, path.c_str()); });
    expectAccount([&](kor::ParameterFile& file) { return kor::LoadParameterBytes(file, bytes.data(), bytes.size()); });

    kor::ParameterFile loaded;
    ASSERT_EQ(kor::LoadParameterFile(loaded, kSensor, kId), kor::kSuccess);
    expectToThrowOnly<kor::ParameterFile>(loaded);
    expectAccount([&loaded](kor::ParameterFile& file) {
        file = loaded;
        return file.status();
    });
}

TEST(WithoutMemory, aCheckThatCannotBeMadeSaysSo)
{
    const std::string path = std::string(kSensor) + "/Tg1009.prm";
    kor::ParameterFile loaded;
    ASSERT_EQ(kor::LoadParameterFile(loaded, path.c_str()), kor::kSuccess);
    kor::CheckReport done;
    ASSERT_EQ(kor::CheckParameters(loaded, 3, done), kor::kSuccess);
    ASSERT_GT(done.findings(), 0U) << "another mount mode than the file's";
    const auto expectAccount = [&done](auto check) {
        int refused = 0;
        const long allocations =
            withEachAllocationFailing([] { return kor::CheckReport(); }, check,
                                      [&](kor::CheckReport& report, const Ended& ended, bool failed) {
                                          expectResult(ended, failed, report.outOfMemory(), refused);
                                          EXPECT_EQ(report.status(), ended.result);
                                          EXPECT_EQ(report.findings(), report.outOfMemory() ? 0U : done.findings());
                                          EXPECT_EQ(check(report), kor::kSuccess);
                                          EXPECT_FALSE(report.outOfMemory());
                                      });
        EXPECT_GT(allocations, 5);
        EXPECT_GE(refused, 2 * allocations - 2) << "a sort can do without the memory that it asks for";
    };
    expectAccount([&](kor::CheckReport& report) { return kor::CheckParameters(loaded, 3, report); });
    expectAccount([](kor::CheckReport& report) { return kor::CheckParameterFile(kSensor, kId, 3, report); });
    expectAccount([&](kor::CheckReport& report) { return kor::CheckParameterFile(path.c_str(), 3, report); });
    expectAccount([&done](kor::CheckReport& report) {
        report = done;
        return report.status();
    });
    expectToThrowOnly<kor::CheckReport>(done);
}

/// A directory with one parameter file: that of a sensor, changed.
class ChangedSensor {
public:
    ChangedSensor(const std::string& from, const std::string& to)
    {
        EXPECT_NE(::mkdtemp(m_directory.data()), nullptr);
        std::string text = bytesOf(std::string(kSensor) + "/Tg1009.prm");
        const std::size_t at = text.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        std::ofstream(fs::path(m_directory) / "Tg1009.prm", std::ios::binary) << text.replace(at, from.size(), to);
    }
    ~ChangedSensor()
    {
        std::error_code ignored;
        fs::remove_all(m_directory, ignored);
    }
    ChangedSensor(const ChangedSensor&) = delete;
    ChangedSensor& operator=(const ChangedSensor&) = delete;
    const char* directory() const { return m_directory.c_str(); }

private:
    std::string m_directory = (fs::temp_directory_path() / "kor_changed_XXXXXX").string();
};

// A word before the last block's numbers leaves these as they were.
TEST(WithoutMemory, aFindingThatCannotBeKeptIsCounted)
{
    const ChangedSensor sensor("DynamicParameters\n", "DynamicParameters\nnone ");
    int kept = 0;
    int counted = 0;
    withEachAllocationFailing(
        [] { return Reading(); },
        [&sensor](Reading& to) { return kor::ReadParameterFile(to.prm, sensor.directory(), kId, to.report); },
        [&](const Reading& to, const Ended& ended, bool) {
            EXPECT_FALSE(ended.threw);
            if (ended.result == kor::kSuccess) {
                EXPECT_EQ(to.report.allFindings(), 1U);
                EXPECT_TRUE(to.report.findings() == 0 || std::string(to.report.finding(0).found) == "none");
                EXPECT_NE(to.report.finding(0).text, nullptr);
                kept += to.report.findings() == 1 ? 1 : 0;
                counted += to.report.findings() == 0 ? 1 : 0;
            }
        });
    EXPECT_GT(kept, 0);
    EXPECT_GT(counted, 0);
}

TEST(WithoutMemory, aFailureKeepsItsMessage)
{
    const std::string word(100, 'w');
    const ChangedSensor sensor("ADM Offset\n", "ADM " + word + "\n");
    int without = 0;
    withEachAllocationFailing(
        [] { return Reading(); },
        [&sensor](Reading& to) { return kor::ReadParameterFile(to.prm, sensor.directory(), kId, to.report); },
        [&](const Reading& to, const Ended& ended, bool) {
            EXPECT_FALSE(ended.threw);
            EXPECT_EQ(ended.result, kor::kFormatError);
            EXPECT_EQ(to.report.message(), to.report.outOfMemory() ? 0U : 615U);
            without += to.report.message() == 615 && *to.report.found() == '\0' ? 1 : 0;
        });
    EXPECT_GT(without, 0) << "the title is known to be wrong before what stands there is kept";
    int refused = 0;
    withEachAllocationFailing([] { return kor::CheckReport(); },
                              [&sensor](kor::CheckReport& report) {
                                  return kor::CheckParameterFile(sensor.directory(), kId, kor::kModeOfFile, report);
                              },
                              [&refused](const kor::CheckReport& report, const Ended& ended, bool failed) {
                                  EXPECT_FALSE(ended.threw);
                                  EXPECT_EQ(ended.result, kor::kFormatError);
                                  EXPECT_EQ(report.errors() > 0, !report.outOfMemory());
                                  EXPECT_TRUE(failed || !report.outOfMemory());
                                  refused += report.outOfMemory() ? 1 : 0;
                              });
    EXPECT_GT(refused, 20);
}

TEST(WithoutMemory, whatIsRefusedAtOnceIsRefusedAllTheSame)
{
    withEachAllocationFailing([] { return Reading(); },
                              [](Reading& to) { return kor::ReadParameterFile(to.prm, "\xC0\xAF", kId, to.report); },
                              [](const Reading& to, const Ended& ended, bool failed) {
                                  EXPECT_FALSE(ended.threw);
                                  EXPECT_EQ(ended.result, kor::kCannotOpen);
                                  EXPECT_EQ(*to.report.text() == '\0', failed);
                              });
    int untold = 0;
    withEachAllocationFailing(
        [] { return kor::ParameterFile(); },
        [](kor::ParameterFile& file) { return kor::LoadParameterBytes(file, "x", 17179869184ULL); },
        [&untold](const kor::ParameterFile& file, const Ended& ended, bool failed) {
            EXPECT_FALSE(ended.threw);
            EXPECT_EQ(ended.result, kor::kFormatError);
            EXPECT_EQ(file.outOfMemory(), std::string(file.expected()) == "a file that fits into the memory");
            EXPECT_EQ(std::string(file.found()), failed ? "" : "17179869184 bytes");
            untold += failed && !file.outOfMemory() ? 1 : 0;
        });
    EXPECT_GT(untold, 0) << "the size is known, and could not be kept";
}

// A table that has been read in part must not be handed out.
TEST(WithoutMemory, aTableWithoutRowsIsHandedOutOrMissing)
{
    const std::string text = bytesOf(std::string(kSensor) + "/Tg1009.prm");
    const std::size_t begin = text.find("Tilt X Calibration Table");
    const std::size_t end = text.find("Tilt Y Calibration Table");
    const ChangedSensor sensor(text.substr(begin, end - begin), "Tilt X Calibration Table\n0\n-20\t20\t0\nDegrees\n");
    const CKorPrm loaded = readSensor();
    unsigned int rows = 0;
    ASSERT_EQ(loaded.getLevelXComp(rows, nullptr, nullptr), kor::kBadArgument);
    ASSERT_GT(rows, 0U);
    const std::wstring directory = wide(sensor.directory());
    int empty = 0;
    withEachAllocationFailing([&loaded] { return CKorPrm(loaded); },
                              [&directory](CKorPrm& prm) { return prm.ReadCalibrationFile(directory.c_str(), kId); },
                              [&](const CKorPrm& prm, const Ended& ended, bool failed) {
                                  EXPECT_FALSE(ended.threw);
                                  EXPECT_EQ(ended.result, failed ? kor::kFormatError : kor::kSuccess);
                                  std::vector<float> table(rows + 3, -1.0F);
                                  std::vector<double> coefficients(4 * std::size_t{rows}, -1.0);
                                  unsigned int count = 4711;
                                  EXPECT_EQ(prm.getLevelXComp(count, table.data(), coefficients.data()), kor::kSuccess);
                                  EXPECT_TRUE(count == rows || (count == 0 && coefficients[0] == -1.0)) << count;
                                  empty += failed && count == 0 ? 1 : 0;
                              });
    EXPECT_GT(empty, 0);
}

// Pins [no-memory-gives-553].
TEST(WithoutMemory, aRewritingAnswers553AndKeepsTheFile)
{
    std::string name = (fs::temp_directory_path() / "kor_faults_XXXXXX").string();
    ASSERT_NE(::mkdtemp(name.data()), nullptr);
    const fs::path before = fs::current_path();
    fs::current_path(name);
    const fs::path file = fs::path(name) / "Tg1009.prm";
    std::string text = bytesOf(std::string(kSensor) + "/Tg1009.prm");
    text.resize(text.find("Scale Factor"));
    const std::wstring path = wide(file.string());
    const long allocations = withEachAllocationFailing(
        [&] {
            std::ofstream(file, std::ios::binary) << text;
            CKorPrm prm;
            *std::copy(path.begin(), path.end(), std::begin(prm.prmDirectory)) = L'\0';
            return prm;
        },
        [](CKorPrm& prm) { return prm.PrmFileCopy(); },
        [&](const CKorPrm&, const Ended& ended, bool failed) {
            EXPECT_FALSE(ended.threw);
            EXPECT_EQ(ended.result, failed ? kor::kFormatError : kor::kSuccess);
            EXPECT_EQ(bytesOf(file) == text, failed);
        });
    EXPECT_GT(allocations, 3);
    fs::current_path(before);
    fs::remove_all(name);
}

// The C interface: nothing leaves a function but its result.

struct CHandles {
    kor_prm* prm = nullptr;
    kor_engine* engine = nullptr;
    kor_reader* reader = nullptr;
    kor_writer* writer = nullptr;

    CHandles()
    {
        EXPECT_EQ(kor_prm_create(&prm), KOR_SUCCESS);
        EXPECT_EQ(kor_engine_create(&engine), KOR_SUCCESS);
        EXPECT_EQ(kor_reader_create(&reader), KOR_SUCCESS);
        EXPECT_EQ(kor_writer_create(&writer), KOR_SUCCESS);
    }
    CHandles(const CHandles&) = delete;
    CHandles& operator=(const CHandles&) = delete;
    ~CHandles()
    {
        kor_prm_destroy(prm);
        kor_engine_destroy(engine);
        kor_reader_destroy(reader);
        kor_writer_destroy(writer);
    }
};

std::unique_ptr<CHandles> cHandlesThatHaveRead()
{
    auto handles = std::make_unique<CHandles>();
    EXPECT_EQ(kor_prm_read(handles->prm, kSensor, kId), KOR_SUCCESS);
    return handles;
}

template <typename Handle>
void expectToMakeOrRefuse(std::int32_t (*create)(Handle**), std::int32_t (*destroy)(Handle*))
{
    const long allocations = withEachAllocationFailing(
        [] { return static_cast<Handle*>(nullptr); }, [&](Handle*& handle) { return create(&handle); },
        [&](Handle*& handle, const Ended& ended, bool failed) {
            EXPECT_FALSE(ended.threw);
            EXPECT_EQ(ended.result, failed ? KOR_BAD_ARGUMENT : KOR_SUCCESS);
            EXPECT_EQ(handle == nullptr, failed);
            EXPECT_EQ(destroy(handle), failed ? KOR_BAD_ARGUMENT : KOR_SUCCESS);
        });
    EXPECT_GT(allocations, 0);
}

TEST(WithoutMemory, handlesOfTheCInterfaceAreRefused)
{
    expectToMakeOrRefuse(kor_prm_create, kor_prm_destroy);
    expectToMakeOrRefuse(kor_engine_create, kor_engine_destroy);
    expectToMakeOrRefuse(kor_reader_create, kor_reader_destroy);
    expectToMakeOrRefuse(kor_writer_create, kor_writer_destroy);
}

TEST(WithoutMemory, cReadsAndChecksOfParameterFilesSaySo)
{
    const auto prepare = [] { return std::make_unique<CHandles>(); };
    int refused = 0;
    withEachAllocationFailing(
        prepare, [](auto& handles) { return kor_prm_read(handles->prm, kSensor, kId); },
        [&](auto& handles, const Ended& ended, bool failed) {
            kor_read_report report = {};
            report.size = sizeof report;
            EXPECT_EQ(kor_prm_read_report(handles->prm, &report), KOR_SUCCESS);
            expectResult(ended, failed, report.out_of_memory != 0, refused);
        });
    EXPECT_GT(refused, 0);
    refused = 0;
    withEachAllocationFailing(
        prepare, [](auto& handles) { return kor_prm_check(handles->prm, kSensor, kId, KOR_MODE_OF_FILE); },
        [&](auto& handles, const Ended& ended, bool failed) {
            kor_check_report report = {};
            report.size = sizeof report;
            EXPECT_EQ(kor_prm_check_report(handles->prm, &report), KOR_SUCCESS);
            expectResult(ended, failed, report.out_of_memory != 0, refused);
        });
    EXPECT_GT(refused, 0);
}

TEST(WithoutMemory, aCEngineIsConfiguredOrSaysThatItIsNot)
{
    int refused = 0;
    const auto judge = [&refused](auto& handles, const Ended& ended, bool failed) {
        EXPECT_FALSE(ended.threw);
        EXPECT_TRUE(ended.result == KOR_SUCCESS || (failed && ended.result == KOR_BAD_ARGUMENT)) << ended.result;
        refused += ended.result == KOR_SUCCESS ? 0 : 1;
        const KOR_RAWINFO raw = sample(10);
        kor_sample_report report = {};
        report.size = sizeof report;
        EXPECT_EQ(kor_engine_update(handles->engine, &raw, nullptr, nullptr, nullptr, &report), KOR_SUCCESS);
        EXPECT_EQ(report.outcome == KOR_OUTCOME_NO_MODEL, ended.result != KOR_SUCCESS);
    };
    EXPECT_GT(withEachAllocationFailing(
                  cHandlesThatHaveRead,
                  [](auto& handles) { return kor_engine_configure(handles->engine, handles->prm, nullptr); }, judge),
              4);
    EXPECT_GT(refused, 4);
    withEachAllocationFailing(
        cHandlesThatHaveRead, [](auto& handles) { return kor_engine_set_mount_mode(handles->engine, 5); }, judge);
}

// A recording is opened, read, written and completed, or the first step that fails says why and nothing is left behind.
TEST(WithoutMemory, cRecordingsSaySoAndLeaveNothingBehind)
{
    std::string folder = (fs::temp_directory_path() / "kor_faults_XXXXXX").string();
    ASSERT_NE(::mkdtemp(folder.data()), nullptr);
    const std::string copy = folder + "/copy.csv";
    const std::string bad = folder + "/bad.csv";
    std::ofstream(bad) << "status\n1,2,3,a longer text than fits into a string without memory of its own\n";
    int refused = 0;
    withEachAllocationFailing(
        [] { return std::make_unique<CHandles>(); },
        [&](auto& handles) {
            std::size_t count = 0;
            KOR_RAWINFO raw[100];
            std::int32_t status = kor_reader_open(handles->reader, KOR_DATA "/two_level/two_level.csv", KOR_FORMAT_ANY);
            if (status == KOR_SUCCESS) {
                status = kor_reader_read(handles->reader, raw, 100, &count);
            }
            if (status == KOR_SUCCESS) {
                status = kor_writer_open(handles->writer, copy.c_str(), KOR_FORMAT_ANY);
            }
            if (status == KOR_SUCCESS) {
                status = kor_writer_write(handles->writer, raw, count);
            }
            return status == KOR_SUCCESS ? kor_writer_close(handles->writer) : status;
        },
        [&](auto& handles, const Ended& ended, bool failed) {
            EXPECT_FALSE(ended.threw);
            EXPECT_TRUE(ended.result == KOR_SUCCESS || failed) << ended.result;
            kor_problem reading = {};
            kor_problem writing = {};
            reading.size = writing.size = sizeof reading;
            EXPECT_EQ(kor_reader_problem(handles->reader, &reading), KOR_SUCCESS);
            EXPECT_EQ(kor_writer_problem(handles->writer, &writing), KOR_SUCCESS);
            EXPECT_EQ(reading.status == KOR_SUCCESS && writing.status == KOR_SUCCESS, ended.result == KOR_SUCCESS);
            EXPECT_EQ(reading.out_of_memory + writing.out_of_memory > 0, ended.result == KOR_BAD_ARGUMENT);
            EXPECT_EQ(fs::exists(copy), ended.result == KOR_SUCCESS);
            refused += ended.result == KOR_SUCCESS ? 0 : 1;
            handles.reset();
            fs::remove(copy);
            EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 1);
        });
    EXPECT_GT(refused, 5);
    withEachAllocationFailing(
        [] { return std::make_unique<CHandles>(); },
        [&](auto& handles) {
            char text[300];
            static_cast<void>(kor_reader_open(handles->reader, bad.c_str(), KOR_FORMAT_ANY));
            return kor_reader_problem_text(handles->reader, KOR_TEXT_SENTENCE, text, sizeof text, nullptr);
        },
        [](auto&, const Ended& ended, bool failed) {
            EXPECT_FALSE(ended.threw);
            EXPECT_TRUE(ended.result == KOR_SUCCESS || (failed && ended.result == KOR_BAD_ARGUMENT));
        });
    fs::remove_all(folder);
}

} // namespace
