// The order of the operations that the two-level models append is part of the binary interface. Where the virtual
// table's layout is that of the Itanium C++ ABI, call every appended slot by its number and see who answers.
#include "KORInterface/CKorThreeVec2Levelv2.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#if defined(__GXX_ABI_VERSION)

namespace kor_test {
namespace {

// Remembers which operation ran last.
template <typename Base>
class RecordingV1 : public Base {
public:
    using Base::GetF1;
    using Base::GetLevelAfterAccComp;
    using Base::MovingFilter;

    bool GetF1(const float*, double, double*, double, double, int, double*) override { return note("GetF1"); }
    void GetLevelAfterAccComp(double&, double) override { note("GetLevelAfterAccComp"); }
    bool GetAccLx(const double*, const double*, unsigned long, double, double&) override { return note("GetAccLx"); }
    bool GetAccLy(const double*, const double*, unsigned long, double, double&) override { return note("GetAccLy"); }
    int MovingFilter(double&) override { return note("MovingFilter"); }
    int MovingFilterLevelY(double&) override { return note("MovingFilterLevelY"); }

    std::string name;

protected:
    bool note(const char* operation)
    {
        name = operation;
        return true;
    }
};

class RecordingV2 : public RecordingV1<CKorThreeVec2Levelv2> {
public:
    using RecordingV1::GetF1;
    using RecordingV1::GetLevelAfterAccComp;
    using RecordingV1::MovingFilter;

    bool GetF1(const double*, double, double*, double, double, int, double*) override { return note("GetF1 v2"); }
    bool GetAccO1(const double*, unsigned long, double) override { return note("GetAccO1"); }
    void GetLevelAfterAccComp(double&, double, double&) override { note("GetLevelAfterAccComp v2"); }
    int AccMovingFilter(double*, double&) override { return note("AccMovingFilter"); }
    int MovingFilter(double[][9], double*) override { return note("MovingFilter v2"); }
    int PsdMovingFilter(double[][2], double*) override { return note("PsdMovingFilter"); }
};

// Slots count from 0; the destructor takes two of them, so an operation's slot is its number in the interface.
template <typename Function, typename Model>
Function slot(Model& model, int number)
{
    void** table = nullptr;
    std::memcpy(&table, static_cast<const void*>(&model), sizeof(table));
    Function function = nullptr;
    std::memcpy(&function, &table[number], sizeof(function));
    return function;
}

template <typename Model>
void expectFirstVersionsSlots(Model& model)
{
    double number = 0;
    double numbers[9] = {};
    const float level[7] = {};
    using Estimate = bool (*)(Model*, const double*, const double*, unsigned long, double, double&);
    slot<bool (*)(Model*, const float*, double, double*, double, double, int, double*)>(model, 13)(
        &model, level, 1, numbers, 2, 3, 3, numbers);
    EXPECT_EQ(model.name, "GetF1");
    slot<void (*)(Model*, double&, double)>(model, 14)(&model, number, 1);
    EXPECT_EQ(model.name, "GetLevelAfterAccComp");
    slot<Estimate>(model, 15)(&model, numbers, numbers, 1, 2, number);
    EXPECT_EQ(model.name, "GetAccLx");
    slot<Estimate>(model, 16)(&model, numbers, numbers, 1, 2, number);
    EXPECT_EQ(model.name, "GetAccLy");
    slot<int (*)(Model*, double&)>(model, 17)(&model, number);
    EXPECT_EQ(model.name, "MovingFilter");
    slot<int (*)(Model*, double&)>(model, 18)(&model, number);
    EXPECT_EQ(model.name, "MovingFilterLevelY");
}

TEST(TwoLevelVirtualTable, appendsTheFirstVersionsOperationsInOrder)
{
    RecordingV1<CKorThreeVec2Level> model;
    expectFirstVersionsSlots(model);
}

TEST(TwoLevelVirtualTable, appendsTheSecondVersionsOperationsInOrderAfterTheFirsts)
{
    RecordingV2 model;
    expectFirstVersionsSlots(model);
    double number = 0;
    double numbers[9] = {};
    double nine[51][9] = {};
    double two[51][2] = {};
    slot<bool (*)(RecordingV2*, const double*, double, double*, double, double, int, double*)>(model, 19)(
        &model, numbers, 1, numbers, 2, 3, 3, numbers);
    EXPECT_EQ(model.name, "GetF1 v2");
    slot<bool (*)(RecordingV2*, const double*, unsigned long, double)>(model, 20)(&model, numbers, 1, 2);
    EXPECT_EQ(model.name, "GetAccO1");
    slot<void (*)(RecordingV2*, double&, double, double&)>(model, 21)(&model, number, 1, number);
    EXPECT_EQ(model.name, "GetLevelAfterAccComp v2");
    slot<int (*)(RecordingV2*, double*, double&)>(model, 22)(&model, numbers, number);
    EXPECT_EQ(model.name, "AccMovingFilter");
    slot<int (*)(RecordingV2*, double[][9], double*)>(model, 23)(&model, nine, numbers);
    EXPECT_EQ(model.name, "MovingFilter v2");
    slot<int (*)(RecordingV2*, double[][2], double*)>(model, 24)(&model, two, numbers);
    EXPECT_EQ(model.name, "PsdMovingFilter");
}

} // namespace
} // namespace kor_test

#endif
