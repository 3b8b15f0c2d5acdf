// Writers of results: one record a sample, as CSV or binary.
#pragma once

#include <cstdint>

#include "KORInterface/Records.h"

#include "Output.h"
#include "Recording.h"

namespace kor::tool {

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
