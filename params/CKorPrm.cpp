#include "KORInterface/CKorPrm.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "KORInterface/Status.h"
#include "params/ParameterAccess.h"
#include "params/file/FileName.h"
#include "params/file/Messages.h"
#include "params/file/ParameterSet.h"
#include "params/file/Reader.h"
#include "params/file/Writer.h"
#include "platform/Files.h"
#include "platform/Text.h"

namespace {

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

void settle(std::uint32_t milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

} // namespace

// Kept [raw-half-ranges]: the half ranges start as the raw numbers 180.0 and 60.0, while a read stores radians. Files
// below mount mode 7 have no half ranges; their encoder limits are made from these numbers as if they were radians.
CKorPrm::CKorPrm() : prmLoaded(false), prmModified(false), prmDirectory{} {}

CKorPrm::CKorPrm(const CKorPrm& other) : CKorPrm()
{
    *this = other;
}

// Kept [copies-share-tables]: a copy allocates nothing and shares the arrays; a read of one object into an array that
// both hold shows in the other. Each object counts as a holder, so that both may be destroyed, in any order.
CKorPrm& CKorPrm::operator=(const CKorPrm& other)
{
    if (this == &other) {
        return *this;
    }
    kor::params::retainTables(other.m_set);
    Destroy();
    prmLoaded = other.prmLoaded;
    prmModified = other.prmModified;
    std::copy(std::begin(other.prmDirectory), std::end(other.prmDirectory), prmDirectory);
    m_set = other.m_set;
    return *this;
}

CKorPrm::~CKorPrm()
{
    Destroy();
}

void CKorPrm::Destroy()
{
    kor::params::releaseTables(m_set);
}

int CKorPrm::ReadCalibrationFile(const wchar_t* directory, unsigned long id)
{
    kor::params::ReadReport report;
    return kor::ParameterAccess::read(*this, directory, id, report);
}

int kor::ParameterAccess::read(CKorPrm& prm, const wchar_t* directory, unsigned long id,
                               params::ReadReport& report) noexcept
{
    report = params::ReadReport(report.collects);
    if (directory == nullptr) {
        return report.status = kBadArgument;
    }
    constexpr std::size_t kLongest = params::kLongestDirectory;
    static_assert(std::size(decltype(prm.prmDirectory){}) == kLongest + 1);
    try {
        // `directory` may be prmDirectory itself, so it is copied out before that is written.
        std::optional<std::wstring> chosen = boundedText(directory, kLongest);
        if (chosen && chosen->empty()) {
            const std::optional<std::string> here = platform::currentDirectory();
            chosen = here ? platform::fromUtf8(*here) : std::nullopt;
        }
        if (!chosen || chosen->size() > kLongest) {
            return report.status = kCannotOpen; // Kept [long-directory]: before anything is changed
        }
        const std::uint32_t lowId = static_cast<std::uint32_t>(id);
        *std::copy(chosen->begin(), chosen->end(), prm.prmDirectory) = L'\0';

        // A directory that is not a valid text is one that cannot be opened.
        const std::optional<std::string> utf8 = platform::toUtf8(*chosen);
        if (!utf8) {
            return report.status = kCannotOpen;
        }
        const std::string path = platform::joinPath(*utf8, params::fileNameOf(static_cast<std::int32_t>(lowId)));
        if (report.collects) {
            report.path = path;
        }
        platform::File file = platform::openFile(path, platform::OpenMode::read); // Kept [read-closes-file]: as it goes
        if (!file) {
            return report.status = kCannotOpen; // Kept [read-of-regular-file]: nothing else is opened
        }
        params::readFile(file, lowId, prm.m_set, report);
    } catch (const std::exception&) {
        report.status = kFormatError; // Kept [no-memory-gives-553]: nothing is thrown
        report.outOfMemory = true;
    }
    if (report.messageId != 0) {
        prm.DisplayErrMsg(report.messageId);
    }
    prm.prmLoaded = prm.prmLoaded || report.status == kSuccess;
    return report.status;
}

int CKorPrm::PrmFileCopy()
{
    try {
        const std::optional<std::wstring> path = boundedText(prmDirectory, std::size(prmDirectory) - 1);
        const std::optional<std::string> utf8 = path ? kor::platform::toUtf8(*path) : std::nullopt;
        if (!utf8) {
            return 0; // no end or no text, so no path of any file
        }
        const kor::params::RewriteReport report = // Kept [rewriting-file-values]: no other values of the object
            kor::params::rewriteFile(*utf8, m_set.mountMode, m_set.dynamicParameters, settle);
        if (report.messageId != 0) {
            DisplayErrMsg(report.messageId);
        }
        return report.status;
    } catch (const std::exception&) {
        return kor::kFormatError; // Kept [no-memory-gives-553]: as a read does
    }
}

// Kept [message-not-shown]: loads the text and its caption and shows neither; a host sees the return code alone.
void CKorPrm::DisplayErrMsg(unsigned int id)
{
    [[maybe_unused]] const std::string_view message = kor::params::messageText(id);
    [[maybe_unused]] const std::string_view caption = kor::params::messageCaption();
}
