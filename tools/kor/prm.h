// The commands of the group `kor prm`, a source file each.
#pragma once

#include <cstdint>
#include <string>

#include "tools/kor/Commands.h"
#include "tools/kor/PrmContent.h"

namespace kor::tool {

Command declarePrmCheck(CLI::App& group);
Command declarePrmDiff(CLI::App& group);
Command declarePrmFromJson(CLI::App& group);
Command declarePrmJson(CLI::App& group);
Command declarePrmNew(CLI::App& group);
Command declarePrmRewrite(CLI::App& group);
Command declarePrmShow(CLI::App& group);

/// Warns if a file holds more than its content says.
/// Given     unread, rest  what values that could not be read, and text behind the last block, are in the output
void warnOfLosses(const PrmContent& content, const std::string& path, const char* unread, const char* rest);

/// Warns if a file that was written is not named as the library looks for it.
void noteName(const std::string& path, std::int32_t id);

} // namespace kor::tool
