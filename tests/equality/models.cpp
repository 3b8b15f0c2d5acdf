// Each model, called by its own interface, against its transcription.
#include "literal/Models.h"
#include "KORInterface/KORInterface.h"
#include "equality/Scenarios.h"
#include "equality/Source.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace kor_test {

namespace {

// What a host's own class may do: write the fields without asking.
class Fields {
public:
    virtual ~Fields() = default;
    virtual CKorModel& model() = 0;
    virtual std::unique_ptr<Fields> copy() const = 0;
    virtual void write(int group, int index, float value) = 0;
    virtual void writeParity(int parity) = 0;
};

template <typename Model>
class Open : public Model, public Fields {
public:
    CKorModel& model() override { return *this; }
    std::unique_ptr<Fields> copy() const override { return std::make_unique<Open>(*this); }
    void write(int group, int index, float value) override
    {
        float* const groups[] = {this->sFactors, this->qvcParameters, this->level1Parameters, this->level2Parameters};
        groups[group][index] = value;
    }
    void writeParity(int parity) override { this->iMMode = parity; }
};

std::unique_ptr<Fields> makeModel(ModelChoice choice)
{
    switch (choice) {
    case ModelChoice::dualLevel:
        return std::make_unique<Open<CKorDualLevel>>();
    case ModelChoice::pendulum:
        return std::make_unique<Open<CKorPendulum>>();
    case ModelChoice::polarizer:
        return std::make_unique<Open<CKorPolarizer>>();
    case ModelChoice::threeVec:
        return std::make_unique<Open<CKorThreeVec>>();
    case ModelChoice::twoLevelFirst:
        return std::make_unique<Open<CKorThreeVec2Level>>();
    case ModelChoice::twoLevelSecond:
        break;
    }
    return std::make_unique<Open<CKorThreeVec2Levelv2>>();
}

constexpr LiteralKind kindOf(ModelChoice choice)
{
    constexpr LiteralKind kKinds[] = {LiteralKind::dualLevel, LiteralKind::pendulum,      LiteralKind::polarizer,
                                      LiteralKind::threeVec,  LiteralKind::twoLevelFirst, LiteralKind::twoLevelSecond};
    return kKinds[static_cast<int>(choice)];
}

struct Pair {
    std::unique_ptr<Fields> ours;
    std::unique_ptr<LiteralModel> plain;
    float values[4][8] = {}; // what the groups hold
    std::uint32_t counter[2] = {0, 0};
    double time[2] = {0.0, 0.0};
};

class ModelScenario {
public:
    ModelScenario(std::uint64_t seed, ModelChoice choice, Tally& tally)
        : m_source(seed), m_choice(choice), m_tally(tally)
    {
        m_twoLevels = choice == ModelChoice::twoLevelFirst || choice == ModelChoice::twoLevelSecond;
        m_awkward = m_twoLevels ? m_source.pick({0, 0, 300, 300, 60, 10}) : m_source.pick({0, 30, 4, 4, 2});
        if (choice == ModelChoice::pendulum) {
            m_awkward *= 6;
        }
        m_change = m_source.pick({0, 60, 15, 4});
        m_excluded = m_source.pick({30, 400, 400, 2000});
        m_exact = m_source.oneIn(6);
    }

    void run()
    {
        kor::FreshProcessValues();
        add(Pair{makeModel(m_choice), makeLiteralModel(kindOf(m_choice), m_process)});
        prime(pair());
        const int samples = m_source.between(20, m_twoLevels ? 1200 : 200);
        for (int i = 0; i < samples; ++i) {
            m_number = i;
            if (m_change != 0 && m_source.oneIn(m_change)) {
                change();
            }
            feed(pair());
        }
        ++m_tally.scenarios;
    }

    int number() const { return m_number; }

private:
    Pair& pair() { return m_pairs[m_current]; }
    void add(Pair pair) { m_pairs.push_back(std::move(pair)); }

    static constexpr int kSizes[4] = {8, 6, 7, 7};

    float ordinary(int group, int index)
    {
        if (m_exact && !m_source.oneIn(8)) {
            const bool factor = group == 0 ? index >= 4 && index <= 6 : group > 1 && index == 6;
            return factor ? m_source.pick({1.0F, -1.0F}) : m_source.pick({0.0F, -0.0F});
        }
        if (m_source.oneIn(12)) {
            return m_source.pick({0.0F, -0.0F, 1.0F, -1.0F});
        }
        if (group == 0) {
            return index >= 4 && index <= 6 ? m_source.real(0.9, 1.1) : m_source.real(-1, 1);
        }
        if (group == 1) {
            return index < 3 ? m_source.real(-50, 50) : m_source.real(-1, 1);
        }
        if (index == 6) {
            return m_source.real(0.9, 1.1);
        }
        return group == 3 && index == 3 ? m_source.pick({35.0F, -35.0F, 0.3F}) : m_source.real(-0.5, 0.5);
    }

    void setGroup(Pair& p, int group)
    {
        float* const values = p.values[group];
        const int count = m_source.oneIn(8) ? m_source.between(-1, kSizes[group]) : kSizes[group];
        CKorModel& model = p.ours->model();
        switch (group) {
        case 0:
            model.UpdateSFactors(values, count);
            p.plain->updateSFactors(values, count);
            break;
        case 1:
            model.UpdateQVCParameters(values, count);
            p.plain->updateQvc(values, count);
            break;
        case 2:
            model.UpdateLevel1Parameters(values, count);
            p.plain->updateLevel1(values, count);
            break;
        default:
            model.UpdateLevel2Parameters(values, count);
            p.plain->updateLevel2(values, count);
            break;
        }
    }

    // A class of the host's writes one field; the transcription takes the group whole.
    void write(Pair& p, int group)
    {
        for (int i = 0; i < kSizes[group]; ++i) {
            p.ours->write(group, i, p.values[group][i]);
        }
        float* const values = p.values[group];
        switch (group) {
        case 0:
            p.plain->updateSFactors(values, 8);
            break;
        case 1:
            p.plain->updateQvc(values, 6);
            break;
        case 2:
            p.plain->updateLevel1(values, 7);
            break;
        default:
            p.plain->updateLevel2(values, 7);
            break;
        }
    }

    void prime(Pair& p)
    {
        for (int group = 0; group < 4; ++group) {
            for (int i = 0; i < kSizes[group]; ++i) {
                p.values[group][i] = ordinary(group, i);
            }
            write(p, group);
        }
        setDynamic(p);
        setParity(p);
    }

    void setDynamic(Pair& p)
    {
        float dynamic[7];
        for (int i = 0; i < 7; ++i) {
            dynamic[i] = m_awkward != 0 && m_source.oneIn(40) ? m_source.awkward<float>()
                         : i < 4                              ? m_source.real(0, 1)
                                                              : m_source.real(-4, m_source.oneIn(6) ? 200 : 5);
        }
        p.ours->model().SetDynamicParameters(dynamic);
        p.plain->setDynamic(dynamic);
    }

    void setParity(Pair& p)
    {
        const int parity = m_source.pick({0, 1, 1, 0, 2, 7});
        if (m_source.coin()) {
            p.ours->model().set_iMMode(parity);
        } else {
            p.ours->writeParity(parity);
        }
        p.plain->parity = parity;
    }

    void change()
    {
        ++m_tally.changes;
        Pair& p = pair();
        switch (m_source.below(10)) {
        case 0:
            setParity(p);
            break;
        case 1:
            setDynamic(p);
            break;
        case 2: // a copy goes on beside its source
            if (m_pairs.size() < 3) {
                Pair copy;
                copy.ours = p.ours->copy();
                copy.plain = p.plain->copy();
                std::copy_n(&p.values[0][0], 32, &copy.values[0][0]);
                std::copy_n(p.counter, 2, copy.counter);
                std::copy_n(p.time, 2, copy.time);
                add(std::move(copy));
                ++m_tally.copies;
            }
            break;
        case 3:
        case 4:
            m_current = static_cast<std::size_t>(m_source.below(static_cast<int>(m_pairs.size())));
            break;
        default: {
            // One parameter, often by its sign or its last bit alone, and often back again the next time.
            const int group = m_source.below(4);
            float& value = p.values[group][m_source.below(kSizes[group])];
            const float before = value;
            switch (m_source.below(6)) {
            case 0:
                value = -value;
                break;
            case 1:
                value = m_source.beside(value);
                break;
            case 2:
                value = m_last;
                break;
            case 3:
                value = m_awkward != 0 && m_source.oneIn(4) ? m_source.awkward<float>() : m_source.pick({0.0F, -0.0F});
                break;
            default:
                value = ordinary(group, static_cast<int>(&value - p.values[group]));
                break;
            }
            m_last = before;
            if (m_source.coin()) {
                setGroup(p, group);
            } else {
                write(p, group);
            }
            break;
        }
        }
    }

    void feed(Pair& p)
    {
        if (m_source.oneIn(40)) {
            for (double& component : m_position) {
                component = m_source.uniform(-9000, 9000);
            }
            m_position[2] = m_source.uniform(-2000, 2000);
        }
        double io[9];
        for (int i = 0; i < 3; ++i) {
            m_position[i] += m_source.uniform(-1, 1);
            io[i] = m_position[i];
        }
        io[3] = m_source.uniform(-4, 4);
        io[4] = m_source.uniform(-4, 4);
        io[5] = m_source.uniform(-200, 200);
        io[6] = m_source.uniform(-30, 30);
        io[7] = m_source.uniform(19, 21);
        io[8] = m_source.uniform(19, 21);
        double angles[2] = {m_angles[0], m_angles[1]};
        for (int i = m_exact ? m_source.below(7) : 0; i > 0; --i) {
            io[m_source.below(7)] = m_source.pick({0.0, -0.0, 1.0, -1.0, 90.0});
        }
        if (m_exact && m_source.coin()) {
            std::fill_n(angles, 2, m_source.pick({0.0, -0.0}));
        }
        if (m_source.oneIn(30)) {
            io[m_source.below(9)] = m_source.pick({0.0, -0.0, 1.0, 0.001, -0.001, 90.0});
        }
        if (m_source.oneIn(30)) {
            angles[m_source.below(2)] = m_source.pick({0.0, -0.0, 1.5});
        }
        if (m_awkward != 0 && m_source.oneIn(m_awkward)) {
            do {
                const int slot = m_source.below(11);
                (slot < 9 ? io[slot] : angles[slot - 9]) = m_source.awkward<double>();
            } while (m_source.coin());
        }

        const bool excluded[2] = {m_source.oneIn(m_excluded), m_source.oneIn(m_excluded)};
        for (int level = 0; level < 2; ++level) {
            p.counter[level] = excluded[level] ? 0 : p.counter[level] + 1;
            if (m_source.oneIn(300)) {
                p.counter[level] = m_source.pick({0U, 50U, 51U, 101U, 102U, 0x7FFFFFFFU, 0xFFFFFFFFU});
            }
            if (!m_source.oneIn(25)) {
                p.time[level] += 0.01;
            }
        }
        double time[2] = {p.time[0], p.time[1]};
        if (m_awkward != 0 && m_source.oneIn(4 * m_awkward)) {
            time[m_source.below(2)] = m_source.awkward<double>();
        }

        CKorModel& model = p.ours->model();
        model.SetLevelLimits(excluded[0], excluded[1]);
        model.SetCounter(p.counter[0], p.counter[1]);
        model.SetTimeInterval(time[0], time[1]);
        p.plain->setLevelLimits(excluded[0], excluded[1]);
        p.plain->setCounter(p.counter[0], p.counter[1]);
        p.plain->setTimeInterval(time[0], time[1]);

        double got[9];
        double wanted[9];
        std::copy_n(io, 9, got);
        std::copy_n(io, 9, wanted);
        const bool found = model.CalTranxMatrix(got, angles[0], angles[1], 3);
        expectSameCode("CalTranxMatrix", found, p.plain->calculate(wanted, angles[0], angles[1]));
        bool finite = true;
        for (int i = 0; i < 9; ++i) {
            expectSame("matrix", i, got[i], wanted[i]);
            finite = finite && std::isfinite(got[i]);
        }
        const int count = m_source.oneIn(10) ? m_source.between(-1, 9) : 6;
        float gotOut[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
        float wantedOut[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
        model.GetQVCMatrix(gotOut, count);
        p.plain->getQvc(wantedOut, count);
        for (int i = 0; i < 9; ++i) {
            expectSame("GetQVCMatrix", i, gotOut[i], wantedOut[i]);
        }
        model.GetLevelValues(gotOut[0], gotOut[1]);
        p.plain->getLevelValues(wantedOut[0], wantedOut[1]);
        expectSame("GetLevelValues", 0, gotOut[0], wantedOut[0]);
        expectSame("GetLevelValues", 1, gotOut[1], wantedOut[1]);

        ++m_tally.samples;
        ++(!found ? m_tally.none : finite ? m_tally.valid : m_tally.notFinite);
    }

    Source m_source;
    ModelChoice m_choice;
    Tally& m_tally;
    bool m_twoLevels = false;
    int m_awkward = 0;    // one in so many samples carries awkward numbers; 0: none
    int m_change = 0;     // one in so many samples follows a change
    int m_excluded = 0;   // one in so many samples is without one of its levels
    bool m_exact = false; // zeros of both signs and ones in place of most numbers
    int m_number = -1;
    LiteralProcess m_process;
    std::vector<Pair> m_pairs;
    std::size_t m_current = 0;
    double m_position[3] = {4000.0, -3000.0, 500.0};
    double m_angles[2] = {0.25, -0.125};
    float m_last = 0.0F; // what the parameter that was changed last held before
};

} // namespace

void runModelScenario(std::uint64_t seed, ModelChoice choice, Tally& tally)
{
    ModelScenario scenario(seed, choice, tally);
    try {
        scenario.run();
    } catch (const Difference& difference) {
        throw Difference("call " + std::to_string(scenario.number()) + ", " + difference.what());
    }
}

} // namespace kor_test
