#include "platform/Files.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <system_error>
#include <utility>

namespace kor::platform {

namespace fs = std::filesystem;

namespace {

bool copyBytes(File& from, File& to) noexcept
{
    std::array<char, 16384> buffer;
    for (;;) {
        const std::ptrdiff_t length = from.read(buffer.data(), buffer.size());
        if (length <= 0) {
            return length == 0;
        }
        if (!to.write({buffer.data(), static_cast<std::size_t>(length)})) {
            return false;
        }
    }
}

// A new file in the directory of a path.
File createBeside(const std::string& path, std::string& name)
{
    const fs::path directory = pathFrom(path).parent_path();
    constexpr int kMostNames = 1000;
    File file;
    for (int n = 1; !file && n <= kMostNames; ++n) {
        name = textOf(directory / ("$tmp" + std::to_string(n) + ".prm"));
        file = openFile(name, OpenMode::create);
    }
    return file;
}

// A file that goes with this, unless it has been given another path.
struct MadeBeside {
    MadeBeside() = default;
    MadeBeside(const MadeBeside&) = delete;
    MadeBeside& operator=(const MadeBeside&) = delete;
    ~MadeBeside()
    {
        if (isThere) {
            removeFile(name);
        }
    }

    std::string name;
    bool isThere = false;
};

// Kept [rewriting-across]: by a copy beside the target; only within a file system can one step replace a file.
bool moveAcross(const std::string& from, const std::string& to)
{
    File source = openFile(from, OpenMode::read);
    MadeBeside beside;
    File copy = source ? createBeside(to, beside.name) : File();
    if (!copy) {
        return false;
    }
    beside.isThere = true;
    copy.copyPermissions(source);
    const bool copied = copyBytes(source, copy) && copy.sync();
    const bool closed = copy.close();
    if (!copied || !closed || renameFile(beside.name, to, true) != Renamed::yes) {
        return false;
    }
    beside.isThere = false;
    source = File();
    removeFile(from);
    return true;
}

} // namespace

bool moveFile(const std::string& from, const std::string& to)
{
    const Renamed renamed = renameFile(from, to, true);
    return renamed == Renamed::yes || (renamed == Renamed::otherFileSystem && moveAcross(from, to));
}

File File::standard(int stream) noexcept
{
    File file(stream);
    file.m_stays = true;
    return file;
}

File::File(File&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1)), m_stays(other.m_stays), m_failed(other.m_failed)
{
}

File& File::operator=(File&& other) noexcept
{
    std::swap(m_descriptor, other.m_descriptor);
    std::swap(m_stays, other.m_stays);
    std::swap(m_failed, other.m_failed);
    return *this;
}

File::~File()
{
    if (!m_stays && m_descriptor >= 0) {
        close();
    }
}

std::string lastError()
{
    return std::generic_category().message(errno);
}

std::optional<std::string> behindLinks(const std::string& path)
{
    constexpr int kMostLinks = 40; // the system's own number, or near it
    fs::path at = pathFrom(path);
    for (int links = 0; links <= kMostLinks; ++links) {
        std::error_code error;
        if (!fs::is_symlink(fs::symlink_status(at, error))) {
            return links == 0 ? path : textOf(at);
        }
        const fs::path next = fs::read_symlink(at, error);
        if (error) {
            errno = error.value();
            return std::nullopt;
        }
        at = at.parent_path() / next; // which an absolute path replaces
    }
    errno = ELOOP;
    return std::nullopt;
}

bool leadToSameFile(const std::string& a, const std::string& b)
{
    const std::optional<FileId> first = fileId(a);
    const std::optional<FileId> second = fileId(b);
    if (first || second) {
        return first == second;
    }
    const auto resolved = [](const std::string& path) {
        std::error_code error;
        const std::string led = behindLinks(path).value_or(path);
        const fs::path made = fs::weakly_canonical(fs::absolute(pathFrom(led), error), error);
        return error ? path : textOf(made);
    };
    return areSameName(resolved(a), resolved(b));
}

std::string whyUnreadable(const std::string& path)
{
    std::error_code error;
    const fs::file_status status = fs::status(pathFrom(path), error);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        return fs::is_directory(status) ? "it is a directory" : "it is not a regular file";
    }
    return openFile(path, OpenMode::read) ? "it cannot be read" : lastError();
}

namespace {

constexpr std::string_view kTemporaryBegin = ".kor.";
constexpr std::string_view kTemporaryEnd = ".tmp";
constexpr std::string_view kLastingEnd = ".old";

// Short, because the target's name may be as long as the file system allows.
std::string temporaryName(unsigned number, std::string_view end)
{
    return std::string(kTemporaryBegin) + std::to_string(processId()) + "-" + std::to_string(number) + std::string(end);
}

// The process that has given a temporary file its name; nothing when the name is another one.
std::optional<unsigned> processInName(std::string_view name)
{
    if (!name.starts_with(kTemporaryBegin) || !name.ends_with(kTemporaryEnd) ||
        name.size() < kTemporaryBegin.size() + kTemporaryEnd.size()) {
        return std::nullopt;
    }
    name.remove_prefix(kTemporaryBegin.size());
    name.remove_suffix(kTemporaryEnd.size());
    unsigned process = 0;
    unsigned number = 0;
    const char* const end = name.data() + name.size();
    const auto [dash, error] = std::from_chars(name.data(), end, process);
    if (error != std::errc() || dash == end || *dash != '-') {
        return std::nullopt;
    }
    const auto [last, numberError] = std::from_chars(dash + 1, end, number);
    return numberError == std::errc() && last == end ? std::optional(process) : std::nullopt;
}

void removeAbandonedFiles(const fs::path& directory)
{
    const std::string path = directory.empty() ? "." : textOf(directory);
    visitDirectory(path, [&path](const std::string& name) {
        if (const auto process = processInName(name)) {
            removeIfAbandoned(joinPath(path, name), *process);
        }
    });
}

// A file that is to be replaced, so that it can come back.
struct Kept {
    std::string name;    // empty when there was none
    File claim;          // open for as long as the name is not to be taken for abandoned
    std::string lasting; // another name, which those who look for abandoned files pass over
};

// Gives what stands at a path a second name, which is that of a temporary file. Where the file system has no second
// names it becomes the only one, which those who look for abandoned files pass over: nothing may be lost under it.
// Returned  result  false when it cannot be kept
bool keepUnderAnotherName(const std::string& path, Kept& kept)
{
    if (!fileStatus(path).isRegular) {
        return true;
    }
    if (File file = openAnyForWriting(path)) {
        file.claim();
        kept.claim = file.shared(); // none where an open file could not be replaced
    }
    constexpr unsigned kMostNames = 100;
    const fs::path target = pathFrom(path);
    for (unsigned number = 0; number < kMostNames; ++number) {
        const fs::path other = target.parent_path() / temporaryName(number, kTemporaryEnd);
        const fs::path lasting = target.parent_path() / temporaryName(number, kLastingEnd);
        std::string name = textOf(other); // memory may run out, so before the file has the name
        kept.lasting = textOf(lasting);
        std::error_code error;
        fs::create_hard_link(target, other, error);
        if (error && error != std::errc::file_exists) {
            name = kept.lasting;
            fs::rename(target, lasting, error);
        }
        if (!error) {
            kept.name = std::move(name);
            return true;
        }
        errno = error.value();
        if (error != std::errc::file_exists) {
            break;
        }
    }
    return false;
}

// Without memory: nothing may be lost for want of it.
void putBack(Kept& kept, const std::string& target, std::string* former) noexcept
{
    if (renameFile(kept.name, target, false) == Renamed::yes) {
        removeFile(kept.name); // which is still there when both are names of one file
        return;
    }
    const bool lasts = kept.name == kept.lasting || renameFile(kept.name, kept.lasting, false) == Renamed::yes;
    if (former != nullptr) {
        *former = std::move(lasts ? kept.lasting : kept.name);
    }
}

} // namespace

TemporaryFile::TemporaryFile(TemporaryFile&& other) noexcept
    : file(std::move(other.file)), m_path(std::exchange(other.m_path, {})), m_guard(std::move(other.m_guard)),
      m_claim(std::move(other.m_claim))
{
}

TemporaryFile TemporaryFile::beside(const std::string& target)
{
    constexpr unsigned kMostNames = 100;
    const fs::path directory = pathFrom(target).parent_path();
    const bool replaces = fileStatus(target).isRegular;
    removeAbandonedFiles(directory);
    TemporaryFile made;
    for (unsigned attempt = 0; attempt < kMostNames; ++attempt) {
        std::string path = textOf(directory / temporaryName(attempt, kTemporaryEnd));
        const EndingSignalsWait untilItIsNoted;
        // Nobody may open it while its permissions are not those of the target yet.
        made.file = openFile(path, replaces ? OpenMode::createPrivately : OpenMode::create);
        if (made.file && !made.file.claim()) {
            continue;
        }
        if (made.file) {
            made.m_path = std::move(path); // needs no memory, so that the file cannot stay
            made.m_guard = RemovedWhenKilled(made.m_path);
            if (!made.m_guard) {
                made = TemporaryFile();
                errno = EMFILE;
            }
            break;
        }
        if (errno != EEXIST) {
            break;
        }
    }
    if (made.file) {
        made.m_claim = made.file.shared();
        if (replaces) {
            made.file.takePermissionsOf(target);
        }
    }
    return made;
}

TemporaryFile& TemporaryFile::operator=(TemporaryFile&& other) noexcept
{
    std::swap(file, other.file);
    std::swap(m_path, other.m_path);
    std::swap(m_guard, other.m_guard);
    std::swap(m_claim, other.m_claim);
    return *this;
}

TemporaryFile::~TemporaryFile()
{
    if (!m_path.empty()) {
        file = File();
        removeFile(m_path);
    }
}

bool TemporaryFile::takePlaceOf(const std::string& target)
{
    return takeTheirPlaces({{this, target}}) == 1;
}

std::size_t TemporaryFile::takeTheirPlaces(const std::vector<Placing>& placings, std::string* former)
{
    const EndingSignalsWait untilAllOrNoneIsThere;
    std::vector<Kept> kept(placings.size());
    const auto place = [&](std::size_t i) {
        // What stood at the last one is never asked back.
        const bool undoable = i + 1 == placings.size() || keepUnderAnotherName(placings[i].target, kept[i]);
        return undoable && renameFile(placings[i].file->m_path, placings[i].target, false) == Renamed::yes;
    };
    std::size_t done = 0;
    while (done < placings.size() && place(done)) {
        ++done;
    }
    if (done < placings.size()) {
        const int why = errno;
        for (std::size_t i = 0; i <= done; ++i) {
            kept[i].claim = File();
            if (!kept[i].name.empty()) {
                putBack(kept[i], placings[i].target, former);
            } else if (i < done) {
                removeFile(placings[i].target);
            }
        }
        errno = why;
        return done;
    }
    for (std::size_t i = 0; i < placings.size(); ++i) {
        if (!kept[i].name.empty()) {
            removeFile(kept[i].name);
        }
        TemporaryFile& file = *placings[i].file;
        file.m_path.clear();
        file.m_guard = RemovedWhenKilled();
        file.m_claim = File();
    }
    return done;
}

} // namespace kor::platform
