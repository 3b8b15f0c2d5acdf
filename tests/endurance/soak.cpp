// One engine fed for as long as a sensor runs: whether memory and cost stay as they are, and results those of a fresh
// engine.
//
// Usage: soak DIRECTORY ID RECORDING.korraw SAMPLES
//
// Feeds the recording again and again with time stamps that go on, 1 ms apart, and pass the wrap of their 32 bits in
// the middle. At twenty moments a fresh engine is configured, fed the reference and a thousand samples, and compared
// byte by byte; not in modes 9 and 10, whose model remembers. Prints one line; status 1 when something has changed.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include <sys/resource.h>

#include "KORInterface/KORInterface.h"
#include "KORInterface/Session.h"
#include "bench/Recording.h"
#include "support/CountedNew.h"

namespace {

constexpr std::uint64_t kMoments = 20;
constexpr std::uint64_t kCompared = 1000;
constexpr double kDearer =
    1.25; // least block of the second half against that of the first; other programs disturb more
constexpr std::uint64_t kTimed = 100000; // samples of a block whose time says something: some 50 ms
constexpr long kGrowthKiB = 256;         // what the C library may take for itself, once

[[noreturn]] void fail(const std::string& text)
{
    std::fprintf(stderr, "soak: %s\n", text.c_str());
    std::exit(1);
}

void configure(CKor& engine, const CKorPrm& prm)
{
    if (kor::Configure(engine, prm, kor::ConfigureOptions().parameterStore()) != kor::kSuccess) {
        fail("the engine cannot be configured");
    }
}

double processorSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

long memoryKiB()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

struct Result {
    KOR_INFO info;
    double matrix[9];
    int code;
};

Result fed(CKor& engine, const KOR_RAWINFO& raw)
{
    Result result;
    std::memset(&result, 0, sizeof result);
    engine.updateKORData(raw, result.info);
    result.code = engine.ReadMatrix(result.matrix);
    return result;
}

// The recording without its end.
class Feed {
public:
    Feed(const std::vector<KOR_RAWINFO>& samples, std::uint64_t count)
        : m_samples(samples), m_firstStamp(static_cast<std::uint32_t>(0 - count / 2))
    {
    }
    KOR_RAWINFO operator[](std::uint64_t number) const
    {
        KOR_RAWINFO raw = m_samples[number % m_samples.size()];
        raw.timeStampMs = m_firstStamp + static_cast<std::uint32_t>(number);
        return raw;
    }

private:
    const std::vector<KOR_RAWINFO>& m_samples;
    std::uint32_t m_firstStamp;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 5) {
        fail("usage: soak DIRECTORY ID RECORDING.korraw SAMPLES");
    }
    CKorPrm prm;
    kor::ReadReport report;
    if (kor::ReadParameterFile(prm, argv[1], static_cast<std::uint32_t>(std::strtoul(argv[2], nullptr, 10)), report) !=
        kor::kSuccess) {
        fail(report.text());
    }
    const std::vector<KOR_RAWINFO> samples = kor_bench::readRecording(argv[3]);
    const std::uint64_t count = std::strtoull(argv[4], nullptr, 10) / kMoments * kMoments;
    if (samples.empty() || count < 2 * kMoments * kCompared) {
        fail("a recording and at least 40,000 samples are needed");
    }
    int mode = 0;
    prm.getMountMode(mode);
    const bool remembers = mode == 9 || mode == 10;
    const Feed feed(samples, count);

    CKor engine;
    configure(engine, prm);
    // The sample that becomes the reference.
    std::uint64_t reference = 0;
    while (!kor::LastSample(engine).capturedReference) {
        if (reference == samples.size()) {
            fail("no sample of the recording becomes the reference");
        }
        fed(engine, feed[reference++]);
    }
    --reference;

    const long memory = memoryKiB();
    const long allocated = kor_test::allocationCount();
    long allocatedByOthers = 0;
    std::array<double, kMoments> nanoseconds{};
    std::uint64_t number = reference + 1;
    std::uint64_t compared = 0;
    std::uint64_t different = 0;
    const std::uint64_t timed = (count - number) / kMoments - (remembers ? 0 : kCompared);
    for (double& spent : nanoseconds) {
        KOR_INFO info;
        const double begin = processorSeconds();
        for (std::uint64_t i = 0; i < timed; ++i) {
            engine.updateKORData(feed[number++], info);
        }
        spent = 1e9 * (processorSeconds() - begin) / static_cast<double>(timed);
        if (remembers) {
            continue;
        }
        const long before = kor_test::allocationCount();
        CKor fresh;
        configure(fresh, prm);
        fed(fresh, feed[reference]);
        allocatedByOthers += kor_test::allocationCount() - before;
        for (std::uint64_t i = 0; i < kCompared; ++i, ++number, ++compared) {
            const Result result = fed(engine, feed[number]);
            const Result wanted = fed(fresh, feed[number]);
            different += std::memcmp(&result, &wanted, sizeof result) == 0 ? 0 : 1;
        }
    }
    const auto half = nanoseconds.begin() + kMoments / 2;
    const double early = *std::min_element(nanoseconds.begin(), half);
    const double late = *std::min_element(half, nanoseconds.end());
    const long grown = memoryKiB() - memory;
    const long made = kor_test::allocationCount() - allocated - allocatedByOthers;
    std::printf("mode %2d: %llu samples, %.0f ns at first and %.0f ns at last, %ld allocations, %ld KiB more memory, ",
                mode, static_cast<unsigned long long>(number), early, late, made, grown);
    if (remembers) {
        std::printf("the model remembers: not compared\n");
    } else {
        std::printf("%llu compared with a fresh engine, %llu differ\n", static_cast<unsigned long long>(compared),
                    static_cast<unsigned long long>(different));
    }
    // Two milliseconds of a short run are moved further by other programs than by anything that is looked for.
    const bool dearer = timed >= kTimed && late > kDearer * early;
    return !dearer && made == 0 && grown <= kGrowthKiB && different == 0 ? 0 : 1;
}
