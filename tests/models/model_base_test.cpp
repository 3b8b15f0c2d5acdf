// The model interface: base behaviour, mount parity, and which class takes up which operation.
#include "models/model_access.h"
#include "support/Float.h"
#include "support/Matrices.h"

#include <climits>
#include <memory>
#include <string>
#include <type_traits>

namespace kor_test {
namespace {

const std::array<float, 8> kValues = {101, 102, 103, 104, 105, 106, 107, 108};

TEST(ModelBase, takesUpNoParameters)
{
    Open<CKorModel> model;
    model.set(numbered(1));
    std::array<float, 8> values = kValues;
    model.UpdateSFactors(values.data(), 8);
    model.UpdateQVCParameters(values.data(), 6);
    model.UpdateLevel1Parameters(values.data(), 7);
    model.UpdateLevel2Parameters(values.data(), 7);
    model.SetLevelLimits(true, false);
    model.SetCounter(1, 2);
    model.SetTimeInterval(3, 4);
    model.SetDynamicParameters(values.data());
    EXPECT_EQ(model.fields(), numbered(1));
    EXPECT_EQ(values, kValues);
}

TEST(ModelBase, needsNoPointersWhereItDoesNothing)
{
    CKorModel model;
    model.UpdateSFactors(nullptr, 8);
    model.UpdateQVCParameters(nullptr, 6);
    model.UpdateLevel1Parameters(nullptr, 7);
    model.UpdateLevel2Parameters(nullptr, 7);
    model.GetQVCMatrix(nullptr, 6);
    model.SetDynamicParameters(nullptr);
    EXPECT_TRUE(model.CalTranxMatrix(nullptr, 0, 0, 3));
}

TEST(ModelBase, calTranxMatrixReturnsTrueAndLeavesTheBuffer)
{
    Open<CKorModel> model;
    model.set(numbered(1));
    std::array<double, 9> buffer = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    EXPECT_TRUE(model.CalTranxMatrix(buffer.data(), 0.5, -0.5, 3));
    EXPECT_EQ(buffer, (std::array<double, 9>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST(ModelBase, outputsStayUntouched)
{
    Open<CKorModel> model;
    model.set(numbered(1));
    std::array<float, 8> out = kValues;
    model.GetQVCMatrix(out.data(), 6);
    EXPECT_EQ(out, kValues);
    float level1 = 3;
    float level2 = 4;
    model.GetLevelValues(level1, level2);
    EXPECT_EQ(level1, 3.0F);
    EXPECT_EQ(level2, 4.0F);
}

TEST(MountParity, isSetAndAskedFor)
{
    CKorModel model;
    EXPECT_EQ(model.set_iMMode(1), 1);
    EXPECT_EQ(model.set_iMMode(-1), 1) << "a negative mode asks only";
    EXPECT_EQ(model.set_iMMode(INT_MIN), 1);
    EXPECT_EQ(model.set_iMMode(0), 0);
    EXPECT_EQ(model.set_iMMode(-1), 0);
    EXPECT_EQ(model.set_iMMode(7), 7) << "stored as given";
    EXPECT_EQ(model.set_iMMode(INT_MAX), INT_MAX);
    EXPECT_EQ(model.set_iMMode(-2), INT_MAX);
}

// Every class ----------------------------------------------------------------------------------------------------

template <typename Model>
constexpr bool kTakesUpVectors = std::is_same_v<Model, CKorThreeVec> || std::is_base_of_v<CKorThreeVec2Level, Model>;

template <typename Model>
class EveryModel : public ::testing::Test {
};

struct ModelNames {
    template <typename Model>
    static std::string GetName(int)
    {
        if (std::is_same_v<Model, CKorDualLevel>) {
            return "DualLevel";
        }
        if (std::is_same_v<Model, CKorPendulum>) {
            return "Pendulum";
        }
        if (std::is_same_v<Model, CKorPolarizer>) {
            return "Polarizer";
        }
        if (std::is_same_v<Model, CKorThreeVec>) {
            return "ThreeVec";
        }
        return std::is_same_v<Model, CKorThreeVec2Level> ? "ThreeVec2Level" : "ThreeVec2Levelv2";
    }
};

using AllModels = ::testing::Types<CKorDualLevel, CKorPendulum, CKorPolarizer, CKorThreeVec, CKorThreeVec2Level,
                                   CKorThreeVec2Levelv2>;
TYPED_TEST_SUITE(EveryModel, AllModels, ModelNames);

TYPED_TEST(EveryModel, startsWithEveryFieldZero)
{
    // In storage that held something else, so that a field left alone would show.
    alignas(Open<TypeParam>) static std::array<unsigned char, sizeof(Open<TypeParam>)> storage;
    storage.fill(0xA5);
    auto* model = new (storage.data()) Open<TypeParam>();
    EXPECT_EQ(model->fields(), ModelFields{});
    model->~Open<TypeParam>();
}

TYPED_TEST(EveryModel, takesUpTheScaleFactors)
{
    Open<TypeParam> model;
    model.set(numbered(1));
    std::array<float, 8> values = kValues;
    model.UpdateSFactors(values.data(), 8);
    ModelFields wanted = numbered(1);
    wanted.sFactors = kValues;
    EXPECT_EQ(model.fields(), wanted);
}

// Pins [parameters-ignored].
TYPED_TEST(EveryModel, takesUpVectorAndLevelParametersOnlyWhenItWorksWithVectors)
{
    Open<TypeParam> model;
    model.set(numbered(1));
    std::array<float, 8> values = kValues;
    ModelFields wanted = numbered(1);
    model.UpdateQVCParameters(values.data(), 6);
    if (kTakesUpVectors<TypeParam>) {
        std::copy_n(kValues.begin(), 6, wanted.qvcParameters.begin());
    }
    EXPECT_EQ(model.fields(), wanted);
    model.UpdateLevel1Parameters(values.data() + 1, 7);
    if (kTakesUpVectors<TypeParam>) {
        std::copy_n(kValues.begin() + 1, 7, wanted.level1Parameters.begin());
    }
    EXPECT_EQ(model.fields(), wanted);
    model.UpdateLevel2Parameters(values.data(), 7);
    if (kTakesUpVectors<TypeParam>) {
        std::copy_n(kValues.begin(), 7, wanted.level2Parameters.begin());
    }
    EXPECT_EQ(model.fields(), wanted);
}

// Pins [parameters-ignored].
TYPED_TEST(EveryModel, givesOutTheQvcMatrixOnlyWhenItWorksWithVectors)
{
    Open<TypeParam> model;
    model.set(numbered(1));
    std::array<float, 8> out = kValues;
    model.GetQVCMatrix(out.data(), 6);
    std::array<float, 8> wanted = kValues;
    if (kTakesUpVectors<TypeParam>) {
        std::copy_n(numbered(1).qvcMatrix.begin(), 6, wanted.begin());
    }
    EXPECT_EQ(out, wanted);
}

TYPED_TEST(EveryModel, aCountOfZeroOrLessCopiesNothing)
{
    Open<TypeParam> model;
    model.set(numbered(1));
    std::array<float, 8> values = kValues;
    for (const int count : {0, -1, INT_MIN}) {
        model.UpdateSFactors(values.data(), count);
        model.UpdateQVCParameters(values.data(), count);
        model.UpdateLevel1Parameters(values.data(), count);
        model.UpdateLevel2Parameters(values.data(), count);
        model.GetQVCMatrix(values.data(), count);
    }
    EXPECT_EQ(model.fields(), numbered(1));
    EXPECT_EQ(values, kValues);
}

TYPED_TEST(EveryModel, aSmallerCountCopiesTheFirstValuesOnly)
{
    Open<TypeParam> model;
    model.set(numbered(1));
    std::vector<float> values = {7.5F, 8.5F}; // ends there
    ModelFields wanted = numbered(1);
    wanted.sFactors[0] = 7.5F;
    wanted.sFactors[1] = 8.5F;
    model.UpdateSFactors(values.data(), 2);
    EXPECT_EQ(model.fields(), wanted);
}

// Pins [parameter-array-bounds].
TYPED_TEST(EveryModel, valuesBeyondTheArrayAreIgnored)
{
    // The callers' arrays end with the group, so that an address sanitizer sees any reading or writing beyond.
    Open<TypeParam> model;
    model.set(numbered(1));
    for (const int excess : {1, 100, 1000000, INT_MAX - 8}) {
        std::vector<float> eight(kValues.begin(), kValues.end());
        std::vector<float> seven(kValues.begin(), kValues.begin() + 7);
        std::vector<float> six(kValues.begin(), kValues.begin() + 6);
        model.UpdateSFactors(eight.data(), 8 + excess);
        model.UpdateQVCParameters(six.data(), 6 + excess);
        model.UpdateLevel1Parameters(seven.data(), 7 + excess);
        model.UpdateLevel2Parameters(seven.data(), 7 + excess);
        ModelFields wanted = numbered(1);
        wanted.sFactors = kValues;
        if (kTakesUpVectors<TypeParam>) {
            std::copy_n(kValues.begin(), 6, wanted.qvcParameters.begin());
            std::copy_n(kValues.begin(), 7, wanted.level1Parameters.begin());
            std::copy_n(kValues.begin(), 7, wanted.level2Parameters.begin());
        }
        EXPECT_EQ(model.fields(), wanted);
        std::vector<float> out(6, -1.0F);
        model.GetQVCMatrix(out.data(), 6 + excess);
    }
}

// Pins [parameter-array-bounds].
TYPED_TEST(EveryModel, nullPointersCopyNothing)
{
    Open<TypeParam> model;
    model.set(numbered(1));
    for (const int count : {1, 8, INT_MAX}) {
        model.UpdateSFactors(nullptr, count);
        model.UpdateQVCParameters(nullptr, count);
        model.UpdateLevel1Parameters(nullptr, count);
        model.UpdateLevel2Parameters(nullptr, count);
        model.GetQVCMatrix(nullptr, count);
        EXPECT_EQ(model.fields(), numbered(1)) << count;
    }
}

TYPED_TEST(EveryModel, valuesAreCopiedUnchanged)
{
    Open<TypeParam> model;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    std::array<float, 8> values = {-0.0F, 0.0F, 1e-45F, 3.4e38F, std::numeric_limits<float>::infinity(), nan, -1, 1};
    model.UpdateSFactors(values.data(), 8);
    EXPECT_EQ(std::memcmp(model.fields().sFactors.data(), values.data(), sizeof(values)), 0);
}

TYPED_TEST(EveryModel, hasAParityOfItsOwn)
{
    Open<TypeParam> model;
    EXPECT_EQ(model.set_iMMode(-1), 0);
    EXPECT_EQ(model.set_iMMode(1), 1);
    EXPECT_EQ(model.fields().iMMode, 1);
}

TYPED_TEST(EveryModel, isDestroyedThroughTheBase)
{
    static_assert(std::has_virtual_destructor_v<CKorModel>);
    static_assert(std::is_base_of_v<CKorModel, TypeParam>);
    const std::unique_ptr<CKorModel> model = std::make_unique<TypeParam>();
    EXPECT_EQ(model->set_iMMode(-1), 0);
}

TYPED_TEST(EveryModel, keepsTheFieldsInTheOrderOfTheInterface)
{
    const Open<TypeParam> model;
    const auto start = static_cast<std::ptrdiff_t>(sizeof(void*));
    EXPECT_EQ(model.offsets(),
              (std::array<std::ptrdiff_t, 6>{start, start + 32, start + 36, start + 60, start + 88, start + 116}));
}

// Models without operations of their own for levels, counters and times.
template <typename Model>
class PlainModel : public ::testing::Test {
};
using PlainModels = ::testing::Types<CKorDualLevel, CKorPendulum, CKorPolarizer, CKorThreeVec>;
TYPED_TEST_SUITE(PlainModel, PlainModels, ModelNames);

TYPED_TEST(PlainModel, addsNoFields)
{
    EXPECT_EQ(sizeof(TypeParam), sizeof(CKorModel));
}

TYPED_TEST(PlainModel, ignoresLimitsCountersTimesAndDynamicParameters)
{
    Open<TypeParam> model;
    model.set(numbered(1));
    std::array<float, 8> values = kValues;
    model.SetLevelLimits(true, true);
    model.SetCounter(5, 6);
    model.SetTimeInterval(7, 8);
    model.SetDynamicParameters(values.data());
    model.SetDynamicParameters(nullptr);
    float level1 = 3;
    float level2 = 4;
    model.GetLevelValues(level1, level2);
    EXPECT_EQ(level1, 3.0F);
    EXPECT_EQ(level2, 4.0F);
    EXPECT_EQ(model.fields(), numbered(1));
}

TEST(ModelClasses, deriveAsTheInterfaceSays)
{
    static_assert(!std::is_base_of_v<CKorThreeVec, CKorThreeVec2Level>, "directly from the base");
    static_assert(std::is_base_of_v<CKorThreeVec2Level, CKorThreeVec2Levelv2>);
    EXPECT_GT(sizeof(CKorThreeVec2Levelv2), sizeof(CKorThreeVec2Level));
    EXPECT_GT(sizeof(CKorThreeVec2Level), sizeof(CKorModel));
}

} // namespace
} // namespace kor_test
