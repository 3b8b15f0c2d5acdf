#include "recordings/Columns.h"

namespace kor::recordings {

std::string headerLine(std::span<const Column> columns)
{
    std::string line;
    for (const Column& column : columns) {
        line += line.empty() ? "" : ",";
        line += column.name;
    }
    return line;
}

} // namespace kor::recordings
