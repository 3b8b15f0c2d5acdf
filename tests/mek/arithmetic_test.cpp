// The self-check of the arithmetic.
#include "mek/Arithmetic.h"

#include <gtest/gtest.h>

namespace {

TEST(Arithmetic, LibraryIsCompiledWithRoundedProducts)
{
    EXPECT_TRUE(mek::productsAreRounded());
}

} // namespace
