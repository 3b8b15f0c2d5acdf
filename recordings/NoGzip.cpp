// In place of Gzip.cpp where its library is not there.
#include "recordings/Compression.h"

namespace kor::recordings {

std::unique_ptr<Unpacker> makeGzipUnpacker()
{
    return nullptr;
}

std::unique_ptr<Packer> makeGzipPacker()
{
    return nullptr;
}

} // namespace kor::recordings
