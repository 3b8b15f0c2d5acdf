// In place of Zstandard.cpp where its library is not there.
#include "recordings/Compression.h"

namespace kor::recordings {

std::unique_ptr<Unpacker> makeZstandardUnpacker()
{
    return nullptr;
}

std::unique_ptr<Packer> makeZstandardPacker()
{
    return nullptr;
}

} // namespace kor::recordings
