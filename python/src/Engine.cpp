// An engine, and recordings through one.
#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <pybind11/stl.h>

#include "KORInterface/CKor.h"
#include "KORInterface/OrientationModel.h"
#include "KORInterface/ParameterStore.h"
#include "KORInterface/Session.h"
#include "KORInterface/Status.h"

#include "python/src/Arrays.h"
#include "python/src/Errors.h"
#include "python/src/Files.h"
#include "python/src/Lane.h"
#include "python/src/Module.h"
#include "python/src/Parameters.h"
#include "tools/kor/Exit.h"
#include "tools/kor/SampleFeed.h"
#include "tools/kor/Summary.h"

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

// An engine for one recording, as in a process of its own. To be made, used and dropped by one thread without the
// interpreter's lock.
class OwnProcess {
public:
    OwnProcess(const Parameters& parameters, const Configuration& configuration, bool repair)
        : m_newEngine([set = &parameters.set(), options = configuration.options()] {
              auto engine = std::make_unique<CKor>();
              require(Configure(*engine, *set, options));
              return engine;
          }),
          m_engine(m_newEngine()), m_values(twoLevelLane(), std::defer_lock),
          m_feed(m_engine, repair ? m_newEngine : tool::SampleFeed::NewEngine())
    {
        if (hasTwoLevels(*m_engine)) {
            m_values.lock();
            FreshProcessValues();
        }
    }

    // Returned: true if the samples behind it begin anew
    bool feed(const KOR_RAWINFO& raw, SampleResult& result) { return m_feed.feed(raw, result); }

    OrientationModel model() { return LastSample(*m_engine).model; }

private:
    tool::SampleFeed::NewEngine m_newEngine;
    std::unique_ptr<CKor> m_engine;
    Hold m_values;
    tool::SampleFeed m_feed;
};

py::tuple replay(const Parameters& parameters, const py::object& samples, std::optional<std::int32_t> mode, bool mcs,
                 bool store, std::optional<Detector> psd, bool repair)
{
    const Elements elements = elementsOf(samples, rawType(), "samples", "korinterface.RAW_DTYPE");
    ResultArrays results(elements.count);
    std::uint64_t repaired = 0;
    bool done = false;
    {
        const py::gil_scoped_release unlocked;
        OwnProcess process(parameters, {mode, mcs, store, psd}, repair);
        done = feedAll(elements, results, [&](const KOR_RAWINFO& raw, SampleResult& result) {
            repaired += process.feed(raw, result) ? 1 : 0;
        });
    }
    if (!done) {
        throwRaised();
    }
    return py::make_tuple(results.tuple(), repaired);
}

// The samples of a recording on their way to Python, a part at a time.
class Parts {
public:
    Parts(OwnProcess& process, std::size_t rows, const py::function& take, tool::Tally& tally)
        : m_process(process), m_rows(rows), m_take(take), m_tally(tally)
    {
        m_raws.reserve(rows);
        m_places.reserve(rows);
    }

    void add(const KOR_RAWINFO& raw, std::uint64_t place)
    {
        m_raws.push_back(raw);
        m_places.push_back(place);
        if (m_raws.size() == m_rows) {
            handOver();
        }
    }

    // What has been added since the last time goes through the engine and to Python.
    void handOver()
    {
        if (m_raws.empty()) {
            return;
        }
        const py::gil_scoped_acquire locked;
        ResultArrays results(m_raws.size());
        {
            const py::gil_scoped_release unlocked;
            feed(results);
        }
        m_take(results.tuple());
        m_raws.clear();
        m_places.clear();
    }

private:
    void feed(ResultArrays& results)
    {
        SampleResult result;
        for (std::size_t i = 0; i < m_raws.size(); ++i) {
            const bool repaired = m_process.feed(m_raws[i], result);
            m_tally.count(m_raws[i], result.report, m_places[i]);
            if (repaired) {
                m_tally.countRepair(m_places[i]);
            }
            results.set(i, tool::resultOf(m_raws[i], result));
        }
    }

    OwnProcess& m_process;
    std::size_t m_rows;
    const py::function& m_take;
    tool::Tally& m_tally;
    std::vector<KOR_RAWINFO> m_raws;
    std::vector<std::uint64_t> m_places;
};

// A recording from its file through an engine to `take`, which gets the results of so many samples at a time.
// Returned: the summary, as kor replay tells it, and the warnings
py::tuple replayParts(const Parameters& parameters, const std::string& path, const std::optional<std::string>& format,
                      std::optional<std::uint32_t> from, std::optional<std::uint32_t> to, bool skipBad,
                      std::optional<std::int32_t> mode, bool mcs, bool store, std::optional<Detector> psd, bool repair,
                      std::size_t rows, const py::function& take)
{
    const Warnings warnings;
    const Part part = partOf(format, from, to, skipBad);
    tool::Summary summary;
    bool done = false;
    {
        const py::gil_scoped_release unlocked;
        const auto start = std::chrono::steady_clock::now();
        OwnProcess process(parameters, {mode, mcs, store, psd}, repair);
        Parts parts(process, rows, take, summary.tally);
        Surroundings around;
        done = eachSample(path, part, around,
                          [&parts](const KOR_RAWINFO& raw, std::uint64_t place) { parts.add(raw, place); });
        if (done) {
            parts.handOver();
        }
        summary.recording = around.title;
        summary.place = around.placeName;
        summary.tally.outside = around.outside;
        summary.tally.bad = around.bad;
        summary.complete = done;
        summary.mountMode = mode.value_or(parameters.mode());
        summary.model = ModelText(ModelOf(summary.mountMode));
        summary.oneNanSpoilsTheRest = process.model() == OrientationModel::twoLevels;
        summary.tally.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    if (!done) {
        throwRaised();
    }
    const std::string why = tool::whyNothingUsable(summary);
    const std::vector<tool::Message> messages(why.empty() ? 0 : 1, tool::Message{false, why});
    return py::make_tuple(tool::jsonOf(summary, why.empty() ? tool::kExitOk : tool::kExitDataError, messages),
                          warnings.list());
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
    module.def("replay_parts", &replayParts);
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
