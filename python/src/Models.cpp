// The orientation models by themselves.
#include <array>
#include <memory>
#include <string>

#include <pybind11/stl.h>

#include "KORInterface/CKorDualLevel.h"
#include "KORInterface/CKorModel.h"
#include "KORInterface/CKorPendulum.h"
#include "KORInterface/CKorPolarizer.h"
#include "KORInterface/CKorThreeVec.h"
#include "KORInterface/CKorThreeVec2Level.h"
#include "KORInterface/CKorThreeVec2Levelv2.h"

#include "platform/Text.h"
#include "python/src/Arrays.h"
#include "python/src/Lane.h"
#include "python/src/Module.h"

namespace kor::python {

namespace {

// A model, entered by one thread at a time; of those whose values belong to the process, one of all of them.
class Model {
public:
    explicit Model(const std::string& kind)
    {
        if (kind == "dual level") {
            m_model = std::make_unique<CKorDualLevel>();
        } else if (kind == "pendulum") {
            m_model = std::make_unique<CKorPendulum>();
        } else if (kind == "polarizer") {
            m_model = std::make_unique<CKorPolarizer>();
        } else if (kind == "three vectors") {
            m_model = std::make_unique<CKorThreeVec>();
        } else if (kind == "two levels, first version") {
            m_model = std::make_unique<CKorThreeVec2Level>();
            m_shares = true;
        } else if (kind == "two levels") {
            m_model = std::make_unique<CKorThreeVec2Levelv2>();
            m_shares = true;
        } else {
            throw py::value_error("kind: found " + platform::inQuotes(kind) + ", expected one of korinterface.MODELS");
        }
    }

    // Works on the model without the interpreter's lock.
    template <typename Work>
    auto alone(const Work& work)
    {
        const py::gil_scoped_release unlocked;
        const Hold hold(m_lane);
        Hold values(twoLevelLane(), std::defer_lock);
        if (m_shares) {
            values.lock();
        }
        return work(*m_model);
    }

    py::tuple solve(const py::object& readings, double azimuthOffset, double elevationOffset)
    {
        constexpr int kSize = 3;
        auto values = valuesOf<double>(readings, {9}, "readings");
        const bool formed = alone([&](CKorModel& model) {
            return model.CalTranxMatrix(values.data(), azimuthOffset, elevationOffset, kSize);
        });
        return py::make_tuple(copyOf(values.data(), {3, 3}), formed);
    }

    py::array qvc()
    {
        std::array<float, 6> values{};
        alone([&](CKorModel& model) {
            model.GetQVCMatrix(values.data(), static_cast<int>(values.size()));
            return 0;
        });
        return copyOf(values.data(), {values.size()});
    }

    py::array levels()
    {
        std::array<float, 2> values{};
        alone([&](CKorModel& model) {
            model.GetLevelValues(values[0], values[1]);
            return 0;
        });
        return copyOf(values.data(), {values.size()});
    }

private:
    std::unique_ptr<CKorModel> m_model;
    bool m_shares = false;
    Lane m_lane{"the model is"};
};

template <std::size_t count>
auto updater(void (CKorModel::*update)(float*, int), const char* name)
{
    return [update, name](Model& self, const py::object& given) {
        auto values = valuesOf<float>(given, {count}, name);
        self.alone([&](CKorModel& model) {
            (model.*update)(values.data(), static_cast<int>(count));
            return 0;
        });
    };
}

} // namespace

void declareModels(py::module_& module)
{
    py::class_<Model>(module, "Model")
        .def(py::init<const std::string&>())
        .def("solve", &Model::solve)
        .def("qvc", &Model::qvc)
        .def("levels", &Model::levels)
        .def("set_scale_factors", updater<8>(&CKorModel::UpdateSFactors, "scale_factors"))
        .def("set_qvc_parameters", updater<6>(&CKorModel::UpdateQVCParameters, "qvc_parameters"))
        .def("set_level1_parameters", updater<7>(&CKorModel::UpdateLevel1Parameters, "level1_parameters"))
        .def("set_level2_parameters", updater<7>(&CKorModel::UpdateLevel2Parameters, "level2_parameters"))
        .def("set_dynamic_parameters",
             [](Model& self, const py::object& given) {
                 auto values = valuesOf<float>(given, {7}, "dynamic_parameters");
                 self.alone([&](CKorModel& model) {
                     model.SetDynamicParameters(values.data());
                     return 0;
                 });
             })
        .def("set_level_limits",
             [](Model& self, bool first, bool second) {
                 self.alone([&](CKorModel& model) {
                     model.SetLevelLimits(first, second);
                     return 0;
                 });
             })
        .def("set_counter",
             [](Model& self, std::uint32_t first, std::uint32_t second) {
                 self.alone([&](CKorModel& model) {
                     model.SetCounter(first, second);
                     return 0;
                 });
             })
        .def("set_time_interval",
             [](Model& self, double first, double second) {
                 self.alone([&](CKorModel& model) {
                     model.SetTimeInterval(first, second);
                     return 0;
                 });
             })
        .def("set_parity", [](Model& self, int mode) {
            return self.alone([&](CKorModel& model) { return model.set_iMMode(mode); });
        });
}

} // namespace kor::python
