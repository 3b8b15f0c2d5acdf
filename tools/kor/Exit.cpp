#include "tools/kor/Exit.h"

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
    }
    return kExitSoftware;
}

std::string messageOf(const Problem& problem)
{
    std::string message = text(problem);
    if (problem.otherFormat) {
        message +=
            problem.expected == "CSV" ? "; --input bin reads it as binary records" : "; --input csv reads it as CSV";
    }
    return message;
}

} // namespace kor::tool
