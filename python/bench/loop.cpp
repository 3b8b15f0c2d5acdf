// The loop that a C++ host writes, for scripts/python.sh: the samples of a recording through an engine, with the
// results in memory.
#include <chrono>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include <pybind11/pybind11.h>

#include "KORInterface/Session.h"
#include "KORInterface/Status.h"

namespace {

namespace py = pybind11;

// Returned: seconds of processor time, and the results' records and matrices as bytes.
py::tuple run(const std::string& directory, std::uint32_t id, const py::buffer& samples)
{
    CKorPrm prm;
    kor::ReadReport report;
    CKor engine;
    if (kor::ReadParameterFile(prm, directory.c_str(), id, report) != kor::kSuccess ||
        kor::Configure(engine, prm) != kor::kSuccess) {
        throw py::value_error(report.text());
    }
    const py::buffer_info info = samples.request();
    const auto* const raws = static_cast<const KOR_RAWINFO*>(info.ptr);
    const auto count =
        static_cast<std::size_t>(info.size) * static_cast<std::size_t>(info.itemsize) / sizeof(KOR_RAWINFO);

    kor::FreshProcessValues(); // this module's own: the library is in it a second time
    const std::clock_t begin = std::clock();
    std::vector<kor::SampleResult> results(count);
    for (std::size_t i = 0; i < count; ++i) {
        kor::ProcessSample(engine, raws[i], results[i]);
    }
    const std::clock_t end = std::clock();

    std::string infos;
    std::string matrices;
    for (const kor::SampleResult& result : results) {
        infos.append(reinterpret_cast<const char*>(&result.info), sizeof result.info);
        matrices.append(reinterpret_cast<const char*>(result.matrix), sizeof result.matrix);
    }
    return py::make_tuple(static_cast<double>(end - begin) / CLOCKS_PER_SEC, py::bytes(infos), py::bytes(matrices));
}

} // namespace

PYBIND11_MODULE(kor_loop, module)
{
    module.def("run", &run);
}
