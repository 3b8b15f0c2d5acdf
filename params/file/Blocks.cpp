#include "params/file/Blocks.h"

#include <algorithm>
#include <string_view>

namespace kor::params {

namespace {

// A title is found in words joined by single blanks, so it must have exactly the words that its line is read with.
constexpr bool titleHasItsWords(const Block& block)
{
    const std::string_view title = block.title;
    return std::count(title.begin(), title.end(), ' ') + 1 == block.words;
}

static_assert(std::all_of(kBlocks.begin(), kBlocks.end(), titleHasItsWords));
static_assert(std::all_of(kBlocks.begin(), kBlocks.end(), [](const Block& b) { return b.columns <= kMostColumns; }));
static_assert(std::is_sorted(kBlocks.begin(), kBlocks.end(),
                             [](const Block& a, const Block& b) { return a.modeSevenUp < b.modeSevenUp; }),
              "the blocks of the long files follow all others");

} // namespace

} // namespace kor::params
