// The rewriter of parameter files: the file is the old one or a complete new one, and a copy of a copy is the same
// copy.
//
// The first byte of the input chooses the mount mode of the object, the others are the file.
#include "Fuzz.h"
#include "params/file/Blocks.h"
#include "params/file/Writer.h"

namespace {

using kor::params::Block;
using kor::params::kBlocks;
using kor_fuzz::Folder;
using kor_fuzz::require;

constexpr const char* kName = "Tg7.prm";
constexpr std::int32_t kModes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, -1, 2147483647, -2147483647 - 1};

// The blocks without the rules by which a rewrite stops at "Mounting Mode" and leaves out the last block.
constexpr auto copiedWhole()
{
    auto blocks = kBlocks;
    for (Block& block : blocks) {
        block.copy.testedTitle = nullptr;
        block.copy.omitted = false;
    }
    return blocks;
}
constexpr auto kWhole = copiedWhole();

struct Copied {
    bool complete;
    unsigned message;
    std::string text;
};

Copied copyOf(std::span<const Block> blocks, std::string_view bytes, std::int32_t mode)
{
    static kor_fuzz::MemoryFile memory;
    memory.write({});
    kor::params::Scanner scanner(bytes);
    kor::platform::File out(memory.descriptor());
    float dynamic[7] = {};
    const kor::params::CopyReport report = kor::params::copyBlocks(blocks, scanner, bytes.size(), out, mode, dynamic);
    Copied copied{report.complete, report.messageId, memory.content()};
    kor::params::Digest digest;
    digest.add(copied.text);
    require(digest == report.digest, "the digest is that of what was written");
    return copied;
}

void rewrite(const Folder& folder, std::string_view source, std::int32_t mode)
{
    folder.write(kName, source);
    ::unlink(kor::params::kTemporaryName);
    const Copied wanted = copyOf(kBlocks, source, mode);

    int waits = 0;
    float dynamic[7] = {};
    const auto wait = [&](std::uint32_t milliseconds) {
        ++waits;
        require(milliseconds == kor::params::kSettleMs, "each wait takes half a second");
        require(Folder::read(kName) == source, "the old file stands until the waits are over");
        require(Folder::read(kor::params::kTemporaryName) == wanted.text, "the copy is complete before the waits");
    };
    const kor::params::RewriteReport report =
        kor::params::rewriteFile(folder.path() + "/" + kName, mode, dynamic, wait);
    const std::string after = Folder::read(kName);
    if (wanted.complete) {
        require(report.status == 0 && report.messageId == 0 && waits == 2, "a complete copy takes the file's place");
        require(after == wanted.text && !Folder::holds(kor::params::kTemporaryName), "the file is the copy");
        // It holds a mount mode, which the next rewrite refuses.
        const kor::params::RewriteReport again =
            kor::params::rewriteFile(folder.path() + "/" + kName, mode, dynamic, [](std::uint32_t) {});
        require(again.status == 553 && Folder::read(kName) == after, "a rewritten file is not rewritten again");
    } else {
        require(report.status == 553 && report.messageId == wanted.message && waits == 0, "a broken copy is refused");
        require(after == source, "a file that is not rewritten stays as it was");
        require(Folder::read(kor::params::kTemporaryName) == wanted.text, "the blocks before the failure are left");
    }
}

void copyTheCopies(std::string_view source, std::int32_t mode)
{
    const Copied first = copyOf(kWhole, source, mode);
    // Without its tilt Y table a file cannot have what follows.
    if (!first.complete || first.text.find(kor::params::kTiltYTitle) == std::string::npos) {
        return;
    }
    const Copied second = copyOf(kWhole, first.text, mode);
    require(second.complete, "a copy can be copied");
    // Of default scale factors seven are written, and the next copy adds the eighth.
    const bool defaults = first.text.find("0.000000\t1.000000\t1.000000\t1.000000\t") != std::string::npos;
    require(second.text == first.text || defaults, "a copy of a copy is the same copy");
    require(copyOf(kWhole, second.text, mode).text == second.text, "and stays so");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Folder folder;
    kor_fuzz::Bytes in(data, size);
    const std::int32_t mode = in.pick(kModes);
    const std::string_view source = in.rest();
    rewrite(folder, source, mode);
    copyTheCopies(source, mode);
    return 0;
}
