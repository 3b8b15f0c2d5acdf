#include "tools/kor/ReportPage.h"

#include <bit>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

#include "recordings/Compression.h"

namespace kor::tool {

namespace {

#include "ReportPage.inc"

// What stands around the text of a block.
constexpr std::string_view kBlockBegin = "<script type=\"text/plain\" id=\"block-";
constexpr std::string_view kBlockName = "\">";
constexpr std::string_view kBlockEnd = "</script>\n";

// Planes of numbers that are given as words.
template <typename Word>
std::string planesOf(const std::vector<Word>& words)
{
    std::string planes(words.size() * sizeof(Word), '\0');
    for (std::size_t plane = 0; plane < sizeof(Word); ++plane) {
        for (std::size_t i = 0; i < words.size(); ++i) {
            planes[plane * words.size() + i] = static_cast<char>(words[i] >> 8 * plane & 0xffu);
        }
    }
    return planes;
}

PageBlock blockOf(std::string name, const char* type, std::string_view planes)
{
    std::string bytes;
    recordings::makeGzipPacker()->pack(planes, true, [&bytes](std::string_view some) {
        bytes += some;
        return true;
    });
    return {std::move(name), type, base64Of(bytes)};
}

template <typename Number>
PageBlock packedWords(std::string name, const char* type, std::span<const Number> numbers)
{
    std::vector<std::uint32_t> words;
    words.reserve(numbers.size());
    std::uint32_t last = 0;
    for (const Number number : numbers) {
        const auto word = std::bit_cast<std::uint32_t>(number);
        words.push_back(word - last);
        last = word;
    }
    return blockOf(std::move(name), type, planesOf(words));
}

template <std::size_t Count>
std::size_t lengthOf(const std::string_view (&pieces)[Count])
{
    std::size_t length = 0;
    for (const std::string_view piece : pieces) {
        length += piece.size();
    }
    return length;
}

template <std::size_t Count>
void append(std::string& page, const std::string_view (&pieces)[Count])
{
    for (const std::string_view piece : pieces) {
        page += piece;
    }
}

void append(std::string& page, const std::vector<PageBlock>& blocks)
{
    for (const PageBlock& block : blocks) {
        page += kBlockBegin;
        page += block.name;
        page += kBlockName;
        page += block.text;
        page += kBlockEnd;
    }
}

// JSON within an element of a page: without "<" nothing in it can end the element or begin a comment.
std::string manifestText(const nlohmann::ordered_json& manifest)
{
    std::string text;
    for (const char c : manifest.dump(-1, ' ', true, nlohmann::ordered_json::error_handler_t::replace)) {
        if (c == '<') {
            text += "\\u003c";
        } else {
            text += c;
        }
    }
    return text;
}

} // namespace

std::string base64Of(std::string_view bytes)
{
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t group = 0;
        for (std::size_t j = 0; j < 3; ++j) {
            group = group << 8 | (i + j < bytes.size() ? static_cast<unsigned char>(bytes[i + j]) : 0u);
        }
        const std::size_t there = bytes.size() - i;
        text += kDigits[group >> 18];
        text += kDigits[group >> 12 & 63u];
        text += there > 1 ? kDigits[group >> 6 & 63u] : '=';
        text += there > 2 ? kDigits[group & 63u] : '=';
    }
    return text;
}

PageBlock packed(std::string name, std::span<const std::uint8_t> numbers)
{
    return blockOf(std::move(name), "u8", {reinterpret_cast<const char*>(numbers.data()), numbers.size()});
}

PageBlock packed(std::string name, std::span<const std::uint32_t> numbers)
{
    return packedWords(std::move(name), "u32", numbers);
}

PageBlock packed(std::string name, std::span<const float> numbers)
{
    return packedWords(std::move(name), "f32", numbers);
}

PageBlock packed(std::string name, std::span<const double> numbers)
{
    std::vector<std::uint64_t> words;
    words.reserve(numbers.size());
    for (const double number : numbers) {
        words.push_back(std::bit_cast<std::uint64_t>(number));
    }
    return blockOf(std::move(name), "f64", planesOf(words));
}

std::size_t emptyPageBytes()
{
    return lengthOf(kPagePolicy) + lengthOf(kPageBegin) + lengthOf(kPageMiddle) + lengthOf(kPageEnd);
}

std::size_t manifestBytes(const nlohmann::ordered_json& manifest)
{
    return manifestText(manifest).size();
}

std::size_t bytesOf(const PageBlock& block)
{
    return kBlockBegin.size() + block.name.size() + kBlockName.size() + block.text.size() + kBlockEnd.size();
}

std::string pageOf(nlohmann::ordered_json manifest, const PageData& data, PageConnections connections)
{
    nlohmann::ordered_json types = nlohmann::ordered_json::object();
    for (const std::vector<PageBlock>* blocks : {&data.first, &data.more}) {
        for (const PageBlock& block : *blocks) {
            types[block.name] = block.type;
        }
    }
    manifest["blocks"] = std::move(types);
    std::string page;
    append(page, kPagePolicy);
    if (connections == PageConnections::toItsServer) {
        page += "; connect-src 'self'";
    }
    append(page, kPageBegin);
    page += "<script type=\"application/json\" id=\"manifest\">";
    page += manifestText(manifest);
    page += "</script>\n";
    append(page, data.first);
    append(page, kPageMiddle);
    append(page, data.more);
    append(page, kPageEnd);
    return page;
}

} // namespace kor::tool
