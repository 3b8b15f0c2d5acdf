#include "recordings/Compression.h"

#include "recordings/Cells.h"

namespace kor::recordings {

namespace {

struct Ending {
    Compression compression;
    std::string_view text;
};
constexpr Ending kEndings[] = {{Compression::gzip, ".gz"}, {Compression::zstandard, ".zst"}};

bool endsWith(std::string_view path, std::string_view ending)
{
    return path.size() >= ending.size() && folded(path.substr(path.size() - ending.size())) == ending;
}

} // namespace

Compression compressionOf(std::string_view start)
{
    if (start.starts_with("\x1f\x8b\x08")) {
        return Compression::gzip;
    }
    // A frame of data, or one of the sixteen that are skipped, with which programs that work in parallel begin.
    const bool skipped = start.size() >= kCompressionMark && (static_cast<unsigned char>(start[0]) & 0xf0U) == 0x50U &&
                         start.substr(1).starts_with("\x2a\x4d\x18");
    return skipped || start.starts_with("\x28\xb5\x2f\xfd") ? Compression::zstandard : Compression::none;
}

Compression compressionNamed(std::string_view path)
{
    for (const Ending& ending : kEndings) {
        if (endsWith(path, ending.text)) {
            return ending.compression;
        }
    }
    return Compression::none;
}

std::string_view withoutCompression(std::string_view path)
{
    for (const Ending& ending : kEndings) {
        if (endsWith(path, ending.text)) {
            path.remove_suffix(ending.text.size());
            return path;
        }
    }
    return path;
}

bool hasExtension(std::string_view path, std::string_view extension)
{
    return endsWith(withoutCompression(path), extension);
}

std::string_view nameOf(Compression compression)
{
    return compression == Compression::gzip ? "gzip" : "Zstandard";
}

std::unique_ptr<Unpacker> makeUnpacker(Compression compression)
{
    return compression == Compression::gzip ? makeGzipUnpacker() : makeZstandardUnpacker();
}

std::unique_ptr<Packer> makePacker(Compression compression)
{
    return compression == Compression::gzip ? makeGzipPacker() : makeZstandardPacker();
}

} // namespace kor::recordings
