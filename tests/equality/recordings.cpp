// The shipped recordings through the library and through the plain engine.
#include "KORInterface/KORInterface.h"
#include "equality/Scenarios.h"
#include "literal/Configure.h"
#include "literal/Engine.h"
#include "recordings/Reader.h"

#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace kor_test {

namespace {

std::vector<KOR_RAWINFO> samplesOf(const std::string& file)
{
    using kor::recordings::Reader;
    kor::recordings::Problem problem;
    const std::unique_ptr<Reader> reader = Reader::open(file, std::nullopt, problem);
    if (reader == nullptr) {
        throw Difference(file + ": cannot be opened");
    }
    std::vector<KOR_RAWINFO> samples;
    KOR_RAWINFO raw;
    std::memset(&raw, 0, sizeof raw);
    Reader::Step step = reader->next(raw);
    for (; step == Reader::Step::sample; step = reader->next(raw)) {
        samples.push_back(raw);
    }
    if (step != Reader::Step::end) {
        throw Difference(file + ": cannot be read to its end");
    }
    return samples;
}

std::uint32_t sensorOf(const std::filesystem::path& folder)
{
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() == ".prm") {
            return static_cast<std::uint32_t>(std::stoul(entry.path().stem().string().substr(2)));
        }
    }
    throw Difference(folder.string() + ": holds no parameter file");
}

} // namespace

void runRecording(const std::string& folder, Tally& tally)
{
    const std::filesystem::path path = std::filesystem::absolute(folder + "/.").lexically_normal().parent_path();
    CKorPrm prm;
    kor::ReadReport report;
    if (kor::ReadParameterFile(prm, folder.c_str(), sensorOf(path), report) != 0) {
        throw Difference(report.text());
    }
    int mode = 0;
    prm.getMountMode(mode);
    const std::vector<KOR_RAWINFO> samples = samplesOf((path / path.filename()).string() + ".csv");

    for (const bool mcs : {true, false}) {
        for (const bool store : {false, true}) {
            kor::FreshProcessValues();
            CKor engine;
            const int code = kor::Configure(
                engine, prm, kor::ConfigureOptions().mcsFlag(mcs).parameterStore(store).detector(300, -200, 1000));
            expectSameCode("Configure", code, 0);
            LiteralProcess process;
            LiteralEngine plain(process);
            plain.setMcsFlag(mcs);
            plain.setPSDParameters(300, -200, 1000);
            if (store) {
                float dynamic[7];
                float a[3];
                float b[3];
                prm.getDynamicKORParameters(dynamic);
                prm.getPSDParameters(a, b);
                plain.loadParameterStore(dynamic, a, b);
            }
            configureLiteral(plain, prm, mode);
            for (std::size_t i = 0; i < samples.size(); ++i) {
                kor::SampleResult got;
                kor::SampleResult wanted;
                kor::ProcessSample(engine, samples[i], got);
                plain.updateKORData(samples[i], wanted.info);
                wanted.matrixCode = plain.ReadMatrix(wanted.matrix);
                wanted.report = plain.report();
                try {
                    expectSameResult(got, wanted, mode < 7);
                } catch (const Difference& difference) {
                    throw Difference("sample " + std::to_string(i) + ", " + difference.what());
                }
                ++tally.samples;
                const bool valid = got.report.outcome == kor::SampleOutcome::valid ||
                                   got.report.outcome == kor::SampleOutcome::beforeReference;
                const bool notFinite = got.report.outcome == kor::SampleOutcome::notFinite ||
                                       got.report.outcome == kor::SampleOutcome::spoiled;
                ++(valid ? tally.valid : notFinite ? tally.notFinite : tally.none);
            }
            ++tally.scenarios;
        }
    }
}

} // namespace kor_test
