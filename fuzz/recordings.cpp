// Recordings, results and truth: CSV, binary, compressed, whatever a file may hold. Reading comes to an end, every
// message is fit for a terminal, what was read can be written and read again, and a compressed file is read as its
// content.
//
// The first byte of the input chooses what is expected, the second one whether the content is packed besides.
#include "Fuzz.h"
#include "recordings/Compression.h"
#include "recordings/Reader.h"
#include "recordings/Recognition.h"
#include "recordings/Writer.h"

#include <optional>
#include <type_traits>
#include <vector>

namespace {

using kor::recordings::Compression;
using kor::recordings::Format;
using kor::recordings::Problem;
using kor::recordings::Result;
using kor::recordings::Step;
using kor::recordings::Truth;
using kor_fuzz::require;

// A small compressed file may hold rows for minutes.
constexpr std::size_t kMostSteps = 5000;

// What a reader tells of a file, in its order.
struct Account {
    std::string text;  // steps, places and problems
    std::string rows;  // the samples as CSV
    std::string bytes; // and in the binary form of their kind
    std::size_t samples = 0;
    std::size_t bad = 0;
    bool writable = true; // the writers write what the readers of their own files expect
};

void tell(Account& account, char step, const Problem& problem)
{
    const std::string text = kor::recordings::text(problem);
    require(problem.kind != Problem::Kind::none && !text.empty(), "a fault has a text");
    require(kor_fuzz::isShown(text) && text.size() < 1000, "a message is short and printable");
    account.text += step + text + "\n";
}

template <typename Record>
void append(std::string& rows, Format format, const Record& record)
{
    static std::vector<char> room(kor::recordings::Rows<Record>::longest());
    char* const end = kor::recordings::Rows<Record>(format).append(room.data(), record);
    require(end <= room.data() + room.size(), "a row is no longer than the longest");
    rows.append(room.data(), end);
}

template <typename Record>
Account read(std::string_view content, std::optional<Format> format)
{
    static kor_fuzz::MemoryFile memory;
    memory.write(content);
    Account account;
    Problem problem;
    const auto reader = kor::recordings::RecordReader<Record>::open(memory.path(), format, problem);
    if (!reader) {
        tell(account, 'x', problem);
        return account;
    }
    for (const Problem& warning : reader->warnings()) {
        tell(account, 'w', warning);
    }
    Record record{};
    std::uint64_t place = 0;
    for (std::size_t steps = 0; steps < kMostSteps; ++steps) {
        const Step step = reader->next(record);
        if (step == Step::end) {
            account.text += "end\n";
            break;
        }
        if (step == Step::failed) {
            tell(account, 'f', reader->problem());
            break;
        }
        require(step != Step::pending, "a file never has to wait");
        require(reader->place() > place, "places ascend");
        place = reader->place();
        if (step == Step::bad) {
            tell(account, 'b', reader->problem());
            ++account.bad;
            continue;
        }
        ++account.samples;
        account.text += 's' + std::to_string(place) + "\n";
        append(account.rows, Format::csv, record);
        if constexpr (std::is_same_v<Record, Truth>) {
            const std::string_view note = record.note;
            account.writable = account.writable && note.find_first_of(",\"\t ") == std::string_view::npos;
        } else {
            append(account.bytes, Format::binary, record);
        }
    }
    return account;
}

// The samples, written, are read again as the same ones.
template <typename Record>
void readAgain(const Account& first)
{
    if (first.samples == 0 || !first.writable) {
        return;
    }
    using Rows = kor::recordings::Rows<Record>;
    const Account again = read<Record>(Rows(Format::csv).header() + first.rows, Format::csv);
    require(again.samples == first.samples && again.bad == 0, "written rows can be read");
    require(again.rows == first.rows, "written rows are read as the same numbers");
    // Records that look like text are never read as records.
    if (!first.bytes.empty() && !isText(kor::recordings::recognise(first.bytes).content)) {
        const Account binary = read<Record>(Rows(Format::binary).header() + first.bytes, Format::binary);
        require(binary.samples == first.samples && binary.bad == 0, "written records can be read");
        require(binary.bytes == first.bytes && binary.rows == first.rows,
                "written records are read as the same numbers");
    }
}

std::string packed(std::string_view content, Compression compression, std::size_t piece)
{
    std::string all;
    const auto packer = kor::recordings::makePacker(compression);
    const auto sink = [&all](std::string_view bytes) {
        all += bytes;
        return true;
    };
    for (; content.size() > piece; content.remove_prefix(piece)) {
        require(packer->pack(content.substr(0, piece), false, sink), "bytes can be packed");
    }
    require(packer->pack(content, true, sink), "the last bytes can be packed");
    return all;
}

template <typename Record>
void run(std::string_view content, std::optional<Format> format, std::size_t packing)
{
    const Account account = read<Record>(content, format);
    readAgain<Record>(account);
    if (packing % 4 == 0 || kor::recordings::compressionOf(content) != Compression::none || content.empty()) {
        return;
    }
    const Compression compression = packing % 2 == 0 ? Compression::gzip : Compression::zstandard;
    const Account same = read<Record>(packed(content, compression, packing), format);
    require(same.text == account.text && same.rows == account.rows, "a compressed file is read as its content");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    kor_fuzz::Bytes in(data, size);
    const std::size_t kind = in.below(9);
    const std::size_t packing = in.below(256);
    const std::optional<Format> formats[] = {std::nullopt, Format::csv, Format::binary};
    const std::optional<Format> format = formats[kind % 3];
    const std::string_view content = in.rest();
    if (kind < 3) {
        run<KOR_RAWINFO>(content, format, packing);
    } else if (kind < 6) {
        run<Result>(content, format, packing);
    } else {
        run<Truth>(content, format, packing);
    }
    return 0;
}
