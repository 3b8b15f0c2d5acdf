// A model whose fields a test may read and write.
#pragma once

#include "KORInterface/KORInterface.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <vector>

namespace kor_test {

struct ModelFields {
    std::array<float, 8> sFactors;
    int iMMode;
    std::array<float, 6> qvcParameters;
    std::array<float, 7> level1Parameters;
    std::array<float, 7> level2Parameters;
    std::array<float, 6> qvcMatrix;

    bool operator==(const ModelFields&) const = default;
};

template <typename Model>
class Open : public Model {
public:
    Open() = default;
    explicit Open(const Model& model) : Model(model) {}
    explicit Open(Model&& model) noexcept : Model(static_cast<Model&&>(model)) {}

    void assign(const Model& model) { Model::operator=(model); }
    void assignMoved(Model&& model) { Model::operator=(static_cast<Model&&>(model)); }

    ModelFields fields() const
    {
        ModelFields all{};
        std::memcpy(all.sFactors.data(), this->sFactors, sizeof(this->sFactors));
        all.iMMode = this->iMMode;
        std::memcpy(all.qvcParameters.data(), this->qvcParameters, sizeof(this->qvcParameters));
        std::memcpy(all.level1Parameters.data(), this->level1Parameters, sizeof(this->level1Parameters));
        std::memcpy(all.level2Parameters.data(), this->level2Parameters, sizeof(this->level2Parameters));
        std::memcpy(all.qvcMatrix.data(), this->qvcMatrix, sizeof(this->qvcMatrix));
        return all;
    }

    void set(const ModelFields& all)
    {
        std::memcpy(this->sFactors, all.sFactors.data(), sizeof(this->sFactors));
        this->iMMode = all.iMMode;
        std::memcpy(this->qvcParameters, all.qvcParameters.data(), sizeof(this->qvcParameters));
        std::memcpy(this->level1Parameters, all.level1Parameters.data(), sizeof(this->level1Parameters));
        std::memcpy(this->level2Parameters, all.level2Parameters.data(), sizeof(this->level2Parameters));
        std::memcpy(this->qvcMatrix, all.qvcMatrix.data(), sizeof(this->qvcMatrix));
    }

    // Where each field begins, in bytes from the start of the object.
    std::array<std::ptrdiff_t, 6> offsets() const
    {
        const auto* base = reinterpret_cast<const char*>(static_cast<const CKorModel*>(this));
        const auto at = [base](const void* field) { return static_cast<const char*>(field) - base; };
        return {at(this->sFactors),         at(&this->iMMode),          at(this->qvcParameters),
                at(this->level1Parameters), at(this->level2Parameters), at(this->qvcMatrix)};
    }
};

// Every field another number, the arrays in one ascending run.
inline ModelFields numbered(float start)
{
    ModelFields all{};
    float next = start;
    const auto fill = [&next](auto& values) {
        for (float& value : values) {
            value = next;
            next += 1.0F;
        }
    };
    fill(all.sFactors);
    all.iMMode = 1;
    fill(all.qvcParameters);
    fill(all.level1Parameters);
    fill(all.level2Parameters);
    fill(all.qvcMatrix);
    return all;
}

} // namespace kor_test
