// Orientations of a recording: host DIRECTORY ID RECORDING.korraw
#include <KORInterface/KORInterface.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <fstream>

// Char is wchar_t on Windows and char, in UTF-8, elsewhere: either way a path may hold any character.
template <typename Char>
int run(const Char* directory, unsigned long id, const Char* name)
{
    CKorPrm parameters;
    kor::ReadReport report;
    if (kor::ReadParameterFile(parameters, directory, static_cast<std::uint32_t>(id), report) != kor::kSuccess) {
        std::fprintf(stderr, "%s\n", report.text());
        return 1;
    }
    for (std::uint32_t i = 0; i < report.findings(); ++i) {
        std::fprintf(stderr, "warning: %s\n", report.finding(i).text);
    }

    CKor engine;
    const int code = kor::Configure(engine, parameters);
    if (code != kor::kSuccess) {
        std::fprintf(stderr, "the engine cannot be configured: %s\n", kor::StatusText(code));
        return 1;
    }

    std::ifstream recording(name, std::ios::binary);
    if (!recording) {
        std::fprintf(stderr, "the recording cannot be opened\n");
        return 1;
    }
    KOR_RAWINFO raw;
    kor::SampleResult sample;
    while (recording.read(reinterpret_cast<char*>(&raw), sizeof raw)) {
        kor::ProcessSample(engine, raw, sample);
        const float* angles = sample.info.orientationAngles; // about x, z and y
        if (sample.report.outcome == kor::SampleOutcome::valid) {
            std::printf("%lu ms: x %.4f, z %.4f, y %.4f deg\n", static_cast<unsigned long>(raw.timeStampMs),
                        static_cast<double>(angles[0]), static_cast<double>(angles[1]), static_cast<double>(angles[2]));
        } else {
            std::printf("%lu ms: %s\n", static_cast<unsigned long>(raw.timeStampMs),
                        kor::OutcomeText(sample.report.outcome));
        }
    }
    if (recording.gcount() != 0) {
        std::fprintf(stderr, "the recording ends within a sample\n");
        return 1;
    }
    return 0;
}

#if defined(_WIN32)
int wmain(int argc, wchar_t** argv)
#else
int main(int argc, char** argv)
#endif
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: host DIRECTORY ID RECORDING.korraw\n");
        return 2;
    }
#if defined(_WIN32)
    return run(argv[1], std::wcstoul(argv[2], nullptr, 10), argv[3]);
#else
    return run(argv[1], std::strtoul(argv[2], nullptr, 10), argv[3]);
#endif
}
