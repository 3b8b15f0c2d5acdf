// Threads that do at the same time all that a host may do at the same time. Built with ThreadSanitizer, which reports a
// missing lock even when every value happens to come out whole; the program itself checks the values.
//
// Usage: threads SECONDS SEED DATA        DATA: the folder of the shipped recordings
//
// What runs side by side:
//   an engine     one thread feeds, two set parameter groups of every kind, one reads the matrix and the account of
//                 the last sample, one makes copies and reads from them; in modes 1, 3, 5, 7 and 9
//   files         two threads read and check the same parameter files and configure engines of their own by them
//   a pipeline    blocks through stages on four threads, as a replay does it
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "KORInterface/KORInterface.h"
#include "KORInterface/ParameterCheck.h"
#include "KORInterface/Session.h"
#include "tools/kor/Pipeline.h"

namespace {

std::atomic<bool> stopping{false};
std::atomic<int> faults{0};

void expect(bool holds, const char* what)
{
    if (!holds && faults++ == 0) {
        std::fprintf(stderr, "threads: %s\n", what);
    }
}

struct Sensor {
    const char* name;
    std::uint32_t identity;
};
constexpr Sensor kSensors[] = {
    {"dual_level", 1001}, {"pendulum", 1003}, {"polarizer", 1005}, {"three_vector", 1007}, {"two_level", 1009}};

// An operation again and again until the end, with random numbers of its own.
class Worker {
public:
    Worker(std::uint32_t seed, const std::function<void(std::mt19937&)>& operation)
        : m_thread([this, seed, operation] {
              std::mt19937 random(seed);
              while (!stopping) {
                  operation(random);
                  m_done.fetch_add(1, std::memory_order_relaxed);
              }
          })
    {
    }
    void join() { m_thread.join(); }
    std::uint64_t done() const { return m_done; }

private:
    std::atomic<std::uint64_t> m_done{0};
    std::thread m_thread;
};

float between(std::mt19937& random, float low, float high)
{
    return std::uniform_real_distribution<float>(low, high)(random);
}

KOR_RAWINFO sample(std::mt19937& random, std::uint32_t stamp)
{
    KOR_RAWINFO raw{};
    raw.status = random() % 50 == 0 ? 1 : 2;
    raw.timeStampMs = stamp;
    raw.sensorVector[0] = between(random, 1000, 3000);
    raw.sensorVector[1] = between(random, 1000, 3000);
    raw.sensorVector[2] = between(random, -500, 500);
    raw.azimuthRaw = between(random, 0, 360);
    raw.elevationRaw = between(random, -50, 50);
    raw.levelXRaw = between(random, -20, 20);
    raw.levelYRaw = between(random, -20, 20);
    raw.levelTemperature = between(random, 15, 30);
    return raw;
}

// Tables of one size, as the engine demands from the second call on. Of a row only the correction changes.
struct Tables {
    explicit Tables(std::mt19937& random)
    {
        const float shift = between(random, -0.01F, 0.01F);
        for (int row = 0; row < 20; ++row) {
            encoder.insert(encoder.end(), {static_cast<float>(18 * row), shift});
            knots.push_back(static_cast<float>(3 * row - 30));
            coefficients.insert(coefficients.end(), {static_cast<double>(knots.back() + shift), 1.0, 0.0, 0.0});
        }
        knots.insert(knots.end(), {-30.0F, 30.0F, 0.0F});
    }
    std::vector<float> encoder;
    std::vector<float> knots;
    std::vector<double> coefficients;
};

// Every set operation that takes the lock.
void setSomething(CKor& engine, std::mt19937& random)
{
    float values[8];
    for (float& value : values) {
        value = between(random, 0.9F, 1.1F);
    }
    double matrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    const Tables tables(random);
    switch (random() % 16) {
    case 0:
        engine.setScaleFactors(values, 8);
        break;
    case 1:
        engine.setQVCParameters(values, 6);
        break;
    case 2:
        engine.setLevel1Parameters(values, 7);
        break;
    case 3:
        engine.setLevel2Parameters(values, 7);
        break;
    case 4:
        engine.setLevelXComp(20, tables.knots.data(), tables.coefficients.data());
        break;
    case 5:
        engine.setLevelYComp(20, tables.knots.data(), tables.coefficients.data());
        break;
    case 6:
        engine.setAzimuthComp(20, tables.encoder.data());
        break;
    case 7:
        engine.setElevationComp(20, tables.encoder.data());
        break;
    case 8:
        engine.setEncoderOffset(F_VECTOR2{values[0], values[1]});
        break;
    case 9:
        engine.setTiltOffset(F_VECTOR2{values[0], values[1]});
        break;
    case 10:
        engine.setKnownVector(matrix);
        break;
    case 11:
        engine.setLocalMatrix(matrix, 3);
        break;
    case 12:
        engine.setMachineMatrix(matrix, 3);
        break;
    case 13:
        engine.setMcsFlag(random() % 2 == 0);
        break;
    case 14:
        engine.setPSDParameters(static_cast<int>(random() % 100), static_cast<int>(random() % 100), 100);
        break;
    default:
        LoadParameterStore(engine, values, values, values);
        break;
    }
}

// What a copy takes over is its own but for the tables, the model and the store: those are not written meanwhile.
void setOwnFields(CKor& engine, std::mt19937& random)
{
    double matrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    const float value = between(random, -1, 1);
    switch (random() % 5) {
    case 0:
        engine.setEncoderOffset(F_VECTOR2{value, value});
        break;
    case 1:
        engine.setTiltOffset(F_VECTOR2{value, value});
        break;
    case 2:
        engine.setLocalMatrix(matrix, 3);
        break;
    case 3:
        engine.setMcsFlag(random() % 2 == 0);
        break;
    default:
        engine.setPSDParameters(1, 2, 3);
        break;
    }
}

void configure(CKor& engine, const Sensor& sensor, const std::string& data)
{
    CKorPrm prm;
    kor::ReadReport report;
    const std::string directory = data + "/" + sensor.name;
    if (kor::ReadParameterFile(prm, directory.c_str(), sensor.identity, report) != kor::kSuccess) {
        std::fprintf(stderr, "threads: %s\n", report.text());
        std::exit(1);
    }
    expect(kor::Configure(engine, prm, kor::ConfigureOptions().parameterStore()) == kor::kSuccess, "no configuration");
}

bool isWhole(const double* matrix)
{
    return std::all_of(matrix, matrix + 9, [](double element) { return std::isfinite(element); });
}

void readParameters(const std::string& data, std::mt19937& random)
{
    const Sensor& sensor = kSensors[random() % 4]; // modes 9 and 10 keep values for the process: one engine at a time
    CKor engine;
    configure(engine, sensor, data);
    KOR_INFO info;
    engine.updateKORData(sample(random, 0), info);
    kor::CheckReport check;
    const std::string path = data + "/" + sensor.name + "/Tg" + std::to_string(sensor.identity) + ".prm";
    expect(kor::CheckParameterFile(path.c_str(), 0, check) == kor::kSuccess, "a shipped file cannot be checked");
}

// The sum of the numbers of a hundred blocks, worked out on four threads.
void runPipeline()
{
    using kor::tool::Pipeline;
    constexpr int kBlocks = 100;
    std::vector<int> number(6);
    std::vector<int> square(6);
    int next = 0;
    int sum = 0;
    Pipeline(6, {{.inTurn = true,
                  .work =
                      [&](std::size_t block) {
                          number[block] = ++next;
                          return next == kBlocks ? Pipeline::Result::last : Pipeline::Result::goOn;
                      }},
                 {.inTurn = false,
                  .work =
                      [&](std::size_t block) {
                          square[block] = number[block] * number[block];
                          return Pipeline::Result::goOn;
                      },
                  .comesFirst = true},
                 {.inTurn = true,
                  .work =
                      [&](std::size_t block) {
                          sum += square[block];
                          return Pipeline::Result::goOn;
                      }}})
        .run(4);
    expect(sum == kBlocks * (kBlocks + 1) * (2 * kBlocks + 1) / 6, "the pipeline loses a block");
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: threads SECONDS SEED DATA\n");
        return 64;
    }
    const double seconds = std::strtod(argv[1], nullptr);
    auto seed = static_cast<std::uint32_t>(std::strtoul(argv[2], nullptr, 10));
    const std::string data = argv[3];

    std::vector<std::unique_ptr<CKor>> engines;
    for (const Sensor& sensor : kSensors) {
        for (int copied = 0; copied < 2; ++copied) {
            if (sensor.identity == 1009 && copied == 1) {
                continue;
            }
            engines.push_back(std::make_unique<CKor>());
            configure(*engines.back(), sensor, data);
        }
    }
    std::vector<std::unique_ptr<Worker>> workers;
    const auto start = [&](const std::function<void(std::mt19937&)>& operation) {
        workers.push_back(std::make_unique<Worker>(++seed, operation));
    };
    for (std::size_t i = 0; i < engines.size(); ++i) {
        CKor& engine = *engines[i];
        const bool copied = i % 2 == 1;
        start([&engine, stamp = std::uint32_t{0}](std::mt19937& random) mutable {
            kor::SampleResult result;
            stamp += 10;
            if (random() % 2 == 0) {
                kor::ProcessSample(engine, sample(random, stamp), result);
                expect(result.report.outcome != kor::SampleOutcome::noModel, "a model is lost");
            } else {
                engine.updateKORData(sample(random, stamp), result.info);
            }
        });
        for (int setter = 0; setter < 2; ++setter) {
            start([&engine, copied](std::mt19937& random) {
                copied ? setOwnFields(engine, random) : setSomething(engine, random);
            });
        }
        start([&engine](std::mt19937&) {
            double matrix[9];
            const int code = engine.ReadMatrix(matrix);
            expect(code == kor::kSuccess || code == kor::kNoMatrix, "ReadMatrix has another code");
            kor::LastSample(engine);
        });
        if (copied) {
            start([&engine](std::mt19937&) {
                CKor copy(engine);
                double matrix[9];
                copy.ReadMatrix(matrix);
                CKor assigned;
                assigned = engine;
                assigned.setMcsFlag(true);
                expect(isWhole(matrix) || copy.ReadMatrix(matrix) == kor::kSuccess, "a copy's matrix is torn");
            });
        }
    }
    for (int reader = 0; reader < 2; ++reader) {
        start([&data](std::mt19937& random) { readParameters(data, random); });
    }
    start([](std::mt19937&) { runPipeline(); });

    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    stopping = true;
    std::uint64_t operations = 0;
    for (const auto& worker : workers) {
        worker->join();
        expect(worker->done() > 0, "a thread has not come to its turn");
        operations += worker->done();
    }
    std::printf("%zu threads, %llu operations, %d faults\n", workers.size(),
                static_cast<unsigned long long>(operations), faults.load());
    return faults == 0 ? 0 : 1;
}
