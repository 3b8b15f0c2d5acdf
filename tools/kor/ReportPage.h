// The page of kor report: its own text, which cmake/embed_page.py has made, and the data in it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace kor::tool {

/// Bytes of a page that a browser opens without waiting.
constexpr std::size_t kMostPageBytes = 7'800'000;

/// Numbers of a page, packed: byte planes, the n-th one with the n-th byte of every number, compressed by gzip, as
/// base64. Numbers of four bytes are the differences, modulo 2^32, from the number before.
struct PageBlock {
    std::string name; ///< letters and hyphens
    const char* type; ///< "u8", "u32", "f32" or "f64"
    std::string text;
};

PageBlock packed(std::string name, std::span<const std::uint8_t> numbers);
PageBlock packed(std::string name, std::span<const std::uint32_t> numbers);
PageBlock packed(std::string name, std::span<const float> numbers);
PageBlock packed(std::string name, std::span<const double> numbers);

/// What a page holds.
struct PageData {
    std::vector<PageBlock> first; ///< what the first picture needs
    std::vector<PageBlock> more;
};

std::string base64Of(std::string_view bytes);

/// Where the page's security policy lets it connect to.
enum class PageConnections {
    none,
    toItsServer ///< a live page, for its rows
};

/// Bytes of the page without any data.
std::size_t emptyPageBytes();

/// Bytes that the manifest takes in the page.
std::size_t manifestBytes(const nlohmann::ordered_json& manifest);

/// Bytes that a block takes in the page.
std::size_t bytesOf(const PageBlock& block);

/// The page. It holds the manifest with a member "blocks" added: the types of the blocks by their names.
std::string pageOf(nlohmann::ordered_json manifest, const PageData& data,
                   PageConnections connections = PageConnections::none);

} // namespace kor::tool
