#include <algorithm>
#include <array>
#include <limits>
#include <new>

#include <zlib.h>

#include "recordings/Compression.h"

namespace kor::recordings {

namespace {

constexpr int kWindow = 15; // the largest, 32 kB
constexpr int kGzip = 16;   // added to the window: with gzip's header and check sum
constexpr int kMemory = 8;  // zlib's default
constexpr int kUnknownSystem = 255;

// The lack of memory is not a fault of the data or of the disk.
void throwIfZlibLacksMemory(int code)
{
    if (code == Z_MEM_ERROR) {
        throw std::bad_alloc();
    }
}

uInt bounded(std::size_t size)
{
    return static_cast<uInt>(std::min<std::size_t>(size, std::numeric_limits<uInt>::max()));
}

class GzipUnpacker final : public Unpacker {
public:
    GzipUnpacker() { throwIfZlibLacksMemory(inflateInit2(&m_stream, kWindow + kGzip)); }
    ~GzipUnpacker() override { inflateEnd(&m_stream); }
    GzipUnpacker(const GzipUnpacker&) = delete;
    GzipUnpacker& operator=(const GzipUnpacker&) = delete;

    Progress unpack(std::string_view in, char* out, std::size_t room) override
    {
        Progress progress;
        if (!m_fault.empty()) {
            return progress;
        }
        // zlib does not write to its input, but does not say so in its type.
        m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data()));
        m_stream.avail_in = bounded(in.size());
        m_stream.next_out = reinterpret_cast<Bytef*>(out);
        m_stream.avail_out = bounded(room);
        if (m_ended && m_stream.avail_in > 0) {
            inflateReset(&m_stream); // another member begins
            m_ended = false;
        }
        const uInt given = m_stream.avail_in;
        const uInt free = m_stream.avail_out;
        const int code = m_ended ? Z_BUF_ERROR : inflate(&m_stream, Z_NO_FLUSH);
        throwIfZlibLacksMemory(code);
        m_ended = m_ended || code == Z_STREAM_END;
        if (code != Z_OK && code != Z_STREAM_END && code != Z_BUF_ERROR) {
            m_fault = m_stream.msg != nullptr ? m_stream.msg : "the data are damaged";
        }
        progress.taken = given - m_stream.avail_in;
        progress.made = free - m_stream.avail_out;
        return progress;
    }

    bool isComplete() const override { return m_ended; }

private:
    z_stream m_stream{};
    bool m_ended = false;
};

class GzipPacker final : public Packer {
public:
    GzipPacker()
    {
        // The same bytes on every system and on every day: no time, no name, no system.
        m_header.os = kUnknownSystem;
        throwIfZlibLacksMemory(
            deflateInit2(&m_stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kWindow + kGzip, kMemory, Z_DEFAULT_STRATEGY));
        deflateSetHeader(&m_stream, &m_header);
    }
    ~GzipPacker() override { deflateEnd(&m_stream); }
    GzipPacker(const GzipPacker&) = delete;
    GzipPacker& operator=(const GzipPacker&) = delete;

    bool pack(std::string_view bytes, bool last, const Sink& sink) override
    {
        m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
        m_stream.avail_in = static_cast<uInt>(bytes.size());
        do {
            m_stream.next_out = reinterpret_cast<Bytef*>(m_packed.data());
            m_stream.avail_out = static_cast<uInt>(m_packed.size());
            deflate(&m_stream, last ? Z_FINISH : Z_NO_FLUSH);
            if (!sink({m_packed.data(), m_packed.size() - m_stream.avail_out})) {
                return false;
            }
        } while (m_stream.avail_out == 0);
        return true;
    }

private:
    z_stream m_stream{};
    gz_header m_header{};
    std::array<char, std::size_t{64} * 1024> m_packed{};
};

} // namespace

std::unique_ptr<Unpacker> makeGzipUnpacker()
{
    return std::make_unique<GzipUnpacker>();
}

std::unique_ptr<Packer> makeGzipPacker()
{
    return std::make_unique<GzipPacker>();
}

} // namespace kor::recordings
