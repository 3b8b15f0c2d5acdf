// The rewriting of a parameter file: a copy in the canonical layout that takes the file's place.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "params/file/Blocks.h"
#include "params/file/Scanner.h"
#include "platform/Files.h"

namespace kor::params {

/// Name of the copy until it takes the file's place, in the current directory.
inline constexpr const char* kTemporaryName = "$tmp.prm";

/// Each of the two waits before the copy takes the file's place.
inline constexpr std::uint32_t kSettleMs = 500;

/// Outcome of a rewriting.
struct RewriteReport {
    int status = 0;         ///< 0, 550 or 553
    unsigned messageId = 0; ///< of the string table; 0: no message
};

/// Recognises bytes by their number and their FNV-1a hash.
struct Digest {
    std::uint64_t length = 0;
    std::uint64_t hash = 14695981039346656037ULL;

    void add(std::string_view bytes) noexcept;
    bool operator==(const Digest&) const = default;
};

/// Outcome of a copying.
struct CopyReport {
    bool complete = false;
    unsigned messageId = 0; ///< of the block that made it end early
    Digest digest;          ///< of what was copied
};

/// Holds up the caller for that many milliseconds.
using Wait = std::function<void(std::uint32_t)>;

/// Copies a parameter file block by block to "$tmp.prm" and replaces it by the complete copy.
/// Given     path       of the file, UTF-8
///           mountMode  decides, instead of the file's own, whether there are blocks behind "Mounting Mode"
///           wait       called twice between the copying and the replacing
/// Returned  dynamicParameters  those values of the file's last block that parse
///           result     status 0 also when nothing is known of such a file, or when the copy cannot take its place:
///                      then it stays behind as "$tmp.prm" and the file as it was. The file also stays as it was when
///                      after the waits "$tmp.prm" is no longer what was copied
/// Notes  1  Throws nothing: without memory it fails with 553.
RewriteReport rewriteFile(const std::string& path, std::int32_t mountMode, float (&dynamicParameters)[7],
                          const Wait& wait) noexcept;

/// Copies blocks from where the scanner stands.
/// Given     size  bytes of the whole file, which bound the row counts
/// Returned  out   the blocks before the one that fails, and of that one what precedes the failure, with the line ends
///                 of the system's text files; whether the writing itself went well is for the caller to ask
/// Notes  1  A value that does not parse is written as 0, an Owner that is not there as an empty line.
///        2  Throws only std::bad_alloc or std::length_error.
CopyReport copyBlocks(std::span<const Block> blocks, Scanner& in, std::uint64_t size, platform::File& out,
                      std::int32_t mountMode, float (&dynamicParameters)[7]);

/// A float as "%f" prints it in the "C" locale: six decimals, every digit before them, inf and nan in small letters.
void appendFloat(std::string& out, float value);

} // namespace kor::params
