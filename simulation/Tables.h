// Calibration tables of a sensor, forwards and backwards, in double precision.
#pragma once

#include <cstddef>
#include <vector>

namespace kor::simulation {

/// Calibration of an encoder: rows of reading and correction over one turn, straight between them.
struct EncoderTable {
    std::vector<float> rows;

    double calibrated(double reading) const;
    double reading(double angle) const; ///< inverse of calibrated
};

/// Compensation of a level: a cubic on every interval of the knots, straight on beyond both ends.
struct LevelTable {
    std::vector<float> knots;
    std::vector<double> coefficients;
    std::vector<float> limits; ///< the three numbers behind the knots in a parameter file

    bool present() const { return knots.size() >= 2; }
    double angle(double reading) const;
    double reading(double angle) const; ///< inverse of angle; NaN if there is none
    bool outside(double reading) const;

private:
    double slope(std::size_t interval, double t) const;
    double value(std::size_t interval, double t) const;
};

} // namespace kor::simulation
