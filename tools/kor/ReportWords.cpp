#include "tools/kor/ReportWords.h"

#include <fmt/format.h>

namespace kor::tool {

std::string plural(std::uint64_t count, std::string_view one, std::string_view many)
{
    return fmt::format("{} {}", count, count == 1 ? one : many);
}

std::string share(std::uint64_t count, std::uint64_t all)
{
    const double percent = all == 0 ? 0.0 : 100.0 * static_cast<double>(count) / static_cast<double>(all);
    return percent > 0.0 && percent < 0.01 ? "< 0.01 %" : fmt::format("{:.2f} %", percent);
}

std::string unusableText(std::uint64_t count)
{
    return fmt::format(" {} not usable, beside those that every recording begins with.",
                       count == 1 ? "1 row is" : fmt::format("{} rows are", count));
}

std::string noGapText(std::uint32_t usualStep)
{
    return usualStep == 0
               ? "Most rows have the time stamp of the row before: nothing tells which samples are missing, and the "
                 "charts have no width."
               : fmt::format("No samples are missing: the time stamps have no gap; the usual step is {} ms.",
                             usualStep);
}

std::string backwardText(std::uint64_t count, std::uint64_t firstRow)
{
    return fmt::format("Time goes back {}, first before row {}; the charts go on there with the usual step.",
                       plural(count, "time", "times"), firstRow);
}

std::string levelOutText(char axis, std::uint64_t count, std::uint64_t all, std::string_view place)
{
    return fmt::format("Level {} is outside its table, or has none, in {}, {}, first in {}.", axis,
                       plural(count, "row", "rows"), share(count, all), place);
}

std::string stretchesText(std::uint64_t without, std::uint64_t all, std::uint64_t stretches, std::string_view listed)
{
    return stretches == 0 ? "Every row is usable."
                          : fmt::format("{} without a usable orientation, {}, in {}.{}", plural(without, "row", "rows"),
                                        share(without, all), plural(stretches, "stretch", "stretches"), listed);
}

} // namespace kor::tool
