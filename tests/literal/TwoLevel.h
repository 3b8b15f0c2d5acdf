// Both two-level models step by step: plain arrays, one statement per step. What the models keep per process is an
// object here.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

namespace kor_test {

// One call of a model.
struct Call {
    std::array<double, 9> io{};
    bool excluded1 = false;
    bool excluded2 = false;
    std::uint32_t counter1 = 0;
    std::uint32_t counter2 = 0;
    double time1 = 0.0;
    double time2 = 0.0;
};

// What a host primes a model with.
struct Priming {
    int parity = 0;
    std::array<float, 6> qvc{};
    std::array<float, 7> level1{};
    std::array<float, 7> level2{};
    std::array<float, 7> dynamic{};
    double azRef = 0.0;
    double elRef = 0.0;
};

namespace literal {

// Unit direction (t1, 1, t2): the line of sight at zero elevation.
void sightAtZero(double degrees1, double degrees2, double* u);

// Unit direction (1, t1, t2): a level's axis.
void levelAxis(const float* level, double* a);

void elevationAxis(float degrees, double* a);

bool getF1(int parity, const float* level, double degrees, double* dir, double horiz, double vert, double* out);

bool getF1v2(int parity, double* axis, double degrees, double* dir, double horiz, double vert, double* out);

struct Euler {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

Euler euler(const double* m);

// The correction of a level reading; false when the corrected sine is beyond one.
bool compensate(double degrees, double acceleration, double& out);

} // namespace literal

// Moving average over 80 samples; while it fills, the mean of the samples before. Copies share the buffer.
struct LiteralAverage {
    std::shared_ptr<double[]> buffer{new double[80]()};
    std::uint32_t count = 0;

    void feed(double& value);
};

// Two straight-line fits over 51 samples each.
struct LiteralEstimator {
    double position[3][102] = {};
    double velocity[3][102] = {};
    double acceleration[3] = {};

    bool feed(const double* pos, const double* axis, std::uint32_t counter, double time, double& along);
};

// ---- First version

struct LiteralV1Process {
    bool begun = false;
    double ref8 = 0.0;
    double ref7 = 0.0;
    double smooth[2] = {};
};

class LiteralV1 {
public:
    struct Path {
        LiteralEstimator estimator;
        LiteralAverage average;
        double along = 0.0;
        double filtered = 0.0;
    };

    LiteralV1(LiteralV1Process& process, const Priming& priming) : prm(priming), m_process(process) {}

    // The model as left behind; the tests compare every field.
    Priming prm;
    Path path[2];
    double lastLevel2 = 0.0;
    double driftA = 0.0;
    double driftB = 0.0;
    std::array<float, 6> residual{};

    // As CalTranxMatrix: nine inputs in, the matrix out.
    bool run(const Call& call, double* io);

private:
    LiteralV1Process& m_process;
};

// ---- Second version

struct LiteralV2Process {
    struct Level {
        double reference = 0.0;   // smoother state
        int usable = 0;           // samples without exclusion
        double value = 0.0;       // interpolated reading, then its angle
        double compensated = 0.0; // angle freed of the acceleration
        double out = 0.0;         // angle handed to the solve
        double k = 0.0;
        double m = 0.0;
        double s = 0.0;
        double t = 0.0;
    };

    bool begun = false;
    Level level[2];
    double ref7 = 0.0;
    double ref8 = 0.0;
    double lastTime1 = 0.0;
    double lastTime2 = 0.0;
    double rotation[9] = {}; // of the previous sample; also what the first level's solve writes
    double second[9] = {};   // what the second level's solve writes
    double out[9] = {};
    int warmCount = 0;
    bool warmDone = false;
    double sum7 = 0.0;
    double sum8 = 0.0;
    double history[3][7] = {}; // positions
    int historyIndex = 0;
    double weight = 0.0; // of the last blend, for the tests to look at

    // Seven-point second difference for samples 0.01 s apart.
    void accelerate(const double* position, double* acceleration);
};

class LiteralV2 {
public:
    LiteralV2(LiteralV2Process& process, const Priming& priming) : prm(priming), m_process(process) {}

    Priming prm;
    int ringIndex = 0;
    double rawRing[51][9] = {};
    double filteredRing[51][9] = {};
    double psdRing[51][2] = {};
    double psdFilteredRing[51][2] = {};
    double axisZRing[51][2] = {};
    double along[2] = {};
    double levelValue[2] = {};
    double acceleration[3] = {};
    std::array<float, 6> residual{};

    // Row that a lag points to: truncated, held within 32 bits, modulo 51; not-a-number counts as 0.
    int lagged(float lag) const;

    void filter(double* sample);
    void filterPair(double* pair);

    bool run(const Call& call, double* buffer);

private:
    bool sample(const Call& call, double* io, double* pair, const double* q, double g);

    LiteralV2Process& m_process;
};

} // namespace kor_test
