#include "recordings/Results.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>

namespace kor::tool {

namespace {

// The longest number is a double of 24 characters.
constexpr std::size_t kLongestRow = 26 * 32;

template <typename Number>
char* append(char* at, Number value, char after)
{
    at = std::to_chars(at, at + 31, value).ptr;
    *at = after;
    return at + 1;
}

// The shortest text that reads back as the same number. The sign of a NaN depends on the processor: left out.
template <typename Float>
char* appendFloat(char* at, Float value, char after)
{
    if (std::isnan(value)) {
        std::memcpy(at, "nan", 3);
        at[3] = after;
        return at + 4;
    }
    return append(at, value, after);
}

} // namespace

ResultWriter::ResultWriter(Output& output, Format format) : m_output(output), m_format(format)
{
    if (m_format == Format::csv) {
        m_output.write(kResultHeader);
        m_output.write("\n");
    }
}

void ResultWriter::write(const Result& result)
{
    if (m_format == Format::binary) {
        std::memcpy(m_output.room(sizeof result.info), &result.info, sizeof result.info);
        m_output.filled(sizeof result.info);
        return;
    }
    char* const row = m_output.room(kLongestRow);
    const KOR_INFO& info = result.info;
    char* at = append(row, result.timeStampMs, ',');
    for (const float value : {info.azimuth, info.elevation, info.levelX, info.levelY}) {
        at = appendFloat(at, value, ',');
    }
    for (const auto& group : {info.orientationAngles, info.sensorOut, info.temperature}) {
        for (int i = 0; i < 3; ++i) {
            at = appendFloat(at, group[i], ',');
        }
    }
    for (const double element : result.matrix) {
        at = appendFloat(at, element, ',');
    }
    at = append(at, result.matrixCode, '\n');
    m_output.filled(static_cast<std::size_t>(at - row));
}

} // namespace kor::tool
