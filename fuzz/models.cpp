// Each orientation model, called by its own interface with any bits, beside its plain transcription (tests/literal):
// the answers are the same, bit for bit. What only the two-level models have is called at the end.
//
// The first byte of the input chooses the model.
#include "literal/Models.h"
#include "Fuzz.h"
#include "KORInterface/KORInterface.h"
#include "KeptBuffers.h"
#include "equality/Difference.h"

#include <climits>
#include <memory>
#include <utility>
#include <vector>

namespace {

using kor_fuzz::Bytes;
using kor_test::LiteralKind;

// A model of one of the public classes, to be copied without knowing which.
class Held {
public:
    virtual ~Held() = default;
    virtual CKorModel& model() = 0;
    virtual std::unique_ptr<Held> copy() const = 0;
    virtual std::unique_ptr<Held> moved() = 0;
    virtual void assign(const Held& other) = 0;
};

template <typename Model>
class HeldAs : public Held {
public:
    HeldAs() = default;
    explicit HeldAs(const Model& other) : m_model(other) {}
    explicit HeldAs(Model&& other) : m_model(std::move(other)) {}

    CKorModel& model() override { return m_model; }
    std::unique_ptr<Held> copy() const override { return std::make_unique<HeldAs>(m_model); }
    std::unique_ptr<Held> moved() override { return std::make_unique<HeldAs>(std::move(m_model)); }
    void assign(const Held& other) override { m_model = static_cast<const HeldAs&>(other).m_model; }

private:
    Model m_model;
};

std::unique_ptr<Held> makeModel(LiteralKind kind)
{
    switch (kind) {
    case LiteralKind::dualLevel:
        return std::make_unique<HeldAs<CKorDualLevel>>();
    case LiteralKind::pendulum:
        return std::make_unique<HeldAs<CKorPendulum>>();
    case LiteralKind::polarizer:
        return std::make_unique<HeldAs<CKorPolarizer>>();
    case LiteralKind::threeVec:
        return std::make_unique<HeldAs<CKorThreeVec>>();
    case LiteralKind::twoLevelFirst:
        return std::make_unique<HeldAs<CKorThreeVec2Level>>();
    case LiteralKind::twoLevelSecond:
        break;
    }
    return std::make_unique<HeldAs<CKorThreeVec2Levelv2>>();
}

struct Pair {
    std::unique_ptr<Held> ours;
    std::unique_ptr<kor_test::LiteralModel> plain;
    std::uint32_t counter[2] = {0, 0};
    double time[2] = {0.0, 0.0};
};

class Driver {
public:
    explicit Driver(Bytes& in) : m_in(in)
    {
        constexpr LiteralKind kKinds[] = {LiteralKind::dualLevel,     LiteralKind::pendulum,
                                          LiteralKind::polarizer,     LiteralKind::threeVec,
                                          LiteralKind::twoLevelFirst, LiteralKind::twoLevelSecond};
        kor::FreshProcessValues();
        const LiteralKind kind = m_in.pick(kKinds);
        m_most = kind == LiteralKind::twoLevelFirst || kind == LiteralKind::twoLevelSecond ? 600 : 60;
        m_pairs.push_back({makeModel(kind), kor_test::makeLiteralModel(kind, m_process)});
        m_buffers.note(&m_pairs.front().ours->model());
    }

    void run()
    {
        for (std::size_t group = 0; group < 4; ++group) {
            setGroup(group);
        }
        while (!m_in.isEmpty() && m_samples < m_most) {
            step();
        }
        callTheRest();
    }

private:
    Pair& pair() { return m_pairs[m_current]; }

    void setGroup(std::size_t group)
    {
        constexpr int kSizes[] = {8, 6, 7, 7};
        const int size = kSizes[group];
        const auto values = std::make_unique<float[]>(static_cast<std::size_t>(size));
        for (int i = 0; i < size; ++i) {
            const bool factor = (group == 0 && i >= 4 && i <= 6) || (group >= 2 && i == 6);
            values[static_cast<std::size_t>(i)] = (factor ? 1.0F : 0.0F) + m_in.real<float>(group == 1 ? 50.0
                                                                                            : factor   ? 0.1
                                                                                                       : 1.0);
        }
        const int counts[] = {size, size, size, size, 0, 1, -1, size - 1, size + 1, INT_MAX, INT_MIN};
        const int count = m_in.pick(counts);
        const bool isNull = m_in.below(16) == 0;
        float* const given = isNull ? nullptr : values.get();
        CKorModel& model = pair().ours->model();
        kor_test::LiteralModel& plain = *pair().plain;
        const int taken = isNull ? 0 : count;
        switch (group) {
        case 0:
            model.UpdateSFactors(given, count);
            plain.updateSFactors(values.get(), taken);
            break;
        case 1:
            model.UpdateQVCParameters(given, count);
            plain.updateQvc(values.get(), taken);
            break;
        case 2:
            model.UpdateLevel1Parameters(given, count);
            plain.updateLevel1(values.get(), taken);
            break;
        default:
            model.UpdateLevel2Parameters(given, count);
            plain.updateLevel2(values.get(), taken);
            break;
        }
    }

    void setDynamic()
    {
        float dynamic[7];
        for (int i = 0; i < 7; ++i) {
            dynamic[i] = m_in.real<float>(i < 4 ? 1.0 : 60.0);
        }
        pair().ours->model().SetDynamicParameters(nullptr);
        pair().ours->model().SetDynamicParameters(dynamic);
        pair().plain->setDynamic(dynamic);
    }

    void setParity()
    {
        constexpr int kParities[] = {0, 1, 2, 7, INT_MAX, -1, INT_MIN};
        const int parity = m_in.pick(kParities);
        const int now = pair().ours->model().set_iMMode(parity);
        if (parity >= 0) {
            pair().plain->parity = parity;
        }
        kor_test::expectSameCode("set_iMMode", now, pair().plain->parity);
    }

    void copy(std::size_t how)
    {
        Pair& p = pair();
        if (how == 0 && m_pairs.size() < 3) {
            Pair made{p.ours->copy(), p.plain->copy(), {p.counter[0], p.counter[1]}, {p.time[0], p.time[1]}};
            m_pairs.push_back(std::move(made));
        } else if (how == 1) {
            const Pair& other = m_pairs[m_in.below(m_pairs.size())];
            p.ours->assign(*other.ours);
            p.plain = other.plain->copy();
        } else if (how == 2) {
            p.ours = p.ours->moved();
        } else {
            m_current = m_in.below(m_pairs.size());
        }
    }

    void feed(bool awkward)
    {
        constexpr double kRanges[] = {4.0, 4.0, 4.0, 5.0, 5.0, 200.0, 30.0, 21.0, 21.0};
        Pair& p = pair();
        double io[9];
        for (std::size_t i = 0; i < 9; ++i) {
            io[i] = m_in.real<double>(kRanges[i]);
        }
        for (std::size_t i = 0; i < 3; ++i) {
            m_position[i] += std::isfinite(io[i]) ? io[i] : 0.0;
            io[i] = std::isfinite(io[i]) ? m_position[i] : io[i];
        }
        double angles[2] = {0.25, -0.125};
        if (awkward) {
            io[m_in.below(9)] = m_in.take<double>();
            angles[m_in.below(2)] = m_in.take<double>();
            p.time[m_in.below(2)] = m_in.take<double>();
            p.counter[m_in.below(2)] = m_in.take<std::uint32_t>();
        }
        const std::size_t exclusion = m_in.below(64);
        const bool excluded[2] = {exclusion % 32 == 1, exclusion % 32 == 2 || exclusion == 33};
        const std::size_t count = m_in.below(8) == 0 ? m_in.below(120) : 1;
        for (std::size_t i = 0; i < count && m_samples < m_most; ++i) {
            for (int level = 0; level < 2; ++level) {
                p.counter[level] = excluded[level] ? 0 : p.counter[level] + 1;
                p.time[level] += 0.01;
            }
            one(p, io, angles, excluded);
        }
    }

    void one(Pair& p, const double* io, const double* angles, const bool* excluded)
    {
        CKorModel& model = p.ours->model();
        // Only the lower 32 bits of a counter count.
        const unsigned long high = m_samples % 2 == 0 ? 0UL : ~0xFFFFFFFFUL;
        model.SetLevelLimits(excluded[0], excluded[1]);
        model.SetCounter(high | p.counter[0], high | p.counter[1]);
        model.SetTimeInterval(p.time[0], p.time[1]);
        p.plain->setLevelLimits(excluded[0], excluded[1]);
        p.plain->setCounter(p.counter[0], p.counter[1]);
        p.plain->setTimeInterval(p.time[0], p.time[1]);

        double got[9];
        double wanted[9];
        std::memcpy(got, io, sizeof got);
        std::memcpy(wanted, io, sizeof wanted);
        const bool found = model.CalTranxMatrix(got, angles[0], angles[1], 3);
        kor_test::expectSameCode("CalTranxMatrix", found, p.plain->calculate(wanted, angles[0], angles[1]));
        for (int i = 0; i < 9; ++i) {
            kor_test::expectSame("matrix", i, got[i], wanted[i]);
        }
        float gotOut[6] = {1, 2, 3, 4, 5, 6};
        float wantedOut[6] = {1, 2, 3, 4, 5, 6};
        constexpr int kCounts[] = {6, 0, 1, -1, 7, INT_MAX, INT_MIN};
        const int count = kCounts[m_samples % 7];
        model.GetQVCMatrix(gotOut, count);
        p.plain->getQvc(wantedOut, count);
        for (int i = 0; i < 6; ++i) {
            kor_test::expectSame("GetQVCMatrix", i, gotOut[i], wantedOut[i]);
        }
        model.GetLevelValues(gotOut[0], gotOut[1]);
        p.plain->getLevelValues(wantedOut[0], wantedOut[1]);
        kor_test::expectSame("GetLevelValues", 0, gotOut[0], wantedOut[0]);
        kor_test::expectSame("GetLevelValues", 1, gotOut[1], wantedOut[1]);
        ++m_samples;
    }

    void step()
    {
        switch (const std::size_t what = m_in.below(24)) {
        case 0:
        case 1:
        case 2:
        case 3:
            setGroup(what);
            break;
        case 4:
            setDynamic();
            break;
        case 5:
            setParity();
            break;
        case 6:
        case 7:
            copy(m_in.below(4));
            break;
        default:
            feed(what < 11);
            break;
        }
    }

    // The other operations of the two-level models, on buffers of the least size.
    void callTheRest()
    {
        auto* const first = dynamic_cast<CKorThreeVec2Level*>(&pair().ours->model());
        if (first == nullptr) {
            return;
        }
        double position[3] = {m_position[0], m_position[1], m_position[2]};
        double axis[3] = {0.0, 0.6, 0.8};
        double matrix[9];
        double along = 0.0;
        double value = m_position[0];
        const float level[7] = {0, 0, 0, 0.1F, 0.2F, 0.3F, 1.0F};
        constexpr int kStrides[] = {3, 0, -1, INT_MAX, INT_MIN};
        for (const int stride : kStrides) {
            first->GetF1(level, value, axis, position[1], position[2], stride, matrix);
        }
        first->GetLevelAfterAccComp(value, position[1]);
        for (unsigned long counter : {0UL, 1UL, 51UL, 102UL, 0x7FFFFFFFUL, 0xFFFFFFFFUL, ~0UL}) {
            first->GetAccLx(position, axis, counter, position[0], along);
            first->GetAccLy(position, axis, counter, position[0], along);
        }
        first->MovingFilter(value);
        first->MovingFilterLevelY(value);
        auto* const second = dynamic_cast<CKorThreeVec2Levelv2*>(first);
        if (second == nullptr) {
            return;
        }
        const auto ring9 = std::make_unique<double[][9]>(51);
        const auto ring2 = std::make_unique<double[][2]>(51);
        const auto buffer = std::make_unique<double[]>(51);
        double sample[9] = {};
        double pairOf[2] = {};
        second->GetF1(axis, value, axis, position[1], position[2], 3, matrix);
        second->GetAccO1(position, ~0UL, value);
        second->GetLevelAfterAccComp(value, position[0], along);
        second->AccMovingFilter(buffer.get(), value);
        second->MovingFilter(ring9.get(), sample);
        second->PsdMovingFilter(ring2.get(), pairOf);
    }

    Bytes& m_in;
    kor_fuzz::KeptBuffers m_buffers; // goes last
    kor_test::LiteralProcess m_process;
    std::vector<Pair> m_pairs;
    std::size_t m_current = 0;
    int m_samples = 0;
    int m_most = 0; // filters want many samples, and a pendulum's search is long
    double m_position[3] = {4000.0, -3000.0, 500.0};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Bytes in(data, size);
    try {
        Driver(in).run();
    } catch (const kor_test::Difference& difference) {
        kor_fuzz::require(false, difference.what());
    }
    return 0;
}
