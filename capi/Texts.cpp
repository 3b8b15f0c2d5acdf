#include <array>
#include <cstdint>
#include <exception>
#include <string_view>

#include "KORInterface/Session.h"
#include "capi/Answer.h"

namespace kor::capi {

static_assert(KOR_SUCCESS == static_cast<int>(kSuccess) && KOR_BAD_ARGUMENT == static_cast<int>(kBadArgument) &&
              KOR_CANNOT_OPEN == static_cast<int>(kCannotOpen) && KOR_NOT_LOADED == static_cast<int>(kNotLoaded) &&
              KOR_FORMAT_ERROR == static_cast<int>(kFormatError) && KOR_NO_MATRIX == static_cast<int>(kNoMatrix));

std::int32_t answerOf(std::int32_t (*work)(void*), void* what)
{
    try {
        return work(what);
    } catch (const std::exception&) {
        return kBadArgument;
    }
}

std::int32_t giveText(std::string_view words, char* text, std::size_t room, std::size_t* length)
{
    if (room == 0 ? length == nullptr : text == nullptr) {
        return kBadArgument;
    }
    if (length != nullptr) {
        *length = words.size();
    }
    if (room > 0) {
        std::size_t end = std::min(words.size(), room - 1);
        const auto isWithinCharacter = [&words](std::size_t at) {
            return at < words.size() && (static_cast<unsigned char>(words[at]) & 0xc0U) == 0x80U;
        };
        while (end > 0 && isWithinCharacter(end)) {
            --end;
        }
        words.copy(text, end);
        text[end] = '\0';
    }
    return kSuccess;
}

} // namespace kor::capi

const char* kor_status_text(std::int32_t status)
{
    return kor::StatusText(status);
}

const char* kor_message_text(std::uint32_t id)
{
    return kor::MessageText(id);
}

const char* kor_outcome_text(std::int32_t outcome)
{
    return kor::OutcomeText(static_cast<kor::SampleOutcome>(outcome));
}

const char* kor_reason_text(std::int32_t reason)
{
    return kor::ReasonText(static_cast<kor::NoMatrixReason>(reason));
}

const char* kor_model_text(std::int32_t model)
{
    return kor::ModelText(static_cast<kor::OrientationModel>(model));
}

const char* kor_spoiled_text(std::int32_t spoiled_by)
{
    return kor::SpoiledText(static_cast<kor::SpoiledBy>(spoiled_by));
}

std::int32_t kor_sample_text(const kor_sample_report* report, char* text, std::size_t room, std::size_t* length)
{
    if (!kor::capi::isKnown(report)) {
        return kor::kBadArgument;
    }
    kor::SampleReport words{};
    words.outcome = static_cast<kor::SampleOutcome>(report->outcome);
    words.reason = static_cast<kor::NoMatrixReason>(report->reason);
    words.spoiledBy = static_cast<kor::SpoiledBy>(report->spoiled_by);
    words.spoiledSince = report->spoiled_since;
    std::array<char, 256> line;
    kor::SampleText(words, line.data(), static_cast<std::uint32_t>(line.size()));
    return kor::capi::giveText(line.data(), text, room, length);
}
