#include "recordings/Output.h"

#include <cstring>
#include <filesystem>
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
            problem.advice = "choose a name that ends in .gz, or compress the file later";
            return nullptr;
        }
    }
    std::error_code error;
    const fs::path target = platform::pathFrom(path);
    const fs::file_status status = fs::status(target, error);
    if (fs::is_directory(status)) {
        problem.reason = "it is a directory";
        return nullptr;
    }
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        output->m_direct = platform::openAnyForWriting(path);
    } else {
        // A link stays a link: what it leads to is replaced.
        output->m_target = path;
        if (fs::is_symlink(fs::symlink_status(target, error))) {
            if (const fs::path led = fs::weakly_canonical(target, error); !error) {
                output->m_target = platform::textOf(led);
            }
        }
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

bool Output::closeAs(const std::string& path)
{
    flush();
    if (m_packer && !m_problem && !put({}, true)) {
        fail(Problem::Kind::cannotWrite, "");
    }
    if (!file().close() && !m_problem) {
        fail(Problem::Kind::cannotWrite, "");
    }
    if (!m_problem && !path.empty() && !m_temporary.takePlaceOf(path)) {
        fail(Problem::Kind::cannotCreate, "the complete file cannot take its place: ");
    }
    return !m_problem;
}

void Output::fail(Problem::Kind kind, const std::string& what)
{
    kind = platform::isBrokenPipe() ? Problem::Kind::nobodyReads : kind;
    m_problem = {.kind = kind, .file = m_title, .reason = what + platform::lastError()};
}

} // namespace kor::recordings
