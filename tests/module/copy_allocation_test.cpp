#include "KORInterface/CKorThreeVec2Levelv2.h"

#include <gtest/gtest.h>

#include "support/CountedNew.h"

namespace {

template <typename Model>
void expectCopiesToShareBuffers()
{
    const Model source;
    const long before = kor_test::allocationCount();
    const Model copy(source);
    Model target(copy);
    target = source;
    EXPECT_EQ(kor_test::allocationCount(), before);
}

TEST(TwoLevelCopies, shareTheBuffersOfTheirSourceInTheFirstVersion)
{
    expectCopiesToShareBuffers<CKorThreeVec2Level>();
}

TEST(TwoLevelCopies, shareTheBuffersOfTheirSourceInTheSecondVersion)
{
    expectCopiesToShareBuffers<CKorThreeVec2Levelv2>();
}

} // namespace
