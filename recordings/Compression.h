// Compressed files: bytes in and out, piece by piece and in bounded memory.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace kor::recordings {

enum class Compression { none, gzip, zstandard };

/// How many bytes of a file tell how it is compressed.
inline constexpr std::size_t kCompressionMark = 4;

/// By the bytes that a file begins with.
Compression compressionOf(std::string_view start);

/// By the end of a file's name: .gz or .zst, in any case.
Compression compressionNamed(std::string_view path);

/// A path without the ending that tells the compression.
std::string_view withoutCompression(std::string_view path);

/// Whether the name of a file ends so, in any case, before the ending that tells the compression.
bool hasExtension(std::string_view path, std::string_view extension);

/// What the format is called in messages.
std::string_view nameOf(Compression compression);

/// Unpacks one file, of one or several compressed pieces that stand one behind the other. Without memory it throws
/// std::bad_alloc, and so does a packer.
class Unpacker {
public:
    virtual ~Unpacker() = default;

    struct Progress {
        std::size_t taken = 0; ///< bytes of in
        std::size_t made = 0;  ///< bytes of out
    };

    /// Takes from in and fills out, as far as either goes; neither moves at a fault.
    virtual Progress unpack(std::string_view in, char* out, std::size_t room) = 0;

    /// Whether the file may end here.
    virtual bool isComplete() const = 0;

    /// What is wrong with the data; empty when nothing is.
    const std::string& fault() const { return m_fault; }

protected:
    std::string m_fault;
};

/// Packs one file.
class Packer {
public:
    /// Takes packed bytes; false when they cannot be kept, which ends the packing.
    using Sink = std::function<bool(std::string_view)>;

    virtual ~Packer() = default;

    /// Packs all of the bytes. With last set the file is complete.
    /// Returned  result  false when the sink says so
    virtual bool pack(std::string_view bytes, bool last, const Sink& sink) = 0;
};

/// Null when this build does not know the format.
std::unique_ptr<Unpacker> makeUnpacker(Compression compression);
std::unique_ptr<Packer> makePacker(Compression compression);

/// One source each; a build without the library has one that returns null.
std::unique_ptr<Unpacker> makeGzipUnpacker();
std::unique_ptr<Packer> makeGzipPacker();
std::unique_ptr<Unpacker> makeZstandardUnpacker();
std::unique_ptr<Packer> makeZstandardPacker();

} // namespace kor::recordings
