// Compressed files, whole and damaged.
#include "recordings/Compression.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "recordings/ReadBack.h"

namespace {

using kor::recordings::Compression;
using kor::recordings::compressionNamed;
using kor::recordings::compressionOf;
using kor::recordings::hasExtension;
using kor::recordings::Input;
using kor::recordings::makePacker;
using kor::recordings::withoutCompression;
using kor_test::Format;
using kor_test::kHeader;
using kor_test::Problem;
using kor_test::Read;
using kor_test::read;
using kor_test::TemporaryFile;

std::vector<Compression> known()
{
    std::vector<Compression> compressions;
    for (const Compression compression : {Compression::gzip, Compression::zstandard}) {
        if (makePacker(compression)) {
            compressions.push_back(compression);
        }
    }
    return compressions;
}

std::string packed(Compression compression, std::string_view bytes)
{
    std::string out;
    const auto sink = [&out](std::string_view piece) {
        out += piece;
        return true;
    };
    const auto packer = makePacker(compression);
    EXPECT_TRUE(packer->pack(bytes.substr(0, bytes.size() / 3), false, sink));
    EXPECT_TRUE(packer->pack(bytes.substr(bytes.size() / 3), true, sink));
    return out;
}

std::string recording(std::size_t rows)
{
    std::string text = kHeader;
    for (std::size_t i = 0; i < rows; ++i) {
        text += "2,1,2,3,4," + std::to_string(i * 7919 % 1000) + ".25,6,7,8,9,0,1,2,3," + std::to_string(i) + "\n";
    }
    return text;
}

TEST(Compression, isSeenFromTheFirstBytesAndTheEndOfTheName)
{
    EXPECT_EQ(compressionOf("\x1f\x8b\x08\x00"), Compression::gzip);
    EXPECT_EQ(compressionOf("\x28\xb5\x2f\xfd"), Compression::zstandard);
    EXPECT_EQ(compressionOf("\x5f\x2a\x4d\x18"), Compression::zstandard);
    EXPECT_EQ(compressionOf("\x4f\x2a\x4d\x18"), Compression::none);
    EXPECT_EQ(compressionOf("stat"), Compression::none);
    EXPECT_EQ(compressionOf(""), Compression::none);
    EXPECT_EQ(compressionNamed("run.csv.gz"), Compression::gzip);
    EXPECT_EQ(compressionNamed("RUN.CSV.ZST"), Compression::zstandard);
    EXPECT_EQ(compressionNamed("run.gz.csv"), Compression::none);
    EXPECT_EQ(withoutCompression("a/run.csv.GZ"), "a/run.csv");
    EXPECT_TRUE(hasExtension("run.KORRAW.zst", ".korraw"));
    EXPECT_FALSE(hasExtension("korraw", ".korraw"));
}

TEST(Compression, recordingsComeBackWholeAlsoFromSeveralPieces)
{
    const std::string text = recording(30000);
    ASSERT_GT(text.size(), 3 * Input::kRoom);
    for (const Compression compression : known()) {
        const std::string content = packed(compression, text.substr(0, 500001)) + packed(compression, "") +
                                    packed(compression, text.substr(500001));
        const Read all = read(content, {});
        ASSERT_EQ(all.samples.size(), 30000u);
        EXPECT_TRUE(all.problems.empty());
        for (std::size_t i = 0; i < all.samples.size(); ++i) {
            ASSERT_EQ(all.samples[i].timeStampMs, i);
        }
    }
}

TEST(Compression, aFileThatIsCutOffAnywhereIsToldSo)
{
    for (const Compression compression : known()) {
        const std::string whole = packed(compression, recording(50));
        for (std::size_t length = 4; length < whole.size(); length += 1 + length / 50) {
            const TemporaryFile file(whole.substr(0, length));
            Problem problem;
            const auto reader = kor::recordings::Reader::open(file.path(), {}, problem);
            KOR_RAWINFO raw;
            while (reader && reader->next(raw) == kor::recordings::Step::sample) {
            }
            const Problem& found = reader ? reader->problem() : problem;
            EXPECT_EQ(found.kind, Problem::Kind::badData);
            EXPECT_EQ(found.reason, "the " + std::string(nameOf(compression)) + " data end too early, at byte " +
                                        std::to_string(length) + " of the file");
            EXPECT_EQ(found.line > 0, reader != nullptr);
        }
    }
}

TEST(Compression, randomDamageGivesSamplesOrProblemsAndEnds)
{
    std::mt19937 random(7); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same damage in every run
    const std::string content = recording(200);
    for (const Compression compression : known()) {
        const std::string whole = packed(compression, content);
        int unnoticed = 0;
        for (int run = 0; run < 200; ++run) {
            std::string damaged = whole;
            for (std::size_t i = 0; i < 1 + random() % 3; ++i) {
                damaged[4 + random() % (damaged.size() - 4)] = static_cast<char>(random());
            }
            const TemporaryFile file(damaged);
            Problem problem;
            const auto reader = kor::recordings::Reader::open(file.path(), {}, problem);
            std::size_t steps = 0;
            KOR_RAWINFO raw;
            auto step = kor::recordings::Step::sample;
            bool bad = false;
            while (reader && step != kor::recordings::Step::end && step != kor::recordings::Step::failed) {
                step = reader->next(raw);
                bad = bad || step == kor::recordings::Step::bad;
                ASSERT_LT(++steps, 1000000u);
            }
            if (!reader) {
                EXPECT_NE(problem.kind, Problem::Kind::none);
            } else if (step == kor::recordings::Step::failed) {
                EXPECT_GT(reader->problem().line, 0u) << text(reader->problem());
            }
            unnoticed += reader && step == kor::recordings::Step::end && !bad && damaged != whole ? 1 : 0;
        }
        // What has no effect on the data: time and system in gzip's header.
        EXPECT_LE(unnoticed, compression == Compression::gzip ? 10 : 2);
    }
}

} // namespace
