// What a live host checks at every sample: live DIRECTORY ID SAMPLES.korraw
// The samples come from a file or a pipe of binary records. Changes of the outcome are printed, and at the end a count.
#include <KORInterface/KORInterface.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>

namespace {

const std::uint32_t kStepMs = 10; // the sensor's usual step

std::unique_ptr<CKor> newEngine(const CKorPrm& parameters)
{
    std::unique_ptr<CKor> engine(new CKor());
    if (kor::Configure(*engine, parameters) != kor::kSuccess) {
        engine.reset();
    }
    return engine;
}

// The clock wraps to 0 after 4294967295 ms. The difference of unsigned numbers is right all the same.
void lookAtTime(std::uint32_t before, std::uint32_t now)
{
    const std::uint32_t step = now - before;
    if (step >= 0x80000000U) {
        std::printf("%lu ms: the clock went back\n", static_cast<unsigned long>(now));
    } else if (step > kStepMs + kStepMs / 2) {
        std::printf("%lu ms: nothing came for %lu ms\n", static_cast<unsigned long>(now),
                    static_cast<unsigned long>(step));
    }
}

} // namespace

int main(int argc, char** argv)
{
    CKorPrm parameters;
    kor::ReadReport report;
    const std::uint32_t id = argc == 4 ? static_cast<std::uint32_t>(std::strtoul(argv[2], nullptr, 10)) : 0;
    if (argc != 4 || kor::ReadParameterFile(parameters, argv[1], id, report) != kor::kSuccess) {
        std::fprintf(stderr, "%s\n", argc == 4 ? report.text() : "usage: live DIRECTORY ID SAMPLES.korraw");
        return 1;
    }
    kor::FreshProcessValues(); // a new measurement begins
    std::unique_ptr<CKor> engine = newEngine(parameters);
    std::ifstream samples(argv[3], std::ios::binary);
    if (!engine || !samples) {
        std::fprintf(stderr, "the engine cannot be configured, or the samples cannot be opened\n");
        return 1;
    }

    std::uint64_t fed = 0;
    std::uint64_t usable = 0;
    kor::SampleOutcome last = kor::SampleOutcome::neverFed;
    std::uint32_t before = 0;
    KOR_RAWINFO raw;
    while (samples.read(reinterpret_cast<char*>(&raw), sizeof raw)) {
        if (fed > 0) {
            lookAtTime(before, raw.timeStampMs);
        }
        before = raw.timeStampMs;
        ++fed;

        kor::SampleResult sample;
        kor::ProcessSample(*engine, raw, sample);
        const kor::SampleReport& what = sample.report;

        // Only this outcome means that the sample has an orientation; sample.matrix may be used here.
        if (what.outcome == kor::SampleOutcome::valid) {
            ++usable;
        }
        if (what.outcome != last) {
            char words[200];
            kor::SampleText(what, words, sizeof words);
            std::printf("%lu ms: %s\n", static_cast<unsigned long>(raw.timeStampMs), words);
        }
        last = what.outcome;
        if (what.capturedReference) {
            std::printf("%lu ms: this is the reference\n", static_cast<unsigned long>(raw.timeStampMs));
        }

        // Every later sample is spoiled as well until the host does something about it.
        if (what.spoiledBy != kor::SpoiledBy::nothing) {
            kor::FreshProcessValues();
            engine = newEngine(parameters);
            if (!engine) {
                std::fprintf(stderr, "there is not enough memory for a new engine\n");
                return 1;
            }
            std::printf("%lu ms: a new engine goes on\n", static_cast<unsigned long>(raw.timeStampMs));
        }
    }
    std::printf("%llu samples, %llu usable\n", static_cast<unsigned long long>(fed),
                static_cast<unsigned long long>(usable));
    return 0;
}
