// A locale with a decimal comma, made here because no system has one for certain.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace kor_test {

constexpr const char* kCommaLocale = "comma.UTF-8";

/// Makes the locale in a folder, for which LOCPATH is to be set. Its files are small enough for a process that may
/// write some ten kilobytes only. localedef warns by its exit status, so that using the locale tells whether it is
/// there. Returned  result  the command's status, -1 when nothing could be run
inline int makeCommaLocale(const std::filesystem::path& folder)
{
    const std::filesystem::path source = folder / "comma";
    {
        std::ofstream text(source);
        text << "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \".\"\ngrouping 3;3\nEND LC_NUMERIC\n";
        for (const std::string category : {"CTYPE", "COLLATE", "MONETARY", "TIME", "MESSAGES"}) {
            text << "LC_" << category << "\ncopy \"POSIX\"\nEND LC_" << category << "\n";
        }
        for (const std::string category : {"IDENTIFICATION", "PAPER", "NAME", "ADDRESS", "TELEPHONE", "MEASUREMENT"}) {
            text << "LC_" << category << "\ncopy \"i18n\"\nEND LC_" << category << "\n";
        }
    }
    return std::system(("localedef -c -i '" + source.string() + "' -f UTF-8 '" + (folder / kCommaLocale).string() +
                        "' >/dev/null 2>&1")
                           .c_str());
}

} // namespace kor_test
