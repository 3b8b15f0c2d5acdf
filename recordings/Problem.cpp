#include "recordings/Problem.h"

namespace kor::recordings {

namespace {

std::string placeOf(const Problem& problem)
{
    std::string place = problem.file;
    if (problem.line > 0) {
        place += ": line " + std::to_string(problem.line);
    } else if (problem.record > 0) {
        place += ": record " + std::to_string(problem.record) + " (byte " + std::to_string(problem.byte) + ")";
    }
    return problem.column.empty() ? place : place + ", column " + problem.column;
}

// The reason, or found and expected.
std::string contentOf(const Problem& problem)
{
    std::string content = problem.reason;
    if (!problem.found.empty()) {
        content += (content.empty() ? "found " : "; found ") + problem.found;
    }
    if (!problem.expected.empty()) {
        content += (content.empty() ? "expected " : ", expected ") + problem.expected;
    }
    return problem.advice.empty() ? content : content + "; " + problem.advice;
}

} // namespace

std::string text(const Problem& problem)
{
    switch (problem.kind) {
    case Problem::Kind::cannotOpen:
        return "cannot open " + placeOf(problem) + ": " + contentOf(problem);
    case Problem::Kind::cannotRead:
        return "cannot read " + placeOf(problem) + ": " + contentOf(problem);
    case Problem::Kind::cannotCreate:
        return "cannot create " + placeOf(problem) + ": " + contentOf(problem);
    case Problem::Kind::cannotWrite:
    case Problem::Kind::nobodyReads:
        return "cannot write " + placeOf(problem) + ": " + contentOf(problem);
    case Problem::Kind::interrupted:
        return placeOf(problem) + ": " + contentOf(problem);
    case Problem::Kind::none:
    case Problem::Kind::badData:
        break;
    }
    const std::string place = placeOf(problem);
    return place.empty() ? contentOf(problem) : place + ": " + contentOf(problem);
}

} // namespace kor::recordings
