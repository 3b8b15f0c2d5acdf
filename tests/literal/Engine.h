// The engine written out flat, one step after the other, with its models: the reference that the library has to meet to
// the bit. Nothing of the library takes part but its records.
//
// The operations are those of CKor, so that a test drives both alike. Copies share tables, model and parameter store,
// as CKor's do. There is no lock.
#pragma once

#include "KORInterface/Records.h"
#include "KORInterface/Session.h"
#include "literal/Models.h"
#include "literal/Support.h"
#include "literal/Values.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace kor_test {

// A table that the first call allocates and that keeps its size from then on.
template <typename Value>
struct LiteralTable {
    std::shared_ptr<Value[]> values;
    std::size_t capacity = 0;
};

struct LiteralLevel {
    int count = 0;
    LiteralTable<float> knots;
    LiteralTable<double> coefficients;
};

struct LiteralStore {
    bool loaded = false;
    std::array<float, 7> dynamic{};
    std::array<float, 3> a{};
    std::array<float, 3> b{};
};

class LiteralEngine {
public:
    // Two-level models of all engines without a process of their own share one.
    LiteralEngine();
    explicit LiteralEngine(LiteralProcess& process);

    int setScaleFactors(const float* values, int count);
    int setQVCParameters(const float* values, int count);
    int setLevel1Parameters(const float* values, int count);
    int setLevel2Parameters(const float* values, int count);
    int setLevelXComp(int count, const float* knots, const double* coefficients);
    int setLevelYComp(int count, const float* knots, const double* coefficients);
    int setAzimuthComp(int count, const float* table);
    int setElevationComp(int count, const float* table);
    int setEncoderOffset(const F_VECTOR2& offset);
    int setTiltOffset(const F_VECTOR2& offset);
    int setThermalFactor(const F_VECTOR4& factor);
    int setLocalMatrix(const double* matrix, int n);
    int setMachineMatrix(const double* matrix, int n);
    int setMcsFlag(bool flag);
    int setPSDParameters(int first, int second, int divisor);
    int setMountMode(int mode);
    int loadParameterStore(const float* dynamic, const float* a, const float* b);
    float getInverseAzCalib(float value) const;
    float getInverseElCalib(float value) const;
    void Destroy();

    void updateKORData(const KOR_RAWINFO& raw, KOR_INFO& info);
    int ReadMatrix(double* matrix) const;
    // Account of the last sample, as kor::LastSample gives it.
    kor::SampleReport report() const;

    // Configuration.
    std::array<float, 8> scaleFactors{};
    std::array<float, 6> qvc{};
    std::array<float, 7> level1{};
    std::array<float, 7> level2{};
    LiteralLevel levelX;
    LiteralLevel levelY;
    LiteralTable<float> azimuthTable;
    LiteralTable<float> elevationTable;
    literal::Encoder azimuthEncoder;
    literal::Encoder elevationEncoder;
    double encoderOffset[2] = {0, 0};
    float tiltOffset[2] = {0, 0};
    float thermal[4] = {0, 0, 0, 0};
    Matrix local{};
    Matrix localInverse{};
    Matrix machine{};
    bool mcs = true;
    int psdFirst = 0;
    int psdSecond = 0;
    int psdDivisor = 0;
    int mode = 0;
    std::shared_ptr<LiteralModel> model;
    std::shared_ptr<LiteralStore> store;

    // State between samples.
    Matrix modelBuffer{};
    Matrix result{};
    Matrix referenceInverse{};
    bool referenceCaptured = false;
    bool matrixValid = false;
    float modelQvc[6] = {0, 0, 0, 0, 0, 0};
    float storeA[3] = {0, 0, 0};
    float storeB[3] = {0, 0, 0};
    bool startedX = false;
    bool startedY = false;
    std::uint32_t startX = 0;
    std::uint32_t startY = 0;
    std::uint32_t countX = 0;
    std::uint32_t countY = 0;
    double elapsedX = 0;
    double elapsedY = 0;

    // What became of the last sample.
    kor::SampleOutcome outcome = kor::SampleOutcome::neverFed;
    bool outX = false;
    bool outY = false;
    bool captured = false;
    bool asked = false; // the model was
    std::uint64_t samples = 0;
    std::uint64_t valuesSince = 0;    // sample since which the values of the process are not finite; 0: they are
    std::uint64_t referenceSince = 0; // sample that became a reference that is not finite; 0: none did
    bool valuesBefore = false;        // they were not finite before this sample
    bool referenceBefore = false;     // the reference was not, before this sample

private:
    void composedAngles(const double* r, float* angles);

    LiteralKind m_kind = LiteralKind::pendulum;
    LiteralProcess* m_process;
};

} // namespace kor_test
