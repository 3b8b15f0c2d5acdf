// Construction, copying and release of the engine; matrix read-out.
#include "KORInterface/CKor.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <mutex>

#include "KORInterface/Status.h"
#include "engine/State.h"
#include "mek/Values.h"

namespace {

using Guard = std::lock_guard<kor::platform::RecursiveLock>;

} // namespace

CKor::CKor() : m_state(nullptr)
{
    auto state = std::make_unique<State>();
    state->parameterStore = kor::makeParameterStore();
    m_state = state.release();
}

// Kept [copies-share, counted-references]: tables, model and parameter store are shared between a copy and its source,
// as hosts expect of a plain copy. Counted references make it harmless to destroy both.
CKor::CKor(const CKor& other) : m_state(nullptr)
{
    const Guard guard(other.m_state->lock); // Kept [destroy-and-copy-wait]: for as long as it is read
    m_state = new State(static_cast<const kor::EngineFields&>(*other.m_state));
}

CKor& CKor::operator=(const CKor& other)
{
    if (this == &other) {
        return *this;
    }
    kor::EngineFields fields;
    {
        const Guard guard(other.m_state->lock);
        fields = *other.m_state;
    }
    const Guard guard(m_state->lock);
    static_cast<kor::EngineFields&>(*m_state) = fields;
    return *this;
}

CKor::~CKor()
{
    CKor::Destroy();
    delete m_state;
}

void CKor::Destroy()
{
    State& s = *m_state;
    const Guard guard(s.lock); // Kept [destroy-and-copy-wait]: before anything is looked at
    s.model.reset();
    s.modelKind = kor::OrientationModel::none;
    s.lastSample = {};
    s.matrixValid = false;
    mek::storeIdentity(s.resultMatrix);
    s.levelX.knots = {};
    s.levelX.coefficients = {};
    s.levelY.knots = {};
    s.levelY.coefficients = {};
    s.elevationTable = {};
    s.azimuthTable = {};
    // Kept [encoders-without-table]: they only refer to the tables.
    s.elevationEncoder.setCalTable(nullptr, 0);
    s.azimuthEncoder.setCalTable(nullptr, 0);
    s.parameterStore.reset(); // Kept [state-after-destroy]: reference, mode, counts and runs stay
}

int CKor::Initialization()
{
    return 0;
}

int CKor::ReadMatrix(double* matrix)
{
    // Kept [null-matrix-without-lock]: a null pointer alone is answered without the lock.
    if (matrix == nullptr) {
        return kor::kBadArgument;
    }
    const Guard guard(m_state->lock);
    return kor::readMatrixLocked(*m_state, matrix);
}

int kor::readMatrixLocked(const EngineFields& s, double* matrix)
{
    std::copy(std::begin(s.resultMatrix), std::end(s.resultMatrix), matrix);
    return s.matrixValid ? kSuccess : kNoMatrix; // Kept [identity-with-554]: the identity has been copied
}
