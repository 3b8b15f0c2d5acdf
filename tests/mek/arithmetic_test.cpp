// The self-check of the arithmetic.
#include "mek/Arithmetic.h"

#include <gtest/gtest.h>

namespace {

TEST(Arithmetic, libraryIsCompiledWithRoundedProducts)
{
    EXPECT_TRUE(mek::productsAreRounded());
}

TEST(Arithmetic, libraryIsCompiledWithNeighboursRoundedToFloat)
{
    EXPECT_TRUE(mek::floatsAreNarrowed());
}

} // namespace
