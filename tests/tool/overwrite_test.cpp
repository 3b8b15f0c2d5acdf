// Outputs that would take the place of something else.
#include "tools/kor/Overwrite.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "tools/kor/Exit.h"

namespace {

namespace fs = std::filesystem;
using kor::platform::kStandardOutput;
using kor::platform::textOf;
using kor::tool::Misuse;
using kor::tool::refuseToOverwrite;

class Overwrite : public testing::Test {
protected:
    Overwrite() : m_folder(fs::temp_directory_path() / ("kor_overwrite_" + std::to_string(std::random_device{}())))
    {
        fs::create_directory(m_folder);
        std::ofstream(m_folder / "in.csv") << "x";
        fs::create_hard_link(m_folder / "in.csv", m_folder / "hard.csv");
    }
    ~Overwrite() override
    {
        std::error_code ignored;
        fs::remove_all(m_folder, ignored);
    }
    std::string path(const char* name) const { return textOf(m_folder / name); }

    // What is said; empty when nothing is.
    std::string refused(const std::string& output, const kor::tool::UsedFile& used) const
    {
        try {
            refuseToOverwrite("-o", output, {{path("other.csv"), "something else"}, used});
            return {};
        } catch (const Misuse& misuse) {
            return misuse.what();
        }
    }

    fs::path m_folder;
};

TEST_F(Overwrite, ofAnInputIsRefusedWhateverItsName)
{
    for (const char* const name : {"in.csv", "hard.csv", "./in.csv"}) {
        EXPECT_EQ(refused(path(name), {path("in.csv"), "the recording itself"}),
                  "-o: " + path(name) + " is the recording itself; choose another name");
    }
    EXPECT_EQ(refused(path("out.csv"), {path("in.csv"), "the recording itself"}), "");
    EXPECT_EQ(refused(path("none.csv"), {path("none.csv"), "the recording itself"}), "") << "there is none";
}

TEST_F(Overwrite, ofAnotherOutputIsRefusedAlsoBeforeThereIsOne)
{
    const auto output = [this](const char* name) {
        return kor::tool::UsedFile{path(name), "the recording itself", kStandardOutput};
    };
    EXPECT_NE(refused(path("new.csv"), output("new.csv")), "");
    EXPECT_NE(refused(path("./new.csv"), output("new.csv")), "");
    EXPECT_NE(refused(path("hard.csv"), output("in.csv")), "");
    EXPECT_EQ(refused(path("new.csv"), output("newer.csv")), "");
    EXPECT_EQ(refused("-", {"-", "the recording itself", kStandardOutput}),
              "standard output is the recording itself; choose another name");
}

} // namespace
