#include "recordings/Output.h"

#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>

#include "platform/Text.h"

namespace kor::recordings {

namespace fs = std::filesystem;

std::string partialName(const std::string& path)
{
    const std::string_view plain = withoutCompression(path);
    const fs::path target = platform::pathFrom(std::string(plain));
    std::string name = platform::textOf(target.stem()) + ".partial" + platform::textOf(target.extension());
    name += std::string_view(path).substr(plain.size());
    return platform::textOf(target.parent_path() / platform::pathFrom(name));
}

namespace {

// A file that the user may not write is not to be replaced by way of its directory either.
bool mayBeReplaced(const std::string& path)
{
    return !platform::fileStatus(path).isRegular || platform::openAnyForWriting(path);
}

} // namespace

std::unique_ptr<Output> Output::open(const std::string& path, Problem& problem)
{
    std::unique_ptr<Output> output(new Output());
    if (path == "-") {
        output->m_title = "standard output";
        output->m_direct = platform::File::standard(platform::kStandardOutput);
        return output;
    }
    output->m_title = platform::shown(path);
    problem = {.kind = Problem::Kind::cannotCreate, .file = output->m_title};
    if (const Compression compression = compressionNamed(path); compression != Compression::none) {
        output->m_packer = makePacker(compression);
        if (!output->m_packer) {
            problem.reason = "this build cannot write " + std::string(nameOf(compression));
            problem.advice = "choose a name without that ending and compress the file afterwards";
            return nullptr;
        }
    }
    std::error_code error;
    const fs::file_status status = fs::status(platform::pathFrom(path), error);
    if (fs::is_directory(status)) {
        problem.reason = "it is a directory";
        return nullptr;
    }
    const std::optional<std::string> led = platform::behindLinks(path);
    if (!led) {
        problem.reason = platform::lastError();
        problem.advice = "remove the symbolic link or choose another name";
        return nullptr;
    }
    // The link /dev/stdout leads to a pipe, or to a file whose name is gone: what it says is not a path then.
    const bool hasPath = platform::fileId(*led) == platform::fileId(path);
    if (fs::exists(status) && (!fs::is_regular_file(status) || !hasPath)) {
        output->m_direct = platform::openAnyForWriting(path);
    } else {
        if (!mayBeReplaced(*led)) {
            problem.reason = platform::lastError();
            problem.advice = "the file that is there stays; make it writable or choose another name";
            return nullptr;
        }
        // A link stays a link: what it leads to is replaced.
        output->m_target = *led;
        output->m_temporary = platform::TemporaryFile::beside(output->m_target);
    }
    if (!output->file()) {
        problem.reason = platform::lastError();
        return nullptr;
    }
    problem = {};
    return output;
}

char* Output::room(std::size_t count)
{
    if (m_buffer.size() - m_used < count) {
        flush();
    }
    return m_buffer.data() + m_used;
}

bool Output::write(std::string_view bytes)
{
    if (bytes.size() >= kLarge) {
        flush();
        pass(bytes);
    } else if (!bytes.empty()) {
        std::memcpy(room(bytes.size()), bytes.data(), bytes.size());
        filled(bytes.size());
    }
    return !m_problem;
}

void Output::flush()
{
    pass({m_buffer.data(), m_used});
    m_used = 0;
}

void Output::pass(std::string_view bytes)
{
    if (!bytes.empty() && !m_problem && !put(bytes, false)) {
        fail(Problem::Kind::cannotWrite, "");
    }
}

bool Output::put(std::string_view bytes, bool last)
{
    if (!m_packer) {
        return file().write(bytes);
    }
    return m_packer->pack(bytes, last, [this](std::string_view packed) { return file().write(packed); });
}

bool Output::close()
{
    return closeAs(m_target);
}

bool Output::closePartial()
{
    return closeAs(partialPath());
}

bool Output::closeTogether(Output& first, Output& second)
{
    std::string paths[2] = {first.m_target, second.m_target};
    if (!first.complete(paths[0]) || !second.complete(paths[1])) {
        return false;
    }
    std::vector<Output*> placed;
    std::vector<platform::TemporaryFile::Placing> placings;
    for (Output* const output : {&first, &second}) {
        const std::string& path = paths[output == &first ? 0 : 1];
        if (!path.empty()) {
            placed.push_back(output);
            placings.push_back({&output->m_temporary, path});
        }
    }
    std::string former;
    const std::size_t failing = platform::TemporaryFile::takeTheirPlaces(placings, &former);
    if (failing < placed.size()) {
        placed[failing]->failPlacing(placings[failing].target);
        if (!former.empty()) {
            placed[failing]->m_problem.advice = platform::shown(placings.front().target) +
                                                " holds the new content; move back what was there before from " +
                                                platform::shown(former);
        }
    }
    return failing == placed.size();
}

bool Output::closeAs(std::string path)
{
    if (complete(path) && !path.empty() && !m_temporary.takePlaceOf(path)) {
        failPlacing(path);
    }
    return !m_problem;
}

// All but its place. The path is that behind the links that lie there by now.
bool Output::complete(std::string& path)
{
    flush();
    if (m_packer && !m_problem && !put({}, true)) {
        fail(Problem::Kind::cannotWrite, "");
    }
    if (!path.empty() && !m_problem) {
        const std::optional<std::string> led = platform::behindLinks(path);
        if (!led || !mayBeReplaced(*led)) {
            failPlacing(path);
        } else {
            path = *led;
            m_temporary.file.takePermissionsOf(path);
        }
    }
    if (!file().close() && !m_problem) {
        fail(Problem::Kind::cannotWrite, "");
    }
    return !m_problem;
}

void Output::failPlacing(const std::string& path)
{
    fail(Problem::Kind::cannotCreate, "the complete file cannot take its place: ");
    m_problem.file = path == m_target ? m_title : platform::shown(path);
}

void Output::fail(Problem::Kind kind, const std::string& what)
{
    kind = platform::isBrokenPipe() ? Problem::Kind::nobodyReads : kind;
    m_problem = {.kind = kind, .file = m_title, .reason = what + platform::lastError()};
}

} // namespace kor::recordings
