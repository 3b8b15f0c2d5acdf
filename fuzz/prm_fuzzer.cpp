// Parameter files from hostile hands: two files, one after the other, into one object, and everything read back.
//
// The input is the two files, apart at the first byte 0x00 (or one file for both). Kept in memory-backed files, so that
// the public interface is what is tested.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

#include "KORInterface/ParameterCheck.h"
#include "KORInterface/Session.h"

namespace {

std::string makeFolder()
{
    std::string folder = std::filesystem::exists("/dev/shm") ? "/dev/shm/kor_fuzz_XXXXXX" : "/tmp/kor_fuzz_XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) {
        std::abort();
    }
    return folder;
}

const std::string& folder()
{
    static const std::string made = makeFolder();
    static const int registered = std::atexit([] {
        std::error_code ignored;
        std::filesystem::remove_all(made, ignored);
    });
    static_cast<void>(registered);
    return made;
}

void require(bool held)
{
    if (!held) {
        std::abort();
    }
}

int read(CKorPrm& prm, std::string_view bytes)
{
    const std::string path = folder() + "/Tg7.prm";
    std::FILE* file = std::fopen(path.c_str(), "wb");
    require(file != nullptr);
    require(std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size());
    require(std::fclose(file) == 0);
    kor::ReadReport report;
    const int code = kor::ReadParameterFile(prm, folder().c_str(), 7, report);
    require(code == report.status() && (code == 0) == (*report.text() == '\0'));
    for (std::uint32_t i = 0; i < report.findings(); ++i) {
        const kor::ReadFinding finding = report.finding(i);
        require(finding.line >= 1 && finding.values >= 1 && std::strlen(finding.found) < 80 && *finding.text != '\0');
        require(finding.rows <= finding.count);
    }
    kor::CheckReport check;
    kor::CheckParameterFile(folder().c_str(), 7, kor::kModeOfFile, check);
    require(check.status() == 0 || check.errors() > 0);
    for (std::uint32_t i = 0; i < check.findings(); ++i) {
        require(*check.finding(i).text != '\0' && *check.finding(i).rule != '\0');
    }
    return code;
}

// Everything that a getter says fits into the file that it came from.
void readBack(CKorPrm& prm, std::size_t fileSize)
{
    unsigned int count = 0;
    if (prm.getAzimuthComp(count, nullptr) == 551) {
        return;
    }
    std::vector<float> table(2 * fileSize + 64);
    std::vector<double> coefficients(4 * fileSize + 64);
    for (const auto get : {&CKorPrm::getAzimuthComp, &CKorPrm::getElevationComp}) {
        (prm.*get)(count, nullptr);
        if (count <= fileSize) {
            (prm.*get)(count, table.data());
        }
    }
    for (const auto get : {&CKorPrm::getLevelXComp, &CKorPrm::getLevelYComp}) {
        (prm.*get)(count, nullptr, nullptr);
        if (count <= fileSize) {
            (prm.*get)(count, table.data(), coefficients.data());
        }
    }
    CKor engine;
    if (kor::Configure(engine, prm) == 0) {
        KOR_RAWINFO raw = {};
        KOR_INFO info;
        double m[9];
        raw.status = 2;
        raw.sensorVector[1] = 1000.0F;
        raw.levelXRaw = 1.0F;
        engine.updateKORData(raw, info);
        engine.updateKORData(raw, info);
        require(engine.ReadMatrix(m) == 0);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view all(reinterpret_cast<const char*>(data), size);
    const std::size_t cut = all.find('\0');
    const std::string_view first = all.substr(0, cut);
    const std::string_view second = cut == std::string_view::npos ? first : all.substr(cut + 1);

    CKorPrm prm;
    for (const std::string_view file : {first, second}) {
        const int code = read(prm, file);
        require(code == 0 || code == 553);
        readBack(prm, first.size() + second.size());
    }
    CKorPrm copy(prm);
    prm.Destroy();
    readBack(copy, first.size() + second.size());
    return 0;
}
