#include "recordings/Cells.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <system_error>

#include "platform/Text.h"

namespace kor::recordings {

namespace {

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Without a plus sign in front of what may have one: a digit, a point, inf or nan.
std::string_view withoutPlus(std::string_view text)
{
    return text.size() > 1 && text[0] == '+' && text[1] != '-' && text[1] != '+' ? text.substr(1) : text;
}

// Decimal text split into what it is made of.
struct Decimal {
    bool negative = false;
    std::string digits;
    std::int64_t exponent = 0; // of the last digit
};

std::optional<Decimal> decimalOf(std::string_view text)
{
    Decimal decimal;
    if (text.starts_with('-')) {
        decimal.negative = true;
        text.remove_prefix(1);
    }
    bool behindPoint = false;
    std::size_t at = 0;
    for (; at < text.size() && (isDigit(text[at]) || (text[at] == '.' && !behindPoint)); ++at) {
        if (text[at] == '.') {
            behindPoint = true;
        } else {
            decimal.digits += text[at];
            decimal.exponent -= behindPoint ? 1 : 0;
        }
    }
    if (decimal.digits.empty()) {
        return std::nullopt;
    }
    if (at == text.size()) {
        return decimal;
    }
    const auto exponent = platform::strictInteger<std::int32_t>(withoutPlus(text.substr(at + 1)));
    if ((text[at] != 'e' && text[at] != 'E') || !exponent) {
        return std::nullopt;
    }
    decimal.exponent += *exponent;
    return decimal;
}

// The digits of the whole number that decimal text stands for: "2.50e1" gives "25". Exact, whatever the length.
std::optional<std::string> wholeDigits(std::string_view text)
{
    constexpr std::int64_t kMostZeros = 20; // behind so many no number is in range
    std::optional<Decimal> decimal = decimalOf(text);
    if (!decimal) {
        return std::nullopt;
    }
    std::string& digits = decimal->digits;
    digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size()));
    for (; decimal->exponent < 0 && !digits.empty(); ++decimal->exponent) {
        if (digits.back() != '0') {
            return std::nullopt;
        }
        digits.pop_back();
    }
    if (digits.empty()) {
        return "0";
    }
    digits.append(static_cast<std::size_t>(std::min(decimal->exponent, kMostZeros)), '0');
    return (decimal->negative ? "-" : "") + digits;
}

bool equalsFolded(std::string_view text, std::string_view lower)
{
    return text.size() == lower.size() && folded(text) == lower;
}

template <typename Value>
bool readFloating(std::string_view text, void* into)
{
    if (saysMissing(text)) {
        putValue(into, std::numeric_limits<Value>::quiet_NaN());
        return true;
    }
    text = withoutPlus(text);
    return numberAs<Value>(text.data(), text.data() + text.size(), into) == text.data() + text.size();
}

bool readWhole(Type type, std::string_view text, void* into)
{
    const std::optional<std::string> digits = wholeDigits(withoutPlus(text));
    if (!digits) {
        return false;
    }
    const char* const end = digits->data() + digits->size();
    return readNumber(type, digits->data(), end, into) == end;
}

bool readOutcome(std::string_view text, void* into)
{
    const auto* const name = std::find_if(kOutcomeNames.begin(), kOutcomeNames.end(),
                                          [text](std::string_view known) { return equalsFolded(text, known); });
    if (name == kOutcomeNames.end()) {
        return false;
    }
    putValue(into, static_cast<Outcome>(name - kOutcomeNames.begin()));
    return true;
}

// Behind the quotation mark that closes a cell, with its doubled ones made single; null when none closes it.
const char* unquote(const char* at, const char* end, std::string_view& text, std::string& unquoted)
{
    const char* const begin = at;
    bool doubled = false;
    for (; at != end; ++at) {
        if (*at != '"') {
            continue;
        }
        if (at + 1 == end || at[1] != '"') {
            break;
        }
        doubled = true;
        ++at;
    }
    text = {begin, static_cast<std::size_t>(at - begin)};
    if (doubled) {
        unquoted.clear();
        for (std::size_t i = 0; i < text.size(); i += text[i] == '"' ? 2 : 1) {
            unquoted += text[i];
        }
        text = unquoted;
    }
    return at == end ? nullptr : at + 1;
}

} // namespace

std::string_view expectation(Type type)
{
    switch (type) {
    case Type::int32:
        return "a whole number from -2147483648 to 2147483647";
    case Type::uint32:
        return "a whole number from 0 to 4294967295";
    case Type::uint8:
        return "a whole number from 0 to 255";
    case Type::flag:
        return "0 or 1";
    case Type::float32:
        return "a number that single precision can hold";
    case Type::float64:
        return "a number";
    case Type::outcome:
        return "the name of an outcome, such as ok";
    case Type::text:
        break;
    }
    return "a text";
}

bool readValue(Type type, std::string_view text, void* into)
{
    switch (type) {
    case Type::float32:
        return readFloating<float>(text, into);
    case Type::float64:
        return readFloating<double>(text, into);
    case Type::outcome:
        return readOutcome(text, into);
    case Type::text:
        return true;
    default:
        return readWhole(type, text, into);
    }
}

bool saysMissing(std::string_view text)
{
    return text.empty() || equalsFolded(text, "na") || equalsFolded(text, "nan") || equalsFolded(text, "null");
}

Cell cellAt(const char* at, const char* end, char separator, std::string& unquoted)
{
    const char* first = at;
    while (first != end && *first != separator && kBlanks.find(*first) != std::string_view::npos) {
        ++first;
    }
    Cell cell{};
    if (first != end && *first == '"') {
        at = unquote(first + 1, end, cell.text, unquoted);
        if (at == nullptr) {
            cell.fault = Cell::Fault::quoteNotClosed;
            cell.end = end;
            return cell;
        }
        first = nullptr;
    }
    const void* const found = at == end ? nullptr : std::memchr(at, separator, static_cast<std::size_t>(end - at));
    cell.end = found == nullptr ? end : static_cast<const char*>(found);
    const std::string_view rest = platform::trimmed({at, static_cast<std::size_t>(cell.end - at)}, kBlanks);
    if (first != nullptr) {
        cell.text = rest;
    } else {
        cell.text = platform::trimmed(cell.text, kBlanks);
        cell.fault = rest.empty() ? Cell::Fault::none : Cell::Fault::textBehindQuote;
    }
    return cell;
}

std::vector<std::string> cellsOf(std::string_view row, char separator)
{
    std::vector<std::string> cells;
    std::string unquoted;
    const char* const end = row.data() + row.size();
    for (const char* at = row.data();; ++at) {
        const Cell cell = cellAt(at, end, separator, unquoted);
        cells.emplace_back(cell.text);
        at = cell.end;
        if (at == end) {
            return cells;
        }
    }
}

std::string folded(std::string_view name)
{
    std::string lower(name);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lower;
}

} // namespace kor::recordings
