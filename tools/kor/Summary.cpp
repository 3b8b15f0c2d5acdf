#include "tools/kor/Summary.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include <nlohmann/json.hpp>

namespace kor::tool {

using nlohmann::ordered_json;
using recordings::kOutcomeNames;
using recordings::Outcome;

namespace {

constexpr const char* kNoReference = "no reference was captured: all angles are zero";

double shareOf(std::uint64_t part, std::uint64_t whole)
{
    return whole == 0 ? 0.0 : static_cast<double>(part) / static_cast<double>(whole);
}

std::string percent(std::uint64_t part, std::uint64_t whole)
{
    char text[32];
    const auto end =
        std::to_chars(std::begin(text), std::end(text), 100 * shareOf(part, whole), std::chars_format::fixed, 1);
    return std::string(text, end.ptr) + " %";
}

// "line 7", "lines 7 to 12"
std::string where(const Places& places, const std::string& place)
{
    return places.first == places.last
               ? place + " " + std::to_string(places.first)
               : place + "s " + std::to_string(places.first) + " to " + std::to_string(places.last);
}

// "12, lines 7 to 30"
std::string countAndWhere(const Places& places, const std::string& place)
{
    return places.count == 0 ? "none" : std::to_string(places.count) + ", " + where(places, place);
}

std::string rateOf(const Tally& tally)
{
    const double rate = tally.seconds > 0 ? static_cast<double>(tally.samples) / tally.seconds : 0;
    return std::to_string(static_cast<std::uint64_t>(rate));
}

bool lacksReference(const Tally& tally)
{
    return tally.reference.count == 0 && tally.of(Outcome::beforeReference).count > 0;
}

std::string milliseconds(std::uint32_t count)
{
    return std::to_string(count) + " ms";
}

using Lines = std::vector<std::pair<std::string, std::string>>;

void addOutcomes(const Summary& summary, Lines& lines)
{
    const Tally& tally = summary.tally;
    for (std::size_t i = 0; i < kOutcomeNames.size(); ++i) {
        const Places& places = tally.outcomes[i];
        if (i == static_cast<std::size_t>(Outcome::ok)) {
            lines.emplace_back(kOutcomeNames[i],
                               std::to_string(places.count) +
                                   (tally.samples == 0 ? "" : " (" + percent(places.count, tally.samples) + ")"));
        } else if (places.count > 0) {
            lines.emplace_back(kOutcomeNames[i], countAndWhere(places, summary.place));
        }
    }
}

void addModelsState(const Summary& summary, Lines& lines)
{
    const Tally& tally = summary.tally;
    if (tally.reference.count > 0) {
        std::string captured = "captured in " + summary.place + " " + std::to_string(tally.reference.first) + ", at " +
                               milliseconds(tally.referenceStamp);
        if (tally.reference.count > 1) { // each repair begins with a new engine
            captured += ", the last of " + std::to_string(tally.reference.count) + " in " + summary.place + " " +
                        std::to_string(tally.reference.last);
        }
        lines.emplace_back("reference", captured);
    } else {
        lines.emplace_back("reference", lacksReference(tally) ? kNoReference : "none was captured");
    }
    if (tally.badReadings.count > 0) {
        lines.emplace_back("readings not finite", countAndWhere(tally.badReadings, summary.place) + "; the first is " +
                                                      std::string(tally.badReading));
    }
    if (tally.staysNotFiniteFrom() != 0) {
        lines.emplace_back(
            "stays not finite",
            "from " + summary.place + " " + std::to_string(tally.staysNotFiniteFrom()) + " to the end" +
                (summary.oneNanSpoilsTheRest ? "; in this model one nan spoils every sample that follows" : ""));
    }
}

// What one sample that is not finite has done to those that follow.
void addWhatIsSpoiled(const Summary& summary, Lines& lines)
{
    const Tally& tally = summary.tally;
    if (tally.spoiledFrom != 0) {
        lines.emplace_back("spoiled since", summary.place + " " + std::to_string(tally.spoiledFrom) + ": " +
                                                SpoiledText(tally.spoiledBy) + "; --repair goes on with fresh ones");
    }
    if (summary.repairs) {
        lines.emplace_back("repaired", countAndWhere(tally.repaired, summary.place));
    }
}

void addTimes(const Summary& summary, Lines& lines)
{
    const Tally& tally = summary.tally;
    const Places gaps = tally.steps.gaps();
    lines.emplace_back("time stamps", std::to_string(tally.firstStamp) + " to " + milliseconds(tally.lastStamp) +
                                          ", usual step " + milliseconds(tally.steps.median()));
    lines.emplace_back("gaps", countAndWhere(gaps, summary.place) +
                                   (gaps.count == 0 ? "" : ", longest " + milliseconds(tally.steps.longest())));
    const Places& backward = tally.steps.backward();
    lines.emplace_back("backward jumps",
                       countAndWhere(backward, summary.place) +
                           (backward.count == 0 ? "" : ", longest " + milliseconds(tally.steps.longestBackward())));
}

std::string levelText(const Places& out, const Summary& summary)
{
    return out.count == 0 ? "none"
                          : std::to_string(out.count) + " (" + percent(out.count, summary.tally.samples) + "), " +
                                where(out, summary.place);
}

ordered_json jsonOf(const Places& places)
{
    if (places.count == 0) {
        return {{"count", 0}, {"first", nullptr}, {"last", nullptr}};
    }
    return {{"count", places.count}, {"first", places.first}, {"last", places.last}};
}

ordered_json jsonOfLevel(const Places& places, std::uint64_t samples)
{
    ordered_json level = jsonOf(places);
    level["share"] = shareOf(places.count, samples);
    return level;
}

ordered_json jsonOfTimes(const Tally& tally)
{
    ordered_json gaps = jsonOf(tally.steps.gaps());
    gaps["longest_ms"] = gaps["count"] == 0 ? ordered_json() : ordered_json(tally.steps.longest());
    ordered_json backward = jsonOf(tally.steps.backward());
    backward["longest_ms"] = backward["count"] == 0 ? ordered_json() : ordered_json(tally.steps.longestBackward());
    ordered_json times = {{"first_ms", nullptr}, {"last_ms", nullptr}, {"usual_step_ms", tally.steps.median()}};
    if (tally.samples > 0) {
        times["first_ms"] = tally.firstStamp;
        times["last_ms"] = tally.lastStamp;
    }
    times["gaps"] = std::move(gaps);
    times["backward_jumps"] = std::move(backward);
    return times;
}

} // namespace

std::string whyNothingUsable(const Summary& summary)
{
    const Tally& tally = summary.tally;
    if (tally.ok() > 0) {
        return {};
    }
    if (tally.samples == 0) {
        if (tally.outside > 0) {
            return "no sample lies in the window of --from and --to, " + std::to_string(tally.outside) +
                   (tally.outside == 1 ? " lies" : " lie") + " outside it";
        }
        if (tally.bad.count > 0) {
            return "nothing could be read: " + std::to_string(tally.bad.count) + " bad, " +
                   where(tally.bad, summary.place);
        }
        return "the recording is empty: found no sample, expected at least one";
    }
    std::string counts;
    for (std::size_t i = 0; i < kOutcomeNames.size(); ++i) {
        if (tally.outcomes[i].count > 0) {
            counts.append(counts.empty() ? "" : ", ").append(std::to_string(tally.outcomes[i].count)).append(" ");
            counts.append(kOutcomeNames[i]);
        }
    }
    std::string why = "no usable orientation in " + std::to_string(tally.samples) +
                      (tally.samples == 1 ? " sample: " : " samples: ") + counts;
    if (lacksReference(tally)) {
        why.append("; ").append(kNoReference);
        why += ". A sample with status 2, referenceGate at most 0.4 and referenceHold 0 becomes the reference";
    }
    return why;
}

std::string textOf(const Summary& summary)
{
    const Tally& tally = summary.tally;
    Lines lines = {{"model", summary.model + ", mount mode " + std::to_string(summary.mountMode)},
                   {"samples", std::to_string(tally.samples)}};
    addOutcomes(summary, lines);
    if (tally.ok() > 0 && tally.unusable() > 0) {
        lines.emplace_back("unusable", std::to_string(tally.unusable()) + " of " + std::to_string(tally.samples));
    }
    if (summary.windowed) {
        lines.emplace_back("outside the window", std::to_string(tally.outside));
    }
    if (summary.skipsBad) {
        lines.emplace_back("bad, left out", countAndWhere(tally.bad, summary.place));
    }
    if (tally.samples > 0) {
        addModelsState(summary, lines);
        addWhatIsSpoiled(summary, lines);
        addTimes(summary, lines);
        lines.emplace_back("level X out of table", levelText(tally.levelXOut, summary));
        lines.emplace_back("level Y out of table", levelText(tally.levelYOut, summary));
        lines.emplace_back("samples per second", rateOf(tally));
    }

    std::size_t width = 0;
    for (const auto& line : lines) {
        width = std::max(width, line.first.size());
    }
    std::string text = summary.recording + "\n";
    for (const auto& [name, value] : lines) {
        text.append("  ").append(name).append(":").append(width + 2 - name.size(), ' ').append(value).append("\n");
    }
    return text;
}

std::string jsonOf(const Summary& summary, int status, const std::vector<Message>& messages)
{
    const Tally& tally = summary.tally;
    ordered_json outcomes;
    for (std::size_t i = 0; i < kOutcomeNames.size(); ++i) {
        outcomes[std::string(kOutcomeNames[i])] = jsonOf(tally.outcomes[i]);
    }
    ordered_json readings = jsonOf(tally.badReadings);
    readings["first_column"] = tally.badReadings.count == 0 ? ordered_json() : ordered_json(tally.badReading);
    ordered_json reference;
    if (tally.reference.count > 0) {
        reference = {{"at", tally.reference.first}, {"time_ms", tally.referenceStamp}};
    }
    ordered_json spoiled;
    if (tally.spoiledFrom != 0) {
        spoiled = {{"since", tally.spoiledFrom},
                   {"by", tally.spoiledBy == SpoiledBy::reference ? "reference" : "process_values"}};
    }
    const std::uint64_t stays = tally.staysNotFiniteFrom();
    ordered_json said = ordered_json::array();
    for (const Message& message : messages) {
        said.push_back({{"kind", message.warning ? "warning" : "error"}, {"text", message.text}});
    }
    const auto orNull = [](const std::string& text) { return text.empty() ? ordered_json() : ordered_json(text); };

    const ordered_json object = {
        {"recording", summary.recording},
        {"results", orNull(summary.results)},
        {"complete", summary.complete},
        {"exit", status},
        {"model", orNull(summary.model)},
        {"mount_mode", summary.model.empty() ? ordered_json() : ordered_json(summary.mountMode)},
        {"places", summary.place},
        {"samples", tally.samples},
        {"outcomes", std::move(outcomes)},
        {"unusable", tally.unusable()},
        {"outside_window", tally.outside},
        {"bad", jsonOf(tally.bad)},
        {"reference", std::move(reference)},
        {"readings_not_finite", std::move(readings)},
        {"stays_not_finite_from", stays == 0 ? ordered_json() : ordered_json(stays)},
        {"one_nan_spoils_the_rest", summary.oneNanSpoilsTheRest},
        {"spoiled", std::move(spoiled)},
        {"repaired", jsonOf(tally.repaired)},
        {"time_stamps", jsonOfTimes(tally)},
        {"level_x_out", jsonOfLevel(tally.levelXOut, tally.samples)},
        {"level_y_out", jsonOfLevel(tally.levelYOut, tally.samples)},
        {"seconds", tally.seconds},
        {"messages", std::move(said)},
    };
    return object.dump(-1, ' ', false, ordered_json::error_handler_t::replace) + "\n";
}

} // namespace kor::tool
