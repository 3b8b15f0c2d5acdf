// Writers of results: one record a sample, as CSV or binary.
#pragma once

#include <cstdint>
#include <string_view>

#include "KORInterface/Records.h"

#include "recordings/Output.h"
#include "recordings/Recording.h"

namespace kor::tool {

// The header line of results as CSV, without its end.
inline constexpr std::string_view kResultHeader = "timeStampMs,azimuth_deg,elevation_deg,levelX_deg,levelY_deg,"
                                                  "orientationX_deg,orientationZ_deg,orientationY_deg,"
                                                  "sensorOutX_mm,sensorOutY_mm,sensorOutZ_mm,"
                                                  "temperature_0,temperature_1,temperature_2,"
                                                  "m00,m01,m02,m10,m11,m12,m20,m21,m22,matrixCode";

// What the engine said about one sample.
struct Result {
    std::uint32_t timeStampMs;
    KOR_INFO info;
    double matrix[9]; // as ReadMatrix gives it
    int matrixCode;
};

class ResultWriter {
public:
    // Writes the header line of a CSV; a binary file has none.
    ResultWriter(Output& output, Format format);

    void write(const Result& result);

private:
    Output& m_output;
    Format m_format;
};

} // namespace kor::tool
