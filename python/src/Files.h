// Results in arrays, and files of samples.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "python/src/Arrays.h"
#include "recordings/Columns.h"
#include "series/Stamps.h"

namespace kor::python {

/// Results as arrays, an element for each sample; the order in which they go to Python and come back.
class ResultArrays {
public:
    explicit ResultArrays(std::size_t count);

    /// May be called without the interpreter's lock.
    void set(std::size_t index, const recordings::Result& result);

    py::tuple tuple() const;

private:
    py::array m_info;
    py::array_t<double> m_matrices;
    py::array_t<std::int32_t> m_codes;
    py::array_t<std::uint8_t> m_outcomes;
    py::array_t<bool> m_levelXOut;
    py::array_t<bool> m_levelYOut;
    py::array_t<std::uint32_t> m_stamps;

    char* m_infoData;
    double* m_matrixData;
    std::int32_t* m_codeData;
    std::uint8_t* m_outcomeData;
    bool* m_levelXData;
    bool* m_levelYData;
    std::uint32_t* m_stampData;
};

/// The rows of a truth as arrays, without their notes: time stamps, valid, base, positions, matrices.
py::tuple truthArrays(const std::vector<recordings::Truth>& rows);

/// What is asked of a recording.
struct Part {
    std::optional<recordings::Format> format{};
    series::Window window{};
    bool skipBad = false;
};
Part partOf(const std::optional<std::string>& format, std::optional<std::uint32_t> from,
            std::optional<std::uint32_t> to, bool skipBad);

/// What a recording holds besides the samples that were asked for, and how it calls itself and its places.
struct Surroundings {
    std::string title;
    std::string placeName;     ///< "line" or "record"
    std::uint64_t outside = 0; ///< of the window
    series::Places bad;        ///< left out, because they could not be read
};

/// Takes a sample and its line or record.
using TakeSample = std::function<void(const KOR_RAWINFO&, std::uint64_t)>;

/// Hands over the samples of a recording one by one, in constant memory. To be called without the interpreter's lock.
/// Returned  false if a signal's handler has raised an exception
bool eachSample(const std::string& path, Part part, Surroundings& around, const TakeSample& take);

/// All samples of a recording. To be called without the interpreter's lock.
/// Returned  interrupted  a signal's handler has raised an exception
std::vector<KOR_RAWINFO> readRecording(const std::string& path, Part part, bool& interrupted);

/// Samples between which Python may handle signals.
constexpr std::size_t kSamplesBetweenSignals = std::size_t{1} << 16;

} // namespace kor::python
