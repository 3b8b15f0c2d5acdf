// A parameter file for a reader: names, values and units, and what the orientation depends on.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/kor/PrmContent.h"

namespace kor::tool {

struct PrmLine {
    std::uint32_t line = 0; ///< of the block's title in the file; 0 if the file does not have the block
    std::string title;      ///< of the block; empty if the line before goes on
    std::string content;    ///< fit for a terminal, in columns
};

struct PrmView {
    std::vector<PrmLine> lines;
    std::string leftOut; ///< blocks that the file's mount mode does not read, by their titles
};

/// Given  withRows  every row of the tables as well
PrmView viewOf(const PrmContent& content, bool withRows);

/// The same as one text, headed by the title, the sensor's ID and the mount mode.
std::string textOf(const PrmContent& content, const std::string& title, bool withRows);

} // namespace kor::tool
