// An orientation model that notes what the engine asks of it, and a way to put it behind an engine.
#pragma once

#include "KORInterface/CKorModel.h"
#include "engine/State.h"
#include "support/Matrices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace kor_test {

// One call of the engine: the operation and its arguments in order, each widened to double without loss.
struct ModelCall {
    std::string operation;
    std::vector<double> arguments;
};

inline void PrintTo(const ModelCall& call, std::ostream* out)
{
    *out << call.operation << "(";
    for (std::size_t i = 0; i < call.arguments.size(); ++i) {
        *out << (i == 0 ? "" : ", ") << describe(call.arguments[i]);
    }
    *out << ")";
}

inline ::testing::AssertionResult sameCalls(const std::vector<ModelCall>& got, const std::vector<ModelCall>& wanted)
{
    const auto failure = [&](const std::string& reason) {
        return ::testing::AssertionFailure() << reason << "\n  wanted " << ::testing::PrintToString(wanted)
                                             << "\n  got    " << ::testing::PrintToString(got);
    };
    if (got.size() != wanted.size()) {
        return failure("the number of calls differs");
    }
    for (std::size_t i = 0; i < got.size(); ++i) {
        if (got[i].operation != wanted[i].operation || got[i].arguments.size() != wanted[i].arguments.size()) {
            return failure("call " + std::to_string(i) + " differs");
        }
        for (std::size_t j = 0; j < got[i].arguments.size(); ++j) {
            if (!sameBits(got[i].arguments[j], wanted[i].arguments[j])) {
                return failure("argument " + std::to_string(j) + " of call " + std::to_string(i) + " differs");
            }
        }
    }
    return ::testing::AssertionSuccess();
}

class RecordingModel : public CKorModel {
public:
    std::vector<ModelCall> calls;
    std::function<void()> duringEachCall = [] {};

    // Answers.
    bool givesMatrix = true;
    Matrix matrix = kIdentity;
    std::vector<float> qvcValues = {101, 102, 103, 104, 105, 106};
    bool givesLevels = false;
    float level1 = 0;
    float level2 = 0;

    std::vector<ModelCall> takeCalls() { return std::exchange(calls, {}); }

    void UpdateSFactors(float* values, int count) override { note("UpdateSFactors", values, count); }
    void UpdateQVCParameters(float* values, int count) override { note("UpdateQVCParameters", values, count); }
    void UpdateLevel1Parameters(float* values, int count) override { note("UpdateLevel1Parameters", values, count); }
    void UpdateLevel2Parameters(float* values, int count) override { note("UpdateLevel2Parameters", values, count); }
    void SetDynamicParameters(float* values) override { note("SetDynamicParameters", values, 7); }

    bool CalTranxMatrix(double* const buffer, double angle1, double angle2, int size) override
    {
        std::vector<double> arguments(buffer, buffer + 9);
        arguments.insert(arguments.end(), {angle1, angle2, static_cast<double>(size)});
        note("CalTranxMatrix", std::move(arguments));
        std::copy(matrix.begin(), matrix.end(), buffer);
        return givesMatrix;
    }

    void GetQVCMatrix(float* out, int count) override
    {
        note("GetQVCMatrix", {static_cast<double>(count)});
        std::copy_n(qvcValues.begin(), std::clamp(count, 0, 6), out);
    }

    void SetLevelLimits(bool level1Excluded, bool level2Excluded) override
    {
        note("SetLevelLimits", {level1Excluded ? 1.0 : 0.0, level2Excluded ? 1.0 : 0.0});
    }

    void SetCounter(unsigned long counter1, unsigned long counter2) override
    {
        note("SetCounter", {static_cast<double>(counter1), static_cast<double>(counter2)});
    }

    void SetTimeInterval(double time1, double time2) override { note("SetTimeInterval", {time1, time2}); }

    void GetLevelValues(float& first, float& second) override
    {
        note("GetLevelValues", {static_cast<double>(first), static_cast<double>(second)});
        if (givesLevels) {
            first = level1;
            second = level2;
        }
    }

private:
    void note(const char* operation, std::vector<double> arguments)
    {
        calls.push_back({operation, std::move(arguments)});
        duringEachCall();
    }

    void note(const char* operation, const float* values, int count)
    {
        std::vector<double> arguments;
        for (int i = 0; i < count; ++i) {
            arguments.push_back(static_cast<double>(values[i]));
        }
        note(operation, std::move(arguments));
    }
};

// Puts a recording model behind the engine in place of the one that setMountMode would create.
inline std::shared_ptr<RecordingModel> recordModelCalls(CKor& engine)
{
    auto model = std::make_shared<RecordingModel>();
    CKorAccess::state(engine).model = model;
    return model;
}

} // namespace kor_test
