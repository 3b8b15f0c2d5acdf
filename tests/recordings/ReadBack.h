// Recordings and results by way of a file, for tests.
#pragma once

#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "platform/Files.h"
#include "platform/Process.h"
#include "platform/Text.h"
#include "recordings/Output.h"
#include "recordings/Reader.h"
#include "recordings/Writer.h"

namespace kor_test {

using kor::recordings::Format;
using kor::recordings::Output;
using kor::recordings::Problem;
using kor::recordings::Reader;
using kor::recordings::Result;
using kor::recordings::ResultWriter;

inline const std::string kHeader =
    "status,sensorVector_x,sensorVector_y,sensorVector_z,azimuthRaw,elevationRaw,levelXRaw,"
    "levelYRaw,levelTemperature,referenceGate,referenceHold,temperatureCount_0,"
    "temperatureCount_1,temperatureCount_2,timeStampMs\n";

class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& content = {})
        : m_path(testing::TempDir() + "kor-recording-" + std::to_string(kor::platform::processId()) + "-" +
                 std::to_string(s_made++))
    {
        std::ofstream(m_path, std::ios::binary) << content;
    }
    ~TemporaryFile() { kor::platform::removeFile(m_path); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    const std::string& path() const { return m_path; }
    std::string content() const
    {
        std::ifstream file(m_path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    inline static int s_made = 0; // Windows does not replace a file that is still being read
    std::string m_path;
};

struct Read {
    Problem refused; // when the recording as a whole is
    std::vector<KOR_RAWINFO> samples;
    std::vector<std::string> problems; // without the file's name
    std::vector<std::string> warnings;
};

inline Read read(const std::string& content, std::optional<Format> format)
{
    const TemporaryFile file(content);
    Read all;
    const auto reader = Reader::open(file.path(), format, all.refused);
    if (!reader) {
        return all;
    }
    for (const Problem& warning : reader->warnings()) {
        all.warnings.push_back(text(warning).substr(file.path().size()));
    }
    KOR_RAWINFO raw;
    for (Reader::Step step; (step = reader->next(raw)) != Reader::Step::end;) {
        if (step == Reader::Step::sample) {
            all.samples.push_back(raw);
        } else {
            EXPECT_EQ(step, Reader::Step::bad);
            all.problems.push_back(text(reader->problem()).substr(file.path().size()));
        }
    }
    return all;
}

// What a writer makes of one record.
template <typename Writer, typename Record, typename... Options>
std::string writtenBy(const Record& record, Options... options)
{
    const TemporaryFile file;
    Problem problem;
    const auto output = Output::open(file.path(), problem);
    Writer writer(*output, options...);
    EXPECT_TRUE(writer.write(record));
    EXPECT_TRUE(output->close());
    return file.content();
}

inline std::string written(const Result& result, Format format)
{
    return writtenBy<ResultWriter>(result, format);
}

inline std::vector<std::string> row(const Result& result)
{
    const std::string text = written(result, Format::csv);
    const std::size_t begin = text.find('\n') + 1;
    std::vector<std::string> fields;
    for (const std::string_view field :
         kor::platform::split(std::string_view(text).substr(begin, text.size() - begin - 1), ',')) {
        fields.emplace_back(field);
    }
    return fields;
}

// Every word of the record a number of its own.
inline Result numbered()
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
    result.outcome = kor::recordings::Outcome::rejectedStatus;
    result.levelYOut = true;
    return result;
}

} // namespace kor_test
