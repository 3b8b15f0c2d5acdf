// Which operations wait for the engine's lock, and which do not.
#include "engine/RecordingModel.h"
#include "engine/engine_pair.h"

#include <chrono>
#include <functional>
#include <future>
#include <list>
#include <mutex>
#include <vector>

namespace kor_test {
namespace {

using Clock = std::chrono::steady_clock;

// Long enough for a thread that waits for nothing to finish, even on a busy machine; a slower one passes unnoticed.
constexpr std::chrono::milliseconds kLongEnough{300};

// Far beyond what an operation without a wait needs on any machine; only a failing test takes that long.
constexpr std::chrono::seconds kForever{20};

const std::array<float, 16> kFloats = {0, 1, 90, 1, 180, 1, 270, 1, 0, 0, 0, 0, 0, 0, 0, 0};
const std::array<double, 16> kDoubles = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0};

struct Operation {
    const char* name;
    std::function<int(CKor&)> call;
    int code;
};

int feedOne(CKor& engine)
{
    feed(engine, plainSample());
    return 0;
}

// Each operation on an engine of its own whose lock this thread holds.
class Held {
public:
    explicit Held(const Operation& operation) : m_operation(operation)
    {
        configurePlainly(m_engine, 3);
        feedOne(m_engine);
        m_lock = std::unique_lock(CKorAccess::state(m_engine).lock);
        m_finished = std::async(std::launch::async, [this] {
            m_started.set_value();
            return m_operation.call(m_engine);
        });
        m_started.get_future().wait();
    }

    bool finishesBefore(Clock::time_point then) const
    {
        return m_finished.wait_until(then) == std::future_status::ready;
    }

    const char* name() const { return m_operation.name; }
    int wantedCode() const { return m_operation.code; }

    int release()
    {
        if (m_lock.owns_lock()) {
            m_lock.unlock();
        }
        return m_finished.get();
    }

private:
    Operation m_operation;
    CKor m_engine;
    std::unique_lock<kor::platform::RecursiveLock> m_lock;
    std::promise<void> m_started;
    std::future<int> m_finished;
};

void expectAllWait(const std::vector<Operation>& operations)
{
    std::list<Held> held;
    for (const Operation& operation : operations) {
        held.emplace_back(operation);
    }
    const Clock::time_point then = Clock::now() + kLongEnough;
    for (Held& one : held) {
        EXPECT_FALSE(one.finishesBefore(then)) << one.name() << " did not wait";
    }
    for (Held& one : held) {
        EXPECT_EQ(one.release(), one.wantedCode()) << one.name();
    }
}

void expectNoneWaits(const std::vector<Operation>& operations)
{
    std::list<Held> held;
    for (const Operation& operation : operations) {
        held.emplace_back(operation);
    }
    const Clock::time_point then = Clock::now() + kForever;
    for (Held& one : held) {
        EXPECT_TRUE(one.finishesBefore(then)) << one.name() << " waited";
        EXPECT_EQ(one.release(), one.wantedCode()) << one.name();
    }
}

TEST(EngineLock, setOperationsSamplesAndTheReadOutWaitForIt)
{
    Matrix matrix = kIdentity;
    expectAllWait({
        {"setScaleFactors", [](CKor& e) { return e.setScaleFactors(kFloats.data(), 8); }, 0},
        {"setQVCParameters", [](CKor& e) { return e.setQVCParameters(kFloats.data(), 6); }, 0},
        {"setLevel1Parameters", [](CKor& e) { return e.setLevel1Parameters(kFloats.data(), 7); }, 0},
        {"setLevel2Parameters", [](CKor& e) { return e.setLevel2Parameters(kFloats.data(), 7); }, 0},
        {"setLevelXComp", [](CKor& e) { return e.setLevelXComp(4, kFloats.data(), kDoubles.data()); }, 0},
        {"setLevelYComp", [](CKor& e) { return e.setLevelYComp(4, kFloats.data(), kDoubles.data()); }, 0},
        {"setAzimuthComp", [](CKor& e) { return e.setAzimuthComp(2, kFloats.data()); }, 0},
        {"setElevationComp", [](CKor& e) { return e.setElevationComp(2, kFloats.data()); }, 0},
        {"setEncoderOffset",
         [](CKor& e) {
             return e.setEncoderOffset(F_VECTOR2{0, 0});
         },
         0},
        {"setTiltOffset",
         [](CKor& e) {
             return e.setTiltOffset(F_VECTOR2{0, 0});
         },
         0},
        {"setKnownVector", [](CKor& e) { return e.setKnownVector(kDoubles.data()); }, 0},
        {"setLocalMatrix", [](CKor& e) { return e.setLocalMatrix(kDoubles.data(), 3); }, 0},
        {"setMachineMatrix", [&](CKor& e) { return e.setMachineMatrix(matrix.data(), 3); }, 0},
        {"setMcsFlag", [](CKor& e) { return e.setMcsFlag(true); }, 0},
        {"setPSDParameters", [](CKor& e) { return e.setPSDParameters(1, 2, 3); }, 0},
        {"LoadParameterStore",
         [](CKor& e) { return LoadParameterStore(e, kFloats.data(), kFloats.data(), kFloats.data()); }, 0},
        {"updateKORData", feedOne, 0},
        {"ReadMatrix", [&](CKor& e) { return e.ReadMatrix(Matrix{}.data()); }, 0},
    });
}

// The check of the arguments is part of the body: a call that is refused waits like any other.
// Pins [arguments-under-lock].
TEST(EngineLock, setOperationsThatAreRefusedWaitForItToo)
{
    expectAllWait({
        {"setScaleFactors", [](CKor& e) { return e.setScaleFactors(nullptr, 8); }, 20},
        {"setQVCParameters", [](CKor& e) { return e.setQVCParameters(nullptr, 6); }, 20},
        {"setLevel1Parameters", [](CKor& e) { return e.setLevel1Parameters(nullptr, 7); }, 20},
        {"setLevel2Parameters", [](CKor& e) { return e.setLevel2Parameters(nullptr, 7); }, 20},
        {"setLevelXComp, no knots", [](CKor& e) { return e.setLevelXComp(4, nullptr, kDoubles.data()); }, 20},
        {"setLevelXComp, no coefficients", [](CKor& e) { return e.setLevelXComp(4, kFloats.data(), nullptr); }, 20},
        {"setLevelXComp, count 0", [](CKor& e) { return e.setLevelXComp(0, kFloats.data(), kDoubles.data()); }, 20},
        {"setLevelYComp, no knots", [](CKor& e) { return e.setLevelYComp(4, nullptr, kDoubles.data()); }, 20},
        {"setLevelYComp, no coefficients", [](CKor& e) { return e.setLevelYComp(4, kFloats.data(), nullptr); }, 20},
        {"setLevelYComp, count -1", [](CKor& e) { return e.setLevelYComp(-1, kFloats.data(), kDoubles.data()); }, 20},
        {"setAzimuthComp", [](CKor& e) { return e.setAzimuthComp(2, nullptr); }, 20},
        {"setElevationComp", [](CKor& e) { return e.setElevationComp(2, nullptr); }, 20},
        {"setKnownVector", [](CKor& e) { return e.setKnownVector(nullptr); }, 20},
        {"setLocalMatrix", [](CKor& e) { return e.setLocalMatrix(nullptr, 3); }, 20},
        {"setMachineMatrix", [](CKor& e) { return e.setMachineMatrix(nullptr, 3); }, 20},
    });
}

// Pins [destroy-and-copy-wait].
TEST(EngineLock, destroyAndCopiesWaitForIt)
{
    expectAllWait({
        {"Destroy",
         [](CKor& e) {
             e.Destroy();
             return 0;
         },
         0},
        {"a copy of it",
         [](CKor& e) {
             const CKor copy(e);
             return 0;
         },
         0},
        {"an assignment from it",
         [](CKor& e) {
             CKor target;
             target = e;
             return 0;
         },
         0},
        {"an assignment to it",
         [](CKor& e) {
             const CKor source;
             e = source;
             return 0;
         },
         0},
    });
}

// Pins [lock-of-each-copy].
TEST(EngineLock, copiesDoNotWaitForThatOfTheirSource)
{
    CKor engine;
    CKor copy(engine);
    CKor assigned;
    assigned = engine;
    for (CKor* const other : {&copy, &assigned}) {
        std::future<int> code;
        {
            const std::lock_guard guard(CKorAccess::state(engine).lock);
            code = std::async(std::launch::async, [other] { return other->setMcsFlag(false); });
            EXPECT_EQ(code.wait_for(kForever), std::future_status::ready);
        }
        EXPECT_EQ(code.get(), 0);
    }
}

// Pins [null-matrix-without-lock].
TEST(EngineLock, theReadOutIntoNothingAnswersWithoutIt)
{
    expectNoneWaits({{"ReadMatrix", [](CKor& e) { return e.ReadMatrix(nullptr); }, 20}});
}

// Pins [setters-without-lock].
TEST(EngineLock, thermalFactorMountModeAndInverseCalibrationsDoNotTakeIt)
{
    expectNoneWaits({
        {"setThermalFactor",
         [](CKor& e) {
             return e.setThermalFactor(F_VECTOR4{0, 1, 0, 1});
         },
         0},
        {"setMountMode", [](CKor& e) { return e.setMountMode(5); }, 0},
        {"getInverseAzCalib", [](CKor& e) { return static_cast<int>(e.getInverseAzCalib(7)); }, 7},
        {"getInverseElCalib", [](CKor& e) { return static_cast<int>(e.getInverseElCalib(7)); }, 7},
        {"Initialization", [](CKor& e) { return e.Initialization(); }, 0},
    });
}

TEST(EngineLock, aMountModeThatCreatesAndPrimesTheModelDoesNotTakeIt)
{
    for (const bool filled : {false, true}) {
        for (const int mode : {1, 3, 5, 8, 10}) {
            CKor engine;
            if (filled) {
                EXPECT_EQ(LoadParameterStore(engine, kFloats.data(), kFloats.data(), kFloats.data()), 0);
            }
            std::future<int> code;
            {
                const std::lock_guard guard(CKorAccess::state(engine).lock);
                code = std::async(std::launch::async, [&] { return engine.setMountMode(mode); });
                EXPECT_EQ(code.wait_for(kForever), std::future_status::ready) << mode;
            }
            if (HasFailure()) {
                return;
            }
            EXPECT_EQ(code.get(), 0);
            EXPECT_NE(CKorAccess::state(engine).model, nullptr);
        }
    }
}

TEST(EngineLock, everyModelCallOfASampleIsMadeUnderIt)
{
    CKor engine;
    configurePlainly(engine, 3);
    EXPECT_EQ(LoadParameterStore(engine, kFloats.data(), kFloats.data(), kFloats.data()), 0);
    const auto model = recordModelCalls(engine);
    EXPECT_EQ(engine.setMountMode(8), 0);
    model->calls.clear();

    // Another thread tries to read the matrix during each call; it must not come through before the sample ends.
    std::vector<std::future<int>> readers;
    int early = 0;
    model->duringEachCall = [&] {
        std::promise<void> started;
        std::future<void> hasStarted = started.get_future();
        readers.push_back(std::async(std::launch::async, [&engine, &started] {
            started.set_value();
            Matrix matrix{};
            return engine.ReadMatrix(matrix.data());
        }));
        hasStarted.wait();
        early += readers.back().wait_for(kLongEnough / 5) == std::future_status::ready ? 1 : 0;
    };
    feed(engine, plainSample());
    EXPECT_EQ(model->calls.size(), 7U);
    EXPECT_EQ(early, 0);
    for (std::future<int>& reader : readers) {
        EXPECT_EQ(reader.get(), 0);
    }
}

TEST(EngineLock, everyModelCallOfTheMountModeIsMadeWithoutIt)
{
    CKor engine;
    configurePlainly(engine, 3);
    EXPECT_EQ(LoadParameterStore(engine, kFloats.data(), kFloats.data(), kFloats.data()), 0);
    const auto model = recordModelCalls(engine);
    std::vector<std::future<int>> readers;
    model->duringEachCall = [&] {
        readers.push_back(std::async(std::launch::async, [&engine] {
            Matrix matrix{};
            return engine.ReadMatrix(matrix.data());
        }));
        if (!HasFailure()) {
            EXPECT_EQ(readers.back().wait_for(kForever), std::future_status::ready);
        }
    };
    EXPECT_EQ(engine.setMountMode(8), 0);
    EXPECT_EQ(readers.size(), 5U);
    for (std::future<int>& reader : readers) {
        EXPECT_EQ(reader.get(), 554);
    }
}

} // namespace
} // namespace kor_test
