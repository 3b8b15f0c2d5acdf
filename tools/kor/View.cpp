#include "tools/kor/View.h"

#include <chrono>
#include <exception>
#include <random>
#include <thread>
#include <utility>

#include <fmt/format.h>

#include "platform/Files.h"
#include "platform/Process.h"
#include "series/File.h"
#include "tools/kor/Commands.h"
#include "tools/kor/ReportContent.h"

namespace kor::tool {

namespace {

// What a viewer on this machine needs to fetch the rest.
constexpr std::chrono::milliseconds kForTheRest(1000);
constexpr std::chrono::milliseconds kBetweenQuestions(50);

} // namespace

View::View(const ReplayPlan& plan, const std::string& recording, const std::string& title)
{
    ReportSources sources;
    sources.rows = series::emptyResults();
    sources.rows.path = recording;
    sources.rows.title = title;
    sources.parameters = readReportParameters(plan.prm, plan.mode);
    sources.commandLine = commandLine();
    sources.version = KOR_VERSION;
    std::random_device random;
    const std::string run = fmt::format("{:08x}{:08x}", random(), random());
    LivePage page = livePageOf(sources, run);
    m_history = std::make_unique<ViewHistory>(std::move(page.layout), run);
    m_server = std::make_unique<ViewServer>(plan.viewPort, std::move(page.text), *m_history);
    tell(fmt::format("kor: the view is at {}\n", m_server->address()));
}

View::~View()
{
    try {
        if (!hasEnded()) {
            end("error", "The replay has failed; its messages tell why.");
        }
        m_server->letViewersFinish(kForTheRest);
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch)
        // Without memory viewers see the connection break.
    }
}

void View::end(const std::string& level, const std::string& text)
{
    m_history->end(level, text);
}

void View::serveOn() const
{
    const platform::EndingSignalsAreNoted noting;
    platform::File::standard(platform::kStandardOutput).close(); // its reader sees the end
    tell(fmt::format("kor: the view stays at {} until an interrupt (Ctrl+C)\n", m_server->address()));
    while (platform::notedSignal() == 0) {
        std::this_thread::sleep_for(kBetweenQuestions);
    }
}

} // namespace kor::tool
