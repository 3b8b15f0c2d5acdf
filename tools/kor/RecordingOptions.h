// Options of the commands that read recordings and write what they make of them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "recordings/Columns.h"
#include "tools/kor/CommandLine.h"
#include "tools/kor/Options.h"
#include "tools/kor/Tally.h"

namespace kor::tool {

/// The values of --input-format, of --format, and of --from and --to; nothing, and no limit, for what was not given.
/// They throw Misuse for what they do not expect.
std::optional<recordings::Format> inputFormatOption(const std::optional<std::string>& text);
std::optional<recordings::Format> formatOption(const std::optional<std::string>& text);
Window windowOption(const std::optional<std::string>& from, const std::optional<std::string>& to);

/// What --input-format and --format accept.
Choices<recordings::Format> inputFormatChoices();
Choices<recordings::Format> formatChoices();

/// What the names of recordings, results and truths end in.
std::vector<std::string> recordingEndings();
std::vector<std::string> resultEndings();
std::vector<std::string> truthEndings();
std::vector<std::string> rowEndings(); ///< all of them

/// Declares --progress.
void declareProgress(Subcommand& command, std::optional<std::string>& when);

/// Declares --from and --to, and --skip-bad, for commands that read rows or, of recordings alone, samples.
void declareWindow(Subcommand& command, std::optional<std::string>& from, std::optional<std::string>& to,
                   const std::string& rows);
DescribedOption& declareSkipBad(Subcommand& command, bool& skipBad);

} // namespace kor::tool
