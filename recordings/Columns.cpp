#include "recordings/Columns.h"

#include <cstring>

namespace kor::recordings {

namespace {

template <typename Value>
double valueAs(const char* at)
{
    Value value;
    std::memcpy(&value, at, sizeof value);
    return static_cast<double>(value);
}

} // namespace

double valueAt(const void* record, const Column& column)
{
    const char* const at = static_cast<const char*>(record) + column.offset;
    switch (column.type) {
    case Type::float32:
        return valueAs<float>(at);
    case Type::float64:
        return valueAs<double>(at);
    case Type::int32:
        return valueAs<std::int32_t>(at);
    case Type::uint32:
        return valueAs<std::uint32_t>(at);
    case Type::uint8:
    case Type::flag:
    case Type::outcome:
        return valueAs<std::uint8_t>(at);
    case Type::text:
        break;
    }
    return 0.0;
}

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
