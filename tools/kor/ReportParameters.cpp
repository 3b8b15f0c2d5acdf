// The parameter file as a page shows it.

#include <cstdint>
#include <optional>

#include <fmt/format.h>

#include "KORInterface/ParameterCheck.h"
#include "KORInterface/Status.h"

#include "tools/kor/Commands.h"
#include "tools/kor/Exit.h"
#include "tools/kor/Options.h"
#include "tools/kor/ReportContent.h"

namespace kor::tool {

ReportParameters readReportParameters(const ParameterSource& source, std::optional<std::int32_t> mode)
{
    ReportParameters parameters;
    parameters.path = source.path();
    const int status = CheckParameterFile(source.directory.c_str(), static_cast<std::uint32_t>(source.id),
                                          mode.value_or(kModeOfFile), parameters.check);
    if (status == kCannotOpen) {
        throw Failure(kExitNoInput, cannotOpenText(parameters.path));
    }
    if (parameters.check.outOfMemory()) {
        throw noMemoryFor("the parameter file " + shown(parameters.path));
    }
    if (status == kSuccess) {
        parameters.content = readPrm(parameters.path);
        parameters.mode = mode.value_or(parameters.content->mode());
    } else {
        warn(fmt::format("{}: the library refuses this file with {}; the page tells why", shown(parameters.path),
                         resultText(status, parameters.check.message())));
    }
    return parameters;
}

} // namespace kor::tool
