#include "params/file/Messages.h"

namespace kor::params {

namespace {

struct Message {
    unsigned id;
    std::string_view text;
};

#include "MessageTable.inc" // kCaption and kMessages, generated from params/file/messages.txt

constexpr bool isOneARow()
{
    unsigned id = kFirstMessage;
    for (const Message& message : kMessages) {
        if (message.id != id++) {
            return false;
        }
    }
    return id == kLastMessage + 1;
}
static_assert(isOneARow(), "messages.txt lists every identifier once, in order");

} // namespace

std::string_view messageText(unsigned id) noexcept
{
    return id < kFirstMessage || id > kLastMessage ? std::string_view() : kMessages[id - kFirstMessage].text;
}

std::string_view messageCaption() noexcept
{
    return kCaption;
}

} // namespace kor::params
