// The tables of parameter sets: who shares them and what they hold.
#pragma once

#include <cstdint>

#include "KORInterface/ParameterSet.h"

namespace kor::params {

/// One holder more for each of the six tables.
void retainTables(const ParameterSet& set) noexcept;

/// One holder less for each of the six tables, whose pointers become null. Counts stay.
void releaseTables(ParameterSet& set) noexcept;

/// Whether an encoder table is there and has room for so many rows.
bool encoderTableHolds(const float* table, std::uint32_t rows) noexcept;

/// Whether a level's table and its coefficients are there and have room for so many rows; the table for its extra
/// values besides.
bool levelTableHolds(const float* table, const double* coeffs, std::uint32_t rows) noexcept;

} // namespace kor::params
