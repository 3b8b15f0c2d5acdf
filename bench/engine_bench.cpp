// The engine, sample by sample: its cost, and that of its unusual cases. Prints JSON; bench.py makes the table of it.
//
// Usage: engine_bench DIRECTORY ID RECORDING.korraw TASK [NUMBER]
//
//   equal         whether engine and plain formulas give the same results, to the bit; a digest of them
//   feed N        feeds N samples and prints their number, for a count of instructions from outside
//   plain N       the same with the plain formulas
//   time ROUNDS   nanoseconds of a sample, engine and plain formulas by turns
//   unusual       nanoseconds of a repeated time stamp and of a rejected sample
//   allocations   allocations while the recording is fed
//   latency N     quantiles of single calls, while a second thread configures
//   flat N        nanoseconds of a sample of an engine that has had a thousand of them, and of one that has had N
//   tables        nanoseconds of a sample by the length of the tables, for moving readings and for jumps
//   walk ROWS, leap ROWS   as feed, with tables of so many rows, for moving readings and for jumps
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "KORInterface/KORInterface.h"
#include "KORInterface/Session.h"
#include "bench/Recording.h"
#include "bench/Timing.h"
#include "literal/Configure.h"
#include "literal/Engine.h"
#include "support/CountedNew.h"

namespace {

using namespace kor_bench;

struct Sensor {
    CKorPrm prm;
    std::vector<KOR_RAWINFO> samples;
};

[[noreturn]] void fail(const std::string& text)
{
    std::fprintf(stderr, "engine_bench: %s\n", text.c_str());
    std::exit(1);
}

void configure(CKor& engine, const CKorPrm& prm)
{
    kor::FreshProcessValues();
    if (const int code = kor::Configure(engine, prm, kor::ConfigureOptions().parameterStore()); code != kor::kSuccess) {
        fail(std::string("the engine cannot be configured: ") + kor::StatusText(code));
    }
}

// The plain formulas with process-wide values of their own.
struct Plain {
    explicit Plain(CKorPrm& prm)
    {
        std::array<float, 7> dynamic{};
        std::array<float, 3> x{};
        std::array<float, 3> y{};
        int mode = 0;
        prm.getDynamicKORParameters(dynamic.data());
        prm.getPSDParameters(x.data(), y.data());
        prm.getMountMode(mode);
        engine.loadParameterStore(dynamic.data(), x.data(), y.data());
        kor_test::configureLiteral(engine, prm, mode);
    }

    kor_test::LiteralProcess process;
    kor_test::LiteralEngine engine{process};
};

// Feeds a number of samples, the recording again and again.
template <typename Engine>
void feed(Engine& engine, const std::vector<KOR_RAWINFO>& samples, std::size_t count)
{
    KOR_INFO info;
    for (std::size_t done = 0; done < count;) {
        const std::size_t turn = std::min(samples.size(), count - done);
        for (std::size_t i = 0; i < turn; ++i) {
            engine.updateKORData(samples[i], info);
            keep(info);
        }
        done += turn;
    }
}

// What an engine tells of a sample: record, matrix and the code that comes with it, byte by byte.
using Result = std::array<unsigned char, sizeof(KOR_INFO) + 9 * sizeof(double) + 1>;

template <typename Engine>
Result resultOf(Engine& engine, const KOR_RAWINFO& sample)
{
    KOR_INFO info;
    std::array<double, 9> matrix{};
    engine.updateKORData(sample, info);
    const bool valid = engine.ReadMatrix(matrix.data()) == kor::kSuccess;
    Result result{};
    std::memcpy(result.data(), &info, sizeof info);
    std::memcpy(result.data() + sizeof info, matrix.data(), sizeof matrix);
    result.back() = valid ? 1 : 0;
    return result;
}

void compare(Sensor& sensor)
{
    CKor engine;
    configure(engine, sensor.prm);
    Plain plain(sensor.prm);
    std::uint64_t digest = 14695981039346656037ULL;
    std::size_t valid = 0;
    for (const KOR_RAWINFO& sample : sensor.samples) {
        const Result result = resultOf(engine, sample);
        if (result != resultOf(plain.engine, sample)) {
            fail("the engine and the plain formulas differ");
        }
        valid += result.back();
        for (const unsigned char byte : result) {
            digest = (digest ^ byte) * 1099511628211ULL;
        }
    }
    std::printf("{\"samples\": %zu, \"valid\": %zu, \"digest\": \"%016llx\"}\n", sensor.samples.size(), valid,
                static_cast<unsigned long long>(digest));
}

void feedCounted(Sensor& sensor, std::size_t count)
{
    CKor engine;
    configure(engine, sensor.prm);
    feed(engine, sensor.samples, count);
    std::printf("{\"samples\": %zu}\n", count);
}

void feedPlain(Sensor& sensor, std::size_t count)
{
    Plain plain(sensor.prm);
    feed(plain.engine, sensor.samples, count);
    std::printf("{\"samples\": %zu}\n", count);
}

void time(Sensor& sensor, int rounds)
{
    CKor engine;
    configure(engine, sensor.prm);
    Plain plain(sensor.prm);
    const std::size_t count = std::max<std::size_t>(sensor.samples.size(), 20000);
    const std::vector<Spent> spent =
        timeByTurns({[&] { feed(engine, sensor.samples, count); }, [&] { feed(plain.engine, sensor.samples, count); }},
                    count, rounds);
    std::printf("{%s, %s}\n", jsonOf("engine", spent[0]).c_str(), jsonOf("plain", spent[1]).c_str());
}

// A model that filters over time leaves at once when the clock has not moved; a sample of another status, before that.
void unusual(Sensor& sensor)
{
    CKor engine;
    configure(engine, sensor.prm);
    feed(engine, sensor.samples, sensor.samples.size());
    const auto valid = std::find_if(sensor.samples.rbegin(), sensor.samples.rend(),
                                    [](const KOR_RAWINFO& sample) { return sample.status == 2; });
    if (valid == sensor.samples.rend()) {
        fail("the recording has no valid sample");
    }
    KOR_RAWINFO rejected = *valid;
    rejected.status = 1;
    constexpr std::size_t kCalls = 100000;
    const auto again = [&engine](const KOR_RAWINFO& sample) {
        KOR_INFO info;
        for (std::size_t i = 0; i < kCalls; ++i) {
            engine.updateKORData(sample, info);
            keep(info);
        }
    };
    const std::vector<Spent> spent = timeByTurns({[&] { again(*valid); }, [&] { again(rejected); }}, kCalls, 15);
    std::printf("{%s, %s}\n", jsonOf("repeated", spent[0]).c_str(), jsonOf("rejected", spent[1]).c_str());
}

void allocations(Sensor& sensor)
{
    const long before = kor_test::allocationCount();
    CKor engine;
    configure(engine, sensor.prm);
    const long made = kor_test::allocationCount();
    if (made == before) {
        fail("allocations of the library are not counted");
    }
    feed(engine, sensor.samples, sensor.samples.size());
    std::printf("{\"samples\": %zu, \"allocations\": %ld}\n", sensor.samples.size(),
                kor_test::allocationCount() - made);
}

void latency(Sensor& sensor, std::size_t count)
{
    CKor engine;
    configure(engine, sensor.prm);
    std::atomic<bool> done{false};
    std::atomic<std::size_t> configured{0};
    // What a host may call while samples are fed: every group but the thermal factors and the mode.
    std::thread other([&] {
        F_VECTOR2 tilt{};
        F_VECTOR2 offset{};
        std::array<float, 8> factors{};
        unsigned int number = 0;
        sensor.prm.getTiltOffset(tilt);
        sensor.prm.getEncoderOffset(offset);
        sensor.prm.getScaleFactors(factors.data(), number);
        while (!done) {
            engine.setTiltOffset(tilt);
            engine.setEncoderOffset(offset);
            engine.setScaleFactors(factors.data(), static_cast<int>(number));
            ++configured;
            std::this_thread::sleep_for(std::chrono::microseconds(20));
        }
    });
    std::vector<double> took(count);
    KOR_INFO info;
    for (std::size_t i = 0; i < count; ++i) {
        const auto start = std::chrono::steady_clock::now();
        engine.updateKORData(sensor.samples[i % sensor.samples.size()], info);
        took[i] = nanosecondsSince(start);
    }
    done = true;
    other.join();
    std::sort(took.begin(), took.end());
    const auto quantile = [&took](double share) {
        return took[std::min(took.size() - 1, static_cast<std::size_t>(share * static_cast<double>(took.size())))];
    };
    std::printf("{\"samples\": %zu, \"configured\": %zu, \"half\": %.0f, \"most\": %.0f, \"last\": %.0f}\n", count,
                configured.load(), quantile(0.5), quantile(0.9999), took.back());
}

// By turns, because the machine changes more in the meantime than the engine.
void flat(Sensor& sensor, std::size_t count)
{
    constexpr std::size_t kBlock = 10000;
    constexpr std::size_t kEarly = 1000;
    CKor early;
    configure(early, sensor.prm);
    feed(early, sensor.samples, kEarly);
    CKor late;
    configure(late, sensor.prm);
    feed(late, sensor.samples, count);
    const std::vector<Spent> spent = timeByTurns(
        {[&] { feed(early, sensor.samples, kBlock); }, [&] { feed(late, sensor.samples, kBlock); }}, kBlock, 25);
    std::printf("{\"samples\": %zu, %s, %s}\n", count, jsonOf("early", spent[0]).c_str(),
                jsonOf("late", spent[1]).c_str());
}

// Tables of so many rows in place of the file's: corrections and levels of the usual size.
void lengthenTables(CKor& engine, int rows)
{
    const auto count = static_cast<std::size_t>(rows);
    std::vector<float> azimuth;
    std::vector<float> elevation;
    std::vector<float> knots;
    std::vector<double> coefficients;
    for (std::size_t i = 0; i < count; ++i) {
        const double share = static_cast<double>(i) / static_cast<double>(count);
        const double next = 1.0 / static_cast<double>(count);
        const auto correction = static_cast<float>(0.005 * std::sin(6.28 * share));
        azimuth.insert(azimuth.end(), {static_cast<float>(360.0 * share), correction});
        elevation.insert(elevation.end(), {static_cast<float>(-60.0 + 120.0 * share), correction});
        knots.push_back(static_cast<float>(-30.0 + 60.0 * share));
        coefficients.insert(coefficients.end(), {-30.0 + 60.0 * share, 1.0, 0.0, 1e-6 * next});
    }
    knots.insert(knots.end(), {-30.0F, 30.0F, 0.0F});
    if (engine.setAzimuthComp(rows, azimuth.data()) != 0 || engine.setElevationComp(rows, elevation.data()) != 0 ||
        engine.setLevelXComp(rows, knots.data(), coefficients.data()) != 0 ||
        engine.setLevelYComp(rows, knots.data(), coefficients.data()) != 0) {
        fail("the engine refuses a table");
    }
}

// Moving: ten degrees a second in both axes at a thousand samples a second, the levels a degree a second. Jumping: any
// reading of the tables.
std::vector<KOR_RAWINFO> movement(const KOR_RAWINFO& like, bool jumps)
{
    constexpr std::size_t kSamples = 4000;
    std::vector<KOR_RAWINFO> samples(kSamples, like);
    std::uint64_t state = 88172645463325252ULL;
    const auto random = [&state] {
        state ^= state << 13U;
        state ^= state >> 7U;
        state ^= state << 17U;
        return static_cast<double>(state >> 11U) * 0x1p-53;
    };
    for (std::size_t i = 0; i < kSamples; ++i) {
        // To and fro, so that the recording can be repeated without a jump.
        const std::size_t half = kSamples / 2;
        const double path = 0.01 * static_cast<double>(i < half ? i : kSamples - i);
        const double azimuth = jumps ? 360.0 * random() : 100.0 + path;
        const double elevation = jumps ? -50.0 + 100.0 * random() : -10.0 + path;
        const double levelX = jumps ? -25.0 + 50.0 * random() : 1.0 + 0.1 * path;
        const double levelY = jumps ? -25.0 + 50.0 * random() : -1.0 + 0.1 * path;
        samples[i].status = 2;
        samples[i].azimuthRaw = static_cast<float>(azimuth);
        samples[i].elevationRaw = static_cast<float>(elevation);
        samples[i].levelXRaw = static_cast<float>(levelX);
        samples[i].levelYRaw = static_cast<float>(levelY);
        samples[i].timeStampMs = static_cast<std::uint32_t>(i);
    }
    return samples;
}

// An engine keeps the size of its first tables, so each length has an engine of its own and the long ones come first.
void prepare(CKor& engine, const Sensor& sensor, int rows)
{
    lengthenTables(engine, rows);
    configure(engine, sensor.prm);
    lengthenTables(engine, rows);
}

void tables(Sensor& sensor)
{
    constexpr std::array<int, 4> kRows = {100, 1000, 10000, 100000}; // no fewer than the files have
    std::printf("{");
    for (const int rows : kRows) {
        CKor engine;
        prepare(engine, sensor, rows);
        const std::vector<KOR_RAWINFO> walk = movement(sensor.samples.front(), false);
        const std::vector<KOR_RAWINFO> leap = movement(sensor.samples.front(), true);
        const std::vector<Spent> spent = timeByTurns(
            {[&] { feed(engine, walk, walk.size()); }, [&] { feed(engine, leap, leap.size()); }}, walk.size(), 25);
        std::printf("%s\"%d\": {%s, %s}", rows == kRows.front() ? "" : ", ", rows, jsonOf("walk", spent[0]).c_str(),
                    jsonOf("leap", spent[1]).c_str());
    }
    std::printf("}\n");
}

void feedTables(Sensor& sensor, int rows, bool jumps)
{
    CKor engine;
    prepare(engine, sensor, rows);
    const std::vector<KOR_RAWINFO> samples = movement(sensor.samples.front(), jumps);
    feed(engine, samples, samples.size());
    std::printf("{\"samples\": %zu}\n", samples.size());
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 5 && argc != 6) {
        fail("usage: engine_bench DIRECTORY ID RECORDING.korraw TASK [NUMBER]");
    }
    Sensor sensor;
    kor::ReadReport report;
    if (kor::ReadParameterFile(sensor.prm, argv[1], static_cast<std::uint32_t>(std::strtoul(argv[2], nullptr, 10)),
                               report) != kor::kSuccess) {
        fail(report.text());
    }
    sensor.samples = readRecording(argv[3]);
    if (sensor.samples.empty()) {
        fail(std::string(argv[3]) + " holds no samples");
    }
    const std::string task = argv[4];
    const long number = argc > 5 ? std::strtol(argv[5], nullptr, 10) : 0;
    const std::size_t count = number > 0 ? static_cast<std::size_t>(number) : sensor.samples.size();
    const int small = static_cast<int>(std::clamp(number, 1L, 1000000L));
    if (task == "equal") {
        compare(sensor);
    } else if (task == "feed") {
        feedCounted(sensor, count);
    } else if (task == "plain") {
        feedPlain(sensor, count);
    } else if (task == "time") {
        time(sensor, small);
    } else if (task == "unusual") {
        unusual(sensor);
    } else if (task == "allocations") {
        allocations(sensor);
    } else if (task == "latency") {
        latency(sensor, count);
    } else if (task == "flat") {
        flat(sensor, count);
    } else if (task == "tables") {
        tables(sensor);
    } else if (task == "walk" || task == "leap") {
        feedTables(sensor, small, task == "leap");
    } else {
        fail("there is no task " + task);
    }
    return 0;
}
