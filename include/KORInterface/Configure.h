// One call from parameter set to configured engine: a header-only addition for hosts.
#ifndef KORINTERFACE_CONFIGURE_H
#define KORINTERFACE_CONFIGURE_H

#include <vector>

#include "KORInterface/CKor.h"
#include "KORInterface/CKorPrm.h"

namespace kor {

namespace configure_detail {

// The first failing code of a sequence of calls; later calls of a failed sequence are not made.
class FirstFailure {
public:
    FirstFailure() : m_code(0) {}
    bool ok(int code)
    {
        m_code = code;
        return code == 0;
    }
    int code() const { return m_code; }

private:
    int m_code;
};

inline int copyEncoderTable(const CKorPrm& prm, CKor& engine, int (CKorPrm::*get)(unsigned int&, float*) const,
                            int (CKor::*set)(int, const float*))
{
    unsigned int count = 0;
    int code = (prm.*get)(count, nullptr); // 20 with the count filled in once a file is loaded
    if (code != 20) {
        return code;
    }
    if (count == 0) {
        return 0; // no correction; an empty table would fix the engine's at a size of zero
    }
    std::vector<float> table(2u * static_cast<std::vector<float>::size_type>(count) + 1u);
    code = (prm.*get)(count, table.data());
    return code == 0 ? (engine.*set)(static_cast<int>(count), table.data()) : code;
}

inline int copyLevelTable(const CKorPrm& prm, CKor& engine, int (CKorPrm::*get)(unsigned int&, float*, double*) const,
                          int (CKor::*set)(int, const float*, const double*))
{
    unsigned int count = 0;
    int code = (prm.*get)(count, nullptr, nullptr);
    if (code != 20) {
        return code;
    }
    if (count == 0) {
        return 0; // the file has no such table: the engine goes without and treats that level as out of range
    }
    const std::vector<float>::size_type rows = count;
    std::vector<float> table(rows + 3u);
    std::vector<double> coefficients(4u * rows);
    code = (prm.*get)(count, table.data(), coefficients.data());
    return code == 0 ? (engine.*set)(static_cast<int>(count), table.data(), coefficients.data()) : code;
}

} // namespace configure_detail

/// Copies every parameter group of a loaded set into an engine and chooses a mount mode.
///
/// Given     engine     a fresh engine; setMcsFlag and setPSDParameters stay the host's business, and so does
///                      LoadParameterStore, which must come before this call
///           prm        a parameter set that a read has filled
///           mountMode  the mode to choose in place of the file's. Choosing the file's first and another one
///                      afterwards is not the same: the first choice fixes the kind of the model
/// Returned  result     0, or the code of the first call that failed (551 when the set is not loaded); the groups
///                      before it have been copied
/// Notes  1  Throws only std::bad_alloc, from the buffers it copies the tables through.
inline int ConfigureEngine(CKor& engine, CKorPrm& prm, int mountMode)
{
    float values[8] = {0, 0, 0, 0, 0, 0, 0, 0};
    double matrix[9] = {0, 0, 0, 0, 0, 0, 0, 0, 0};
    unsigned int count = 0;
    F_VECTOR2 pair = {0, 0};
    F_VECTOR4 four = {0, 0, 0, 0};

    configure_detail::FirstFailure step;
    const bool done =
        step.ok(configure_detail::copyEncoderTable(prm, engine, &CKorPrm::getAzimuthComp, &CKor::setAzimuthComp)) &&
        step.ok(configure_detail::copyEncoderTable(prm, engine, &CKorPrm::getElevationComp, &CKor::setElevationComp)) &&
        step.ok(prm.getEncoderOffset(pair)) && step.ok(engine.setEncoderOffset(pair)) &&
        step.ok(prm.getKnownVector(matrix)) && step.ok(engine.setKnownVector(matrix)) &&
        step.ok(prm.getLocalMatrix(matrix, 3)) && step.ok(engine.setLocalMatrix(matrix, 3)) &&
        step.ok(prm.getMachineMatrix(matrix, 3)) && step.ok(engine.setMachineMatrix(matrix, 3)) &&
        step.ok(configure_detail::copyLevelTable(prm, engine, &CKorPrm::getLevelXComp, &CKor::setLevelXComp)) &&
        step.ok(configure_detail::copyLevelTable(prm, engine, &CKorPrm::getLevelYComp, &CKor::setLevelYComp)) &&
        step.ok(prm.getLevel1Parameters(values, count)) &&
        step.ok(engine.setLevel1Parameters(values, static_cast<int>(count))) &&
        step.ok(prm.getLevel2Parameters(values, count)) &&
        step.ok(engine.setLevel2Parameters(values, static_cast<int>(count))) &&
        step.ok(prm.getQVCParameters(values, count)) &&
        step.ok(engine.setQVCParameters(values, static_cast<int>(count))) &&
        step.ok(prm.getScaleFactors(values, count)) &&
        step.ok(engine.setScaleFactors(values, static_cast<int>(count))) && step.ok(prm.getThermalFactor(four)) &&
        step.ok(engine.setThermalFactor(four)) && step.ok(prm.getTiltOffset(pair)) &&
        step.ok(engine.setTiltOffset(pair)) && step.ok(engine.setMountMode(mountMode));
    return done ? 0 : step.code();
}

/// The same with the mount mode of the file.
inline int ConfigureEngine(CKor& engine, CKorPrm& prm)
{
    int mode = 0;
    const int code = prm.getMountMode(mode);
    return code == 0 ? ConfigureEngine(engine, prm, mode) : code;
}

} // namespace kor

#endif
