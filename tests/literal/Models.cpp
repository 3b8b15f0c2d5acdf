#include "literal/Models.h"

#include "literal/Geometric.h"

#include <cstring>

namespace kor_test {

// What a model does not take up is ignored.
void LiteralModel::updateSFactors(const float* /*values*/, int /*count*/) {}
void LiteralModel::updateQvc(const float* /*values*/, int /*count*/) {}
void LiteralModel::updateLevel1(const float* /*values*/, int /*count*/) {}
void LiteralModel::updateLevel2(const float* /*values*/, int /*count*/) {}
void LiteralModel::setDynamic(const float* /*values*/) {}
void LiteralModel::setLevelLimits(bool /*excluded1*/, bool /*excluded2*/) {}
void LiteralModel::setCounter(std::uint32_t /*counter1*/, std::uint32_t /*counter2*/) {}
void LiteralModel::setTimeInterval(double /*time1*/, double /*time2*/) {}
void LiteralModel::getQvc(float* /*out*/, int /*count*/) const {}
void LiteralModel::getLevelValues(float& /*level1*/, float& /*level2*/) const {}

namespace {

class DualLevelModel : public LiteralModel {
public:
    void updateSFactors(const float* values, int count) override { take(m_factors, values, count); }
    bool calculate(double* io, double angle1, double angle2) override
    {
        return literal::dualLevel(m_factors.data(), io, angle1, angle2);
    }
    std::unique_ptr<LiteralModel> copy() const override { return std::make_unique<DualLevelModel>(*this); }

private:
    std::array<float, 8> m_factors{};
};

class PendulumModel : public LiteralModel {
public:
    void updateSFactors(const float* values, int count) override { take(m_factors, values, count); }
    bool calculate(double* io, double angle1, double angle2) override
    {
        return literal::pendulum(parity, m_factors.data(), io, angle1, angle2);
    }
    std::unique_ptr<LiteralModel> copy() const override { return std::make_unique<PendulumModel>(*this); }

private:
    std::array<float, 8> m_factors{};
};

class PolarizerModel : public LiteralModel {
public:
    void updateSFactors(const float* values, int count) override { take(m_factors, values, count); }
    bool calculate(double* io, double angle1, double angle2) override
    {
        return literal::polarizer(m_factors.data(), io, angle1, angle2);
    }
    std::unique_ptr<LiteralModel> copy() const override { return std::make_unique<PolarizerModel>(*this); }

private:
    std::array<float, 8> m_factors{};
};

class ThreeVecModel : public LiteralModel {
public:
    void updateQvc(const float* values, int count) override { take(m_qvc, values, count); }
    void updateLevel1(const float* values, int count) override { take(m_level1, values, count); }
    void getQvc(float* out, int count) const override
    {
        for (int i = 0; i < count && i < 6; ++i) {
            out[i] = m_offset[i];
        }
    }
    bool calculate(double* io, double angle1, double angle2) override
    {
        return literal::threeVec(parity, m_qvc.data(), m_level1.data(), io, angle1, angle2, m_offset);
    }
    std::unique_ptr<LiteralModel> copy() const override { return std::make_unique<ThreeVecModel>(*this); }

private:
    std::array<float, 6> m_qvc{};
    std::array<float, 7> m_level1{};
    float m_offset[6] = {};
};

// Both versions: what a host primes them with and the account of the levels go into each call.
template <typename Version, typename Process>
class TwoLevelModel : public LiteralModel {
public:
    explicit TwoLevelModel(Process& process, bool excluded) : m_version(process, {})
    {
        m_call.excluded1 = excluded;
        m_call.excluded2 = excluded;
    }

    void updateQvc(const float* values, int count) override { take(m_version.prm.qvc, values, count); }
    void updateLevel1(const float* values, int count) override { take(m_version.prm.level1, values, count); }
    void updateLevel2(const float* values, int count) override { take(m_version.prm.level2, values, count); }
    void setDynamic(const float* values) override { take(m_version.prm.dynamic, values, 7); }
    void setLevelLimits(bool excluded1, bool excluded2) override
    {
        m_call.excluded1 = excluded1;
        m_call.excluded2 = excluded2;
    }
    void setCounter(std::uint32_t counter1, std::uint32_t counter2) override
    {
        m_call.counter1 = counter1;
        m_call.counter2 = counter2;
    }
    void setTimeInterval(double time1, double time2) override
    {
        m_call.time1 = time1;
        m_call.time2 = time2;
    }
    void getQvc(float* out, int count) const override
    {
        for (int i = 0; i < count && i < 6; ++i) {
            out[i] = m_version.residual[static_cast<std::size_t>(i)];
        }
    }
    bool calculate(double* io, double angle1, double angle2) override
    {
        m_version.prm.parity = parity;
        m_version.prm.azRef = angle1;
        m_version.prm.elRef = angle2;
        return m_version.run(m_call, io);
    }

protected:
    Version m_version;
    Call m_call;
};

class FirstTwoLevelModel : public TwoLevelModel<LiteralV1, LiteralV1Process> {
public:
    explicit FirstTwoLevelModel(LiteralV1Process& process) : TwoLevelModel(process, false) {}
    void getLevelValues(float& level1, float& level2) const override
    {
        level1 = static_cast<float>(m_version.path[0].filtered);
        level2 = static_cast<float>(m_version.path[1].filtered);
    }
    std::unique_ptr<LiteralModel> copy() const override { return std::make_unique<FirstTwoLevelModel>(*this); }
};

class SecondTwoLevelModel : public TwoLevelModel<LiteralV2, LiteralV2Process> {
public:
    // Both levels are excluded until somebody says otherwise.
    explicit SecondTwoLevelModel(LiteralV2Process& process) : TwoLevelModel(process, true) {}
    void getLevelValues(float& level1, float& level2) const override
    {
        level1 = static_cast<float>(m_version.levelValue[0]);
        level2 = static_cast<float>(m_version.levelValue[1]);
    }
    std::unique_ptr<LiteralModel> copy() const override { return std::make_unique<SecondTwoLevelModel>(*this); }
};

} // namespace

std::unique_ptr<LiteralModel> makeLiteralModel(LiteralKind kind, LiteralProcess& process)
{
    switch (kind) {
    case LiteralKind::dualLevel:
        return std::make_unique<DualLevelModel>();
    case LiteralKind::polarizer:
        return std::make_unique<PolarizerModel>();
    case LiteralKind::threeVec:
        return std::make_unique<ThreeVecModel>();
    case LiteralKind::twoLevelFirst:
        return std::make_unique<FirstTwoLevelModel>(process.first);
    case LiteralKind::twoLevelSecond:
        return std::make_unique<SecondTwoLevelModel>(process.second);
    case LiteralKind::pendulum:
        break;
    }
    return std::make_unique<PendulumModel>();
}

} // namespace kor_test
