// The plain transcription of the polarizer model, called with values.
#pragma once

#include "literal/Geometric.h"
#include "support/Matrices.h"

#include <array>

namespace kor_test {

inline Matrix literalPolarizer(const std::array<float, 8>& factors, const std::array<double, 9>& m, double angle1,
                               double angle2)
{
    Matrix io = m;
    literal::polarizer(factors.data(), io.data(), angle1, angle2);
    return io;
}

} // namespace kor_test
