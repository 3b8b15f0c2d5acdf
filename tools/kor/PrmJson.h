// A parameter file as JSON and back: one member for each block, named by the block's title.
#pragma once

#include <string>
#include <string_view>

#include "tools/kor/PrmContent.h"

namespace kor::tool {

/// The content as JSON text. Numbers have the shortest text that reads back as the same float; those that JSON cannot
/// express are the strings "nan", "-nan", "inf" and "-inf"; null stands for one that could not be read.
std::string jsonOf(const PrmContent& content);

/// The content that a JSON text describes. Throws Failure, status 65, with the path of the value, what was found and
/// what was expected: everything must be there that the library needs to read the file, and nothing that it would not
/// read. Given  title  names the text in messages
PrmContent contentOfJson(std::string_view text, const std::string& title);

/// A number as JSON.
std::string jsonNumber(const PrmNumber& number);

} // namespace kor::tool
