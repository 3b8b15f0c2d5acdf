// Several recordings side by side.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "KORInterface/CKorPrm.h"

#include "platform/Files.h"
#include "platform/Process.h"
#include "platform/Text.h"
#include "recordings/Compression.h"
#include "recordings/Output.h"
#include "tools/kor/Commands.h"
#include "tools/kor/Exit.h"
#include "tools/kor/Options.h"
#include "tools/kor/Replay.h"

namespace kor::tool {

namespace fs = std::filesystem;
using nlohmann::ordered_json;
using platform::pathFrom;
using recordings::Format;

namespace {

struct Job {
    std::string recording;
    std::string output;
};

// Two models keep process-wide values, so that no two recordings may share a process.
std::vector<std::string> childArguments(const ReplayRequest& request, const Job& job, unsigned cores)
{
    std::vector<std::string> arguments = {"replay", "--progress=never", "--summary=json", "--prm=" + request.prm,
                                          "--id=" + request.id};
    const auto add = [&arguments](const char* option, const ReplayRequest::Option& value) {
        if (value) {
            arguments.push_back(option + ("=" + *value));
        }
    };
    add("--mode", request.mode);
    add("--mcs", request.mcs);
    add("--psd", request.psd);
    add("--input-format", request.input);
    add("--format", request.format);
    add("--from", request.from);
    add("--to", request.to);
    // One that is live keeps its default.
    const bool shared = !request.threads && platform::fileStatus(job.recording).isRegular;
    add("--threads", shared ? std::to_string(cores) : request.threads);
    if (request.store) {
        arguments.emplace_back("--store");
    }
    if (request.skipBad) {
        arguments.emplace_back("--skip-bad");
    }
    if (request.repair) {
        arguments.emplace_back("--repair");
    }
    if (request.strict) {
        arguments.emplace_back("--strict");
    }
    arguments.push_back("--child-of=" + std::to_string(platform::processId()));
    arguments.insert(arguments.end(), {"--checked", "--output=" + job.output, "--", job.recording});
    return arguments;
}

std::vector<Job> jobsOf(const ReplayPlan& plan, const std::vector<std::string>& recordings,
                        const std::string& directory)
{
    const char* const extension = resultFormat(plan, {}) == Format::csv ? ".csv" : ".korinfo";
    std::vector<Job> jobs;
    std::map<std::string, std::string> stems;
    for (const std::string& recording : recordings) {
        if (recording == "-") {
            throw Misuse("standard input can only be replayed alone");
        }
        const std::string stem = platform::textOf(pathFrom(recordings::withoutCompression(recording)).stem());
        const auto [first, added] = stems.emplace(stem, recording);
        if (!added) {
            throw Misuse(fmt::format("{} and {} would both give {}{}", shown(first->second), shown(recording),
                                     shown(stem), extension));
        }
        jobs.push_back({recording, platform::textOf(pathFrom(directory) / pathFrom(stem + extension))});
        refuseToOverwrite(jobs.back().output, recordings, plan.prm);
        refuseToOverwrite(recordings::partialName(jobs.back().output), recordings, plan.prm);
    }
    for (const auto& [stem, recording] : stems) {
        const std::string partial = platform::textOf(pathFrom(recordings::partialName(stem + extension)).stem());
        if (const auto other = stems.find(partial); other != stems.end()) {
            throw Misuse(fmt::format("if {} breaks off, its partial results would replace the results of {}",
                                     shown(recording), shown(other->second)));
        }
    }
    return jobs;
}

// What one process had to say: its summary, which holds its messages, or, if it did not get as far, its own words.
struct Account { // NOLINT(bugprone-exception-escape): what nlohmann-json asserts is taken for an exception
    ordered_json summary;
    int status = kExitOk;
    std::vector<std::string> errors;
};

Account accountOf(const Job& job, const platform::ChildResult& end)
{
    Account account;
    account.status = end.started ? end.status : kExitSoftware;
    account.summary = end.started ? ordered_json::parse(end.errors, nullptr, false) : ordered_json();
    if (account.summary.is_object()) {
        for (const ordered_json& message : account.summary["messages"]) {
            if (message["kind"] == "error") {
                account.errors.push_back(message["text"]);
            }
        }
    } else {
        account.summary = {{"recording", shown(job.recording)}, {"exit", account.status}};
        std::string words(end.errors);
        while (words.ends_with('\n')) {
            words.pop_back();
        }
        if (!words.empty()) {
            account.errors.push_back(shown(job.recording) + ": " + words);
        }
    }
    if (account.status > 128) {
        account.errors.push_back(fmt::format("{}: ended by signal {}", shown(job.recording), account.status - 128));
    }
    return account;
}

std::uint64_t countIn(const ordered_json& object, const std::string& key)
{
    const auto found = object.find(key);
    return found == object.end() ? 0 : found->is_object() ? countIn(*found, "count") : found->get<std::uint64_t>();
}

// "2000 samples, 1994 ok, 6 before_reference"
std::string countsText(std::uint64_t samples, const ordered_json& outcomes)
{
    std::string text = fmt::format("{} {}", samples, samples == 1 ? "sample" : "samples");
    for (const std::string_view name : recordings::kOutcomeNames) {
        if (const std::uint64_t count = countIn(outcomes, std::string(name)); count > 0) {
            text += fmt::format(", {} {}", count, name);
        }
    }
    return text;
}

// One line without its end.
std::string lineOf(const Account& account)
{
    const ordered_json& summary = account.summary;
    const std::string failed = account.status == kExitOk ? "" : fmt::format("failed ({})", account.status);
    const std::uint64_t samples = countIn(summary, "samples");
    if (samples == 0) {
        return failed.empty() ? "no samples" : failed;
    }
    std::string text = (failed.empty() ? "" : failed + ": ") + countsText(samples, summary["outcomes"]);
    if (summary["reference"].is_null()) {
        text += ", no reference captured";
    }
    if (!summary["stays_not_finite_from"].is_null()) {
        text += fmt::format(", not finite from {} {} to the end", summary["places"].get<std::string>(),
                            countIn(summary, "stays_not_finite_from"));
    }
    if (const std::uint64_t repaired = countIn(summary, "repaired"); repaired > 0) {
        text += fmt::format(", {} repaired", repaired);
    }
    const ordered_json& times = summary["time_stamps"];
    if (const std::uint64_t gaps = countIn(times, "gaps"); gaps > 0) {
        text += fmt::format(", {} {}", gaps, gaps == 1 ? "gap" : "gaps");
    }
    if (const std::uint64_t jumps = countIn(times, "backward_jumps"); jumps > 0) {
        text += fmt::format(", {} {}", jumps, jumps == 1 ? "backward jump" : "backward jumps");
    }
    if (const std::uint64_t bad = countIn(summary, "bad"); bad > 0) {
        text += fmt::format(", {} bad left out", bad);
    }
    return text;
}

ordered_json totalOf(const std::vector<Account>& accounts)
{
    std::uint64_t samples = 0;
    std::uint64_t unusable = 0;
    std::uint64_t failed = 0;
    ordered_json outcomes;
    for (const std::string_view name : recordings::kOutcomeNames) {
        outcomes[std::string(name)] = 0;
    }
    for (const Account& account : accounts) {
        samples += countIn(account.summary, "samples");
        unusable += countIn(account.summary, "unusable");
        failed += account.status == kExitOk ? 0 : 1;
        if (account.summary.contains("outcomes")) {
            for (auto& [name, count] : outcomes.items()) {
                count = count.get<std::uint64_t>() + countIn(account.summary["outcomes"], name);
            }
        }
    }
    return {{"recordings", accounts.size()},
            {"failed", failed},
            {"samples", samples},
            {"outcomes", std::move(outcomes)},
            {"unusable", unusable}};
}

// The lines of recordings that have ended, as soon as those before them have: names in one column.
class LinePrinter {
public:
    explicit LinePrinter(const std::vector<Job>& jobs)
    {
        constexpr std::size_t kWidest = 40;
        for (const Job& job : jobs) {
            m_width = std::max(m_width, std::min(kWidest, shown(job.recording).size()));
        }
    }

    void print(const std::string& name, const std::string& text) const
    {
        tell(fmt::format("{:<{}}  {}\n", name, m_width, text));
    }

private:
    std::size_t m_width = std::string_view("total").size();
};

// Warnings that several recordings share are told once.
void tellWarnings(const ordered_json& summary, std::set<std::string>& told)
{
    const auto messages = summary.find("messages");
    if (messages == summary.end()) {
        return;
    }
    for (const ordered_json& message : *messages) {
        if (message["kind"] == "warning" && told.insert(message["text"]).second) {
            warn(message["text"].get<std::string>());
        }
    }
}

void report(const ReplayPlan& plan, const std::vector<Account>& accounts, const LinePrinter& lines, int status)
{
    const ordered_json total = totalOf(accounts);
    if (plan.summary == SummaryForm::json) {
        ordered_json list = ordered_json::array();
        for (const Account& account : accounts) {
            list.push_back(account.summary);
            if (!account.summary.contains("messages")) {
                for (const std::string& error : account.errors) {
                    list.back()["messages"].push_back({{"kind", "error"}, {"text", error}});
                }
            }
        }
        const ordered_json all = {{"recordings", std::move(list)}, {"total", total}, {"exit", status}};
        tell(all.dump(-1, ' ', false, ordered_json::error_handler_t::replace) + "\n");
        return;
    }
    const std::uint64_t failed = countIn(total, "failed");
    if (plan.summary == SummaryForm::text) {
        lines.print("total", fmt::format("{} recordings, {} failed: {}", accounts.size(), failed,
                                         countsText(countIn(total, "samples"), total["outcomes"])));
    }
    if (failed == 0) {
        return;
    }
    complain(fmt::format("{} of {} recordings failed:", failed, accounts.size()));
    for (const Account& account : accounts) {
        for (const std::string& error : account.errors) {
            complain(error);
        }
    }
}

} // namespace

int replaySeveral(const ReplayPlan& plan, const ReplayRequest& request)
{
    const std::string directory = request.output.value_or("-");
    if (directory == "-") {
        throw Misuse("several recordings need -o DIR, the directory of their results");
    }
    const std::vector<Job> jobs = jobsOf(plan, request.recordings, directory);
    // One message instead of one per recording.
    CKorPrm prm;
    readParameterFile(plan.prm, prm, plan.checking, plan.mode);
    mountModeOf(plan, prm);
    std::error_code error;
    fs::create_directories(pathFrom(directory), error);
    if (error || !fs::is_directory(pathFrom(directory), error)) {
        throw Failure(kExitCannotCreate, "cannot create the directory " + shown(directory) +
                                             (error ? ": " + error.message() : ": it exists and is not a directory"));
    }

    const std::size_t atATime = std::min({std::size_t{plan.jobs}, jobs.size(), platform::kMostChildren});
    const unsigned coresOfEach = std::max(plan.cores / static_cast<unsigned>(atATime), 1u);
    std::mutex lock;
    std::condition_variable finished;
    std::vector<std::optional<platform::ChildResult>> ends(jobs.size());
    std::atomic<std::size_t> next{0};
    const auto work = [&] {
        for (std::size_t mine = 0; (mine = next++) < jobs.size();) {
            platform::ChildResult end;
            try {
                end = platform::runSelf(childArguments(request, jobs[mine], coresOfEach));
            } catch (const std::exception& problem) {
                end.started = false;
                end.errors = problem.what();
            }
            const std::lock_guard<std::mutex> guard(lock);
            ends[mine] = std::move(end);
            finished.notify_one();
        }
    };
    std::vector<std::jthread> workers; // waits for all of them, also when an exception ends this function
    try {
        while (workers.size() < atATime) {
            workers.emplace_back(work);
        }
    } catch (const std::system_error& failed) {
        if (workers.empty()) {
            throw Failure(kExitSoftware, std::string("cannot start a thread: ") + failed.what());
        }
        // Those that have started do the work of the others.
    }

    Progress progress(plan.progress, "replay", jobs.size(), "done");
    const LinePrinter lines(jobs);
    std::vector<Account> accounts;
    std::set<std::string> told;
    int status = kExitOk;
    {
        std::unique_lock<std::mutex> guard(lock);
        for (std::size_t i = 0; i < jobs.size(); ++i) {
            const auto done = [&ends] {
                return static_cast<std::uint64_t>(
                    std::count_if(ends.begin(), ends.end(), [](const auto& end) { return end.has_value(); }));
            };
            while (!ends[i]) {
                progress.update(done(), done());
                finished.wait_for(guard, std::chrono::milliseconds(100));
            }
            progress.clear();
            accounts.push_back(accountOf(jobs[i], *ends[i]));
            const Account& account = accounts.back();
            if (plan.summary != SummaryForm::json) {
                tellWarnings(account.summary, told);
            }
            if (plan.summary == SummaryForm::text) {
                lines.print(shown(jobs[i].recording), lineOf(account));
            }
            status = status == kExitOk ? account.status : status;
        }
    }
    report(plan, accounts, lines, status);
    return status;
}

} // namespace kor::tool
