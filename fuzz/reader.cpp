// The reader of parameter files as a host uses it: two files, one after the other, into one object, the accounts of
// both, and everything read back.
//
// The input is the two files, apart at the first byte 0x00, or one file for both.
#include "Fuzz.h"
#include "KORInterface/KORInterface.h"
#include "KORInterface/ParameterCheck.h"
#include "KeptBuffers.h"
#include "engine/State.h"

#include <vector>

namespace {

using kor_fuzz::require;

const kor_fuzz::Folder& folder()
{
    static const kor_fuzz::Folder made;
    return made;
}

void checkAccount()
{
    kor::CheckReport check;
    kor::CheckParameterFile(folder().path().c_str(), 7, kor::kModeOfFile, check);
    require(check.status() == 0 || check.errors() > 0, "what is not read has an error");
    require(check.errors() + check.warnings() + check.notes() == check.findings(), "each finding has a severity");
    for (std::uint32_t i = 0; i < check.findings(); ++i) {
        require(*check.finding(i).text != '\0' && *check.finding(i).rule != '\0', "each finding has a text and a rule");
    }
}

int read(CKorPrm& prm, std::string_view bytes, bool isNew)
{
    folder().write("Tg7.prm", bytes);
    kor::ReadReport report;
    const int code = kor::ReadParameterFile(prm, folder().path().c_str(), 7, report);
    require(code == 0 || code == 553, "a file that can be opened is read or refused for its format");
    require(code == report.status() && (code == 0) == (*report.text() == '\0'),
            "the account says what the result says");
    require(kor_fuzz::isShown(report.found()), "what was found is shown in printable characters");
    for (std::uint32_t i = 0; i < report.findings(); ++i) {
        const kor::ReadFinding finding = report.finding(i);
        require(finding.line >= 1 && finding.values >= 1 && *finding.text != '\0', "a finding has a place and a text");
        require(kor_fuzz::isShown(finding.found) && std::strlen(finding.found) < 80, "what was found is shown shortly");
        require(finding.rows <= finding.count, "no more rows are read than announced");
    }
    kor::ParameterFile file;
    const int apart = kor::LoadParameterFile(file, folder().path().c_str(), 7);
    require(!isNew || apart == code, "taking a file apart comes to the same result as reading it");
    checkAccount();
    return code;
}

// Everything that a getter says fits into the files that it came from.
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
        require(count <= fileSize, "a table has no more rows than the file has bytes");
        (prm.*get)(count, table.data());
    }
    for (const auto get : {&CKorPrm::getLevelXComp, &CKorPrm::getLevelYComp}) {
        (prm.*get)(count, nullptr, nullptr);
        require(count <= fileSize, "a table has no more rows than the file has bytes");
        (prm.*get)(count, table.data(), coefficients.data());
    }
    kor_fuzz::KeptBuffers buffers; // goes after the engine
    CKor engine;
    const int configured = kor::Configure(engine, prm);
    buffers.note(CKorAccess::state(engine).model.get());
    if (configured == 0) {
        KOR_RAWINFO raw = {};
        KOR_INFO info;
        double m[9];
        raw.status = 2;
        raw.sensorVector[1] = 1000.0F;
        raw.levelXRaw = 1.0F;
        engine.updateKORData(raw, info);
        engine.updateKORData(raw, info);
        require(engine.ReadMatrix(m) == 0, "a valid sample leaves a matrix");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const kor_fuzz::TwoFiles files({reinterpret_cast<const char*>(data), size});
    const std::size_t together = files.first.size() + files.second.size();
    CKorPrm prm;
    read(prm, files.first, true);
    readBack(prm, together);
    if (files.second.data() != files.first.data()) {
        read(prm, files.second, false);
    } else {
        kor::ReadReport report;
        kor::ReadParameterFile(prm, folder().path().c_str(), 7, report);
    }
    readBack(prm, together);
    CKorPrm copy(prm);
    prm.Destroy();
    readBack(copy, together);
    return 0;
}
