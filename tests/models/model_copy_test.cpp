// Copies and moves of the models that add no fields.
#include "models/model_access.h"
#include "support/Matrices.h"

#include <type_traits>
#include <utility>

namespace kor_test {
namespace {

template <typename Model>
class ModelCopy : public ::testing::Test {
protected:
    ModelCopy()
    {
        std::array<float, 8> factors = {0.5F, 0.25F, 1.5F, -0.75F, 1.1F, 0.9F, 1.05F, 0.3F};
        std::array<float, 6> qvc = {10, 20, 30, 0.5F, -0.5F, 0.25F};
        std::array<float, 7> level1 = {1, 2, 3, 0.5F, 0.25F, 0.125F, 1.25F};
        std::array<float, 7> level2 = {4, 5, 6, 40, 0.5F, -0.25F, 0.75F};
        m_primed.set_iMMode(1);
        m_primed.UpdateSFactors(factors.data(), 8);
        m_primed.UpdateQVCParameters(qvc.data(), 6);
        m_primed.UpdateLevel1Parameters(level1.data(), 7);
        m_primed.UpdateLevel2Parameters(level2.data(), 7);
        Open<Model> held;
        held.set(numbered(200));
        m_other = held;
    }

    static Matrix result(CKorModel& model)
    {
        Matrix buffer = {3000, 4000, 500, 1.25, -2.5, 33, 12, 20, 21};
        EXPECT_TRUE(model.CalTranxMatrix(buffer.data(), 0.125, -0.25, 3));
        return buffer;
    }

    Model m_primed;
    Open<Model> m_other;
};

using CopiedModels = ::testing::Types<CKorDualLevel, CKorPendulum, CKorPolarizer, CKorThreeVec>;
TYPED_TEST_SUITE(ModelCopy, CopiedModels);

TYPED_TEST(ModelCopy, constructionAndAssignmentCarryEveryField)
{
    Open<TypeParam> source;
    source.set(numbered(1));
    const TypeParam& plain = source;
    EXPECT_EQ(Open<TypeParam>(plain).fields(), numbered(1));
    Open<TypeParam> target;
    target.assign(plain);
    EXPECT_EQ(target.fields(), numbered(1));
    EXPECT_EQ(source.fields(), numbered(1));
}

TYPED_TEST(ModelCopy, movesBehaveExactlyAsCopies)
{
    Open<TypeParam> source;
    source.set(numbered(1));
    EXPECT_EQ(Open<TypeParam>(static_cast<TypeParam&&>(source)).fields(), numbered(1));
    EXPECT_EQ(source.fields(), numbered(1)) << "the source keeps its fields";
    Open<TypeParam> target;
    target.assignMoved(static_cast<TypeParam&&>(source));
    EXPECT_EQ(target.fields(), numbered(1));
    EXPECT_EQ(source.fields(), numbered(1));
    static_assert(std::is_nothrow_move_constructible_v<TypeParam> && std::is_nothrow_move_assignable_v<TypeParam>);
}

TYPED_TEST(ModelCopy, aCopyComputesTheSameToTheBit)
{
    TypeParam copy(this->m_primed);
    TypeParam moved(std::move(copy));
    this->m_other.assign(this->m_primed);
    TypeParam assigned;
    assigned = std::move(moved);
    const Matrix wanted = this->result(this->m_primed);
    EXPECT_TRUE(sameBitsThroughout(this->result(this->m_other), wanted));
    EXPECT_TRUE(sameBitsThroughout(this->result(assigned), wanted));
    EXPECT_FALSE(sameBitsThroughout(wanted, kIdentity));
}

TYPED_TEST(ModelCopy, assignmentReturnsTheTargetAndBearsItself)
{
    TypeParam target;
    EXPECT_EQ(&(target = this->m_primed), &target);
    const TypeParam& self = target;
    EXPECT_EQ(&(target = self), &target);
    EXPECT_TRUE(sameBitsThroughout(this->result(target), this->result(this->m_primed)));
}

TYPED_TEST(ModelCopy, aCopyLivesOnItsOwn)
{
    TypeParam copy(this->m_primed);
    const Matrix wanted = this->result(this->m_primed);
    std::array<float, 8> zeros{};
    copy.UpdateSFactors(zeros.data(), 8);
    copy.set_iMMode(0);
    EXPECT_TRUE(sameBitsThroughout(this->result(this->m_primed), wanted));
}

TEST(ModelBaseCopy, carriesEveryField)
{
    Open<CKorModel> source;
    source.set(numbered(1));
    const CKorModel& plain = source;
    EXPECT_EQ(Open<CKorModel>(plain).fields(), numbered(1));
    EXPECT_EQ(Open<CKorModel>(static_cast<CKorModel&&>(source)).fields(), numbered(1));
    Open<CKorModel> target;
    target.assign(plain);
    EXPECT_EQ(target.fields(), numbered(1));
    Open<CKorModel> moved;
    moved.assignMoved(static_cast<CKorModel&&>(source));
    EXPECT_EQ(moved.fields(), numbered(1));
}

TEST(ThreeVectors, handOutTheirOffsetsOnlyWhereThereIsRoom)
{
    Open<CKorThreeVec> model;
    model.set(numbered(1));
    model.GetQVCMatrix(nullptr, 6);
    std::array<float, 6> got{};
    model.GetQVCMatrix(got.data(), 6);
    EXPECT_EQ(got, numbered(1).qvcMatrix);
    EXPECT_EQ(model.fields(), numbered(1));
}

} // namespace
} // namespace kor_test
