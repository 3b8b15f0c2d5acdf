// Holds the library to its plain transcription (tests/literal), bit for bit.
//
// Usage: equality random SAMPLES SEED [NAME...]   random engines and models, at least so many samples a name
//        equality replay SCENARIO NAME            the scenario that a difference named
//        equality recordings FOLDER...            shipped recordings
//
// Prints one line a name. The exit status is 1 if a bit differs, 64 if the arguments are none of these.
#include "equality/Scenarios.h"
#include "equality/Source.h"
#include "support/Rounds.h"

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using namespace kor_test;

constexpr int kModelAlone = 0;
constexpr int kSupport = -1;

// One series of scenarios: engines that begin with a mount mode, or a model by itself.
struct Series {
    const char* name;
    int mode; // or one of the two above
    ModelChoice model;
    double leastValid; // share of the samples that must give finite numbers, so that the comparison means something
};

// Modes by pairs: both parities. 3 stands for every mode that is none of the others, too.
constexpr Series kSeries[] = {
    {"engine.dual_level", 1, {}, 0.4},
    {"engine.pendulum", 3, {}, 0.4},
    {"engine.polarizer", 5, {}, 0.4},
    {"engine.three_vectors", 7, {}, 0.4},
    {"engine.two_levels", 9, {}, 0.3},
    {"model.dual_level", kModelAlone, ModelChoice::dualLevel, 0.4},
    {"model.pendulum", kModelAlone, ModelChoice::pendulum, 0.4},
    {"model.polarizer", kModelAlone, ModelChoice::polarizer, 0.4},
    {"model.three_vectors", kModelAlone, ModelChoice::threeVec, 0.4},
    {"model.two_levels_first", kModelAlone, ModelChoice::twoLevelFirst, 0.2},
    {"model.two_levels_second", kModelAlone, ModelChoice::twoLevelSecond, 0.3},
    {"support", kSupport, {}, 1.0},
};

int usage()
{
    std::fputs("usage: equality random SAMPLES SEED [NAME...]\n"
               "       equality replay SCENARIO NAME\n"
               "       equality recordings FOLDER...\n"
               "The names:\n",
               stderr);
    for (const Series& series : kSeries) {
        std::fprintf(stderr, "  %s\n", series.name);
    }
    return 64;
}

void runScenario(const Series& series, std::uint64_t scenario, Tally& tally)
{
    if (series.mode == kSupport) {
        runSupportScenario(scenario, tally);
        return;
    }
    if (series.mode == kModelAlone) {
        runModelScenario(scenario, series.model, tally);
        return;
    }
    const int odd = static_cast<int>(scenario & 1);
    if (series.mode == 3 && scenario % 8 == 7) {
        constexpr int kOthers[] = {0, -1, -2, -3, 4, 11, 12, 100};
        runEngineScenario(scenario, kOthers[scenario / 8 % 8], tally);
        return;
    }
    runEngineScenario(scenario, series.mode + odd, tally);
}

void print(const char* name, const Tally& tally, double seconds)
{
    const double all = tally.samples == 0 ? 1.0 : static_cast<double>(tally.samples);
    std::printf("%-24s %10" PRIu64 " samples, %8" PRIu64 " scenarios, %8" PRIu64 " changes, %7" PRIu64
                " copies; finite %4.1f %%, not finite %4.1f %%, none %4.1f %%; %.1f s: the same\n",
                name, tally.samples, tally.scenarios, tally.changes, tally.copies,
                100.0 * static_cast<double>(tally.valid) / all, 100.0 * static_cast<double>(tally.notFinite) / all,
                100.0 * static_cast<double>(tally.none) / all, seconds);
    std::fflush(stdout);
}

double now()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

bool runSeries(const Series& series, std::uint64_t samples, std::uint64_t seed)
{
    Tally tally;
    const double start = now();
    Source seeds(seed * 0x10001U + static_cast<std::uint64_t>(&series - kSeries));
    while (tally.samples < samples) {
        const std::uint64_t scenario = seeds.bits();
        try {
            runScenario(series, scenario, tally);
        } catch (const Difference& difference) {
            std::printf("%s differs: scenario %" PRIu64 ", %s\n", series.name, scenario, difference.what());
            return false;
        }
    }
    print(series.name, tally, now() - start);
    // A few scenarios may all be of the hostile kind.
    constexpr std::uint64_t kMany = 10000;
    if (samples >= kMany && static_cast<double>(tally.valid) < series.leastValid * static_cast<double>(tally.samples)) {
        std::printf("%s: too few of the samples give finite numbers\n", series.name);
        return false;
    }
    return true;
}

const Series* seriesNamed(const char* name)
{
    for (const Series& series : kSeries) {
        if (std::strcmp(series.name, name) == 0) {
            return &series;
        }
    }
    return nullptr;
}

int runRandom(int argc, char** argv)
{
    char* end = nullptr;
    const std::uint64_t samples = std::strtoull(argv[2], &end, 10);
    if (*end != '\0' || samples == 0) {
        return usage();
    }
    const std::uint64_t seed = std::strtoull(argv[3], &end, 10);
    if (*end != '\0') {
        return usage();
    }
    std::vector<const Series*> chosen;
    for (int i = 4; i < argc; ++i) {
        chosen.push_back(seriesNamed(argv[i]));
        if (chosen.back() == nullptr) {
            return usage();
        }
    }
    if (chosen.empty()) {
        for (const Series& series : kSeries) {
            chosen.push_back(&series);
        }
    }
    bool same = true;
    for (const Series* series : chosen) {
        same = runSeries(*series, rounds(samples), seed) && same;
    }
    return same ? 0 : 1;
}

int runReplay(char** argv)
{
    const Series* const series = seriesNamed(argv[3]);
    char* end = nullptr;
    const std::uint64_t scenario = std::strtoull(argv[2], &end, 10);
    if (series == nullptr || *end != '\0') {
        return usage();
    }
    Tally tally;
    try {
        runScenario(*series, scenario, tally);
    } catch (const Difference& difference) {
        std::printf("%s differs: %s\n", series->name, difference.what());
        return 1;
    }
    print(series->name, tally, 0.0);
    return 0;
}

int runRecordings(int argc, char** argv)
{
    bool same = true;
    for (int i = 2; i < argc; ++i) {
        Tally tally;
        const double start = now();
        try {
            runRecording(argv[i], tally);
            const std::filesystem::path path = std::filesystem::path(argv[i]) / "";
            print(path.parent_path().filename().string().c_str(), tally, now() - start);
        } catch (const Difference& difference) {
            std::printf("%s differs: %s\n", argv[i], difference.what());
            same = false;
        }
    }
    return same ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "random" && argc >= 4) {
        return runRandom(argc, argv);
    }
    if (what == "replay" && argc == 4) {
        return runReplay(argv);
    }
    if (what == "recordings" && argc >= 3) {
        return runRecordings(argc, argv);
    }
    return usage();
}
