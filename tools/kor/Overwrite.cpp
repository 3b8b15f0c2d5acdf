#include "tools/kor/Overwrite.h"

#include <optional>

#include "platform/Text.h"
#include "tools/kor/Exit.h"

namespace kor::tool {

namespace {

// The shell may have turned a standard stream into a file.
std::optional<platform::FileId> fileBehind(const std::string& path, int stream)
{
    return path == "-" ? platform::File::standard(stream).id() : platform::fileId(path);
}

bool isSameFile(const std::string& output, const UsedFile& used)
{
    const std::optional<platform::FileId> target = fileBehind(output, platform::kStandardOutput);
    const std::optional<platform::FileId> other = fileBehind(used.path, used.stream);
    if (target || other) {
        return target == other;
    }
    // An input that is not there takes no harm, and a device may be read and written. Two outputs must not become one.
    const bool standard = output == "-" || used.path == "-";
    return used.stream == platform::kStandardOutput &&
           (standard ? output == used.path : platform::leadToSameFile(output, used.path));
}

} // namespace

void refuseToOverwrite(const std::string& option, const std::string& output, const std::vector<UsedFile>& used)
{
    for (const UsedFile& file : used) {
        if (isSameFile(output, file)) {
            throw Misuse((output == "-" ? "standard output" : option + ": " + platform::shown(output)) + " is " +
                         file.what + "; choose another name");
        }
    }
}

} // namespace kor::tool
