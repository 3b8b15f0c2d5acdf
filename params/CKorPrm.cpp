#include "KORInterface/CKorPrm.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <exception>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include "params/file/Messages.h"
#include "params/file/Reader.h"
#include "params/file/SharedArray.h"
#include "params/file/Writer.h"
#include "platform/Files.h"
#include "platform/Wait.h"

namespace {

constexpr int kNullPointer = 20;
constexpr int kCannotOpen = 550;
constexpr int kFormatError = 553;

// A null-terminated text; nothing when it is longer than `longest` characters.
std::optional<std::wstring> boundedText(const wchar_t* text, std::size_t longest)
{
    const wchar_t* const last = text + longest;
    const wchar_t* end = text;
    while (end != last && *end != L'\0') {
        ++end;
    }
    return *end == L'\0' ? std::optional<std::wstring>(std::wstring(text, end)) : std::nullopt;
}

// "Tg<id>.prm", the ID in signed decimal.
std::wstring fileNameOf(std::int32_t id)
{
    std::array<char, 16> digits{};
    char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), id).ptr;
    std::wstring name = L"Tg";
    name.append(digits.data(), end);
    return name += L".prm";
}

template <class T, std::size_t n>
void copyArray(T (&to)[n], const T (&from)[n])
{
    std::copy(std::begin(from), std::end(from), std::begin(to));
}

} // namespace

// Kept: the half ranges start as the raw numbers 180.0 and 60.0, while a read stores radians. Files below mount mode 7
// have no half ranges, and their encoder limits are made from these numbers as if they were radians.
CKorPrm::CKorPrm()
    : prmLoaded(false), prmModified(false), prmDirectory{}, encoderOffsetAz(0.0),
      encoderOffsetEl(0.0), knownVector{}, localMatrix{}, machineMatrix{}, tiltOffset{}, thermalFactor{}, mountMode(0),
      admOffset(0.0F), levelXCount(0), levelXTable(nullptr), levelXCoeffs(nullptr), levelYCount(0),
      levelYTable(nullptr), levelYCoeffs(nullptr), azCompCount(0), elCompCount(0), azCompTable(nullptr),
      elCompTable(nullptr), scaleFactors{}, azRollover{1.0F, 360.0F}, elRollover{1.0F, 360.0F}, qvcParameters{},
      level1Parameters{}, level2Parameters{}, encoderHalfRangeAz(180.0F),
      encoderHalfRangeEl(60.0F), levelLimits{-35.0F, 35.0F, -35.0F, 35.0F}, psdX{}, psdY{}, dynamicParameters{}
{
}

CKorPrm::CKorPrm(const CKorPrm& other) : CKorPrm()
{
    *this = other;
}

// Kept: a copy allocates nothing and shares the arrays; a read of one object into an array that both hold shows in
// the other. Each object counts as a holder, so that both may be destroyed, in any order.
CKorPrm& CKorPrm::operator=(const CKorPrm& other)
{
    if (this == &other) {
        return *this;
    }
    using namespace kor::params;
    retainShared(other.azCompTable);
    retainShared(other.elCompTable);
    retainShared(other.levelXTable);
    retainShared(other.levelYTable);
    retainShared(other.levelYCoeffs);
    retainShared(other.levelXCoeffs);
    Destroy();

    prmLoaded = other.prmLoaded;
    prmModified = other.prmModified;
    copyArray(prmDirectory, other.prmDirectory);
    encoderOffsetAz = other.encoderOffsetAz;
    encoderOffsetEl = other.encoderOffsetEl;
    copyArray(knownVector, other.knownVector);
    copyArray(localMatrix, other.localMatrix);
    copyArray(machineMatrix, other.machineMatrix);
    copyArray(tiltOffset, other.tiltOffset);
    copyArray(thermalFactor, other.thermalFactor);
    mountMode = other.mountMode;
    admOffset = other.admOffset;
    levelXCount = other.levelXCount;
    levelXTable = other.levelXTable;
    levelXCoeffs = other.levelXCoeffs;
    levelYCount = other.levelYCount;
    levelYTable = other.levelYTable;
    levelYCoeffs = other.levelYCoeffs;
    azCompCount = other.azCompCount;
    elCompCount = other.elCompCount;
    azCompTable = other.azCompTable;
    elCompTable = other.elCompTable;
    copyArray(scaleFactors, other.scaleFactors);
    copyArray(azRollover, other.azRollover);
    copyArray(elRollover, other.elRollover);
    copyArray(qvcParameters, other.qvcParameters);
    copyArray(level1Parameters, other.level1Parameters);
    copyArray(level2Parameters, other.level2Parameters);
    encoderHalfRangeAz = other.encoderHalfRangeAz;
    encoderHalfRangeEl = other.encoderHalfRangeEl;
    levelLimits = other.levelLimits;
    copyArray(psdX, other.psdX);
    copyArray(psdY, other.psdY);
    copyArray(dynamicParameters, other.dynamicParameters);
    return *this;
}

CKorPrm::~CKorPrm()
{
    Destroy();
}

void CKorPrm::Destroy()
{
    using kor::params::releaseShared;
    releaseShared(azCompTable);
    releaseShared(elCompTable);
    releaseShared(levelXTable);
    releaseShared(levelYTable);
    releaseShared(levelYCoeffs);
    releaseShared(levelXCoeffs);
}

int CKorPrm::ReadCalibrationFile(const wchar_t* directory, unsigned long id)
{
    if (directory == nullptr) {
        return kNullPointer;
    }
    constexpr std::size_t kLongest = std::size(decltype(prmDirectory){}) - 1;
    try {
        // `directory` may be prmDirectory itself, so it is copied out before that is written.
        std::optional<std::wstring> chosen = boundedText(directory, kLongest);
        if (chosen && chosen->empty()) {
            chosen = kor::platform::currentDirectory();
        }
        if (!chosen || chosen->size() > kLongest) {
            return kCannotOpen;
        }
        const std::uint32_t lowId = static_cast<std::uint32_t>(id);
        const std::wstring path = kor::platform::joinPath(*chosen, fileNameOf(static_cast<std::int32_t>(lowId)));
        *std::copy(chosen->begin(), chosen->end(), prmDirectory) = L'\0';

        kor::platform::File file = kor::platform::openFile(path, kor::platform::OpenMode::read);
        if (!file) {
            return kCannotOpen;
        }
        kor::params::Fields fields = {
            .encoderOffsetAz = encoderOffsetAz,
            .encoderOffsetEl = encoderOffsetEl,
            .knownVector = knownVector,
            .localMatrix = localMatrix,
            .machineMatrix = machineMatrix,
            .tiltOffset = tiltOffset,
            .thermalFactor = thermalFactor,
            .mountMode = mountMode,
            .admOffset = admOffset,
            .levelXCount = levelXCount,
            .levelXTable = levelXTable,
            .levelXCoeffs = levelXCoeffs,
            .levelYCount = levelYCount,
            .levelYTable = levelYTable,
            .levelYCoeffs = levelYCoeffs,
            .azCompCount = azCompCount,
            .elCompCount = elCompCount,
            .azCompTable = azCompTable,
            .elCompTable = elCompTable,
            .scaleFactors = scaleFactors,
            .azRollover = azRollover,
            .elRollover = elRollover,
            .qvcParameters = qvcParameters,
            .level1Parameters = level1Parameters,
            .level2Parameters = level2Parameters,
            .encoderHalfRangeAz = encoderHalfRangeAz,
            .encoderHalfRangeEl = encoderHalfRangeEl,
            .levelLimits = levelLimits,
            .psdX = psdX,
            .psdY = psdY,
            .dynamicParameters = dynamicParameters,
        };
        kor::params::ReadReport report;
        kor::params::readFile(file.get(), lowId, fields, report);
        if (report.status != 0) {
            if (report.messageId != 0) {
                DisplayErrMsg(report.messageId);
            }
            return report.status;
        }
        prmLoaded = true;
        return 0;
    } catch (const std::exception&) {
        return kFormatError; // no memory
    }
}

int CKorPrm::PrmFileCopy()
{
    try {
        const std::optional<std::wstring> path = boundedText(prmDirectory, std::size(prmDirectory) - 1);
        if (!path) {
            return 0; // no end, so no path of any file
        }
        const kor::params::RewriteReport report =
            kor::params::rewriteFile(*path, mountMode, dynamicParameters, kor::platform::sleepMs);
        if (report.messageId != 0) {
            DisplayErrMsg(report.messageId);
        }
        return report.status;
    } catch (const std::exception&) {
        return kFormatError; // no memory
    }
}

// Kept: loads the text and its caption and shows neither; the caller's return code is all that a host sees.
void CKorPrm::DisplayErrMsg(unsigned int id)
{
    [[maybe_unused]] const std::string_view message = kor::params::messageText(id);
    [[maybe_unused]] const std::string_view caption = kor::params::messageCaption();
}
