// The self-check of the arithmetic.
#include "mek/Arithmetic.h"

#include <gtest/gtest.h>

namespace {

TEST(Arithmetic, LibraryIsCompiledWithRoundedProducts)
{
    EXPECT_TRUE(mek::productsAreRounded());
}

TEST(Arithmetic, LibraryIsCompiledWithNeighboursRoundedToFloat)
{
    EXPECT_TRUE(mek::floatsAreNarrowed());
}

} // namespace
