// A parameter file read the plain way, call by call of fscanf: what the library's reader is timed against. For sound
// files only.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "mek/Literals.h"
#include "mek/Matrix.h"
#include "mek/Spline.h"

namespace kor_bench {

/// The values of a file, as the library hands them out.
struct PlainSet {
    std::array<double, 2> encoderOffset{}; ///< radians
    std::array<double, 3> knownVector{};
    std::array<double, 9> localMatrix{};
    std::array<double, 9> machineMatrix{}; ///< inverse of the file's
    std::array<float, 4> thermalFactor{};
    std::array<float, 2> tiltOffset{};
    float admOffset = 0.0F;
    std::vector<float> azimuth;
    std::vector<float> elevation;
    std::array<std::vector<float>, 2> levelTable;
    std::array<std::vector<double>, 2> levelCoefficients;
    std::array<float, 8> scaleFactors{};
    int mountMode = 0;
    std::array<float, 6> qvc{};
    std::array<float, 7> level1{};
    std::array<float, 7> level2{};
    std::array<float, 2> halfRange{}; ///< degrees
    std::array<float, 3> psdX{};
    std::array<float, 3> psdY{};
    std::array<float, 7> dynamic{};
};

class PlainReader {
public:
    /// Whether the file has been read to its end.
    bool read(const char* path, int id, PlainSet& set)
    {
        m_in.reset(std::fopen(path, "r"));
        return m_in && readBlocks(id, set);
    }

private:
    struct Closed {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    bool title(const char* wanted, int words)
    {
        std::array<char, 64> word{};
        std::array<char, 256> line{};
        for (int i = 0; i < words; ++i) {
            if (std::fscanf(m_in.get(), "%63s", word.data()) != 1) {
                return false;
            }
            if (i > 0) {
                std::strcat(line.data(), " ");
            }
            std::strcat(line.data(), word.data());
        }
        return std::strstr(line.data(), wanted) != nullptr;
    }

    bool integer(int& value) { return std::fscanf(m_in.get(), "%d\n", &value) == 1; }

    bool numbers(float* values, std::size_t count)
    {
        for (std::size_t i = 0; i < count; ++i) {
            if (std::fscanf(m_in.get(), "%f\t", &values[i]) != 1) {
                return false;
            }
        }
        return true;
    }

    template <std::size_t count>
    bool block(const char* wanted, int words, std::array<float, count>& values)
    {
        return title(wanted, words) && numbers(values.data(), count);
    }

    template <std::size_t count>
    bool wideBlock(const char* wanted, int words, std::array<double, count>& values)
    {
        std::array<float, count> narrow{};
        const bool taken = block(wanted, words, narrow);
        for (std::size_t i = 0; i < count; ++i) {
            values[i] = static_cast<double>(narrow[i]);
        }
        return taken;
    }

    bool encoderTable(const char* wanted, std::vector<float>& table)
    {
        int rows = 0;
        if (!title(wanted, 3) || !integer(rows)) {
            return false;
        }
        table.resize(2 * static_cast<std::size_t>(rows));
        for (std::size_t i = 0; i < table.size(); i += 2) {
            if (std::fscanf(m_in.get(), "%f\t%f\n", &table[i], &table[i + 1]) != 2) {
                return false;
            }
        }
        return true;
    }

    bool tiltTable(const char* wanted, std::vector<float>& table, std::vector<double>& coefficients)
    {
        int rows = 0;
        if (!title(wanted, 4) || !integer(rows)) {
            return false;
        }
        const auto count = static_cast<std::size_t>(rows);
        table.resize(count + 3);
        coefficients.resize(4 * count);
        std::vector<float> angles(count);
        for (std::size_t i = 0; i < count; ++i) {
            if (std::fscanf(m_in.get(), "%f\t%f\n", &table[i], &angles[i]) != 2) {
                return false;
            }
        }
        std::array<char, 64> unit{};
        if (!numbers(&table[count], 3) || std::fscanf(m_in.get(), "%63s\n", unit.data()) != 1) {
            return false;
        }
        mek::CubicSplines(table.data(), angles.data(), rows - 1, coefficients.data());
        return true;
    }

    bool readBlocks(int id, PlainSet& set)
    {
        int fileId = 0;
        std::array<char, 64> owner{};
        std::array<float, 6> gains{};
        std::array<float, 4> damping{};
        std::array<float, 1> adm{};
        bool sound =
            title("Serial Number", 2) && integer(fileId) && fileId == id && title("Device Owner", 2) &&
            std::fscanf(m_in.get(), "%63s\n", owner.data()) == 1 && block("AZ Position Gain", 3, gains) &&
            block("EL Position Gain", 3, gains) && block("AZ Tracking Gain", 3, gains) &&
            block("EL Tracking Gain", 3, gains) && block("Digital Damping", 2, damping) &&
            wideBlock("Angle Offset", 2, set.encoderOffset) && wideBlock("Transform Vector", 2, set.knownVector) &&
            wideBlock("Local Coordinate Tranform Matrix", 4, set.localMatrix) &&
            wideBlock("Machine Coordinate Tranform Matrix", 4, set.machineMatrix) &&
            block("Thermal Compensation Factor", 3, set.thermalFactor) &&
            block("Tilt Sensor Offset", 3, set.tiltOffset) && block("ADM Offset", 2, adm) &&
            encoderTable("AZ Calibration Table", set.azimuth) && encoderTable("EL Calibration Table", set.elevation) &&
            tiltTable("Tilt X Calibration Table", set.levelTable[0], set.levelCoefficients[0]) &&
            tiltTable("Tilt Y Calibration Table", set.levelTable[1], set.levelCoefficients[1]) &&
            block("Scale Factor", 2, set.scaleFactors) && title("Mounting Mode", 2) && integer(set.mountMode);
        if (sound && set.mountMode >= 7) {
            sound = block("QVC", 1, set.qvc) && block("Level_X", 1, set.level1) && block("Level_Y", 1, set.level2) &&
                    block("Half Angle", 2, set.halfRange) && block("PSDX", 1, set.psdX) && block("PSDY", 1, set.psdY) &&
                    block("DynamicParameters", 1, set.dynamic);
        }
        set.admOffset = adm[0];
        for (double& angle : set.encoderOffset) {
            angle *= mek::kRadPerDeg;
        }
        mek::MatrixInverse(set.machineMatrix.data(), 3);
        return sound;
    }

    std::unique_ptr<std::FILE, Closed> m_in;
};

} // namespace kor_bench
