// Engines driven by bytes: every operation of the public interface, null pointers, odd counts, copies, samples of any
// bits. Beside each engine stands a plain one (tests/literal) that is driven alike; their answers are the same, bit for
// bit.
#include "literal/Engine.h"
#include "Fuzz.h"
#include "KORInterface/KORInterface.h"
#include "KORInterface/ParameterStore.h"
#include "KeptBuffers.h"
#include "engine/State.h"
#include "equality/Difference.h"

#include <climits>
#include <memory>
#include <vector>

namespace {

using kor_fuzz::Bytes;
using kor_fuzz::require;
using kor_test::LiteralEngine;

int LoadParameterStore(LiteralEngine& engine, const float* dynamic, const float* a, const float* b)
{
    return engine.loadParameterStore(dynamic, a, b);
}

struct Pair {
    CKor engine;
    LiteralEngine plain;

    explicit Pair(kor_test::LiteralProcess& process) : plain(process) {}

    template <typename Operation>
    int both(const char* name, Operation operation)
    {
        const int got = operation(engine);
        kor_test::expectSameCode(name, got, operation(plain));
        return got;
    }
};

class Driver {
public:
    explicit Driver(Bytes& in) : m_in(in)
    {
        kor::FreshProcessValues();
        m_pairs.push_back(std::make_unique<Pair>(m_process));
    }

    void run()
    {
        const int mode = anyMode();
        m_most = kor::ModelOf(mode) == kor::OrientationModel::twoLevels ? 600 : 60;
        if (!m_in.coin()) {
            configure();
        }
        setMode(mode);
        while (!m_in.isEmpty() && m_samples < m_most) {
            step();
        }
    }

private:
    Pair& pair() { return *m_pairs[m_current]; }

    int anyMode()
    {
        constexpr int kModes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, -1, -2, INT_MAX, INT_MIN};
        return m_in.pick(kModes);
    }

    // A count for a group of values: mostly its own.
    int groupCount(int size)
    {
        const int counts[] = {size, size, size, size, 0, 1, -1, size - 1, size + 1, INT_MAX, INT_MIN};
        return m_in.pick(counts);
    }

    void setMode(int mode)
    {
        pair().both("setMountMode", [&](auto& e) { return e.setMountMode(mode); });
        m_buffers.note(CKorAccess::state(pair().engine).model.get());
    }

    void setGroup(std::size_t group)
    {
        constexpr int kSizes[] = {8, 6, 7, 7};
        const int size = kSizes[group];
        // No longer than it must be, so that one value too many is noticed.
        const auto values = std::make_unique<float[]>(static_cast<std::size_t>(size));
        for (int i = 0; i < size; ++i) {
            const bool factor = (group == 0 && i >= 4 && i <= 6) || (group >= 2 && i == 6);
            values[static_cast<std::size_t>(i)] = (factor ? 1.0F : 0.0F) + m_in.real<float>(group == 1 ? 50.0
                                                                                            : factor   ? 0.1
                                                                                                       : 1.0);
        }
        const float* const given = m_in.below(16) == 0 ? nullptr : values.get();
        const int count = groupCount(size);
        pair().both("parameter group", [&](auto& e) {
            return group == 0   ? e.setScaleFactors(given, count)
                   : group == 1 ? e.setQVCParameters(given, count)
                   : group == 2 ? e.setLevel1Parameters(given, count)
                                : e.setLevel2Parameters(given, count);
        });
    }

    void setEncoder(bool azimuth)
    {
        constexpr int kCounts[] = {0, 1, 2, 3, 5, 8, 13, 37, -1, INT_MIN};
        const int count = m_in.pick(kCounts);
        const auto rows = static_cast<std::size_t>(count > 0 ? count : 0);
        const auto table = std::make_unique<float[]>(2 * rows);
        const bool straight = m_in.coin();
        for (std::size_t i = 0; i < rows; ++i) {
            table[2 * i] =
                straight ? 360.0F * static_cast<float>(i) / static_cast<float>(rows) : m_in.real<float>(400.0);
            table[2 * i + 1] = m_in.real<float>(0.5);
        }
        const float* const given = m_in.below(16) == 0 ? nullptr : table.get();
        pair().both("encoder table", [&](auto& e) {
            return azimuth ? e.setAzimuthComp(count, given) : e.setElevationComp(count, given);
        });
    }

    void setLevel(bool x)
    {
        constexpr int kCounts[] = {2, 3, 5, 9, 25, 1, 0, -1, INT_MIN};
        const int count = m_in.pick(kCounts);
        const auto rows = static_cast<std::size_t>(count > 0 ? count : 0);
        const auto knots = std::make_unique<float[]>(rows + 3);
        const auto coefficients = std::make_unique<double[]>(4 * rows);
        const bool straight = m_in.coin();
        for (std::size_t i = 0; i < rows; ++i) {
            knots[i] =
                straight ? 40.0F * static_cast<float>(i) / static_cast<float>(rows) - 20.0F : m_in.real<float>(60.0);
            coefficients[4 * i] = static_cast<double>(knots[i]) + m_in.real<double>(0.2);
            coefficients[4 * i + 1] = 1.0 + m_in.real<double>(0.05);
            coefficients[4 * i + 2] = m_in.real<double>(0.01);
            coefficients[4 * i + 3] = straight ? 0.0 : m_in.real<double>(0.001);
        }
        const std::size_t missing = m_in.below(24);
        const float* const givenKnots = missing == 0 ? nullptr : knots.get();
        const double* const givenCoefficients = missing == 1 ? nullptr : coefficients.get();
        pair().both("level table", [&](auto& e) {
            return x ? e.setLevelXComp(count, givenKnots, givenCoefficients)
                     : e.setLevelYComp(count, givenKnots, givenCoefficients);
        });
    }

    void setMatrix(bool local)
    {
        constexpr int kSizes[] = {3, 3, 3, 3, 0, 1, 2, -1, -2, -3, 4, INT_MAX, INT_MIN};
        const int n = m_in.pick(kSizes);
        double matrix[9];
        const bool rotation = m_in.coin();
        const double angle = m_in.real<double>(7.0);
        kor_test::literal::rotation_y(matrix, angle);
        for (double& element : matrix) {
            element = rotation ? element : m_in.real<double>(2.0);
        }
        double* const given = m_in.below(16) == 0 ? nullptr : matrix;
        pair().both("matrix",
                    [&](auto& e) { return local ? e.setLocalMatrix(given, n) : e.setMachineMatrix(given, n); });
    }

    void loadStore()
    {
        float dynamic[7];
        float ab[6];
        for (int i = 0; i < 7; ++i) {
            dynamic[i] = m_in.real<float>(i < 4 ? 1.0 : 60.0);
        }
        for (float& value : ab) {
            value = m_in.real<float>(1.0);
        }
        const std::size_t missing = m_in.below(24);
        pair().both("parameter store", [&](auto& e) {
            return LoadParameterStore(e, missing == 0 ? nullptr : dynamic, missing == 1 ? nullptr : ab,
                                      missing == 2 ? nullptr : ab + 3);
        });
    }

    void setSmall(std::size_t what)
    {
        Pair& p = pair();
        switch (what) {
        case 0: {
            const F_VECTOR2 offset = {m_in.real<float>(3.0), m_in.real<float>(0.5)};
            p.both("setEncoderOffset", [&](auto& e) { return e.setEncoderOffset(offset); });
            break;
        }
        case 1: {
            const F_VECTOR2 offset = {m_in.real<float>(1.0), m_in.real<float>(1.0)};
            p.both("setTiltOffset", [&](auto& e) { return e.setTiltOffset(offset); });
            break;
        }
        case 2: {
            const F_VECTOR4 factor = {m_in.real<float>(0.01), 1.0F + m_in.real<float>(0.1), m_in.real<float>(0.01),
                                      1.0F + m_in.real<float>(0.1)};
            p.both("setThermalFactor", [&](auto& e) { return e.setThermalFactor(factor); });
            break;
        }
        case 3: {
            const bool flag = m_in.coin();
            p.both("setMcsFlag", [&](auto& e) { return e.setMcsFlag(flag); });
            break;
        }
        case 4: {
            const auto first = m_in.take<std::int32_t>();
            const auto second = m_in.take<std::int32_t>();
            const auto divisor = static_cast<std::int32_t>(m_in.take<std::int8_t>());
            p.both("setPSDParameters", [&](auto& e) { return e.setPSDParameters(first, second, divisor); });
            break;
        }
        default: {
            const double vector[3] = {m_in.take<double>(), m_in.take<double>(), m_in.take<double>()};
            require(p.engine.setKnownVector(vector) == 0, "a known vector is taken");
            require(p.engine.setKnownVector(nullptr) == 20, "a null vector is refused");
            require(p.engine.Initialization() == 0, "Initialization returns 0");
            break;
        }
        }
    }

    void configure()
    {
        for (std::size_t group = 0; group < 4; ++group) {
            setGroup(group);
        }
        setEncoder(true);
        setEncoder(false);
        setLevel(true);
        setLevel(false);
        setMatrix(true);
        setMatrix(false);
        for (std::size_t what = 0; what < 5; ++what) {
            setSmall(what);
        }
    }

    void copyOrDestroy(std::size_t how)
    {
        Pair& p = pair();
        Pair& other = *m_pairs[m_in.below(m_pairs.size())];
        switch (how) {
        case 0:
            if (m_pairs.size() < 4) {
                m_pairs.push_back(std::make_unique<Pair>(p));
            }
            break;
        case 1:
            p.engine = other.engine;
            p.plain = other.plain;
            break;
        case 2:
            p.engine.Destroy();
            p.plain.Destroy();
            break;
        case 3:
            if (m_pairs.size() > 1) {
                m_pairs.erase(m_pairs.begin() + static_cast<std::ptrdiff_t>(m_current));
                m_current = 0;
            }
            break;
        case 4:
            if (m_pairs.size() < 4) {
                m_pairs.push_back(std::make_unique<Pair>(m_process));
                m_current = m_pairs.size() - 1;
            }
            break;
        default:
            m_current = m_in.below(m_pairs.size());
            break;
        }
    }

    // A pose that moves on a little from sample to sample.
    KOR_RAWINFO ordinarySample()
    {
        KOR_RAWINFO raw = m_last;
        raw.status = m_in.below(32) == 0 ? 1 : 2;
        for (float& component : raw.sensorVector) {
            component += m_in.real<float>(4.0);
        }
        raw.azimuthRaw += m_in.real<float>(1.0);
        raw.elevationRaw += m_in.real<float>(0.5);
        raw.levelXRaw = m_in.real<float>(6.0);
        raw.levelYRaw = m_in.real<float>(6.0);
        raw.timeStampMs += 10;
        return raw;
    }

    void feed(const KOR_RAWINFO& raw, bool whole)
    {
        Pair& p = pair();
        kor::SampleResult got;
        kor::SampleResult wanted;
        std::memset(&got, 0xA5, sizeof got);
        std::memset(&wanted, 0x5A, sizeof wanted);
        if (whole) {
            kor::ProcessSample(p.engine, raw, got);
        } else {
            p.engine.updateKORData(raw, got.info);
            got.matrixCode = p.engine.ReadMatrix(got.matrix);
            got.report = kor::LastSample(p.engine);
        }
        p.plain.updateKORData(raw, wanted.info);
        wanted.matrixCode = p.plain.ReadMatrix(wanted.matrix);
        wanted.report = p.plain.report();
        kor_test::expectSameResult(got, wanted, p.plain.mode < 7);
        ++m_samples;
    }

    void sample(std::size_t kind)
    {
        if (kind == 0) {
            feed(m_in.take<KOR_RAWINFO>(), m_in.coin());
            return;
        }
        m_last = ordinarySample();
        if (kind == 1) { // one field of any bits, once
            KOR_RAWINFO raw = m_last;
            const std::size_t word = m_in.below(sizeof raw / 4);
            const auto bits = m_in.take<std::uint32_t>();
            std::memcpy(reinterpret_cast<char*>(&raw) + 4 * word, &bits, sizeof bits);
            feed(raw, m_in.coin());
            return;
        }
        // A run of samples: filters and histories want many.
        const std::size_t count = kind == 2 ? m_in.below(120) : 1;
        for (std::size_t i = 0; i < count && m_samples < m_most; ++i) {
            feed(m_last, kind == 3);
            m_last.timeStampMs += 10;
        }
    }

    void ask()
    {
        Pair& p = pair();
        const auto angle = m_in.real<float>(800.0);
        kor_test::expectSame("getInverseAzCalib", 0, p.engine.getInverseAzCalib(angle),
                             p.plain.getInverseAzCalib(angle));
        kor_test::expectSame("getInverseElCalib", 0, p.engine.getInverseElCalib(angle),
                             p.plain.getInverseElCalib(angle));
        require(p.engine.ReadMatrix(nullptr) == 20, "a null matrix is refused");
        const D_VECTOR3 a = {m_in.real<double>(1.0), m_in.real<double>(1.0), m_in.real<double>(1.0)};
        const D_VECTOR3 b = {m_in.real<double>(1.0), m_in.real<double>(1.0), m_in.real<double>(1.0)};
        const D_VECTOR2 reference = {m_in.real<double>(360.0), m_in.real<double>(90.0)};
        const D_VECTOR3 measured = {m_in.real<double>(360.0), m_in.real<double>(90.0), m_in.take<double>()};
        double first = 0.0;
        double second = 0.0;
        const bool found = p.engine.Calc_HV0(a, b, reference, measured, &first, &second);
        double alone = 0.0;
        require(p.engine.Calc_HV0(a, b, reference, measured, nullptr, &alone) == found && kor_test::same(alone, second),
                "either angle may go unasked");
        require(p.engine.Calc_HV0(a, b, reference, measured, &alone, nullptr) == found && kor_test::same(alone, first),
                "either angle may go unasked");
    }

    void step()
    {
        switch (const std::size_t what = m_in.below(32)) {
        case 0:
        case 1:
        case 2:
        case 3:
            setGroup(what);
            break;
        case 4:
        case 5:
            setEncoder(what == 4);
            break;
        case 6:
        case 7:
            setLevel(what == 6);
            break;
        case 8:
        case 9:
            setMatrix(what == 8);
            break;
        case 10:
            loadStore();
            break;
        case 11:
        case 12:
            setSmall(m_in.below(6));
            break;
        case 13:
            setMode(anyMode());
            break;
        case 14:
            setMode(pair().plain.mode); // hands the groups to the model
            break;
        case 15:
        case 16:
            copyOrDestroy(m_in.below(6));
            break;
        case 17:
            ask();
            break;
        default:
            sample(what % 4);
            break;
        }
    }

    Bytes& m_in;
    kor_fuzz::KeptBuffers m_buffers; // goes last
    kor_test::LiteralProcess m_process;
    std::vector<std::unique_ptr<Pair>> m_pairs;
    std::size_t m_current = 0;
    int m_samples = 0;
    int m_most = 0; // filters want many samples, and a pendulum's search is long
    KOR_RAWINFO m_last = {0, 2,         {4000.0F, -3000.0F, 500.0F}, 10.0F,      5.0F, 0.5F, -0.5F, 20.0F, 0.0F, 0,
                          0, {0, 0, 0}, {800000, 810000, 820000},    4294967000U};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Bytes in(data, size);
    try {
        Driver(in).run();
    } catch (const kor_test::Difference& difference) {
        require(false, difference.what());
    }
    return 0;
}
