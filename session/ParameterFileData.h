// What stands behind the public face of a parameter file's account.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "KORInterface/ParameterFile.h"

#include "params/file/Document.h"
#include "platform/Text.h"

namespace kor {

/// What a ParameterFile holds.
struct ParameterFileData {
    /// Where the texts of a block begin.
    struct BlockTexts {
        std::uint32_t title = 0;
        std::uint32_t whole = 0;
        std::uint32_t word = 0;
        std::vector<std::uint32_t> values;
        std::vector<std::uint32_t> extras;
    };

    std::string path;
    bool outOfMemory = false;
    params::Document document;
    std::string texts{'\0'}; ///< one behind the other, each with its zero; the first one is empty
    std::vector<BlockTexts> blocks;
    std::uint32_t rest = 0;
    std::uint64_t restBytes = 0;

    void addTexts();

private:
    std::uint32_t add(std::string_view text)
    {
        if (text.empty()) {
            return 0;
        }
        const auto at = static_cast<std::uint32_t>(texts.size());
        texts += platform::printable(text);
        texts += '\0';
        return at;
    }

    std::vector<std::uint32_t> addAll(const std::vector<params::Item>& items)
    {
        std::vector<std::uint32_t> places;
        places.reserve(items.size());
        for (const params::Item& item : items) {
            places.push_back(add(document.textOf(item)));
        }
        return places;
    }
};

/// Way in to it.
struct ParameterFileAccess {
    static ParameterFileData& data(ParameterFile& file) { return *file.m_data; }
    static const ParameterFileData& data(const ParameterFile& file) { return *file.m_data; }
};

} // namespace kor
