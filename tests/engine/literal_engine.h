// The engine's per-sample arithmetic written out flat, one step after the other: the reference that the engine has
// to meet to the bit. Encoders, splines and matrix inverses are the support library's (tested on their own);
// products, angles and the polarizer are written out here.
#pragma once

#include "KORInterface/KORInterface.h"
#include "mek/CEncoder.h"
#include "mek/Matrix.h"
#include "mek/Spline.h"
#include "support/LiteralPolarizer.h"
#include "support/Matrices.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace kor_test {

// Arc tangent of the angle extraction: a dead zone, shortened constants, a result of single precision.
inline float literalSafeAtan2(double y, double x, bool smallYRule = true)
{
    if (std::fabs(x) <= 1e-12) {
        if (std::fabs(y) <= 1e-12) {
            return 0.0F;
        }
        return y > 0 ? static_cast<float>(1.570796326795) : static_cast<float>(-1.570796326795);
    }
    if (smallYRule && std::fabs(y) <= 1e-12) {
        return 0.0F;
    }
    double angle = std::atan(y / x);
    if (x < 0 && y > 0) {
        angle = angle + 3.14159265359;
    }
    if (x < 0 && y < 0) {
        angle = angle - 3.14159265359;
    }
    return static_cast<float>(angle);
}

class LiteralPolarizerModel : public CKorModel {
public:
    void UpdateSFactors(float* values, int count) override
    {
        for (int i = 0; i < count; ++i) {
            m_factors[static_cast<std::size_t>(i)] = values[i];
        }
    }

    bool CalTranxMatrix(double* const matrix, double angle1, double angle2, int) override
    {
        std::array<double, 9> inputs{};
        std::memcpy(inputs.data(), matrix, sizeof(inputs));
        const Matrix result = literalPolarizer(m_factors, inputs, angle1, angle2);
        std::memcpy(matrix, result.data(), sizeof(result));
        return true;
    }

private:
    std::array<float, 8> m_factors{};
};

struct LiteralEngine {
    // Configuration, as a host sets it.
    std::array<float, 8> scaleFactors{};
    std::array<float, 6> qvc{};
    std::array<float, 7> level1{};
    std::array<float, 7> level2{};
    int levelXCount = 0;
    std::vector<float> levelXKnots;
    std::vector<double> levelXCoefficients;
    int levelYCount = 0;
    std::vector<float> levelYKnots;
    std::vector<double> levelYCoefficients;
    std::vector<float> azimuthTable;
    std::vector<float> elevationTable;
    mek::CEncoder azimuthEncoder;
    mek::CEncoder elevationEncoder;
    double encoderOffset[2] = {0, 0};
    float tiltOffset[2] = {0, 0};
    float thermal[4] = {0, 0, 0, 0};
    Matrix local{};
    Matrix localInverse{};
    Matrix machine{};
    bool mcs = true;
    int psdFirst = 0;
    int psdSecond = 0;
    int psdDivisor = 0;
    int mode = 0;
    std::unique_ptr<CKorModel> model;
    bool storeLoaded = false;
    std::array<float, 7> dynamic{};
    std::array<float, 3> storeA{};
    std::array<float, 3> storeB{};

    // State between samples.
    Matrix result{};
    Matrix referenceInverse{};
    bool referenceCaptured = false;
    bool matrixValid = false;
    float modelQvc[6] = {0, 0, 0, 0, 0, 0};
    bool startedX = false;
    bool startedY = false;
    std::uint32_t startX = 0;
    std::uint32_t startY = 0;
    std::int32_t countX = 0;
    std::int32_t countY = 0;
    double elapsedX = 0;
    double elapsedY = 0;

    void setLocal(const Matrix& matrix)
    {
        local = matrix;
        localInverse = matrix;
        mek::MatrixInverse(localInverse.data(), 3);
    }

    void setMountMode(int newMode)
    {
        mode = newMode;
        if (model == nullptr) {
            switch (mode) {
            case 1:
            case 2:
                model = std::make_unique<CKorDualLevel>();
                break;
            case 5:
            case 6:
                model = std::make_unique<LiteralPolarizerModel>();
                break;
            case 7:
            case 8:
                model = std::make_unique<CKorThreeVec>();
                break;
            case 9:
            case 10:
                model = std::make_unique<CKorThreeVec2Levelv2>();
                break;
            default:
                model = std::make_unique<CKorPendulum>();
                break;
            }
            if (mode % 2 >= 0) {
                model->set_iMMode(mode % 2);
            }
        }
        model->UpdateSFactors(scaleFactors.data(), 8);
        model->UpdateQVCParameters(qvc.data(), 6);
        model->UpdateLevel1Parameters(level1.data(), 7);
        model->UpdateLevel2Parameters(level2.data(), 7);
        if (storeLoaded) {
            model->SetDynamicParameters(dynamic.data());
        }
    }

    int readMatrix(Matrix& out) const
    {
        out = result;
        return matrixValid ? 0 : 554;
    }

    void update(const KOR_RAWINFO& raw, KOR_INFO& info)
    {
        // 1
        std::memset(&info, 0, sizeof(info));
        matrixValid = false;
        if (model == nullptr) {
            return;
        }

        // 2, 3
        float inputX = raw.levelXRaw;
        if (mode == 5 || mode == 6) {
            inputX = std::fabs(static_cast<double>(raw.levelYRaw)) > 2000.0 ? raw.levelXRaw / raw.levelYRaw : 0.0F;
        }
        bool outX = false;
        info.levelX = mek::CalcSpline(true, levelXKnots.empty() ? nullptr : levelXKnots.data(),
                                      levelXCoefficients.empty() ? nullptr : levelXCoefficients.data(), levelXCount - 1,
                                      inputX, &outX);
        info.levelX = info.levelX - tiltOffset[0];
        const float productX = thermal[0] * raw.levelTemperature;
        const float gainX = productX + thermal[1];
        info.levelX = info.levelX * gainX;

        // 4
        bool outY = false;
        info.levelY = mek::CalcSpline(true, levelYKnots.empty() ? nullptr : levelYKnots.data(),
                                      levelYCoefficients.empty() ? nullptr : levelYCoefficients.data(), levelYCount - 1,
                                      raw.levelYRaw, &outY);
        info.levelY = info.levelY - tiltOffset[1];
        const float productY = thermal[2] * raw.levelTemperature;
        const float gainY = productY + thermal[3];
        info.levelY = info.levelY * gainY;

        // 5
        model->SetLevelLimits(outX, outY);

        // 6
        elevationEncoder.setRawReading(raw.elevationRaw);
        info.elevation = elevationEncoder.encCalibration(raw.elevationRaw);
        azimuthEncoder.setRawReading(raw.azimuthRaw);
        info.azimuth = azimuthEncoder.encCalibration(raw.azimuthRaw);

        // 7
        for (int i = 0; i < 3; ++i) {
            double v = raw.temperatureCount[i];
            if (v > 8388608.0) {
                v = v - 16777216.0;
            }
            info.temperature[i] = static_cast<float>(v) / 41920.0F;
        }

        // 8
        result = kIdentity;

        // 9
        if (raw.status != 2) {
            countX = 0;
            countY = 0;
            startedX = false;
            startedY = false;
            return;
        }

        // 10
        if (outX) {
            countX = 0;
            startedX = false;
        } else {
            if (!startedX) {
                startX = raw.timeStampMs;
                startedX = true;
            }
            countX = countX + 1;
            elapsedX = static_cast<std::uint32_t>(raw.timeStampMs - startX) / 1000.0;
        }
        if (outY) {
            countY = 0;
            startedY = false;
        } else {
            if (!startedY) {
                startY = raw.timeStampMs;
                startedY = true;
            }
            countY = countY + 1;
            elapsedY = static_cast<std::uint32_t>(raw.timeStampMs - startY) / 1000.0;
        }

        // 11
        model->SetCounter(static_cast<unsigned long>(countX), static_cast<unsigned long>(countY));
        model->SetTimeInterval(elapsedX, elapsedY);
        matrixValid = true;

        // 12: the second temperature stays out
        Matrix r = {static_cast<double>(raw.sensorVector[0]), static_cast<double>(raw.sensorVector[1]),
                    static_cast<double>(raw.sensorVector[2]), static_cast<double>(info.levelX),
                    static_cast<double>(info.levelY),         static_cast<double>(info.azimuth),
                    static_cast<double>(info.elevation),      static_cast<double>(info.temperature[0]),
                    static_cast<double>(info.temperature[2])};

        // 13
        if (mode >= 7 && storeLoaded) {
            float a = 0.0F;
            float b = 0.0F;
            if (psdDivisor != 0) {
                a = static_cast<float>(psdFirst) / static_cast<float>(psdDivisor);
                b = static_cast<float>(psdSecond) / static_cast<float>(psdDivisor);
            }
            std::array<float, 6> adjusted = qvc;
            const float crossA = (storeA[1] * storeA[2]) * b;
            const float ownA = storeA[1] * a + storeA[0];
            adjusted[3] = (crossA + ownA) + qvc[3];
            const float crossB = (storeB[1] * storeB[2]) * a;
            const float ownB = storeB[1] * b + storeB[0];
            adjusted[4] = qvc[4] - (crossB + ownB);
            model->UpdateQVCParameters(adjusted.data(), 6);
        }

        // 14
        if (!model->CalTranxMatrix(r.data(), encoderOffset[0], encoderOffset[1], 3)) {
            return;
        }

        // 15
        if (mode < 7) {
            for (int i = 0; i < 3; ++i) {
                info.sensorOut[i] = raw.sensorVector[i];
            }
        } else {
            model->GetQVCMatrix(modelQvc, 6);
            for (int i = 0; i < 3; ++i) {
                info.sensorOut[i] = modelQvc[i];
            }
            model->GetLevelValues(info.levelX, info.levelY);
        }

        // 16 to 19
        if (referenceCaptured) {
            if (mode >= 7) {
                result = r;
                signedVerticalAngles(r, info.orientationAngles);
            } else {
                composedAngles(r, info.orientationAngles);
            }
            for (float& angle : info.orientationAngles) {
                angle = static_cast<float>(static_cast<double>(angle) * 57.29577951308);
            }
        }

        // 20
        if (!referenceCaptured && raw.referenceGate <= 0.4F && raw.referenceHold == 0) {
            referenceInverse = r;
            mek::MatrixInverse(referenceInverse.data(), 3);
            referenceCaptured = true;
        }
    }

private:
    static double sine(float angle) { return static_cast<double>(std::sin(angle)); }
    static double cosine(float angle) { return static_cast<double>(std::cos(angle)); }

    // 17
    static void signedVerticalAngles(const Matrix& r, float* angles)
    {
        angles[0] = static_cast<float>(std::atan2(-r[5], r[8]));
        angles[1] = static_cast<float>(std::atan2(-r[1], r[0]));
        angles[2] = static_cast<float>(std::atan2(r[2], cosine(angles[0]) * r[8] - sine(angles[0]) * r[5]));
        if (static_cast<double>(angles[0]) > 1.570796326795 || static_cast<double>(angles[0]) < -1.570796326795) {
            angles[0] = static_cast<float>(std::atan2(r[5], -r[8]));
            angles[1] = static_cast<float>(std::atan2(r[1], -r[0]));
            angles[2] = static_cast<float>(std::atan2(r[2], cosine(angles[0]) * r[8] - sine(angles[0]) * r[5]));
        }
    }

    // 18, 19
    void composedAngles(const Matrix& r, float* angles)
    {
        if (mcs) {
            result = multiply(machine, r);
        } else {
            const Matrix scratch1 = multiply(referenceInverse, localInverse);
            const Matrix scratch2 = multiply(r, scratch1);
            result = multiply(local, scratch2);
        }
        const Matrix& m = result;
        const double len0 = std::sqrt(m[0] * m[0] + m[3] * m[3] + m[6] * m[6]);
        const double len1 = std::sqrt(m[1] * m[1] + m[4] * m[4] + m[7] * m[7]);
        const double len2 = std::sqrt(m[2] * m[2] + m[5] * m[5] + m[8] * m[8]);
        const double e00 = m[0] / len0;
        const double e10 = m[3] / len0;
        const double e20 = m[6] / len0;
        const double e01 = m[1] / len1;
        const double e11 = m[4] / len1;
        const double e21 = m[7] / len1;
        const double e02 = m[2] / len2;
        const double f12 = -m[5] / len2;
        const double e22 = m[8] / len2;
        if (mcs) {
            const float first = literalSafeAtan2(f12, e22, false);
            const float second =
                literalSafeAtan2(sine(first) * e20 + cosine(first) * e10, sine(first) * e21 + cosine(first) * e11);
            const double w = cosine(first) * e22 + sine(first) * f12;
            double third = 0;
            if (std::fabs(w) <= 1e-12) {
                if (std::fabs(e02) <= 1e-12) {
                    third = 0;
                } else {
                    third = e02 > 0 ? 1.570796326795 : -1.570796326795;
                }
            } else {
                third = std::atan(e02 / w);
            }
            angles[0] = first;
            angles[1] = second;
            angles[2] = static_cast<float>(third);
        } else {
            const float second = literalSafeAtan2(e10, e00);
            const float third = literalSafeAtan2(-e20, sine(second) * e10 + cosine(second) * e00);
            const float first = literalSafeAtan2(cosine(second) * f12 + sine(second) * e02,
                                                 cosine(second) * e11 - sine(second) * e01, false);
            angles[0] = first;
            angles[1] = second;
            angles[2] = third;
        }
    }
};

} // namespace kor_test
