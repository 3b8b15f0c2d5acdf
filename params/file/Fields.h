// What the values of a parameter file mean: their names, their units, which numbers are plausible, and which models
// make use of them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "KORInterface/OrientationModel.h"

#include "params/file/Blocks.h"

namespace kor::params {

/// A set of orientation models, one bit each.
using Models = std::uint8_t;

/// The bit of a model.
constexpr Models bitOf(OrientationModel model)
{
    return static_cast<Models>(1U << static_cast<unsigned>(model));
}

/// Some values of a block that follow each other and have unit and range in common. The columns of a table count as
/// values 0 and 1, the extra row of a tilt table as 2 to 4.
struct Field {
    Target target;                    ///< of the block; Target::nothing: a block of no use, by `title`
    std::uint8_t first;               ///< value
    std::uint8_t count;               ///< of values
    std::array<const char*, 9> names; ///< one each: lower case, unique in the block
    const char* unit;                 ///< "" for none
    double least;                     ///< of the plausible numbers
    double most;
    bool eitherSign; ///< least and most bound the magnitude
    Models models;   ///< whose orientation depends on it
};

/// The entry for a value of a block, null for a value beyond those that the block has.
const Field* fieldOf(const Block& block, std::size_t value);

/// The name of a value that the block has.
const char* fieldName(const Block& block, std::size_t value);

/// Which models' orientation depends on a block.
Models modelsOf(const Block& block);

} // namespace kor::params
