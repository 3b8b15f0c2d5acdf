// Serves the page of a running replay, and its rows, to browsers of this very machine.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "tools/kor/ViewHistory.h"

namespace kor::tool {

/// Bounds of what others can ask for.
inline constexpr std::size_t kMostViewers = 8;      ///< streams of rows at a time
inline constexpr std::size_t kMostConnections = 32; ///< at a time, viewers included
inline constexpr std::size_t kMostRequestBytes = 8192;

/// How long the server waits for others.
struct ViewPatience {
    std::chrono::milliseconds request{10'000}; ///< for a request to be complete; a browser sends it at once
    std::chrono::milliseconds answer{30'000};  ///< for an answer, or a message of the stream, to be taken
};

/// Listens on 127.0.0.1 alone, and answers on a thread of its own.
/// Notes  1  "/" is the page, "/rows" the stream of server-sent events that the page asks for. Everything else is
///           refused: other methods and paths, requests with a body, and those whose Host or Origin is not this server.
///        2  A viewer has one message of bounded size under way; what it has yet to get is kept by the history alone.
///        If
///           rows are lost there before a viewer has got them, they are counted, and a snapshot takes their place.
class ViewServer {
public:
    /// Given  port  0: a free one
    /// Throws Failure if it cannot listen.
    ViewServer(std::uint16_t port, std::string page, const ViewHistory& history, ViewPatience patience = {});

    /// Closes everything at once.
    ~ViewServer();
    ViewServer(const ViewServer&) = delete;
    ViewServer& operator=(const ViewServer&) = delete;

    std::uint16_t port() const;
    std::string address() const; ///< for a browser

    /// When the history has ended: gives viewers so much time to get the rest.
    void letViewersFinish(std::chrono::milliseconds most) const;

private:
    class Listener;
    std::unique_ptr<Listener> m_listener;
};

} // namespace kor::tool
