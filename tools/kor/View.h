// A running replay in the browser: kor replay --view.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tools/kor/Replay.h"
#include "tools/kor/ViewHistory.h"
#include "tools/kor/ViewServer.h"

namespace kor::tool {

class View {
public:
    /// Serves the page and prints its address.
    /// Given  recording  as it was named; title  for people
    /// Throws Failure if it cannot listen.
    View(const ReplayPlan& plan, const std::string& recording, const std::string& title);

    /// A replay that has not told its end has failed; viewers get to know.
    ~View();
    View(const View&) = delete;
    View& operator=(const View&) = delete;

    ViewHistory& history() { return *m_history; }

    /// Tells viewers how the replay has ended. Given  level  "good" or "error"
    void end(const std::string& level, const std::string& text);
    bool hasEnded() const { return m_history->hasEnded(); }

    /// Serves on until an interrupt or a termination. Standard output has got all that it gets, and ends.
    void serveOn() const;

private:
    std::unique_ptr<ViewHistory> m_history;
    std::unique_ptr<ViewServer> m_server;
};

} // namespace kor::tool
