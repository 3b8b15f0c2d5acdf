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
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "KORInterface/CKorPrm.h"

#include "platform/Files.h"
#include "platform/Process.h"
#include "platform/Text.h"
#include "recordings/Compression.h"
#include "tools/kor/Commands.h"
#include "tools/kor/Exit.h"
#include "tools/kor/Options.h"
#include "tools/kor/Replay.h"

namespace kor::tool {

namespace fs = std::filesystem;
using platform::pathFrom;
using platform::textOf;
using recordings::Format;

namespace {

struct Job {
    std::string recording;
    std::string output;
};

// Two models keep process-wide values, so that no two recordings may share a process.
std::vector<std::string> childArguments(const ReplayRequest& request, const Job& job)
{
    std::vector<std::string> arguments = {"replay", "--progress=never", "--prm=" + request.prm, "--id=" + request.id};
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
    if (request.store) {
        arguments.emplace_back("--store");
    }
    if (request.skipBad) {
        arguments.emplace_back("--skip-bad");
    }
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
        const std::string stem = textOf(pathFrom(recordings::withoutCompression(recording)).stem());
        const auto [first, added] = stems.emplace(stem, recording);
        if (!added) {
            throw Misuse(fmt::format("{} and {} would both give {}{}", shown(first->second), shown(recording),
                                     shown(stem), extension));
        }
        jobs.push_back({recording, textOf(pathFrom(directory) / pathFrom(stem + extension))});
        refuseToOverwrite(jobs.back().output, recordings, plan.prm);
    }
    return jobs;
}

} // namespace

int replaySeveral(const ReplayPlan& plan, const ReplayRequest& request)
{
    const std::string directory = request.output.value_or("-");
    if (directory == "-") {
        throw Misuse("several recordings need -o DIR, the directory of their results");
    }
    const std::vector<Job> jobs = jobsOf(plan, request.recordings, directory);
    CKorPrm prm;
    readParameterFile(plan.prm, prm, plan.checking, plan.mode); // findings told once, not for each recording
    std::error_code error;
    fs::create_directories(pathFrom(directory), error);
    if (error || !fs::is_directory(pathFrom(directory), error)) {
        throw Failure(kExitCannotCreate, "cannot create the directory " + shown(directory) +
                                             (error ? ": " + error.message() : ": it is something else already"));
    }

    std::mutex lock;
    std::condition_variable finished;
    std::vector<std::optional<platform::ChildResult>> ends(jobs.size());
    std::atomic<std::size_t> next{0};
    const auto work = [&] {
        for (std::size_t mine = 0; (mine = next++) < jobs.size();) {
            platform::ChildResult end;
            try {
                end = platform::runSelf(childArguments(request, jobs[mine]));
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
        while (workers.size() < std::min({std::size_t{plan.jobs}, jobs.size(), platform::kMostChildren})) {
            workers.emplace_back(work);
        }
    } catch (const std::system_error& failed) {
        if (workers.empty()) {
            throw Failure(kExitSoftware, std::string("cannot start a thread: ") + failed.what());
        }
        // Those that have started do the work of the others.
    }

    Progress progress(plan.progress, "replay", jobs.size(), "done");
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
            if (ends[i]->started) {
                tell(ends[i]->errors);
            } else {
                complain(shown(jobs[i].recording) + ": " + ends[i]->errors);
                ends[i]->status = kExitSoftware;
            }
            if (ends[i]->status > 128) {
                complain(fmt::format("{}: ended by signal {}", shown(jobs[i].recording), ends[i]->status - 128));
            }
            status = status == kExitOk ? ends[i]->status : status;
        }
    }
    return status;
}

} // namespace kor::tool
