// An engine, and recordings through one.
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <pybind11/stl.h>

#include "KORInterface/CKor.h"
#include "KORInterface/ParameterStore.h"
#include "KORInterface/Session.h"
#include "KORInterface/Status.h"

#include "python/src/Arrays.h"
#include "python/src/Errors.h"
#include "python/src/Files.h"
#include "python/src/Lane.h"
#include "python/src/Module.h"
#include "python/src/Parameters.h"
#include "tools/kor/SampleFeed.h"

namespace kor::python {

namespace {

using Detector = std::array<std::int32_t, 3>;

// How an engine is configured from a parameter set.
struct Configuration {
    std::optional<std::int32_t> mode;
    std::optional<bool> mcs;
    bool store = false;
    std::optional<Detector> psd;

    ConfigureOptions options() const
    {
        ConfigureOptions options;
        options.parameterStore(store);
        if (mode) {
            options.mountMode(*mode);
        }
        if (mcs) {
            options.mcsFlag(*mcs);
        }
        if (psd) {
            options.detector((*psd)[0], (*psd)[1], (*psd)[2]);
        }
        return options;
    }
};

bool hasTwoLevels(CKor& engine)
{
    return LastSample(engine).model == OrientationModel::twoLevels;
}

// Feeds all samples. To be called without the interpreter's lock.
// Returned: false if a signal's handler has raised an exception
template <typename FeedOne>
bool feedAll(const Elements& samples, ResultArrays& results, const FeedOne& feedOne)
{
    KOR_RAWINFO raw;
    SampleResult result;
    for (std::size_t i = 0; i < samples.count; ++i) {
        std::memcpy(&raw, samples.bytes + i * sizeof raw, sizeof raw);
        feedOne(raw, result);
        results.set(i, tool::resultOf(raw, result));
        if ((i + 1) % kSamplesBetweenSignals == 0 && !signalsAreHandled()) {
            return false;
        }
    }
    return true;
}

py::dict dictOf(const SampleReport& report)
{
    py::dict dict;
    std::string text(SampleText(report, nullptr, 0) + std::size_t{1}, '\0');
    SampleText(report, text.data(), static_cast<std::uint32_t>(text.size()));
    text.pop_back();
    dict["text"] = text;
    dict["outcome"] = OutcomeText(report.outcome);
    dict["reason"] = ReasonText(report.reason);
    dict["model"] = ModelText(report.model);
    dict["captured_reference"] = report.capturedReference;
    dict["level_x_outside"] = report.levelXOutside;
    dict["level_y_outside"] = report.levelYOutside;
    dict["spoiled_by"] = SpoiledText(report.spoiledBy);
    dict["spoiled_since"] = report.spoiledSince;
    return dict;
}

// One engine, worked with by one thread at a time.
class Engine {
public:
    // Works on the engine without the interpreter's lock.
    template <typename Work>
    auto alone(const Work& work)
    {
        const py::gil_scoped_release unlocked;
        const Hold hold(m_lane);
        return work();
    }

    void configure(const Parameters& parameters, std::optional<std::int32_t> mode, std::optional<bool> mcs, bool store,
                   std::optional<Detector> psd)
    {
        const ConfigureOptions options = Configuration{mode, mcs, store, psd}.options();
        require(alone([&] { return Configure(m_engine, parameters.set(), options); }));
    }

    py::tuple process(const py::object& samples)
    {
        const Elements elements = elementsOf(samples, rawType(), "samples", "korinterface.RAW_DTYPE");
        ResultArrays results(elements.count);
        const bool done = alone([&] {
            Hold values(twoLevelLane(), std::defer_lock);
            if (hasTwoLevels(m_engine)) {
                values.lock();
            }
            return feedAll(elements, results, [this](const KOR_RAWINFO& raw, SampleResult& result) {
                ProcessSample(m_engine, raw, result);
            });
        });
        if (!done) {
            throwRaised();
        }
        return results.tuple();
    }

    py::tuple readMatrix()
    {
        std::array<double, 9> matrix{};
        const int status = alone([&] { return m_engine.ReadMatrix(matrix.data()); });
        return py::make_tuple(copyOf(matrix.data(), {3, 3}), status);
    }

    py::dict lastSample()
    {
        return dictOf(alone([&] { return LastSample(m_engine); }));
    }

    CKor& engine() { return m_engine; }

private:
    CKor m_engine;
    Lane m_lane{"the engine is"};
};

using SetFloats = int (CKor::*)(const float*, int);

template <std::size_t count>
auto setter(SetFloats set, const char* name)
{
    return [set, name](Engine& self, const py::object& given) {
        const auto values = valuesOf<float>(given, {count}, name);
        require(self.alone([&] { return (self.engine().*set)(values.data(), static_cast<int>(count)); }));
    };
}

// A table of so many rows, each with two numbers.
std::vector<float> encoderTable(const py::object& given, std::size_t& rows)
{
    rows = py::len(given);
    return rows == 0 ? std::vector<float>() : valuesOf<float>(given, {rows, 2}, "table");
}

auto encoderSetter(int (CKor::*set)(int, const float*))
{
    return [set](Engine& self, const py::object& given) {
        std::size_t rows = 0;
        std::vector<float> table = encoderTable(given, rows);
        table.push_back(0.0F); // a pointer also without rows
        require(self.alone([&] { return (self.engine().*set)(static_cast<int>(rows), table.data()); }));
    };
}

auto levelSetter(int (CKor::*set)(int, const float*, const double*))
{
    return [set](Engine& self, const py::object& knots, const py::object& coefficients, const py::object& extra) {
        const std::size_t count = py::len(knots);
        auto table = valuesOf<float>(knots, {count}, "knots");
        const auto behind = valuesOf<float>(extra, {3}, "extra");
        const auto cubics = valuesOf<double>(coefficients, {count, 4}, "coefficients");
        table.insert(table.end(), behind.begin(), behind.end());
        require(self.alone([&] { return (self.engine().*set)(static_cast<int>(count), table.data(), cubics.data()); }));
    };
}

auto matrixSetter(const std::function<int(CKor&, double*)>& set)
{
    return [set](Engine& self, const py::object& given) {
        auto values = valuesOf<double>(given, {3, 3}, "matrix");
        require(self.alone([&] { return set(self.engine(), values.data()); }));
    };
}

// A whole recording through an engine of its own, as in a process of its own.
py::tuple replay(const Parameters& parameters, const py::object& samples, std::optional<std::int32_t> mode, bool mcs,
                 bool store, std::optional<Detector> psd, bool repair)
{
    const Elements elements = elementsOf(samples, rawType(), "samples", "korinterface.RAW_DTYPE");
    ResultArrays results(elements.count);
    std::uint64_t repaired = 0;
    bool done = false;
    {
        const py::gil_scoped_release unlocked;
        const ConfigureOptions options = Configuration{mode, mcs, store, psd}.options();
        const auto newEngine = [&] {
            auto engine = std::make_unique<CKor>();
            require(Configure(*engine, parameters.set(), options));
            return engine;
        };
        std::unique_ptr<CKor> engine = newEngine();
        Hold values(twoLevelLane(), std::defer_lock);
        if (hasTwoLevels(*engine)) {
            values.lock();
            FreshProcessValues();
        }
        tool::SampleFeed feed(engine, repair ? newEngine : tool::SampleFeed::NewEngine());
        done = feedAll(elements, results, [&](const KOR_RAWINFO& raw, SampleResult& result) {
            repaired += feed.feed(raw, result) ? 1 : 0;
        });
    }
    if (!done) {
        throwRaised();
    }
    return py::make_tuple(results.tuple(), repaired);
}

thread_local bool heldForFork = false;

py::tuple homeVector(const std::array<double, 3>& a, const std::array<double, 3>& b,
                     const std::array<double, 2>& reference, const std::array<double, 2>& measured)
{
    CKor engine;
    double first = 0.0;
    double second = 0.0;
    const bool regular = engine.Calc_HV0({a[0], a[1], a[2]}, {b[0], b[1], b[2]}, {reference[0], reference[1]},
                                         {measured[0], measured[1], 0.0}, &first, &second);
    return py::make_tuple(first, second, regular);
}

} // namespace

Lane& twoLevelLane()
{
    static Lane lane("the values that engines and models of mount modes 9 and 10 share are");
    return lane;
}

void declareEngine(py::module_& module)
{
    py::class_<Engine>(module, "Engine")
        .def(py::init<>())
        .def("configure", &Engine::configure)
        .def("process", &Engine::process)
        .def("read_matrix", &Engine::readMatrix)
        .def("last_sample", &Engine::lastSample)
        .def("destroy",
             [](Engine& self) {
                 self.alone([&] {
                     self.engine().Destroy();
                     return 0;
                 });
             })
        .def("set_scale_factors", setter<8>(&CKor::setScaleFactors, "scale_factors"))
        .def("set_qvc_parameters", setter<6>(&CKor::setQVCParameters, "qvc_parameters"))
        .def("set_level1_parameters", setter<7>(&CKor::setLevel1Parameters, "level1_parameters"))
        .def("set_level2_parameters", setter<7>(&CKor::setLevel2Parameters, "level2_parameters"))
        .def("set_level_x", levelSetter(&CKor::setLevelXComp))
        .def("set_level_y", levelSetter(&CKor::setLevelYComp))
        .def("set_azimuth_table", encoderSetter(&CKor::setAzimuthComp))
        .def("set_elevation_table", encoderSetter(&CKor::setElevationComp))
        .def("set_encoder_offset",
             [](Engine& self, const py::object& given) {
                 const auto v = valuesOf<float>(given, {2}, "encoder_offset");
                 require(self.alone([&] { return self.engine().setEncoderOffset({v[0], v[1]}); }));
             })
        .def("set_tilt_offset",
             [](Engine& self, const py::object& given) {
                 const auto v = valuesOf<float>(given, {2}, "tilt_offset");
                 require(self.alone([&] { return self.engine().setTiltOffset({v[0], v[1]}); }));
             })
        .def("set_thermal_factor",
             [](Engine& self, const py::object& given) {
                 const auto v = valuesOf<float>(given, {4}, "thermal_factor");
                 require(self.alone([&] { return self.engine().setThermalFactor({v[0], v[1], v[2], v[3]}); }));
             })
        .def("set_known_vector",
             [](Engine& self, const py::object& given) {
                 const auto v = valuesOf<double>(given, {3}, "known_vector");
                 require(self.alone([&] { return self.engine().setKnownVector(v.data()); }));
             })
        .def("set_local_matrix",
             matrixSetter([](CKor& engine, const double* values) { return engine.setLocalMatrix(values, 3); }))
        .def("set_machine_matrix",
             matrixSetter([](CKor& engine, double* values) { return engine.setMachineMatrix(values, 3); }))
        .def("set_mcs_flag",
             [](Engine& self, bool flag) { require(self.alone([&] { return self.engine().setMcsFlag(flag); })); })
        .def("set_detector",
             [](Engine& self, std::int32_t first, std::int32_t second, std::int32_t divisor) {
                 require(self.alone([&] { return self.engine().setPSDParameters(first, second, divisor); }));
             })
        .def("load_store",
             [](Engine& self, const py::object& dynamic, const py::object& x, const py::object& y) {
                 const auto seven = valuesOf<float>(dynamic, {7}, "dynamic_parameters");
                 const auto a = valuesOf<float>(x, {3}, "psd_x");
                 const auto b = valuesOf<float>(y, {3}, "psd_y");
                 require(
                     self.alone([&] { return LoadParameterStore(self.engine(), seven.data(), a.data(), b.data()); }));
             })
        .def("set_mount_mode",
             [](Engine& self, std::int32_t mode) {
                 require(self.alone([&] { return self.engine().setMountMode(mode); }));
             })
        .def("inverse_azimuth",
             [](Engine& self, float value) {
                 return self.alone([&] { return self.engine().getInverseAzCalib(value); });
             })
        .def("inverse_elevation", [](Engine& self, float value) {
            return self.alone([&] { return self.engine().getInverseElCalib(value); });
        });
    module.def("replay", &replay);
    module.def("home_vector", &homeVector);
    module.def("fresh_process_values", [] {
        const py::gil_scoped_release unlocked;
        const Hold hold(twoLevelLane());
        FreshProcessValues();
    });
    // Before a fork no thread may be within the values that all share: the child would find them half changed. A thread
    // that is within them itself, having come to the fork from a signal's handler, goes on without.
    module.def("hold_process_values", [] {
        const py::gil_scoped_release unlocked;
        try {
            twoLevelLane().lock();
            heldForFork = true;
        } catch (const Fault&) {
            heldForFork = false;
        }
    });
    module.def("release_process_values", [] {
        if (heldForFork) {
            heldForFork = false;
            twoLevelLane().unlock();
        }
    });
}

} // namespace kor::python
