// The dual-level, pendulum, polarizer and three-vector models branch by branch in plain doubles.
//
// Each takes the nine inputs of a sample and leaves its matrix in their place, as CalTranxMatrix does. What it writes
// into the last argument tells the tests which way it went.
#pragma once

#include <array>

namespace kor_test {

// Which way each decision of the dual-level model went.
struct DualLevelBranches {
    bool deadBand = false;
    bool acute = false;   // p < half pi
    bool limited = false; // |c| >= 1
    bool beyond = false;  // |c| > 1, so that the limit changes it
    int gamma = -1;       // 0..4 in the order of the cases
};

// How the pendulum model's search went.
struct PendulumSearch {
    int iterations = 0;
    double target = 0.0;
    double rho = 0.0;           // of the last iteration
    double error = 0.0;         // of the last iteration
    std::array<int, 5> cases{}; // how often each case of the arm's foot was taken
};

struct ThreeVecSolution {
    int code = -1;
    bool second = false; // the solution below the plane of line of sight and level axis
};

namespace literal {

bool dualLevel(const float* factors, double* io, double angle1, double angle2, DualLevelBranches* branches = nullptr);

bool pendulum(int parity, const float* factors, double* io, double angle1, double angle2,
              PendulumSearch* search = nullptr, int limit = 500);

bool polarizer(const float* factors, double* io, double angle1, double angle2);

/// Given     qvc     six parameters
///           level1  seven parameters
/// Returned  offset  three values: what GetQVCMatrix hands out
bool threeVec(int parity, const float* qvc, const float* level1, double* io, double angle1, double angle2,
              float* offset, ThreeVecSolution* solution = nullptr);

} // namespace literal

} // namespace kor_test
