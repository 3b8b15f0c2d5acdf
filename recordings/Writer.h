// Writers of recordings, results and truth: one record a sample.
#pragma once

#include "KORInterface/Records.h"

#include "recordings/Columns.h"
#include "recordings/Output.h"

namespace kor::recordings {

/// Writes raw samples. Numbers have the shortest text that reads back as the same number, and a NaN has no sign: that
/// depends on the processor.
class RecordingWriter {
public:
    /// Writes the header line of a CSV; a binary file has none.
    RecordingWriter(Output& output, Format format);

    /// Whether nothing has failed so far; the output's problem() says what has.
    bool write(const KOR_RAWINFO& raw);

private:
    Output& m_output;
    Format m_format;
};

/// Writes results in the same way. As binary all columns, packed behind a header (BinaryResults.h); bare the engine's
/// records alone.
class ResultWriter {
public:
    ResultWriter(Output& output, Format format);
    bool write(const Result& result);

private:
    Output& m_output;
    Format m_format;
};

/// Writes truth in the same way, always as CSV.
class TruthWriter {
public:
    explicit TruthWriter(Output& output);
    bool write(const Truth& truth);

private:
    Output& m_output;
};

} // namespace kor::recordings
