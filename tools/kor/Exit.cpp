#include "tools/kor/Exit.h"

#include <csignal>

#include "platform/Process.h"

namespace kor::tool {

using recordings::Problem;

Exit exitOf(Problem::Kind kind)
{
    switch (kind) {
    case Problem::Kind::none:
        return kExitOk;
    case Problem::Kind::badData:
        return kExitDataError;
    case Problem::Kind::cannotOpen:
        return kExitNoInput;
    case Problem::Kind::cannotCreate:
        return kExitCannotCreate;
    case Problem::Kind::cannotRead:
    case Problem::Kind::cannotWrite:
        return kExitIoError;
    case Problem::Kind::nobodyReads:
        return kExitNobodyReads;
    case Problem::Kind::interrupted:
        return platform::notedSignal() == SIGTERM ? kExitTerminated : kExitInterrupted;
    }
    return kExitSoftware;
}

std::string messageOf(const Problem& problem)
{
    std::string message = text(problem);
    if (problem.readableAs) {
        message += *problem.readableAs == recordings::Format::csv ? "; --input-format csv reads it as CSV"
                                                                  : "; --input-format bin reads it as binary records";
    }
    return message;
}

} // namespace kor::tool
