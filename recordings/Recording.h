// Readers of recordings: raw samples as CSV or as binary records, one at a time and in constant memory.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "KORInterface/Records.h"

#include "recordings/Input.h"

namespace kor::tool {

enum class Format { csv, binary };

class RecordingReader {
public:
    enum class Step { sample, bad, end };

    virtual ~RecordingReader() = default;

    // The next sample into raw. After bad, problem() says what is wrong where, and the next call goes on behind it.
    virtual Step next(KOR_RAWINFO& raw) = 0;

    const std::string& problem() const { return m_problem; }

protected:
    std::string m_problem;
};

// A line may have so many bytes; beyond that it is refused without being kept.
constexpr std::size_t kLongestLine = 64 * 1024;

// CSV when forced, when the name ends in .csv, or when the first bytes are text; binary otherwise.
Format recordingFormat(const std::string& path, Input& input);

// Throws Failure when a CSV header is not usable. Each column that no field has is reported once to warn.
std::unique_ptr<RecordingReader> openRecording(Input& input, Format format,
                                               const std::function<void(const std::string&)>& warn);

} // namespace kor::tool
