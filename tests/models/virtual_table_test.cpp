// The order of the virtual operations is part of the binary interface. Where the table's layout is that of the
// Itanium C++ ABI, call every slot by its number and see which operation answers.
#include "KORInterface/CKorModel.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#if defined(__GXX_ABI_VERSION)

namespace kor_test {
namespace {

// Remembers the last operation and what it was given.
class Recording : public CKorModel {
public:
    Recording() = default;
    ~Recording() override = default;
    void UpdateSFactors(float* values, int count) override { note("UpdateSFactors", values, count); }
    bool CalTranxMatrix(double* const matrix, double angle1, double angle2, int size) override
    {
        note("CalTranxMatrix", matrix, size);
        number1 = angle1;
        number2 = angle2;
        return true;
    }
    void UpdateQVCParameters(float* values, int count) override { note("UpdateQVCParameters", values, count); }
    void UpdateLevel1Parameters(float* values, int count) override { note("UpdateLevel1Parameters", values, count); }
    void UpdateLevel2Parameters(float* values, int count) override { note("UpdateLevel2Parameters", values, count); }
    void GetQVCMatrix(float* out, int count) override { note("GetQVCMatrix", out, count); }
    void SetLevelLimits(bool first, bool second) override
    {
        note("SetLevelLimits", nullptr, (first ? 10 : 0) + (second ? 1 : 0));
    }
    void SetCounter(unsigned long first, unsigned long second) override
    {
        note("SetCounter", nullptr, static_cast<int>(10 * first + second));
    }
    void SetTimeInterval(double first, double second) override
    {
        note("SetTimeInterval", nullptr, 0);
        number1 = first;
        number2 = second;
    }
    void GetLevelValues(float& first, float&) override { note("GetLevelValues", &first, 0); }
    void SetDynamicParameters(float* values) override { note("SetDynamicParameters", values, 0); }

    std::string name;
    const void* pointer = nullptr;
    int number = -1;
    double number1 = 0;
    double number2 = 0;

private:
    void note(const char* operation, const void* argument, int count)
    {
        name = operation;
        pointer = argument;
        number = count;
    }
};

// Slots count from 0; the destructor takes 0 (complete) and 1 (deleting).
template <typename Function>
Function slot(CKorModel* model, int number)
{
    void** table = nullptr;
    std::memcpy(&table, static_cast<const void*>(model), sizeof(table));
    Function function = nullptr;
    std::memcpy(&function, &table[number], sizeof(function));
    return function;
}

TEST(ModelVirtualTable, operationsStandInTheOrderOfTheInterface)
{
    Recording model;
    float value = 0;
    float value2 = 0;
    double matrix[9] = {};
    using Copy = void (*)(CKorModel*, float*, int);

    slot<Copy>(&model, 2)(&model, &value, 8);
    EXPECT_EQ(model.name, "UpdateSFactors");
    EXPECT_EQ(model.number, 8);

    EXPECT_TRUE((slot<bool (*)(CKorModel*, double*, double, double, int)>(&model, 3)(&model, matrix, 1.5, 2.5, 3)));
    EXPECT_EQ(model.name, "CalTranxMatrix");
    EXPECT_EQ(model.pointer, matrix);
    EXPECT_EQ(model.number, 3);
    EXPECT_EQ(model.number1, 1.5);
    EXPECT_EQ(model.number2, 2.5);

    slot<Copy>(&model, 4)(&model, &value, 6);
    EXPECT_EQ(model.name, "UpdateQVCParameters");
    slot<Copy>(&model, 5)(&model, &value, 7);
    EXPECT_EQ(model.name, "UpdateLevel1Parameters");
    slot<Copy>(&model, 6)(&model, &value, 7);
    EXPECT_EQ(model.name, "UpdateLevel2Parameters");
    slot<Copy>(&model, 7)(&model, &value, 6);
    EXPECT_EQ(model.name, "GetQVCMatrix");
    EXPECT_EQ(model.pointer, &value);

    slot<void (*)(CKorModel*, bool, bool)>(&model, 8)(&model, true, false);
    EXPECT_EQ(model.name, "SetLevelLimits");
    EXPECT_EQ(model.number, 10);

    slot<void (*)(CKorModel*, unsigned long, unsigned long)>(&model, 9)(&model, 4, 2);
    EXPECT_EQ(model.name, "SetCounter");
    EXPECT_EQ(model.number, 42);

    slot<void (*)(CKorModel*, double, double)>(&model, 10)(&model, 0.5, 0.75);
    EXPECT_EQ(model.name, "SetTimeInterval");
    EXPECT_EQ(model.number1, 0.5);
    EXPECT_EQ(model.number2, 0.75);

    slot<void (*)(CKorModel*, float&, float&)>(&model, 11)(&model, value, value2);
    EXPECT_EQ(model.name, "GetLevelValues");

    slot<void (*)(CKorModel*, float*)>(&model, 12)(&model, &value);
    EXPECT_EQ(model.name, "SetDynamicParameters");
}

TEST(ModelVirtualTable, theDestructorComesFirst)
{
    class Dying : public CKorModel {
    public:
        explicit Dying(int& deaths) : m_deaths(deaths) {}
        ~Dying() override { ++m_deaths; }

    private:
        int& m_deaths;
    };
    int deaths = 0;
    CKorModel* model = new Dying(deaths);
    slot<void (*)(CKorModel*)>(model, 1)(model); // the deleting form frees the object too
    EXPECT_EQ(deaths, 1);
}

} // namespace
} // namespace kor_test

#endif
