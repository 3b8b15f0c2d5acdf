// kor prm rewrite: the library's own rewriting of a parameter file, with a backup and an account of its effect.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "KORInterface/CKorPrm.h"
#include "KORInterface/Status.h"

#include "platform/Files.h"
#include "platform/Process.h"
#include "platform/Text.h"
#include "tools/kor/CommandLine.h"
#include "tools/kor/Exit.h"
#include "tools/kor/PrmContent.h"
#include "tools/kor/PrmDifference.h"
#include "tools/kor/prm.h"

namespace kor::tool {

using platform::inQuotes;
using platform::shown;

namespace {

struct RewriteRequest {
    std::string file;
    std::optional<std::string> backup;
};

// The library makes its copy under this name in the current directory.
constexpr const char* kCopyName = "$tmp.prm";

// A link at the path would be replaced and not followed.
std::string resolved(const std::string& path)
{
    std::error_code error;
    const std::filesystem::path given = platform::pathFrom(path);
    const std::filesystem::path led = std::filesystem::is_symlink(std::filesystem::symlink_status(given, error))
                                          ? std::filesystem::canonical(given, error)
                                          : given;
    return error ? path : platform::textOf(led);
}

// The library replaces a file by way of its directory, also one that the user may not write. The owner's own may be
// read-only: the library clears that, and Backup sets it again.
void requireWritable(const std::string& path)
{
    if (platform::openAnyForWriting(path)) {
        return;
    }
    const std::string why = platform::lastError();
    // Setting once more what is set already is for those alone who may clear it as well.
    if (!platform::fileStatus(path).readOnly || !platform::setReadOnly(path, true)) {
        throw Failure(kExitCannotCreate,
                      fmt::format("cannot rewrite {}: {}; make it writable or rewrite a copy", shown(path), why));
    }
}

// A link that leads nowhere is something, too.
bool isTaken(const char* name)
{
    std::error_code error;
    return std::filesystem::exists(std::filesystem::symlink_status(name, error));
}

// The file as it was, under a name that was free. Takes the file's place again unless it is kept.
class Backup {
public:
    Backup(const std::string& path, const std::string& original, const std::string& bytes)
        : m_path(path), m_original(original), m_readOnly(platform::fileStatus(original).readOnly)
    {
        const platform::File source = platform::openFile(original, platform::OpenMode::read);
        platform::RemovedWhenKilled guard;
        platform::File file;
        {
            const platform::EndingSignalsWait untilItIsMade;
            guard = platform::RemovedWhenKilled(path);
            file = platform::openFile(path, platform::OpenMode::create);
            if (!file) {
                const std::string why = platform::lastError();
                guard = platform::RemovedWhenKilled();
                throw Failure(kExitCannotCreate,
                              platform::fileStatus(path).exists
                                  ? fmt::format("the backup {} exists already and is not replaced; move it away or "
                                                "choose another name with --backup (a killed rewriting leaves its "
                                                "backup, which holds the file as it was)",
                                                shown(path))
                                  : fmt::format("cannot create the backup {}: {}", shown(path), why));
            }
        }
        try {
            write(file, source, bytes);
        } catch (const std::exception&) {
            platform::removeFile(path);
            throw;
        }
        m_stands = true;
    }
    Backup(const Backup&) = delete;
    Backup& operator=(const Backup&) = delete;
    ~Backup()
    {
        try {
            putBack();
        } catch (const std::exception&) { // NOLINT(bugprone-empty-catch)
            // Without memory for that, the backup holds what the file was.
        }
    }

    const std::string& path() const { return m_path; }

    void keep() { m_stands = false; }

    // The file is still as it was.
    void remove()
    {
        m_stands = false;
        platform::removeFile(m_path);
        makeReadOnlyAgain();
    }

    void restore()
    {
        if (!putBack()) {
            throw Failure(kExitIoError, fmt::format("{} cannot be restored: {}; {} holds the file as it was",
                                                    shown(m_original), platform::lastError(), shown(m_path)));
        }
    }

    void makeReadOnlyAgain() const
    {
        if (m_readOnly) {
            platform::setReadOnly(m_original, true);
        }
    }

private:
    void write(platform::File& file, const platform::File& source, const std::string& bytes) const
    {
        if (source) {
            file.copyPermissions(source);
        }
        const bool written = file.write(bytes) && file.sync();
        const std::string why = platform::lastError();
        if (!file.close() || !written) {
            throw Failure(kExitIoError, fmt::format("cannot write the backup {}: {}", shown(m_path), why));
        }
    }

    // Over whatever stands in the file's place.
    bool putBack()
    {
        if (!std::exchange(m_stands, false)) {
            return true;
        }
        const bool moved = platform::moveFile(m_path, m_original);
        if (moved) {
            makeReadOnlyAgain();
        }
        return moved;
    }

    std::string m_path;
    std::string m_original;
    bool m_readOnly;       // the original
    bool m_stands = false; // and is still to be put back
};

constexpr const char* kModeTitle = "Mounting Mode";

// A file that can be read and ends before this block is refused for want of memory only.
bool lacksMemory(int code, const PrmContent& content)
{
    return code == kFormatError && !content.at(kModeTitle).present;
}

// Why the library has refused, in words.
std::string refusal(int code, const PrmContent& content, const std::string& file)
{
    if (code != kFormatError) {
        return fmt::format("the library cannot make its copy {} in the current directory, or cannot open the file: {}",
                           kCopyName, StatusText(code));
    }
    if (lacksMemory(code, content)) {
        return fmt::format("the library had not enough memory for its copy (code {})", code);
    }
    // With this block its rewriting always ends: it looks for the title of the block two before.
    constexpr unsigned kMessage = 619;
    return fmt::format("the library rewrites only files that end before the block \"{}\", and this one has it in line "
                       "{} (code {}, message {}: {}). To write all of its values anew: kor prm json {} -o NEW.json, "
                       "then kor prm from-json NEW.json -o NEW.prm",
                       kModeTitle, content.at(kModeTitle).line, code, kMessage, MessageText(kMessage), shown(file));
}

// What a reader of both files would find.
std::string effectText(const PrmContent& before, const PrmContent& after)
{
    std::string text;
    for (std::uint32_t kind = 0; kind < before.blocks.size(); ++kind) {
        const PrmBlock& block = before.blocks[kind];
        const std::string_view title = ParameterBlockKindOf(kind).title;
        if (block.present && block.title != title) {
            text += fmt::format("line {}: the title {} has become \"{}\"\n", block.line, inQuotes(block.title), title);
        }
    }
    if (before.restLine > 0) {
        text += fmt::format("line {}: {} bytes behind the last block have been dropped\n", before.restLine,
                            before.restBytes);
    }
    const std::vector<PrmBlockDifference> blocks = differencesOf(before, after, 0.0);
    if (blocks.empty()) {
        return text + "Every value is what it was.\n";
    }
    return fmt::format("{}A: as it was, B: as it is now, with six decimals\n\n{}", text,
                       differenceText(blocks, std::numeric_limits<std::size_t>::max()));
}

// Sets the path that the library rewrites.
void setPath(CKorPrm& prm, const std::string& path)
{
    constexpr std::size_t kLongest = std::size(decltype(prm.prmDirectory){}) - 1;
    const std::optional<std::wstring> wide = platform::fromUtf8(path);
    if (!wide || wide->size() > kLongest) {
        throw Misuse(fmt::format("found {}, expected a path in UTF-8 of at most {} characters", shown(path), kLongest));
    }
    *std::copy(wide->begin(), wide->end(), prm.prmDirectory) = L'\0';
}

int runRewrite(const RewriteRequest& request)
{
    const std::string path = resolved(request.file);
    const std::string bytes = readWhole(path, kMostPrmBytes);
    const PrmContent before = prmOf(bytes, shown(request.file));
    CKorPrm prm;
    setPath(prm, path);
    requireWritable(path);
    if (isTaken(kCopyName)) {
        throw Failure(kExitCannotCreate,
                      fmt::format("the current directory holds {}, which the library would overwrite; remove it if it "
                                  "is what a killed rewriting has left, or start kor in another directory",
                                  kCopyName));
    }
    Backup backup(request.backup.value_or(request.file + ".bak"), path, bytes);

    int code = kSuccess;
    bool copyLeft = false;
    {
        const platform::RemovedWhenKilled guard{kCopyName};
        code = prm.PrmFileCopy();
        copyLeft = platform::removeFile(kCopyName);
    }
    const std::string now = readWhole(path, kMostPrmBytes);
    std::string why;
    std::string effect;
    Exit status = kExitIoError;
    if (code != kSuccess) {
        why = refusal(code, before, request.file);
        status = code == kCannotOpen ? kExitCannotCreate : lacksMemory(code, before) ? kExitNoMemory : kExitDataError;
    } else if (copyLeft) {
        why = "the library's copy could not take the place of the file";
    } else if (now == bytes) {
        why = "the library did not see the file and has rewritten nothing"; // a rewriting adds a block at least
    } else {
        try {
            effect = effectText(before, prmOf(now, shown(request.file)));
        } catch (const Failure& unreadable) {
            why = fmt::format("the library could not read what it has written ({})", unreadable.what());
            status = unreadable.status();
        }
    }
    if (!why.empty()) {
        now == bytes ? backup.remove() : backup.restore();
        throw Failure(status, fmt::format("{} is as it was: {}", shown(request.file), why));
    }
    const std::string text =
        fmt::format("{} is rewritten; {} holds it as it was.\n{}", shown(request.file), shown(backup.path()), effect);
    backup.keep();
    backup.makeReadOnlyAgain();
    print(text);
    return kExitOk;
}

} // namespace

Command declarePrmRewrite(const CommandGroup& group)
{
    const auto request = std::make_shared<RewriteRequest>();
    Subcommand command(group, "rewrite", "Rewrite a parameter file as the library does");
    command.required("FILE", request->file, "", "The parameter file").takes(fileNamed({"prm"}));
    command.option("--backup", request->backup, "NAME", "Name of the backup, which must be free (default: FILE.bak)")
        .takes(outputNamed({"bak"}));
    command.about(
        "Prints what the rewriting has dropped, added or rounded to six decimals. The library rewrites only files that "
        "end before the block \"Mounting Mode\"; if it refuses, the file stays as it was.",
        "A file that the user may not write is refused, and so is every file while the current directory holds a file "
        "$tmp.prm, because the library gives its copy this name. If the rewritten file cannot be read, the backup "
        "takes its place again. A run that is killed can leave the backup and the copy.");
    command.example("Cut a copy of a parameter file off before the block \"Mounting Mode\", and rewrite the copy",
                    {"sed '/^Mounting Mode/,$d' calibration/Tg1005.prm >Tg1005.prm", "kor prm rewrite Tg1005.prm"});
    return command.runs([request] { return runRewrite(*request); });
}

} // namespace kor::tool
