#include "mek/Arithmetic.h"

namespace mek {

namespace {

template <typename Float>
Float productMinus(Float a, Float b, Float c) noexcept
{
    return a * b - c;
}

void narrow(double* pair) noexcept
{
    pair[0] = static_cast<double>(static_cast<float>(pair[0]));
    pair[1] = static_cast<double>(static_cast<float>(pair[1]));
}

} // namespace

// (1 + e)(1 - e) is 1 - e^2: rounded it is 1 and the difference vanishes, fused the difference is -e^2.
bool productsAreRounded() noexcept
{
    volatile double up = 1.0 + 0x1p-30;
    volatile double down = 1.0 - 0x1p-30;
    volatile double one = 1.0;
    volatile float upFloat = 1.0F + 0x1p-13F;
    volatile float downFloat = 1.0F - 0x1p-13F;
    volatile float oneFloat = 1.0F;
    const double a = up;
    const double b = down;
    const double c = one;
    const float x = upFloat;
    const float y = downFloat;
    const float z = oneFloat;
    return productMinus(a, b, c) == 0.0 && productMinus(x, y, z) == 0.0F;
}

// Neither a tenth nor a fifth is a float, and their floats differ. The pair is reached through memory that the compiler
// knows nothing of.
bool floatsAreNarrowed() noexcept
{
    double pair[2] = {0.1, 0.2};
    double* volatile hidden = pair;
    narrow(hidden);
    return hidden[0] != 0.1 && hidden[1] != 0.2 && hidden[0] < hidden[1];
}

} // namespace mek
