// Engines against the plain engine over random configurations and samples.
#include "KORInterface/KORInterface.h"
#include "equality/Scenarios.h"
#include "equality/Source.h"
#include "literal/Engine.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

namespace kor_test {

namespace {

// What differs between the two faces.
int LoadParameterStore(LiteralEngine& engine, const float* dynamic, const float* a, const float* b)
{
    return engine.loadParameterStore(dynamic, a, b);
}

struct Pair {
    CKor engine;
    LiteralEngine plain;

    explicit Pair(LiteralProcess& process) : plain(process) {}

    // The same operation on both; the results are equal.
    template <typename Operation>
    int both(const char* name, Operation operation)
    {
        const int got = operation(engine);
        expectSameCode(name, got, operation(plain));
        return got;
    }
};

// How a scenario treats its numbers.
struct Temper {
    int awkwardSample;    // one in so many samples carries an awkward number; 0: none
    int awkwardParameter; // one in so many parameters is one; 0: none
    int change;           // one in so many samples follows a set operation
    int rejected;         // one in so many samples has a status that is refused
};

class EngineScenario {
public:
    EngineScenario(std::uint64_t seed, int mode, Tally& tally) : m_source(seed), m_mode(mode), m_tally(tally)
    {
        constexpr Temper kTempers[] = {
            {0, 0, 0, 50}, {0, 0, 15, 40}, {200, 0, 10, 60}, {20, 40, 8, 30}, {3, 8, 4, 10},
        };
        // The two-level models keep an awkward number for good, so that most of their scenarios go without.
        const bool keeps = mode == 9 || mode == 10;
        m_temper = kTempers[keeps ? m_source.pick({0, 1, 1, 1, 2, 3}) : m_source.pick({0, 1, 1, 2, 2, 3, 3, 4})];
        // A pendulum search over awkward numbers goes on for five hundred steps.
        if (m_temper.awkwardSample != 0 && kor::ModelOf(mode) == kor::OrientationModel::pendulum) {
            m_temper.awkwardSample *= 3;
            m_temper.awkwardParameter *= 6;
        }
        m_exact = m_source.oneIn(8);
    }

    void run()
    {
        kor::FreshProcessValues();
        m_pairs.push_back(std::make_unique<Pair>(m_process));
        configure(*m_pairs[0], m_mode);
        const bool long_ = m_source.oneIn(4);
        const int samples = m_source.between(20, long_ ? 1500 : 300);
        for (int i = 0; i < samples; ++i) {
            m_number = i;
            if (m_temper.change != 0 && m_source.oneIn(m_temper.change)) {
                change();
            }
            feed(pair());
        }
        ++m_tally.scenarios;
    }

    int number() const { return m_number; }

private:
    Pair& pair() { return *m_pairs[m_current]; }

    // Numbers ---------------------------------------------------------------------------------------------------------

    float parameter(double low, double high)
    {
        if (m_temper.awkwardParameter != 0 && m_source.oneIn(m_temper.awkwardParameter)) {
            return m_source.awkward<float>();
        }
        if (m_exact || m_source.oneIn(12)) {
            const float one = low > 0.0 ? 1.0F : 0.0F; // a factor, or something to be added
            return m_source.oneIn(4) ? m_source.pick({0.0F, -0.0F, 1.0F, -1.0F}) : m_source.pick({one, -one});
        }
        return m_source.real(low, high);
    }

    double element()
    {
        if (m_temper.awkwardParameter != 0 && m_source.oneIn(m_temper.awkwardParameter)) {
            return m_source.awkward<double>();
        }
        return m_source.uniform(-2.0, 2.0);
    }

    void matrix(double (&m)[9])
    {
        switch (m_source.below(6)) {
        case 0:
            literal::EyeMatrix(m, 3);
            break;
        case 5: // one element of an ordinary matrix spoiled
            literal::rotation_y(m, m_source.uniform(-4, 4));
            m[m_source.below(9)] = m_source.awkward<double>();
            break;
        case 1: // zeros of both signs and hardly anything else: the dead zones of the angles
            for (double& value : m) {
                value = m_source.pick({0.0, -0.0, 0.0, 1.0, -1.0, 1e-12, -1e-12, std::nextafter(1e-12, 1.0), 5e-324});
            }
            break;
        case 2: // singular
            for (int i = 0; i < 9; ++i) {
                m[i] = static_cast<double>(i % 3 + 1);
            }
            break;
        case 3: {
            double x[9];
            double z[9];
            literal::rotation_x(x, m_source.uniform(-4, 4));
            literal::rotation_z(z, m_source.uniform(-4, 4));
            literal::MatrixMultiply(x, z, 3, 3, 3, m);
            break;
        }
        default:
            for (double& value : m) {
                value = element();
            }
            break;
        }
    }

    // Tables ----------------------------------------------------------------------------------------------------------

    int rows()
    {
        return m_source.oneIn(12) ? m_source.between(100, 1500)
                                  : m_source.pick({1, 2, 2, 3, 4, 5, 7, 8, 12, 25, 37, 73});
    }

    // Rows of (reading, correction): mostly in order, sometimes repeated, turned back, shuffled or senseless.
    std::vector<float> encoderTable(int count)
    {
        std::vector<float> table(2 * static_cast<std::size_t>(std::max(count, 0)));
        const std::size_t size = table.size() / 2;
        const double first = m_source.pick({0.0, 0.0, -180.0, 0.5, -0.25, 17.0, 350.0, -700.0});
        const double span = m_source.pick({360.0, 359.0, 350.0, 180.0, 10.0});
        for (std::size_t i = 0; i < size; ++i) {
            table[2 * i] = static_cast<float>(first + span * static_cast<double>(i) / static_cast<double>(size));
            table[2 * i + 1] = m_source.real(-0.5, 0.5);
        }
        const int kind = m_source.below(12);
        for (std::size_t i = 0; i < size; ++i) {
            const std::size_t other = static_cast<std::size_t>(m_source.below(static_cast<int>(size)));
            if (kind == 0) { // shuffled
                std::swap(table[2 * i], table[2 * other]);
            } else if (kind == 1 && i > 0 && m_source.oneIn(3)) { // repeated
                table[2 * i] = table[2 * i - 2];
            } else if (kind == 2) { // descending
                table[2 * i] = -table[2 * i];
            } else if (kind == 3) { // corrections that turn the curve back
                table[2 * i + 1] = m_source.real(-90, 90);
            } else if (kind == 4 && m_source.oneIn(4)) {
                table[2 * i] = m_source.awkward<float>();
            } else if (kind == 5 && m_source.oneIn(4)) {
                table[2 * i + 1] = m_source.awkward<float>();
            } else if (kind == 6) { // neighbouring numbers
                table[2 * i] = i == 0 ? 1.0F : std::nextafter(table[2 * i - 2], 1000.0F);
            } else if (kind == 7 && m_source.oneIn(2)) {
                table[2 * i + 1] = m_source.pick({0.0F, -0.0F});
            }
        }
        return table;
    }

    // Knots with the three extra values behind them, and coefficients near the identity.
    void levelTable(int count, std::vector<float>& knots, std::vector<double>& coefficients)
    {
        const auto size = static_cast<std::size_t>(count);
        knots.assign(size + 3, 0.0F);
        coefficients.assign(4 * size, 0.0);
        const double half = m_source.pick({8.0, 20.0, 20.0, 60.0, 9000.0});
        const double sign = m_source.oneIn(6) ? -1.0 : 1.0;
        for (std::size_t i = 0; i < size; ++i) {
            const double part = size > 1 ? 2.0 * static_cast<double>(i) / static_cast<double>(size - 1) - 1.0 : 0.0;
            knots[i] = static_cast<float>(sign * half * part);
            coefficients[4 * i] = static_cast<double>(knots[i]) + m_source.uniform(-0.2, 0.2);
            coefficients[4 * i + 1] = 1.0 + m_source.uniform(-0.05, 0.05);
            coefficients[4 * i + 2] = m_source.uniform(-0.01, 0.01);
            coefficients[4 * i + 3] = m_source.uniform(-0.001, 0.001);
        }
        knots[size] = static_cast<float>(-half);
        knots[size + 1] = static_cast<float>(half);
        const int kind = m_source.below(12);
        for (std::size_t i = 0; i < size; ++i) {
            const std::size_t other = static_cast<std::size_t>(m_source.below(count));
            if (kind == 0) {
                std::swap(knots[i], knots[other]);
            } else if (kind == 1 && i > 0 && m_source.oneIn(3)) {
                knots[i] = knots[i - 1];
            } else if (kind == 2 && m_source.oneIn(4)) {
                knots[i] = m_source.awkward<float>();
            } else if (kind == 3 && m_source.oneIn(4)) {
                coefficients[4 * i + static_cast<std::size_t>(m_source.below(4))] = m_source.awkward<double>();
            } else if (kind == 4) {
                knots[i] = i == 0 ? 1.0F : std::nextafter(knots[i - 1], 1000.0F);
            } else if (kind == 5) {
                coefficients[4 * i + static_cast<std::size_t>(m_source.below(4))] = m_source.pick({0.0, -0.0});
            }
        }
    }

    void setEncoder(Pair& p, bool azimuth, int count)
    {
        std::vector<float>& table = azimuth ? m_azimuthTable : m_elevationTable;
        std::vector<float> next = encoderTable(count);
        const int code = p.both("encoder table", [&](auto& e) {
            return azimuth ? e.setAzimuthComp(count, next.data()) : e.setElevationComp(count, next.data());
        });
        if (code == 0) {
            table = std::move(next);
        }
    }

    // A row of the table beside a reading, or any row.
    std::size_t rowNear(const std::vector<float>& table, std::size_t rows, std::size_t stride, float at)
    {
        if (m_source.oneIn(3)) {
            return static_cast<std::size_t>(m_source.below(static_cast<int>(rows)));
        }
        std::size_t row = 0;
        while (row + 1 < rows && table[stride * (row + 1)] <= at) {
            ++row;
        }
        return std::min(rows - 1, row + static_cast<std::size_t>(m_source.below(2)));
    }

    // One row changed in a table of the size that it has.
    void touchEncoder(Pair& p, bool azimuth)
    {
        std::vector<float>& table = azimuth ? m_azimuthTable : m_elevationTable;
        if (table.empty()) {
            return;
        }
        const std::size_t row = rowNear(table, table.size() / 2, 2, azimuth ? m_azimuth : m_elevation);
        float& value = table[2 * row + static_cast<std::size_t>(m_source.below(2))];
        value =
            m_source.pick({value, -value, value + 0.25F, m_source.beside(value), 0.0F, -0.0F, m_source.real(0, 360)});
        const int count = static_cast<int>(table.size() / 2);
        p.both("encoder table", [&](auto& e) {
            return azimuth ? e.setAzimuthComp(count, table.data()) : e.setElevationComp(count, table.data());
        });
    }

    void setLevel(Pair& p, bool x, int count)
    {
        std::vector<float> knots;
        std::vector<double> coefficients;
        levelTable(count, knots, coefficients);
        const int code = p.both("level table", [&](auto& e) {
            return x ? e.setLevelXComp(count, knots.data(), coefficients.data())
                     : e.setLevelYComp(count, knots.data(), coefficients.data());
        });
        if (code == 0) {
            (x ? m_levelX : m_levelY) = {std::move(knots), std::move(coefficients)};
        }
    }

    void touchLevel(Pair& p, bool x)
    {
        Level& level = x ? m_levelX : m_levelY;
        if (level.knots.empty()) {
            return;
        }
        const int count = static_cast<int>(level.knots.size()) - 3;
        const std::size_t at = rowNear(level.knots, static_cast<std::size_t>(count), 1, x ? m_x : m_y);
        if (m_source.coin()) {
            float& value = level.knots[at];
            value = m_source.pick(
                {value, -value, value + 0.25F, m_source.beside(value), 0.0F, -0.0F, m_source.real(-9, 9)});
        } else {
            double& value = level.coefficients[4 * at + static_cast<std::size_t>(m_source.below(4))];
            value = m_source.pick({value, -value, value + 0.25, m_source.beside(value), 0.0, -0.0});
        }
        p.both("level table", [&](auto& e) {
            return x ? e.setLevelXComp(count, level.knots.data(), level.coefficients.data())
                     : e.setLevelYComp(count, level.knots.data(), level.coefficients.data());
        });
    }

    // Set operations --------------------------------------------------------------------------------------------------

    void configure(Pair& p, int mode)
    {
        for (int group = 0; group < kGroups; ++group) {
            setGroup(p, group);
        }
        if (!m_source.oneIn(8)) {
            setEncoder(p, true, rows());
        }
        if (!m_source.oneIn(8)) {
            setEncoder(p, false, rows());
        }
        if (!m_source.oneIn(10)) {
            setLevel(p, true, rows());
        }
        if (!m_source.oneIn(10)) {
            setLevel(p, false, rows());
        }
        p.both("mount mode", [&](auto& e) { return e.setMountMode(mode); });
    }

    static constexpr int kGroups = 12;

    void setGroup(Pair& p, int group)
    {
        float values[8] = {};
        switch (group) {
        case 0: {
            const double turned = m_source.oneIn(5) ? -1.0 : 1.0;
            const float factors[8] = {parameter(-0.5, 0.5), parameter(-1, 1),    parameter(-1, 1),    parameter(-1, 1),
                                      parameter(0.9, 1.1),  parameter(0.9, 1.1), parameter(0.9, 1.1), parameter(-1, 1)};
            std::copy_n(factors, 8, values);
            values[4] *= static_cast<float>(turned);
            const int count = m_source.oneIn(6) ? m_source.between(-1, 8) : 8;
            p.both("scale factors", [&](auto& e) { return e.setScaleFactors(values, count); });
            break;
        }
        case 1: {
            for (int i = 0; i < 6; ++i) {
                values[i] = i < 3 ? parameter(-50, 50) : parameter(-1, 1);
            }
            const int count = m_source.oneIn(6) ? m_source.between(-1, 6) : 6;
            p.both("QVC parameters", [&](auto& e) { return e.setQVCParameters(values, count); });
            break;
        }
        case 2:
        case 3: {
            const double opening = group == 2 ? 0.5 : m_source.pick({30.0, -30.0, 40.0, 0.5, 89.0});
            const float level[7] = {
                parameter(-1, 1), parameter(-1, 1),     parameter(-1, 1),   parameter(-opening, opening),
                parameter(-1, 1), parameter(-0.5, 0.5), parameter(0.9, 1.1)};
            std::copy_n(level, 7, values);
            const int count = m_source.oneIn(6) ? m_source.between(-1, 7) : 7;
            p.both("level parameters", [&](auto& e) {
                return group == 2 ? e.setLevel1Parameters(values, count) : e.setLevel2Parameters(values, count);
            });
            break;
        }
        case 4: {
            const F_VECTOR2 offset = {parameter(-3, 3), parameter(-0.5, 0.5)};
            p.both("encoder offset", [&](auto& e) { return e.setEncoderOffset(offset); });
            break;
        }
        case 5: {
            const F_VECTOR2 offset = {parameter(-1, 1), parameter(-1, 1)};
            p.both("tilt offset", [&](auto& e) { return e.setTiltOffset(offset); });
            break;
        }
        case 6: {
            const F_VECTOR4 factor = {parameter(-0.01, 0.01), parameter(0.9, 1.1), parameter(-0.01, 0.01),
                                      parameter(0.9, 1.1)};
            p.both("thermal factor", [&](auto& e) { return e.setThermalFactor(factor); });
            break;
        }
        case 7:
        case 8: {
            double m[9];
            matrix(m);
            const int n = m_source.oneIn(6) ? m_source.pick({-2, -1, 0, 1, 2, 4, 7}) : 3;
            p.both("matrix", [&](auto& e) { return group == 7 ? e.setLocalMatrix(m, n) : e.setMachineMatrix(m, n); });
            break;
        }
        case 9: {
            const bool flag = m_source.coin();
            p.both("MCS flag", [&](auto& e) { return e.setMcsFlag(flag); });
            break;
        }
        case 10: {
            const int first = m_source.between(-2000, 2000);
            const int second = m_source.oneIn(8) ? static_cast<int>(m_source.bits()) : m_source.between(-2000, 2000);
            const int divisor = m_source.oneIn(4) ? 0 : m_source.between(-3000, 3000);
            p.both("detector", [&](auto& e) { return e.setPSDParameters(first, second, divisor); });
            break;
        }
        default:
            if (m_source.coin()) {
                float dynamic[7];
                for (int i = 0; i < 7; ++i) {
                    dynamic[i] = i < 4 ? parameter(0, 1) : parameter(-3, m_source.oneIn(8) ? 120 : 6);
                }
                const float a[3] = {parameter(-1, 1), parameter(-1, 1), parameter(-1, 1)};
                const float b[3] = {parameter(-1, 1), parameter(-1, 1), parameter(-1, 1)};
                p.both("parameter store", [&](auto& e) { return LoadParameterStore(e, dynamic, a, b); });
            }
            break;
        }
    }

    void change()
    {
        ++m_tally.changes;
        Pair& p = pair();
        switch (m_source.below(22)) {
        case 0:
        case 1:
        case 2:
        case 3:
            touchEncoder(p, m_source.coin());
            break;
        case 4:
            setEncoder(p, m_source.coin(), m_source.oneIn(5) ? m_source.pick({-3, 0}) : rows());
            break;
        case 5:
        case 6:
            touchLevel(p, m_source.coin());
            break;
        case 7:
            setLevel(p, m_source.coin(), rows());
            break;
        case 8: { // a copy goes on beside its source
            if (m_pairs.size() < 4) {
                m_pairs.push_back(std::make_unique<Pair>(p));
                ++m_tally.copies;
            }
            break;
        }
        case 9:
        case 10:
        case 11:
            m_current = static_cast<std::size_t>(m_source.below(static_cast<int>(m_pairs.size())));
            break;
        case 12: { // assigned over
            Pair& other = *m_pairs[static_cast<std::size_t>(m_source.below(static_cast<int>(m_pairs.size())))];
            p.engine = other.engine;
            p.plain = other.plain;
            ++m_tally.copies;
            break;
        }
        case 13: // a fresh engine beside the others
            if (m_pairs.size() < 4) {
                m_pairs.push_back(std::make_unique<Pair>(m_process));
                m_current = m_pairs.size() - 1;
                configure(pair(), m_mode);
            }
            break;
        case 14:
            if (m_source.oneIn(4)) {
                p.engine.Destroy();
                p.plain.Destroy();
                if (!m_source.oneIn(4)) {
                    configure(p, m_mode);
                }
            } else if (m_pairs.size() > 1) { // one of them goes
                const std::size_t gone = static_cast<std::size_t>(m_source.below(static_cast<int>(m_pairs.size())));
                m_pairs.erase(m_pairs.begin() + static_cast<std::ptrdiff_t>(gone));
                m_current = 0;
            }
            break;
        case 15: {
            const int mode = m_source.oneIn(3) ? m_source.between(-3, 12) : m_mode;
            p.both("mount mode", [&](auto& e) { return e.setMountMode(mode); });
            break;
        }
        default: {
            setGroup(p, m_source.below(kGroups));
            if (m_source.coin()) { // into the model
                p.both("mount mode", [&](auto& e) { return e.setMountMode(p.plain.mode); });
            }
            break;
        }
        }
    }

    // Samples ---------------------------------------------------------------------------------------------------------

    // A reading that mostly stays near the one before, often at or beside a row of the table.
    float reading(float last, const std::vector<float>& table, std::size_t stride, double range)
    {
        const std::size_t rows = stride == 1 && table.size() > 3 ? table.size() - 3 : table.size() / stride;
        const int kind = m_source.below(16);
        if (kind < 2) {
            return last;
        }
        if (kind < 9) {
            return last + m_source.real(-0.05, 0.05);
        }
        if (kind == 9) {
            return m_source.beside(last);
        }
        if (kind < 12 && !table.empty()) {
            const float key = table[stride * rowNear(table, rows, stride, last)];
            if (std::isfinite(key)) {
                const float turns = stride == 2 && m_source.oneIn(4) ? m_source.pick({360.0F, -360.0F, 720.0F}) : 0.0F;
                return m_source.beside(key + turns);
            }
        }
        if (kind == 12 && stride == 2) {
            return last + m_source.pick({360.0F, -360.0F});
        }
        if (kind == 13 && m_source.oneIn(8)) {
            return m_source.real(-1e5, 1e5);
        }
        return m_source.real(-range, range);
    }

    static float within(float value, double range, float otherwise)
    {
        return std::fabs(value) <= static_cast<float>(range) ? value : otherwise;
    }

    KOR_RAWINFO sample()
    {
        KOR_RAWINFO raw;
        std::memset(&raw, 0, sizeof raw);
        raw.reserved0 = static_cast<std::int32_t>(m_source.bits());
        raw.reserved44 = static_cast<std::int32_t>(m_source.bits());
        raw.status = m_source.oneIn(m_temper.rejected) ? m_source.between(-1, 5) : 2;

        // The target point moves on, or is somewhere else.
        if (m_source.oneIn(30)) {
            for (double& component : m_position) {
                component = m_source.uniform(-9000, 9000);
            }
            m_position[2] = m_source.uniform(-2000, 2000);
        }
        for (std::size_t i = 0; i < 3; ++i) {
            m_position[i] += m_source.uniform(-2, 2);
            raw.sensorVector[i] = static_cast<float>(m_position[i]);
        }
        if (m_source.oneIn(m_exact ? 2 : 40)) { // on the axes
            const auto axis = static_cast<std::size_t>(m_source.below(3));
            raw.sensorVector[axis] = m_source.pick({0.0F, -0.0F, 1e-5F, m_source.beside(1.7444444444444444e-5F)});
            if (m_source.coin()) {
                raw.sensorVector[(axis + 1) % 3] = m_source.pick({0.0F, -0.0F, 1.0F, -1.0F, 5000.0F});
            }
        }

        m_azimuth = within(reading(m_azimuth, m_azimuthTable, 2, 400), 1e6, 1.0F);
        m_elevation = within(reading(m_elevation, m_elevationTable, 2, 40), 1e6, 1.0F);
        m_x = within(reading(m_x, m_levelX.knots, 1, 6), 1e6, 1.0F);
        m_y = within(reading(m_y, m_levelY.knots, 1, 6), 1e6, 1.0F);
        raw.azimuthRaw = m_azimuth;
        raw.elevationRaw = m_elevation;
        raw.levelXRaw = m_x;
        raw.levelYRaw = m_y;
        if (kor::ModelOf(m_mode) == kor::OrientationModel::polarizer && m_source.oneIn(2)) {
            raw.levelYRaw = m_source.oneIn(6) ? m_source.pick({1.0F, -1.0F}) * m_source.beside(2000.0F)
                                              : m_source.real(-9000, 9000);
            raw.levelXRaw = m_source.real(-9000, 9000);
        }
        if (m_source.oneIn(m_exact ? 2 : 60)) { // levels and axes at rest
            raw.levelXRaw = m_source.pick({0.0F, -0.0F, 0.001F, -0.001F});
            raw.levelYRaw = m_source.pick({0.0F, -0.0F, 0.001F, -0.001F});
            raw.azimuthRaw = m_source.pick({m_azimuth, 0.0F, -0.0F, 90.0F, 180.0F});
            raw.elevationRaw = m_source.pick({m_elevation, 0.0F, -0.0F});
        }
        raw.levelTemperature = m_source.oneIn(10) ? m_source.pick({0.0F, -0.0F, 1.0F}) : m_source.real(-10, 40);
        raw.referenceGate = m_source.oneIn(10) ? m_source.beside(0.4F) : m_source.real(0, 0.6);
        raw.referenceHold = static_cast<std::uint8_t>(m_source.oneIn(3) ? m_source.between(0, 255) : 0);
        for (std::int32_t& count : raw.temperatureCount) {
            const int kind = m_source.below(12);
            count = kind == 0   ? static_cast<std::int32_t>(m_source.bits())
                    : kind == 1 ? 8388608 + m_source.between(-2, 2)
                    : kind == 2 ? m_source.pick({0, -1, 16777216, 16777215, 16777217})
                                : m_source.between(0, 0x1FFFFF);
        }
        // The clock wraps now and then, stands still, goes back.
        m_time += static_cast<std::uint32_t>(m_source.oneIn(12) ? m_source.pick({0, 0, -20, 5000}) : 10);
        raw.timeStampMs = m_time;

        if (m_temper.awkwardSample != 0 && m_source.oneIn(m_temper.awkwardSample)) {
            float* const fields[] = {&raw.sensorVector[0], &raw.sensorVector[1],  &raw.sensorVector[2],
                                     &raw.azimuthRaw,      &raw.elevationRaw,     &raw.levelXRaw,
                                     &raw.levelYRaw,       &raw.levelTemperature, &raw.referenceGate};
            do {
                *fields[m_source.below(9)] = m_source.awkward<float>();
            } while (m_source.oneIn(3));
        }
        return raw;
    }

    void feed(Pair& p)
    {
        const KOR_RAWINFO raw = sample();
        kor::SampleResult got;
        kor::SampleResult wanted;
        std::memset(&got, 0xA5, sizeof got);
        std::memset(&wanted, 0x5A, sizeof wanted);
        if (m_source.oneIn(4)) {
            kor::ProcessSample(p.engine, raw, got);
        } else {
            p.engine.updateKORData(raw, got.info);
            got.matrixCode = p.engine.ReadMatrix(got.matrix);
            got.report = kor::LastSample(p.engine);
        }
        p.plain.updateKORData(raw, wanted.info);
        wanted.matrixCode = p.plain.ReadMatrix(wanted.matrix);
        wanted.report = p.plain.report();
        expectSameResult(got, wanted, p.plain.mode < 7);
        // A reading that is not a number comes back as it is.
        if (p.plain.model != nullptr && std::isnan(raw.azimuthRaw)) {
            expectSameBits("azimuth", 0, got.info.azimuth, raw.azimuthRaw);
        }
        if (p.plain.model != nullptr && std::isnan(raw.elevationRaw)) {
            expectSameBits("elevation", 0, got.info.elevation, raw.elevationRaw);
        }
        if (m_source.oneIn(16)) {
            const float angle = m_source.oneIn(8) ? m_source.awkward<float>() : m_source.real(-800, 800);
            expectSame("inverse azimuth", 0, p.engine.getInverseAzCalib(angle), p.plain.getInverseAzCalib(angle));
            expectSame("inverse elevation", 0, p.engine.getInverseElCalib(angle), p.plain.getInverseElCalib(angle));
        }
        count(got.report.outcome);
    }

    void count(kor::SampleOutcome outcome)
    {
        ++m_tally.samples;
        if (outcome == kor::SampleOutcome::valid || outcome == kor::SampleOutcome::beforeReference) {
            ++m_tally.valid;
        } else if (outcome == kor::SampleOutcome::notFinite || outcome == kor::SampleOutcome::spoiled) {
            ++m_tally.notFinite;
        } else {
            ++m_tally.none;
        }
    }

    struct Level {
        std::vector<float> knots;
        std::vector<double> coefficients;
    };

    Source m_source;
    int m_mode;
    Tally& m_tally;
    Temper m_temper{};
    bool m_exact = false; // zeros of both signs and ones in place of most parameters
    int m_number = -1;
    LiteralProcess m_process;
    std::vector<std::unique_ptr<Pair>> m_pairs;
    std::size_t m_current = 0;

    // What was set last, so that readings can be put beside a row.
    std::vector<float> m_azimuthTable;
    std::vector<float> m_elevationTable;
    Level m_levelX;
    Level m_levelY;

    double m_position[3] = {4000.0, -3000.0, 500.0};
    float m_azimuth = 10.0F;
    float m_elevation = 5.0F;
    float m_x = 0.5F;
    float m_y = -0.5F;
    std::uint32_t m_time = 0xFFFFFFFFU - 1500U;
};

} // namespace

void runEngineScenario(std::uint64_t seed, int mode, Tally& tally)
{
    EngineScenario scenario(seed, mode, tally);
    try {
        scenario.run();
    } catch (const Difference& difference) {
        throw Difference("sample " + std::to_string(scenario.number()) + ", " + difference.what());
    }
}

} // namespace kor_test
