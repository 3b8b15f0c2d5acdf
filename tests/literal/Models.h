// The orientation models with the operations that an engine drives them by, without anything of the library.
#pragma once

#include "literal/TwoLevel.h"

#include <array>
#include <cstdint>
#include <memory>

namespace kor_test {

// What the two-level models keep for the whole process.
struct LiteralProcess {
    LiteralV1Process first;
    LiteralV2Process second;
};

class LiteralModel {
public:
    virtual ~LiteralModel() = default;

    int parity = 0;

    virtual void updateSFactors(const float* values, int count);
    virtual void updateQvc(const float* values, int count);
    virtual void updateLevel1(const float* values, int count);
    virtual void updateLevel2(const float* values, int count);
    virtual void setDynamic(const float* values);
    virtual void setLevelLimits(bool excluded1, bool excluded2);
    virtual void setCounter(std::uint32_t counter1, std::uint32_t counter2);
    virtual void setTimeInterval(double time1, double time2);
    virtual void getQvc(float* out, int count) const;
    virtual void getLevelValues(float& level1, float& level2) const;
    virtual bool calculate(double* io, double angle1, double angle2) = 0;
    virtual std::unique_ptr<LiteralModel> copy() const = 0;

protected:
    LiteralModel() = default;
    LiteralModel(const LiteralModel&) = default;
    LiteralModel& operator=(const LiteralModel&) = default;

    // Copies what there is room for.
    template <std::size_t N>
    static void take(std::array<float, N>& group, const float* values, int count)
    {
        for (int i = 0; i < count && i < static_cast<int>(N); ++i) {
            group[static_cast<std::size_t>(i)] = values[i];
        }
    }
};

enum class LiteralKind { dualLevel, pendulum, polarizer, threeVec, twoLevelFirst, twoLevelSecond };

std::unique_ptr<LiteralModel> makeLiteralModel(LiteralKind kind, LiteralProcess& process);

} // namespace kor_test
