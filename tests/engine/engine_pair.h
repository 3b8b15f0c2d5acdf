// An engine and its flat reference side by side: configured alike, fed alike, compared to the bit.
#pragma once

#include "KORInterface/KORInterface.h"
#include "literal/Engine.h"
#include "support/Float.h"
#include "support/Matrices.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>
#include <vector>

namespace kor_test {

inline constexpr float kNoNumber = std::numeric_limits<float>::quiet_NaN();
inline constexpr float kInfinite = std::numeric_limits<float>::infinity();

// A valid sample at the pose whose polarizer matrix is exactly the identity (plain configuration).
inline KOR_RAWINFO plainSample()
{
    KOR_RAWINFO raw;
    std::memset(&raw, 0, sizeof(raw));
    raw.status = 2;
    raw.sensorVector[1] = 1.0F;
    return raw;
}

// Fills the result with ones first, so that every byte the engine leaves alone shows.
inline KOR_INFO feed(CKor& engine, const KOR_RAWINFO& raw)
{
    KOR_INFO info;
    std::memset(&info, 0xFF, sizeof(info));
    engine.updateKORData(raw, info);
    return info;
}

inline ::testing::AssertionResult isAllZero(const KOR_INFO& info)
{
    std::array<unsigned char, sizeof(KOR_INFO)> bytes{};
    std::memcpy(bytes.data(), &info, sizeof(info));
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (bytes[i] != 0) {
            return ::testing::AssertionFailure() << "byte " << i << " is " << static_cast<int>(bytes[i]);
        }
    }
    return ::testing::AssertionSuccess();
}

inline ::testing::AssertionResult sameResult(const KOR_INFO& got, const KOR_INFO& wanted)
{
    if (got.reserved0 != wanted.reserved0 || got.reserved32 != wanted.reserved32) {
        return ::testing::AssertionFailure() << "a reserved word differs";
    }
    const auto floats = [](const KOR_INFO& i) {
        return std::array<float, 13>{i.azimuth,
                                     i.elevation,
                                     i.levelX,
                                     i.levelY,
                                     i.orientationAngles[0],
                                     i.orientationAngles[1],
                                     i.orientationAngles[2],
                                     i.sensorOut[0],
                                     i.sensorOut[1],
                                     i.sensorOut[2],
                                     i.temperature[0],
                                     i.temperature[1],
                                     i.temperature[2]};
    };
    static constexpr std::array<const char*, 13> kNames = {
        "azimuth",     "elevation",   "levelX",      "levelY",        "angle 0",       "angle 1",      "angle 2",
        "sensorOut 0", "sensorOut 1", "sensorOut 2", "temperature 0", "temperature 1", "temperature 2"};
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        const ::testing::AssertionResult same = sameBits(floats(got)[i], floats(wanted)[i]);
        if (!same) {
            return ::testing::AssertionFailure() << kNames[i] << ": " << same.message();
        }
    }
    return ::testing::AssertionSuccess();
}

inline Matrix readMatrix(CKor& engine)
{
    Matrix matrix;
    matrix.fill(std::numeric_limits<double>::quiet_NaN());
    engine.ReadMatrix(matrix.data());
    return matrix;
}

// What a host that wants no correction at all would set: the levels pass unchanged, the axes too.
inline void configurePlainly(CKor& engine, int mode)
{
    const std::array<float, 8> factors = {0, 0, 0, 0, 1, 1, 1, 0};
    Matrix identity = kIdentity;
    engine.setScaleFactors(factors.data(), 8);
    engine.setThermalFactor(F_VECTOR4{0, 1, 0, 1});
    engine.setTiltOffset(F_VECTOR2{0, 0});
    engine.setEncoderOffset(F_VECTOR2{0, 0});
    engine.setLocalMatrix(identity.data(), 3);
    engine.setMachineMatrix(identity.data(), 3);
    engine.setMountMode(mode);
}

class EnginePair {
public:
    CKor engine;
    LiteralEngine literal;

    EnginePair() = default;
    explicit EnginePair(int mode)
    {
        scaleFactors({0, 0, 0, 0, 1, 1, 1, 0});
        thermal({0, 1, 0, 1});
        localMatrix(kIdentity);
        machineMatrix(kIdentity);
        mountMode(mode);
    }

    void scaleFactors(const std::array<float, 8>& values)
    {
        EXPECT_EQ(engine.setScaleFactors(values.data(), 8), 0);
        literal.setScaleFactors(values.data(), 8);
    }

    void qvc(const std::array<float, 6>& values)
    {
        EXPECT_EQ(engine.setQVCParameters(values.data(), 6), 0);
        literal.setQVCParameters(values.data(), 6);
    }

    void level1(const std::array<float, 7>& values)
    {
        EXPECT_EQ(engine.setLevel1Parameters(values.data(), 7), 0);
        literal.setLevel1Parameters(values.data(), 7);
    }

    void level2(const std::array<float, 7>& values)
    {
        EXPECT_EQ(engine.setLevel2Parameters(values.data(), 7), 0);
        literal.setLevel2Parameters(values.data(), 7);
    }

    // knots holds the three extra values too.
    void levelX(const std::vector<float>& knots, const std::vector<double>& coefficients)
    {
        const int count = static_cast<int>(knots.size()) - 3;
        EXPECT_EQ(engine.setLevelXComp(count, knots.data(), coefficients.data()), 0);
        literal.setLevelXComp(count, knots.data(), coefficients.data());
    }

    void levelY(const std::vector<float>& knots, const std::vector<double>& coefficients)
    {
        const int count = static_cast<int>(knots.size()) - 3;
        EXPECT_EQ(engine.setLevelYComp(count, knots.data(), coefficients.data()), 0);
        literal.setLevelYComp(count, knots.data(), coefficients.data());
    }

    void azimuth(const std::vector<float>& table)
    {
        const int count = static_cast<int>(table.size() / 2);
        EXPECT_EQ(engine.setAzimuthComp(count, table.data()), 0);
        literal.setAzimuthComp(count, table.data());
    }

    void elevation(const std::vector<float>& table)
    {
        const int count = static_cast<int>(table.size() / 2);
        EXPECT_EQ(engine.setElevationComp(count, table.data()), 0);
        literal.setElevationComp(count, table.data());
    }

    void encoderOffset(F_VECTOR2 offset)
    {
        EXPECT_EQ(engine.setEncoderOffset(offset), 0);
        literal.setEncoderOffset(offset);
    }

    void tiltOffset(F_VECTOR2 offset)
    {
        EXPECT_EQ(engine.setTiltOffset(offset), 0);
        literal.setTiltOffset(offset);
    }

    void thermal(F_VECTOR4 factor)
    {
        EXPECT_EQ(engine.setThermalFactor(factor), 0);
        literal.setThermalFactor(factor);
    }

    void localMatrix(const Matrix& matrix)
    {
        EXPECT_EQ(engine.setLocalMatrix(matrix.data(), 3), 0);
        literal.setLocalMatrix(matrix.data(), 3);
    }

    void machineMatrix(Matrix matrix)
    {
        EXPECT_EQ(engine.setMachineMatrix(matrix.data(), 3), 0);
        literal.setMachineMatrix(matrix.data(), 3);
    }

    void mcs(bool flag)
    {
        EXPECT_EQ(engine.setMcsFlag(flag), 0);
        literal.setMcsFlag(flag);
    }

    void psd(int first, int second, int divisor)
    {
        EXPECT_EQ(engine.setPSDParameters(first, second, divisor), 0);
        literal.setPSDParameters(first, second, divisor);
    }

    void store(const std::array<float, 7>& dynamic, const std::array<float, 3>& a, const std::array<float, 3>& b)
    {
        EXPECT_EQ(LoadParameterStore(engine, dynamic.data(), a.data(), b.data()), 0);
        literal.loadParameterStore(dynamic.data(), a.data(), b.data());
    }

    void mountMode(int mode)
    {
        EXPECT_EQ(engine.setMountMode(mode), 0);
        literal.setMountMode(mode);
    }

    // Feeds both, compares every field and the matrix, and returns the engine's result.
    KOR_INFO feedBoth(const KOR_RAWINFO& raw)
    {
        const KOR_INFO got = feed(engine, raw);
        KOR_INFO wanted;
        literal.updateKORData(raw, wanted);
        EXPECT_TRUE(sameResult(got, wanted));

        Matrix gotMatrix{};
        Matrix wantedMatrix{};
        EXPECT_EQ(engine.ReadMatrix(gotMatrix.data()), literal.ReadMatrix(wantedMatrix.data()));
        EXPECT_TRUE(sameBitsThroughout(gotMatrix, wantedMatrix));
        return got;
    }
};

} // namespace kor_test
