#include "params/prm_file.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <fstream>
#include <random>
#include <stdexcept>

#include "params/ParameterAccess.h"
#include "support/Float.h"

namespace prm_test {

namespace {

constexpr std::array<std::string_view, kBlockCount> kTitles = {
    "Serial Number",
    "Device Owner",
    "AZ Position Gain",
    "EL Position Gain",
    "AZ Tracking Gain",
    "EL Tracking Gain",
    "Digital Damping",
    "Angle Offset",
    "Transform Vector",
    "Local Coordinate Tranform Matrix",
    "Machine Coordinate Tranform Matrix",
    "Thermal Compensation Factor",
    "Tilt Sensor Offset",
    "ADM Offset",
    "AZ Calibration Table",
    "EL Calibration Table",
    "Tilt X Calibration Table",
    "Tilt Y Calibration Table",
    "Scale Factor",
    "Mounting Mode",
    "QVC",
    "Level_X",
    "Level_Y",
    "Half Angle",
    "PSDX",
    "PSDY",
    "DynamicParameters",
};

template <typename Values>
std::string row(const Values& values, std::size_t first, std::size_t count)
{
    std::string text;
    for (std::size_t i = first; i < first + count; ++i) {
        text += number(values[i]);
        text += i + 1 < first + count ? '\t' : '\n';
    }
    return text;
}

template <typename Values>
std::string row(const Values& values)
{
    return row(values, 0, values.size());
}

template <typename Values>
std::string tabbed(const Values& values)
{
    std::string text;
    for (const float value : values) {
        text += number(value) + "\t";
    }
    return text + "\n";
}

std::string rows(const std::vector<std::array<float, 2>>& table)
{
    std::string text = std::to_string(table.size()) + "\n";
    for (const auto& pair : table) {
        text += row(pair);
    }
    return text;
}

std::string tilt(const TiltTable& table)
{
    return rows(table.rows) + row(table.extra) + "Table_End\n";
}

std::string matrix(const std::array<float, 9>& m)
{
    return row(m, 0, 3) + row(m, 3, 3) + row(m, 6, 3);
}

template <typename Values>
std::vector<double> widened(const Values& values)
{
    return std::vector<double>(values.begin(), values.end());
}

std::vector<double> flat(const std::vector<std::array<float, 2>>& table)
{
    std::vector<double> values;
    for (const auto& pair : table) {
        values.insert(values.end(), pair.begin(), pair.end());
    }
    return values;
}

std::vector<double> knotsAndExtra(const TiltTable& table)
{
    std::vector<double> values;
    for (const auto& pair : table.rows) {
        values.push_back(static_cast<double>(pair[0]));
    }
    values.insert(values.end(), table.extra.begin(), table.extra.end());
    return values;
}

std::vector<double> splineOf(const TiltTable& table)
{
    std::vector<float> x;
    std::vector<float> y;
    for (const auto& pair : table.rows) {
        x.push_back(pair[0]);
        y.push_back(pair[1]);
    }
    return naturalSpline(x, y);
}

} // namespace

PrmValues firstSensor(std::int32_t mountMode)
{
    return {
        .id = 17,
        .angleOffset = {1.5F, -2.25F},
        .knownVector = {0.5F, 0.25F, 1.0F},
        .localMatrix = {1.0F, 2.0F, 3.0F, 4.0F, 5.0F, 6.0F, 7.0F, 8.0F, 10.0F},
        .machineMatrix = {0.0F, 2.0F, 0.0F, 0.0F, 0.0F, 4.0F, 8.0F, 0.0F, 0.0F},
        .thermalFactor = {0.5F, 0.125F, 0.75F, -0.25F},
        .tiltOffset = {0.0625F, -0.125F},
        .admOffset = 3.5F,
        .azimuth = {{{1.25F, 0.5F}, {90.0F, -0.25F}, {180.0F, 0.125F}, {359.0F, 0.75F}}},
        .elevation = {{{-45.0F, 0.25F}, {10.0F, -0.5F}, {60.5F, 0.375F}}},
        .tiltX = {{{{-30.0F, -29.5F}, {-5.0F, -5.25F}, {4.0F, 4.5F}, {30.0F, 31.0F}}}, {-28.0F, 27.0F, 6.5F}},
        .tiltY = TiltTable{{{{-25.0F, 1.0F}, {-4.0F, -2.0F}, {6.0F, 3.0F}, {26.0F, 0.5F}}}, {-23.0F, 24.0F, 5.5F}},
        .scaleFactors = {1.0F, 2.0F, 3.0F, 4.0F, 5.0F, 6.0F, 7.0F, 8.0F},
        .mountMode = mountMode,
        .qvc = {11.0F, 12.0F, 13.0F, 14.0F, 15.0F, 16.0F},
        .level1 = {21.0F, 22.0F, 23.0F, 24.0F, 25.0F, 26.0F, 27.0F},
        .level2 = {31.0F, 32.0F, 33.0F, 34.0F, 35.0F, 36.0F, 37.0F},
        .halfAngle = std::array<float, 2>{180.0F, 60.0F},
        .psdX = {41.0F, 42.0F, 43.0F},
        .psdY = {51.0F, 52.0F, 53.0F},
        .dynamic = {61.0F, 62.0F, 63.0F, 64.0F, 65.0F, 66.0F, 67.0F},
        .limits = std::nullopt,
    };
}

PrmValues secondSensor(std::int32_t mountMode)
{
    return {
        .id = 17,
        .angleOffset = {-3.5F, 4.75F},
        .knownVector = {-2.0F, 3.5F, 0.125F},
        .localMatrix = {-1.5F, 0.5F, 9.0F, 8.5F, -7.0F, 6.5F, 5.5F, -4.5F, 3.5F},
        .machineMatrix = {4.0F, 0.0F, 0.0F, 0.0F, 0.0F, 2.0F, 0.0F, 16.0F, 0.0F},
        .thermalFactor = {-1.5F, 2.125F, 1.75F, 3.25F},
        .tiltOffset = {-0.5F, 0.75F},
        .admOffset = -7.25F,
        .azimuth = {{{2.0F, 1.5F}, {100.0F, -1.25F}, {350.0F, 1.125F}}},
        .elevation = {{{-50.0F, 1.0F}, {-20.0F, 2.0F}, {20.0F, 3.0F}, {40.0F, 4.0F}, {70.0F, 5.0F}}},
        .tiltX = {{{{-20.0F, 7.5F}, {1.0F, -1.0F}, {18.0F, 2.5F}}}, {-17.0F, 16.0F, 1.5F}},
        .tiltY = TiltTable{{{{-15.0F, 0.0F}, {0.5F, 6.0F}, {14.0F, -9.0F}}}, {-13.0F, 12.0F, 2.5F}},
        .scaleFactors = {-1.0F, -2.0F, -3.0F, -4.0F, -5.0F, -6.0F, -7.0F, -8.0F},
        .mountMode = mountMode,
        .qvc = {-11.0F, -12.0F, -13.0F, -14.0F, -15.0F, -16.0F},
        .level1 = {-21.0F, -22.0F, -23.0F, -24.0F, -25.0F, -26.0F, -27.0F},
        .level2 = {-31.0F, -32.0F, -33.0F, -34.0F, -35.0F, -36.0F, -37.0F},
        .halfAngle = std::array<float, 2>{170.0F, 50.0F},
        .psdX = {-41.0F, -42.0F, -43.0F},
        .psdY = {-51.0F, -52.0F, -53.0F},
        .dynamic = {-61.0F, -62.0F, -63.0F, -64.0F, -65.0F, -66.0F, -67.0F},
        .limits = std::nullopt,
    };
}

PrmValues withoutModel(PrmValues values)
{
    values.qvc = {};
    values.level1 = {};
    values.level2 = {};
    values.halfAngle.reset();
    values.psdX = {};
    values.psdY = {};
    values.dynamic = {};
    return values;
}

PrmValues merged(const PrmValues& older, const PrmValues& newer, int last)
{
    PrmValues result = older;
    const auto take = [&](int block, auto member) {
        if (last >= block) {
            result.*member = newer.*member;
        }
    };
    take(8, &PrmValues::angleOffset);
    take(9, &PrmValues::knownVector);
    take(10, &PrmValues::localMatrix);
    take(11, &PrmValues::machineMatrix);
    take(12, &PrmValues::thermalFactor);
    take(13, &PrmValues::tiltOffset);
    take(14, &PrmValues::admOffset);
    take(15, &PrmValues::azimuth);
    take(16, &PrmValues::elevation);
    take(17, &PrmValues::tiltX);
    take(18, &PrmValues::tiltY);
    take(19, &PrmValues::scaleFactors);
    take(20, &PrmValues::mountMode);
    take(21, &PrmValues::qvc);
    take(22, &PrmValues::level1);
    take(23, &PrmValues::level2);
    take(24, &PrmValues::halfAngle);
    take(25, &PrmValues::psdX);
    take(26, &PrmValues::psdY);
    take(27, &PrmValues::dynamic);
    return result;
}

std::string_view titleOf(int block)
{
    return kTitles.at(static_cast<std::size_t>(block - 1));
}

std::string number(float value)
{
    std::array<char, 64> buffer{};
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::fixed, 6);
    return std::string(buffer.data(), end.ptr);
}

PrmFile::PrmFile(const PrmValues& v)
{
    const std::array<float, 6> gains = {0.5F, 1.5F, 2.5F, 3.5F, 4.5F, 5.5F};
    const std::array<float, 4> damping = {0.25F, 0.5F, 0.75F, 1.0F};
    const std::array<std::string, kBlockCount> bodies = {
        std::to_string(v.id) + "\n",
        "Workshop\n",
        row(gains),
        row(gains),
        row(gains),
        row(gains),
        row(damping),
        row(v.angleOffset),
        row(v.knownVector),
        matrix(v.localMatrix),
        matrix(v.machineMatrix),
        row(v.thermalFactor),
        row(v.tiltOffset),
        number(v.admOffset) + "\n",
        rows(v.azimuth),
        rows(v.elevation),
        tilt(v.tiltX),
        v.tiltY ? tilt(*v.tiltY) : std::string(),
        row(v.scaleFactors, 0, 8),
        std::to_string(v.mountMode) + "\n",
        tabbed(v.qvc),
        tabbed(v.level1),
        tabbed(v.level2),
        v.halfAngle ? row(*v.halfAngle) : std::string(),
        row(v.psdX),
        row(v.psdY),
        row(v.dynamic),
    };
    for (std::size_t i = 0; i < m_blocks.size(); ++i) {
        m_blocks[i] = {std::string(kTitles[i]) + "\n", bodies[i]};
    }
}

std::string PrmFile::text(int first, int last) const
{
    std::string text;
    for (int block = first; block <= last; ++block) {
        const Block& b = m_blocks.at(static_cast<std::size_t>(block - 1));
        text += b.title + b.body;
    }
    return text;
}

Snapshot snapshot(CKorPrm& prm)
{
    Snapshot s;
    const auto note = [&s](const char* getter, int result) {
        if (result != kSuccess) {
            s[std::string("failed: ") + getter] = {static_cast<double>(result)};
        }
        return result == kSuccess;
    };
    const auto floats = [&s](const char* name, const auto& values) {
        s[name] = std::vector<double>(std::begin(values), std::end(values));
    };

    F_VECTOR2 two{};
    if (note("getEncoderOffset", prm.getEncoderOffset(two))) {
        floats("encoder offset", std::array{two.x, two.y});
    }
    F_VECTOR4 four{};
    if (note("getEncoderLimit", prm.getEncoderLimit(four))) {
        floats("encoder limit", std::array{four.x, four.y, four.z, four.w});
    }
    std::array<double, 3> vector{};
    if (note("getKnownVector", prm.getKnownVector(vector.data()))) {
        floats("known vector", vector);
    }
    std::array<double, 9> matrix3{};
    if (note("getLocalMatrix", prm.getLocalMatrix(matrix3.data(), 3))) {
        floats("local matrix", matrix3);
    }
    if (note("getMachineMatrix", prm.getMachineMatrix(matrix3.data(), 3))) {
        floats("machine matrix", matrix3);
    }
    if (note("getThermalFactor", prm.getThermalFactor(four))) {
        floats("thermal factor", std::array{four.x, four.y, four.z, four.w});
    }
    if (note("getTiltOffset", prm.getTiltOffset(two))) {
        floats("tilt offset", std::array{two.x, two.y});
    }
    float adm = 0.0F;
    if (note("getADMOffset", prm.getADMOffset(adm))) {
        floats("adm offset", std::array{adm});
    }
    int mode = 0;
    if (note("getMountMode", prm.getMountMode(mode))) {
        floats("mount mode", std::array{mode});
    }
    if (note("GetKORLevelLimits", prm.GetKORLevelLimits(four))) {
        floats("level limits", std::array{four.x, four.y, four.z, four.w});
    }

    // A count that no file here has belongs to a table whose read failed; nothing may be copied for it.
    constexpr unsigned int kAbsurd = 100'000;

    using TableGetter = int (CKorPrm::*)(unsigned int&, float*) const;
    const auto table = [&](const char* name, TableGetter getter) {
        unsigned int count = 0;
        (prm.*getter)(count, nullptr);
        std::vector<float> values(count < kAbsurd ? 2 * static_cast<std::size_t>(count) + 1 : 1);
        if (note(name, (prm.*getter)(count, values.data()))) {
            values.pop_back();
            floats(name, values);
        }
    };
    table("azimuth table", &CKorPrm::getAzimuthComp);
    table("elevation table", &CKorPrm::getElevationComp);

    using TiltGetter = int (CKorPrm::*)(unsigned int&, float*, double*) const;
    const auto tiltTable = [&](const std::string& name, TiltGetter getter) {
        unsigned int count = 0;
        (prm.*getter)(count, nullptr, nullptr);
        std::vector<float> values(count < kAbsurd ? static_cast<std::size_t>(count) + 3 : 1);
        std::vector<double> coefficients(count < kAbsurd ? 4 * static_cast<std::size_t>(count) + 1 : 1);
        if (note(name.c_str(), (prm.*getter)(count, values.data(), coefficients.data()))) {
            coefficients.pop_back();
            floats((name + " table").c_str(), values);
            floats((name + " spline").c_str(), coefficients);
        }
    };
    tiltTable("tilt x", &CKorPrm::getLevelXComp);
    tiltTable("tilt y", &CKorPrm::getLevelYComp);

    float first = 0.0F;
    float last = 0.0F;
    if (note("getAzimuthCompRollover", prm.getAzimuthCompRollover(first, last))) {
        floats("azimuth rollover", std::array{first, last});
    }
    if (note("getElevationCompRollover", prm.getElevationCompRollover(first, last))) {
        floats("elevation rollover", std::array{first, last});
    }

    using GroupGetter = int (CKorPrm::*)(float*, unsigned int&) const;
    const auto group = [&](const char* name, GroupGetter getter, std::size_t size) {
        std::vector<float> values(size);
        unsigned int count = 0;
        if (note(name, (prm.*getter)(values.data(), count)) && count == size) {
            floats(name, values);
        }
    };
    group("level 1", &CKorPrm::getLevel1Parameters, 7);
    group("level 2", &CKorPrm::getLevel2Parameters, 7);
    group("qvc", &CKorPrm::getQVCParameters, 6);
    group("scale factors", &CKorPrm::getScaleFactors, 8);

    std::array<float, 7> dynamic{};
    if (note("getDynamicKORParameters", prm.getDynamicKORParameters(dynamic.data()))) {
        floats("dynamic", dynamic);
    }
    std::array<float, 3> x{};
    std::array<float, 3> y{};
    if (note("getPSDParameters", prm.getPSDParameters(x.data(), y.data()))) {
        floats("psd x", x);
        floats("psd y", y);
    }
    return s;
}

std::array<float, 4> encoderLimit(std::array<double, 2> offset, std::array<float, 2> half)
{
    std::array<float, 4> limit{};
    for (std::size_t axis = 0; axis < 2; ++axis) {
        const auto a = static_cast<float>(offset[axis]);
        const float low = a - half[axis];
        const float high = a + half[axis];
        limit[2 * axis] = static_cast<float>(static_cast<double>(low) * kDegreesPerRad);
        limit[2 * axis + 1] = static_cast<float>(static_cast<double>(high) * kDegreesPerRad);
    }
    return limit;
}

Snapshot expected(const PrmValues& v)
{
    Snapshot s;
    const std::array<double, 2> offset = {static_cast<double>(v.angleOffset[0]) * kRadPerDegree,
                                          static_cast<double>(v.angleOffset[1]) * kRadPerDegree};
    s["encoder offset"] = widened(std::array{static_cast<float>(offset[0]), static_cast<float>(offset[1])});
    std::array<float, 2> half = {180.0F, 60.0F};
    if (v.halfAngle) {
        for (std::size_t axis = 0; axis < 2; ++axis) {
            half[axis] = static_cast<float>(static_cast<double>((*v.halfAngle)[axis]) * kRadPerDegree);
        }
    }
    s["encoder limit"] = widened(encoderLimit(offset, half));
    s["known vector"] = widened(v.knownVector);
    s["local matrix"] = widened(v.localMatrix);
    std::vector<double> inverse(9);
    for (std::size_t i = 0; i < 9; ++i) {
        if (v.machineMatrix[i] != 0.0F) {
            inverse[3 * (i % 3) + i / 3] = 1.0 / static_cast<double>(v.machineMatrix[i]);
        }
    }
    s["machine matrix"] = inverse;
    s["thermal factor"] = widened(v.thermalFactor);
    s["tilt offset"] = widened(v.tiltOffset);
    s["adm offset"] = {static_cast<double>(v.admOffset)};
    s["mount mode"] = {static_cast<double>(v.mountMode)};
    s["azimuth table"] = flat(v.azimuth);
    s["elevation table"] = flat(v.elevation);
    s["azimuth rollover"] = widened(std::array{v.azimuth.front()[0], v.azimuth.back()[0]});
    s["elevation rollover"] = widened(std::array{v.elevation.front()[0], v.elevation.back()[0]});
    s["tilt x table"] = knotsAndExtra(v.tiltX);
    s["tilt x spline"] = splineOf(v.tiltX);
    // A table that was never read has no rows, and the getter then touches neither buffer of the snapshot.
    s["tilt y table"] = v.tiltY ? knotsAndExtra(*v.tiltY) : std::vector<double>(3);
    s["tilt y spline"] = v.tiltY ? splineOf(*v.tiltY) : std::vector<double>();
    s["scale factors"] = widened(v.scaleFactors);
    s["qvc"] = widened(v.qvc);
    s["level 1"] = widened(v.level1);
    s["level 2"] = widened(v.level2);
    s["psd x"] = widened(v.psdX);
    s["psd y"] = widened(v.psdY);
    s["dynamic"] = widened(v.dynamic);

    std::array<float, 4> limits = {v.tiltX.extra[0], v.tiltX.extra[1], -35.0F, 35.0F};
    if (v.tiltY) {
        limits[2] = v.tiltY->extra[0];
        limits[3] = v.tiltY->extra[1];
    }
    if (v.mountMode == 7 || v.mountMode == 8) {
        limits[0] = limits[1] = 0.0F;
    }
    s["level limits"] = widened(v.limits.value_or(limits));
    return s;
}

void expectSame(const Snapshot& got, const Snapshot& wanted)
{
    for (const auto& [name, values] : got) {
        EXPECT_TRUE(wanted.contains(name)) << "only got: " << name;
    }
    for (const auto& [name, values] : wanted) {
        const auto found = got.find(name);
        if (found == got.end()) {
            ADD_FAILURE() << "missing: " << name;
            continue;
        }
        const std::vector<double>& other = found->second;
        if (other.size() != values.size()) {
            ADD_FAILURE() << name << ": wanted " << values.size() << " values, got " << other.size();
            continue;
        }
        const bool solved = name.ends_with("spline");
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (solved) {
                // Two solvers of the same well-conditioned system in double: a few roundings apart.
                EXPECT_TRUE(kor_test::within(other[i], values[i], 1e-12 * (1.0 + std::abs(values[i]))))
                    << name << " [" << i << "]";
            } else {
                EXPECT_TRUE(kor_test::sameBits(other[i] + 0.0, values[i] + 0.0)) << name << " [" << i << "]";
            }
        }
    }
}

std::vector<double> naturalSpline(const std::vector<float>& x, const std::vector<float>& y)
{
    const std::size_t points = x.size();
    std::vector<double> coefficients(4 * points);
    if (points < 2) {
        return coefficients;
    }
    const std::size_t intervals = points - 1;
    const auto width = [&](std::size_t i) { return static_cast<double>(x[i + 1]) - static_cast<double>(x[i]); };
    const auto slope = [&](std::size_t i) {
        return (static_cast<double>(y[i + 1]) - static_cast<double>(y[i])) / width(i);
    };
    // Second derivatives at the knots: h[i-1] s[i-1] + 2 (h[i-1] + h[i]) s[i] + h[i] s[i+1] = 6 (slope step),
    // zero at both ends; the band is eliminated downwards, then solved upwards.
    std::vector<double> second(points);
    std::vector<double> upper(points);
    for (std::size_t i = 1; i < intervals; ++i) {
        const double diagonal = 2.0 * (width(i - 1) + width(i)) - width(i - 1) * upper[i - 1];
        upper[i] = width(i) / diagonal;
        second[i] = (6.0 * (slope(i) - slope(i - 1)) - width(i - 1) * second[i - 1]) / diagonal;
    }
    second[intervals] = 0.0;
    for (std::size_t i = intervals; i-- > 1;) {
        second[i] -= upper[i] * second[i + 1];
    }
    for (std::size_t i = 0; i < intervals; ++i) {
        coefficients[4 * i] = static_cast<double>(y[i]);
        coefficients[4 * i + 1] = slope(i) - width(i) * (2.0 * second[i] + second[i + 1]) / 6.0;
        coefficients[4 * i + 2] = second[i] / 2.0;
        coefficients[4 * i + 3] = (second[i + 1] - second[i]) / (6.0 * width(i));
    }
    return coefficients;
}

namespace {

// The two flags stand first in the declaration order that hosts rely on.
bool flagAt(const CKorPrm& prm, std::size_t offset)
{
    unsigned char byte = 0;
    std::memcpy(&byte, reinterpret_cast<const unsigned char*>(&prm) + offset, 1);
    EXPECT_LE(byte, 1);
    return byte != 0;
}

} // namespace

bool loadedFlag(const CKorPrm& prm)
{
    return flagAt(prm, 0);
}

bool modifiedFlag(const CKorPrm& prm)
{
    return flagAt(prm, 1);
}

TempDir::TempDir()
{
    std::random_device random;
    for (int attempt = 0; attempt < 100; ++attempt) {
        m_path = std::filesystem::temp_directory_path() / ("kor_params_" + std::to_string(random()));
        if (std::filesystem::create_directory(m_path)) {
            return;
        }
    }
    throw std::runtime_error("no temporary directory");
}

TempDir::~TempDir()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

void writeFile(const std::filesystem::path& path, std::string_view bytes)
{
    // A new file each time: some file systems wait for the disk when an old one is cut and written again.
    std::filesystem::remove(path);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    ASSERT_TRUE(file.flush()) << path;
}

std::filesystem::path ParamsTest::filePath(unsigned long id) const
{
    return m_dir.path() / ("Tg" + std::to_string(id) + ".prm");
}

int ParamsTest::read(CKorPrm& prm, std::string_view text, unsigned long id)
{
    writeFile(filePath(id), text);
    return readHere(prm, id);
}

int ParamsTest::readHere(CKorPrm& prm, unsigned long id)
{
    return prm.ReadCalibrationFile(m_dir.path().wstring().c_str(), id);
}

int ParamsTest::message(std::string_view text, unsigned long id)
{
    writeFile(filePath(id), text);
    return messageHere(id);
}

int ParamsTest::messageHere(unsigned long id)
{
    CKorPrm prm;
    kor::params::ReadReport report;
    kor::ParameterAccess::read(prm, m_dir.path().wstring().c_str(), id, report);
    m_endedAtTitle = report.endedAtTitle;
    m_status = report.status;
    return static_cast<int>(report.messageId);
}

} // namespace prm_test
