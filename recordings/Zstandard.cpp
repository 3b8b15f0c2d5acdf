#include <array>
#include <new>

#include <zstd.h>
#include <zstd_errors.h>

#include "recordings/Compression.h"

namespace kor::recordings {

namespace {

// What a file may make the reader keep, as a power of two: 128 MB, more than any usual level asks for.
constexpr int kLargestWindow = 27;

// The lack of memory is not a fault of the data or of the disk.
void throwIfZstdLacksMemory(std::size_t result)
{
    if (ZSTD_getErrorCode(result) == ZSTD_error_memory_allocation) {
        throw std::bad_alloc();
    }
}

class ZstandardUnpacker final : public Unpacker {
public:
    ZstandardUnpacker() : m_context(ZSTD_createDCtx(), ZSTD_freeDCtx)
    {
        if (!m_context) {
            throw std::bad_alloc();
        }
        ZSTD_DCtx_setParameter(m_context.get(), ZSTD_d_windowLogMax, kLargestWindow);
    }

    Progress unpack(std::string_view in, char* out, std::size_t room) override
    {
        Progress progress;
        if (!m_fault.empty()) {
            return progress;
        }
        ZSTD_inBuffer from{in.data(), in.size(), 0};
        ZSTD_outBuffer into{out, room, 0};
        const std::size_t result = ZSTD_decompressStream(m_context.get(), &into, &from);
        throwIfZstdLacksMemory(result);
        if (ZSTD_isError(result) != 0) {
            m_fault = ZSTD_getErrorName(result);
        } else if (from.pos > 0 || into.pos > 0) {
            m_complete = result == 0;
        }
        progress.taken = from.pos;
        progress.made = into.pos;
        return progress;
    }

    bool isComplete() const override { return m_complete; }

private:
    std::unique_ptr<ZSTD_DCtx, decltype(&ZSTD_freeDCtx)> m_context;
    bool m_complete = false;
};

class ZstandardPacker final : public Packer {
public:
    ZstandardPacker() : m_context(ZSTD_createCCtx(), ZSTD_freeCCtx)
    {
        if (!m_context) {
            throw std::bad_alloc();
        }
        ZSTD_CCtx_setParameter(m_context.get(), ZSTD_c_checksumFlag, 1);
    }

    bool pack(std::string_view bytes, bool last, const Sink& sink) override
    {
        ZSTD_inBuffer from{bytes.data(), bytes.size(), 0};
        for (bool done = false; !done;) {
            ZSTD_outBuffer into{m_packed.data(), m_packed.size(), 0};
            const std::size_t left =
                ZSTD_compressStream2(m_context.get(), &into, &from, last ? ZSTD_e_end : ZSTD_e_continue);
            throwIfZstdLacksMemory(left);
            if (ZSTD_isError(left) != 0 || !sink({m_packed.data(), into.pos})) {
                return false;
            }
            done = last ? left == 0 : from.pos == from.size;
        }
        return true;
    }

private:
    std::unique_ptr<ZSTD_CCtx, decltype(&ZSTD_freeCCtx)> m_context;
    std::array<char, std::size_t{64} * 1024> m_packed{};
};

} // namespace

std::unique_ptr<Unpacker> makeZstandardUnpacker()
{
    return std::make_unique<ZstandardUnpacker>();
}

std::unique_ptr<Packer> makeZstandardPacker()
{
    return std::make_unique<ZstandardPacker>();
}

} // namespace kor::recordings
