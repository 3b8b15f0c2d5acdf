// Recordings and results by way of a file, for tests.
#pragma once

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "platform/Text.h"
#include "platform/os.h"
#include "recordings/Recording.h"
#include "recordings/Results.h"

namespace kor_test {

using kor::tool::Format;
using kor::tool::Input;
using kor::tool::Output;
using kor::tool::RecordingReader;
using kor::tool::Result;
using kor::tool::ResultWriter;

inline const std::string kHeader =
    "status,sensorVector_x,sensorVector_y,sensorVector_z,azimuthRaw,elevationRaw,levelXRaw,"
    "levelYRaw,levelTemperature,referenceGate,referenceHold,temperatureCount_0,"
    "temperatureCount_1,temperatureCount_2,timeStampMs\n";

class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& content)
        : m_path(testing::TempDir() + "kor-recording-" + std::to_string(kor::tool::os::processId()))
    {
        std::ofstream(m_path, std::ios::binary) << content;
    }
    ~TemporaryFile() { kor::tool::os::removeFile(m_path); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

struct Read {
    std::vector<KOR_RAWINFO> samples;
    std::vector<std::string> problems;
    std::vector<std::string> warnings;
};

inline Read read(const std::string& content, Format format)
{
    const TemporaryFile file(content);
    Input input(file.path());
    Read all;
    const auto reader = openRecording(input, format, [&all](const std::string& text) { all.warnings.push_back(text); });
    KOR_RAWINFO raw;
    for (RecordingReader::Step step; (step = reader->next(raw)) != RecordingReader::Step::end;) {
        if (step == RecordingReader::Step::sample) {
            all.samples.push_back(raw);
        } else {
            all.problems.push_back(reader->problem().substr(file.path().size()));
        }
    }
    return all;
}

inline std::string written(const Result& result, Format format)
{
    const std::string path = testing::TempDir() + "kor-results-" + std::to_string(kor::tool::os::processId());
    {
        Output output(path);
        ResultWriter writer(output, format);
        writer.write(result);
        output.close();
    }
    std::ifstream file(path, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file), {}};
    kor::tool::os::removeFile(path);
    return content;
}

inline std::vector<std::string> row(const Result& result)
{
    const std::string text = written(result, Format::csv);
    const std::size_t begin = text.find('\n') + 1;
    std::vector<std::string> fields;
    for (const std::string_view field :
         kor::tool::split(std::string_view(text).substr(begin, text.size() - begin - 1), ',')) {
        fields.emplace_back(field);
    }
    return fields;
}

// Every word of the record a number of its own.
inline kor::tool::Result numbered()
{
    Result result{};
    result.timeStampMs = 4294967295u;
    float words[15];
    for (int i = 0; i < 15; ++i) {
        words[i] = static_cast<float>(i) + 0.5f;
    }
    std::memcpy(&result.info, words, sizeof result.info);
    for (int i = 0; i < 9; ++i) {
        result.matrix[i] = -1.0 - i / 10.0;
    }
    result.matrixCode = 554;
    return result;
}

} // namespace kor_test
