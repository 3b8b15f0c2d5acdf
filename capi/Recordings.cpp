#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "capi/Answer.h"
#include "recordings/Compression.h"
#include "recordings/Output.h"
#include "recordings/Problem.h"
#include "recordings/Reader.h"
#include "recordings/Writer.h"

using kor::kBadArgument;
using kor::kCannotOpen;
using kor::kFormatError;
using kor::kNotLoaded;
using kor::kSuccess;
using kor::capi::anyNull;
using kor::recordings::Format;
using kor::recordings::Problem;

namespace kor::capi {

// What the last operation on a file has met.
struct FileAccount {
    Problem problem{};
    std::int32_t status = kSuccess;
    bool goesOn = false;
    bool outOfMemory = false;

    std::int32_t fail(Problem met, bool andGoesOn = false)
    {
        status = met.kind == Problem::Kind::badData ? kFormatError : kCannotOpen;
        problem = std::move(met);
        goesOn = andGoesOn;
        return status;
    }

    // An operation, of which this is the account from now on.
    template <typename Work, typename GiveUp>
    std::int32_t of(Work work, GiveUp giveUp)
    {
        *this = FileAccount();
        bool isDone = false;
        const std::int32_t result = answer([&] {
            const std::int32_t met = work();
            isDone = true;
            return met;
        });
        if (!isDone) {
            giveUp();
            *this = FileAccount();
            outOfMemory = true;
            status = result;
        }
        return result;
    }

    std::int32_t give(kor_problem* into) const
    {
        return capi::give({0, status, problem.line, problem.record, problem.byte, goesOn ? 1 : 0, outOfMemory ? 1 : 0},
                          into);
    }

    std::int32_t giveText(std::int32_t which, char* text, std::size_t room, std::size_t* length) const
    {
        if (which < KOR_TEXT_SENTENCE || which > KOR_TEXT_RULE) {
            return kBadArgument;
        }
        return answer([&] { return capi::giveText(part(which), text, room, length); });
    }

private:
    std::string part(std::int32_t which) const
    {
        switch (which) {
        case KOR_TEXT_SENTENCE:
            return outOfMemory ? "there is not enough memory" : text(problem);
        case KOR_TEXT_FILE:
            return problem.file;
        case KOR_TEXT_FIELD:
            return problem.column;
        case KOR_TEXT_FOUND:
            return problem.found;
        case KOR_TEXT_EXPECTED:
            return problem.expected;
        case KOR_TEXT_REASON:
            return problem.reason;
        case KOR_TEXT_ADVICE:
            return problem.advice;
        default:
            return {};
        }
    }
};

} // namespace kor::capi

using kor::capi::FileAccount;

namespace {

bool isFormat(std::int32_t format)
{
    return format >= KOR_FORMAT_ANY && format <= KOR_FORMAT_BINARY;
}

std::optional<Format> formatOf(std::int32_t format)
{
    if (format == KOR_FORMAT_ANY) {
        return std::nullopt;
    }
    return format == KOR_FORMAT_BINARY ? Format::binary : Format::csv;
}

} // namespace

struct kor_reader {
    std::unique_ptr<kor::recordings::Reader> file{};
    bool failed = false; // the rest of the file cannot be read
    FileAccount account{};

    std::int32_t read(KOR_RAWINFO* raw, std::size_t room, std::size_t& count);
};

struct kor_writer {
    std::unique_ptr<kor::recordings::Output> file{};
    std::unique_ptr<kor::recordings::RecordingWriter> rows{};
    FileAccount account{};

    void drop()
    {
        rows.reset();
        file.reset();
    }
};

std::int32_t kor_reader::read(KOR_RAWINFO* raw, std::size_t room, std::size_t& count)
{
    using Step = kor::recordings::Step;
    while (count < room) {
        KOR_RAWINFO sample{}; // a file may leave out what the engine does not read
        const Step step = file->next(sample);
        if (step == Step::sample) {
            raw[count++] = sample;
        } else if (step == Step::end || step == Step::pending) {
            break;
        } else {
            failed = step == Step::failed;
            return account.fail(file->problem(), !failed);
        }
    }
    return kSuccess;
}

std::int32_t kor_reader_create(kor_reader** reader)
{
    return kor::capi::create(reader);
}

std::int32_t kor_reader_destroy(kor_reader* reader)
{
    return kor::capi::destroy(reader);
}

std::int32_t kor_reader_open(kor_reader* reader, const char* path, std::int32_t format)
{
    if (anyNull(reader) || anyNull(path) || !isFormat(format)) {
        return kBadArgument;
    }
    reader->file.reset();
    reader->failed = false;
    return reader->account.of(
        [&] {
            Problem problem;
            reader->file = kor::recordings::Reader::open(path, formatOf(format), problem);
            return reader->file ? static_cast<std::int32_t>(kSuccess) : reader->account.fail(std::move(problem));
        },
        [&] { reader->file.reset(); });
}

std::int32_t kor_reader_read(kor_reader* reader, KOR_RAWINFO* raw, std::size_t room, std::size_t* count)
{
    if (anyNull(reader) || anyNull(raw) || anyNull(count) || room == 0) {
        return kBadArgument;
    }
    *count = 0;
    if (!reader->file) {
        return kNotLoaded;
    }
    if (reader->failed) {
        return reader->account.status;
    }
    return reader->account.of([&] { return reader->read(raw, room, *count); }, [&] { reader->failed = true; });
}

std::int32_t kor_reader_place(const kor_reader* reader, std::uint64_t* place)
{
    if (anyNull(reader) || anyNull(place)) {
        return kBadArgument;
    }
    if (!reader->file) {
        return kNotLoaded;
    }
    *place = reader->file->place();
    return kSuccess;
}

std::int32_t kor_reader_problem(const kor_reader* reader, kor_problem* problem)
{
    return anyNull(reader) || !kor::capi::isThere(problem) ? kBadArgument : reader->account.give(problem);
}

std::int32_t kor_reader_problem_text(const kor_reader* reader, std::int32_t which, char* text, std::size_t room,
                                     std::size_t* length)
{
    return anyNull(reader) ? kBadArgument : reader->account.giveText(which, text, room, length);
}

std::int32_t kor_reader_warnings(const kor_reader* reader, std::size_t* count)
{
    if (anyNull(reader) || anyNull(count)) {
        return kBadArgument;
    }
    if (!reader->file) {
        return kNotLoaded;
    }
    *count = reader->file->warnings().size();
    return kSuccess;
}

std::int32_t kor_reader_warning_text(const kor_reader* reader, std::size_t index, char* text, std::size_t room,
                                     std::size_t* length)
{
    if (anyNull(reader)) {
        return kBadArgument;
    }
    if (!reader->file) {
        return kNotLoaded;
    }
    if (index >= reader->file->warnings().size()) {
        return kBadArgument;
    }
    return kor::capi::answer([&] {
        return kor::capi::giveText(kor::recordings::text(reader->file->warnings()[index]), text, room, length);
    });
}

std::int32_t kor_reader_close(kor_reader* reader)
{
    if (anyNull(reader)) {
        return kBadArgument;
    }
    const bool wasOpen = reader->file != nullptr;
    reader->file.reset();
    return wasOpen ? kSuccess : kNotLoaded;
}

std::int32_t kor_writer_create(kor_writer** writer)
{
    return kor::capi::create(writer);
}

std::int32_t kor_writer_destroy(kor_writer* writer)
{
    return kor::capi::destroy(writer);
}

std::int32_t kor_writer_open(kor_writer* writer, const char* path, std::int32_t format)
{
    if (anyNull(writer) || anyNull(path) || !isFormat(format)) {
        return kBadArgument;
    }
    writer->drop();
    return writer->account.of(
        [&] {
            Problem problem;
            writer->file = kor::recordings::Output::open(path, problem);
            if (!writer->file) {
                return writer->account.fail(std::move(problem));
            }
            const Format named = kor::recordings::hasExtension(path, ".korraw") ? Format::binary : Format::csv;
            writer->rows =
                std::make_unique<kor::recordings::RecordingWriter>(*writer->file, formatOf(format).value_or(named));
            return static_cast<std::int32_t>(kSuccess);
        },
        [&] { writer->drop(); });
}

std::int32_t kor_writer_write(kor_writer* writer, const KOR_RAWINFO* raw, std::size_t count)
{
    if (anyNull(writer) || (anyNull(raw) && count > 0)) {
        return kBadArgument;
    }
    if (!writer->file) {
        return kNotLoaded;
    }
    return writer->account.of(
        [&] {
            for (std::size_t i = 0; i < count; ++i) {
                if (!writer->rows->write(raw[i])) {
                    return writer->account.fail(writer->file->problem());
                }
            }
            return static_cast<std::int32_t>(kSuccess);
        },
        [&] { writer->drop(); });
}

std::int32_t kor_writer_close(kor_writer* writer)
{
    if (anyNull(writer)) {
        return kBadArgument;
    }
    if (!writer->file) {
        return kNotLoaded;
    }
    const std::int32_t status = writer->account.of(
        [&] {
            return writer->file->close() ? static_cast<std::int32_t>(kSuccess)
                                         : writer->account.fail(writer->file->problem());
        },
        [] {});
    writer->drop();
    return status;
}

std::int32_t kor_writer_problem(const kor_writer* writer, kor_problem* problem)
{
    return anyNull(writer) || !kor::capi::isThere(problem) ? kBadArgument : writer->account.give(problem);
}

std::int32_t kor_writer_problem_text(const kor_writer* writer, std::int32_t which, char* text, std::size_t room,
                                     std::size_t* length)
{
    return anyNull(writer) ? kBadArgument : writer->account.giveText(which, text, room, length);
}
