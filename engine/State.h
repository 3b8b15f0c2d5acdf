// What an engine knows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "KORInterface/CKor.h"
#include "KORInterface/CKorModel.h"
#include "KORInterface/OrientationModel.h"
#include "engine/Angles.h"
#include "engine/ParameterStore.h"
#include "mek/CEncoder.h"
#include "mek/Spline.h"
#include "models/FromParameters.h"
#include "platform/Lock.h"

namespace kor {

/// A table that the first call allocates, that keeps its size from then on, and that copies of the engine share.
template <typename Value>
struct Table {
    struct Content {
        std::unique_ptr<Value[]> values;
        std::size_t capacity = 0;
        std::uint64_t revision = 0; ///< set by every write, never the same twice in a process
    };
    std::shared_ptr<Content> content;

    Value* values() const { return content == nullptr ? nullptr : content->values.get(); }

    /// Number by which an engine sees that the table was written, perhaps through a copy; 0 without a table.
    std::uint64_t revision() const { return content == nullptr ? 0 : content->revision; }
};

/// Spline of one level: count knots (and three extra values), four coefficients per interval.
struct LevelCompensation {
    std::int32_t count = 0;
    Table<float> knots; ///< whose revision counts for the coefficients too
    Table<double> coefficients;
    mek::SplinePiece piece; ///< of the last sample; each engine's own
};

/// One level's current run of samples inside its table.
struct LevelRun {
    std::uint32_t startMs = 0;
    std::uint32_t samples = 0;
    bool started = false;
    double elapsedSeconds = 0.0;
};

/// What became of the last sample, as far as the matrices do not tell.
struct SampleTrace {
    enum class Step : std::uint8_t { neverFed, noModel, rejectedByStatus, noMatrix, matrix };

    Step step = Step::neverFed;
    bool levelXOutside = false;     ///< of its table
    bool levelYOutside = false;     ///< of its table
    bool hadReference = false;      ///< the reference had been captured before this sample
    bool capturedReference = false; ///< this sample became the reference
    bool valuesWereSpoiled = false; ///< before this sample: the values that the two-level models share
};

/// The fields that a copy of an engine takes over, in declaration order. Kept [open-fields-0]: zero until they are set.
struct EngineFields {
    mek::CEncoder elevationEncoder;
    mek::CEncoder azimuthEncoder;
    double referenceInverse[9] = {};
    double localMatrixInverse[9] = {};
    double encoderOffset[2] = {};
    double knownVector[3] = {};
    double localMatrix[9] = {};
    double machineMatrix[9] = {};
    float tiltOffset[2] = {};
    float thermalFactor[4] = {};
    std::int32_t mountMode = 0;
    LevelCompensation levelX;
    LevelCompensation levelY;
    std::int32_t azimuthCompCount = 0;
    std::int32_t elevationCompCount = 0;
    Table<float> azimuthTable;
    Table<float> elevationTable;
    float scaleFactors[8] = {};
    bool referenceCaptured = false;
    double modelBuffer[9] = {};
    double resultMatrix[9] = {};
    bool mcsFlag = true;
    std::shared_ptr<CKorModel> model;
    OrientationModel modelKind = OrientationModel::none;
    bool matrixValid = false;
    float qvcParameters[6] = {};
    float adjustedQvcParameters[6] = {};
    float modelQvcValues[6] = {};
    float level1Parameters[7] = {};
    float level2Parameters[7] = {};
    float coefficientsA[3] = {};
    float coefficientsB[3] = {};
    std::int32_t psdFirst = 0;
    std::int32_t psdSecond = 0;
    std::int32_t psdDivisor = 0;
    LevelRun levelXRun;
    LevelRun levelYRun;
    std::shared_ptr<ParameterStore> parameterStore;
    SampleTrace lastSample;
    std::uint64_t samples = 0;               ///< fed to this engine
    std::uint64_t valuesSpoiledSince = 0;    ///< sample that first found the models' shared values so; 0: they are not
    std::uint64_t referenceSpoiledSince = 0; ///< sample that became a reference that is not finite; 0: none did
    FromParameters<OrientationAngles, double, 9> repeatedAngles; ///< of the two-level model's last matrix
};

/// ReadMatrix into nine doubles, for whoever holds the engine's lock.
int readMatrixLocked(const EngineFields& s, double* matrix);

} // namespace kor

struct CKor::State : kor::EngineFields {
    State() = default;
    explicit State(const kor::EngineFields& fields) : kor::EngineFields(fields) {}

    kor::platform::RecursiveLock lock; ///< Kept [lock-of-each-copy]: not among the fields that a copy takes over
};

/// Way in for the operations that stand beside the engine's own interface.
struct CKorAccess {
    using State = CKor::State;
    static State& state(CKor& engine) { return *engine.m_state; }
};
