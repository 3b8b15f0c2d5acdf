// The engine against its flat reference over random configurations and sequences, to the bit.
#include "engine/engine_pair.h"

#include "mek/Spline.h"

#include <climits>
#include <random>

#if !defined(_WIN32)
#include <sys/wait.h>
#include <unistd.h>

#include "support/ChildExit.h"
#endif

namespace kor_test {
namespace {

class Source {
public:
    explicit Source(unsigned int seed) : m_random(seed) {}

    float real(float low, float high) { return std::uniform_real_distribution<float>(low, high)(m_random); }
    int integer(int low, int high) { return std::uniform_int_distribution<int>(low, high)(m_random); }
    bool oneIn(int n) { return integer(1, n) == 1; }

    template <std::size_t size>
    std::array<float, size> reals(float low, float high)
    {
        std::array<float, size> values{};
        for (float& value : values) {
            value = real(low, high);
        }
        return values;
    }

    Matrix matrix()
    {
        Matrix m{};
        switch (integer(0, 4)) {
        case 0:
            return kIdentity;
        case 1:
            return multiply(rotationX(static_cast<double>(real(-3, 3))), rotationZ(static_cast<double>(real(-3, 3))));
        case 2: // singular
            for (std::size_t i = 0; i < 9; ++i) {
                m[i] = static_cast<double>(i % 3 + 1);
            }
            return m;
        default:
            for (double& element : m) {
                element = static_cast<double>(real(-5, 5));
            }
            return m;
        }
    }

    // A number that arithmetic stumbles over.
    float awkward()
    {
        static constexpr std::array<float, 14> kValues = {0.0F,   -0.0F,   kNoNumber, kInfinite, -kInfinite,
                                                          1e-45F, 3.4e38F, -3.4e38F,  1e-12F,    90.0F,
                                                          180.0F, -90.0F,  2000.0F,   -2000.0F};
        return kValues[static_cast<std::size_t>(integer(0, 13))];
    }

    void levelTable(std::vector<float>& knots, std::vector<double>& coefficients)
    {
        const int count = integer(1, 9);
        knots.clear();
        std::vector<float> corrections;
        float x = -20.0F;
        for (int i = 0; i < count; ++i) {
            x += real(0.5F, 5.0F);
            knots.push_back(x);
            corrections.push_back(x + real(-0.5F, 0.5F));
        }
        coefficients.assign(static_cast<std::size_t>(4 * count), 0.0);
        mek::CubicSplines(knots.data(), corrections.data(), count - 1, coefficients.data());
        knots.insert(knots.end(), {-35.0F, 35.0F, 0.0F});
    }

    std::vector<float> encoderTable()
    {
        const int count = integer(1, 12);
        std::vector<float> table;
        float reading = real(0, 20);
        for (int i = 0; i < count; ++i) {
            table.push_back(reading);
            table.push_back(real(-0.5F, 0.5F));
            reading += real(5, 28);
        }
        return table;
    }

    KOR_RAWINFO sample(std::uint32_t time)
    {
        KOR_RAWINFO raw;
        std::memset(&raw, 0, sizeof(raw));
        raw.reserved0 = integer(INT_MIN, INT_MAX);
        raw.reserved44 = integer(INT_MIN, INT_MAX);
        raw.status = oneIn(8) ? integer(-1, 4) : 2;
        for (float& component : raw.sensorVector) {
            component = real(-9000, 9000);
        }
        raw.azimuthRaw = real(-400, 400);
        raw.elevationRaw = real(-100, 100);
        raw.levelXRaw = real(-25, 25);
        raw.levelYRaw = oneIn(3) ? real(-6000, 6000) : real(-25, 25);
        raw.levelTemperature = real(-10, 40);
        raw.referenceGate = real(0, 0.6F);
        raw.referenceHold = static_cast<std::uint8_t>(oneIn(3) ? integer(0, 255) : 0);
        for (std::int32_t& count : raw.temperatureCount) {
            count = oneIn(2) ? integer(0, 0xFFFFFF) : integer(INT_MIN, INT_MAX);
        }
        raw.timeStampMs = time;
        return raw;
    }

    void spoil(KOR_RAWINFO& raw)
    {
        const std::array<float*, 9> fields = {&raw.sensorVector[0], &raw.sensorVector[1],  &raw.sensorVector[2],
                                              &raw.azimuthRaw,      &raw.elevationRaw,     &raw.levelXRaw,
                                              &raw.levelYRaw,       &raw.levelTemperature, &raw.referenceGate};
        *fields[static_cast<std::size_t>(integer(0, 8))] = awkward();
    }

    void configure(EnginePair& pair)
    {
        pair.scaleFactors({real(-2, 2), real(-2, 2), real(-3, 3), real(-3, 3), real(0.9F, 1.1F), real(0.9F, 1.1F),
                           real(0.9F, 1.1F), real(-1, 1)});
        pair.qvc(reals<6>(-2, 2));
        pair.level1({real(-1, 1), real(-1, 1), real(-1, 1), real(-2, 2), real(-2, 2), real(-1, 1), real(0.9F, 1.1F)});
        pair.level2({real(-1, 1), real(-1, 1), real(-1, 1), real(30, 60), real(-2, 2), real(-1, 1), real(0.9F, 1.1F)});
        pair.encoderOffset({real(-3, 3), real(-1, 1)});
        pair.tiltOffset({real(-1, 1), real(-1, 1)});
        pair.thermal({real(-0.01F, 0.01F), real(0.9F, 1.1F), real(-0.01F, 0.01F), real(0.9F, 1.1F)});
        pair.localMatrix(matrix());
        pair.machineMatrix(matrix());
        pair.mcs(oneIn(2));
        pair.psd(integer(-2000, 2000), integer(-2000, 2000), oneIn(3) ? 0 : integer(-3000, 3000));
        std::vector<float> knots;
        std::vector<double> coefficients;
        if (!oneIn(4)) {
            levelTable(knots, coefficients);
            pair.levelX(knots, coefficients);
        }
        if (!oneIn(4)) {
            levelTable(knots, coefficients);
            pair.levelY(knots, coefficients);
        }
        if (!oneIn(3)) {
            pair.azimuth(encoderTable());
        }
        if (!oneIn(3)) {
            pair.elevation(encoderTable());
        }
        if (oneIn(2)) {
            pair.store(reals<7>(0, 1), reals<3>(-1, 1), reals<3>(-1, 1));
        }
    }

    // Changes one thing in the middle of a sequence.
    void reconfigure(EnginePair& pair, int mode)
    {
        switch (integer(0, 9)) {
        case 0:
            pair.mcs(!pair.literal.mcs);
            break;
        case 1:
            pair.localMatrix(matrix());
            break;
        case 2:
            pair.machineMatrix(matrix());
            break;
        case 3:
            pair.tiltOffset({real(-1, 1), real(-1, 1)});
            break;
        case 4:
            pair.encoderOffset({real(-3, 3), real(-1, 1)});
            break;
        case 5:
            pair.psd(integer(-2000, 2000), integer(-2000, 2000), integer(-1, 3000));
            break;
        case 6:
            pair.scaleFactors(reals<8>(-2, 2));
            break;
        case 7:
            pair.qvc(reals<6>(-2, 2));
            break;
        case 8:
            pair.store(reals<7>(0, 1), reals<3>(-1, 1), reals<3>(-1, 1));
            break;
        default:
            pair.mountMode(mode);
            break;
        }
    }

private:
    std::mt19937 m_random;
};

void runSequence(unsigned int seed, int firstMode, int laterMode, bool awkward)
{
    SCOPED_TRACE(::testing::Message() << "seed " << seed << ", modes " << firstMode << " and " << laterMode);
    Source source(seed);
    EnginePair pair;
    source.configure(pair);
    pair.mountMode(firstMode);
    auto time = static_cast<std::uint32_t>(source.integer(INT_MIN, INT_MAX));
    for (int i = 0; i < 40; ++i) {
        if (source.oneIn(6)) {
            source.reconfigure(pair, laterMode);
        }
        KOR_RAWINFO raw = source.sample(time);
        if (awkward && source.oneIn(3)) {
            source.spoil(raw);
        }
        pair.feedBoth(raw);
        if (::testing::Test::HasFailure()) {
            FAIL() << "sample " << i;
        }
        time += static_cast<std::uint32_t>(source.integer(0, 100));
    }
}

TEST(EngineAgainstReference, polarizerSequencesAreTheSameToTheBit)
{
    for (unsigned int seed = 0; seed < 200; ++seed) {
        runSequence(seed, 5 + static_cast<int>(seed % 2), 5 + static_cast<int>(seed % 2), false);
    }
}

TEST(EngineAgainstReference, sequencesOfEveryOtherKindAreTheSameToTheBit)
{
    const std::array<int, 10> modes = {1, 2, 3, 4, 7, 8, 0, -3, 11, 12};
    for (unsigned int seed = 1000; seed < 1200; ++seed) {
        const int mode = modes[seed % modes.size()];
        runSequence(seed, mode, mode, false);
    }
}

TEST(EngineAgainstReference, sequencesWithChangingModesAreTheSameToTheBit)
{
    const std::array<int, 7> modes = {1, 3, 5, 7, 8, 10, -1};
    for (unsigned int seed = 2000; seed < 2200; ++seed) {
        runSequence(seed, modes[seed % 5], modes[seed % 7], false);
    }
}

TEST(EngineAgainstReference, awkwardSequencesAreTheSameToTheBit)
{
    const std::array<int, 6> modes = {5, 6, 7, 8, 1, 3};
    for (unsigned int seed = 3000; seed < 3300; ++seed) {
        runSequence(seed, modes[seed % 6], 5, true);
    }
}

#if !defined(_WIN32)
// The two-level model keeps values for the whole process, so the engine and its reference each run in a child
// process of their own and send their results home.
struct Record {
    KOR_INFO info;
    Matrix matrix;
    int code;
};

template <typename Body>
std::vector<Record> inAChildProcess(std::size_t count, Body body)
{
    std::vector<Record> records(count);
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    const pid_t child = fork();
    if (child == 0) {
        for (std::size_t i = 0; i < count; ++i) {
            const Record record = body();
            if (write(ends[1], &record, sizeof(record)) != static_cast<ssize_t>(sizeof(record))) {
                endChild(1);
            }
        }
        endChild(0);
    }
    close(ends[1]);
    auto* bytes = reinterpret_cast<char*>(records.data());
    std::size_t done = 0;
    for (ssize_t got = 1; got > 0 && done < count * sizeof(Record); done += static_cast<std::size_t>(got)) {
        got = read(ends[0], bytes + done, count * sizeof(Record) - done);
        EXPECT_GT(got, 0);
    }
    close(ends[0]);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    return records;
}

TEST(EngineAgainstReference, twoLevelSequencesAreTheSameToTheBit)
{
    // Time stamps that wrap, levels that leave their tables, rejected samples: the counters, run clocks and
    // exclusions that the engine hands over decide what this model returns.
    constexpr std::size_t kSamples = 150;
    int different = 0;
    for (unsigned int seed = 0; seed < 12; ++seed) {
        SCOPED_TRACE(seed);
        std::vector<KOR_RAWINFO> samples;
        Source source(seed);
        std::uint32_t time = 0xFFFFFFFFU - 400U;
        for (std::size_t i = 0; i < kSamples; ++i) {
            KOR_RAWINFO raw = source.sample(time);
            raw.status = source.oneIn(40) ? 1 : 2;
            raw.levelXRaw = source.oneIn(30) ? 99.0F : source.real(-4, 4);
            raw.levelYRaw = source.oneIn(30) ? -99.0F : source.real(-4, 4);
            raw.sensorVector[0] = source.real(3000, 3010);
            raw.sensorVector[1] = source.real(4000, 4010);
            raw.sensorVector[2] = source.real(-300, -290);
            raw.elevationRaw = source.real(-20, 20);
            samples.push_back(raw);
            time += static_cast<std::uint32_t>(source.oneIn(10) ? 0 : source.integer(1, 30));
        }
        const auto configured = [&](EnginePair& pair) {
            Source again(seed + 100);
            again.configure(pair);
            const std::vector<float> knots = {-5, 5, -5, 5, 0};
            if (pair.literal.levelX.knots.values == nullptr) {
                pair.levelX(knots, {-5, 1, 0, 0, 5, 1, 0, 0});
            }
            if (pair.literal.levelY.knots.values == nullptr) {
                pair.levelY(knots, {-5, 1, 0, 0, 5, 1, 0, 0});
            }
        };
        const std::vector<Record> got = inAChildProcess(kSamples, [&, i = std::size_t{0}]() mutable {
            static EnginePair pair;
            if (i == 0) {
                configured(pair);
                pair.engine.setMountMode(seed % 2 == 0 ? 10 : 9);
            }
            Record record{};
            record.info = feed(pair.engine, samples[i++]);
            record.code = pair.engine.ReadMatrix(record.matrix.data());
            return record;
        });
        const std::vector<Record> wanted = inAChildProcess(kSamples, [&, i = std::size_t{0}]() mutable {
            static EnginePair pair;
            if (i == 0) {
                configured(pair);
                pair.literal.setMountMode(seed % 2 == 0 ? 10 : 9);
            }
            Record record{};
            pair.literal.updateKORData(samples[i++], record.info);
            record.code = pair.literal.ReadMatrix(record.matrix.data());
            return record;
        });
        for (std::size_t i = 0; i < kSamples; ++i) {
            ASSERT_TRUE(sameResult(got[i].info, wanted[i].info)) << "sample " << i;
            ASSERT_TRUE(sameBitsThroughout(got[i].matrix, wanted[i].matrix)) << "sample " << i;
            ASSERT_EQ(got[i].code, wanted[i].code) << "sample " << i;
            if (i > 20 && std::isfinite(got[i].matrix[0]) &&
                std::memcmp(got[i].matrix.data(), got[i - 1].matrix.data(), sizeof(Matrix)) != 0) {
                ++different;
            }
        }
    }
    EXPECT_GT(different, 200) << "the sequences must make the model work";
}
#endif

} // namespace
} // namespace kor_test
