#include "agent/page/StateLook.h"

#include <algorithm>
#include <iterator>

#include "agent/ConfigText.h"
#include "agent/Duration.h"
#include "agent/EventJson.h"
#include "agent/TimeWords.h"
#include "agent/page/Page.h"
#include "events/EnumEventType.h"

namespace {

struct WordTone {
    const char* word;
    Tone tone;
};

// Worst first.
constexpr WordTone kArrays[] = {
    {"failed", Tone::kBad},      {"offline", Tone::kBad},     {"degraded", Tone::kBad},
    {"rebuilding", Tone::kWarn}, {"unknown", Tone::kUnknown}, {"checking", Tone::kTask},
    {"queued", Tone::kTask},     {"normal", Tone::kGood},
};

constexpr WordTone kDrives[] = {
    {"normal", Tone::kGood},     {"unused", Tone::kIdle}, {"spare", Tone::kIdle},
    {"rebuilding", Tone::kTask}, {"failed", Tone::kBad},  {"missing", Tone::kBad},
};

constexpr WordTone kMembers[] = {
    {"active", Tone::kGood}, {"rebuilding", Tone::kTask}, {"failed", Tone::kBad},
    {"spare", Tone::kIdle},  {"missing", Tone::kBad},
};

// A unit that was never put in is no alarm; one that was taken out is an incident.
constexpr WordTone kStates[] = {
    {"normal", Tone::kGood},   {"degraded", Tone::kWarn},    {"failed", Tone::kBad},
    {"too hot", Tone::kBad},   {"missing", Tone::kIdle},     {"low", Tone::kWarn},
    {"charging", Tone::kTask}, {"discharging", Tone::kWarn},
};

template <class Table>
Tone toneIn(const Table& table, std::string_view word) {
    const auto found = std::find_if(std::begin(table), std::end(table),
                                    [word](const WordTone& row) { return row.word == word; });
    return found == std::end(table) ? Tone::kUnknown : found->tone;
}

struct Shape {
    Tone tone;
    const char* solid;  // filled with the tone
    const char* sign;   // drawn on it
};

// 16 by 16: disc, ring, arrow, triangle, octagon, diamond; no two tones share a silhouette.
constexpr Shape kShapes[] = {
    {Tone::kGood, "M8 1a7 7 0 1 0 0 14A7 7 0 1 0 8 1z", "M4.7 8.3l2.3 2.3 4.4-4.9"},
    {Tone::kIdle, "M8 4.5a3.5 3.5 0 1 0 0 7a3.5 3.5 0 1 0 0-7z", "M8 8z"},
    {Tone::kTask, "M2 2h12v12H2z", "M5 8h5.5M8.2 5.2L11 8l-2.8 2.8"},
    {Tone::kWarn, "M8 .8L15.6 14.6H.4z", "M8 5.6v4.2M8 11.9v.6"},
    {Tone::kBad, "M5 .8h6L15.2 5v6L11 15.2H5L.8 11V5z", "M5.3 5.3l5.4 5.4M10.7 5.3l-5.4 5.4"},
    {Tone::kUnknown, "M8 .5L15.5 8 8 15.5.5 8z",
     "M6 6.3a2 2 0 1 1 2.7 1.9c-.5.2-.7.5-.7 1.1M8 11.4v.5"},
};

}  // namespace

const char* toneWord(Tone tone) {
    constexpr const char* kWords[] = {"good", "idle", "task", "warn", "bad", "unknown"};
    return kWords[static_cast<std::size_t>(tone)];
}

std::size_t rankOfArray(const ArrayState& array) {
    const auto* const found =
        std::find_if(std::begin(kArrays), std::end(kArrays),
                     [&array](const WordTone& row) { return row.word == array.state; });
    return static_cast<std::size_t>(found - std::begin(kArrays));
}

Tone toneOfArray(const ArrayState& array) { return toneIn(kArrays, array.state); }

Tone toneOfDrive(const DriveState& drive) {
    const Tone tone = toneIn(kDrives, drive.state);
    return drive.predicted && tone != Tone::kBad ? Tone::kWarn : tone;
}

Tone toneOfMember(const MemberState& member) { return toneIn(kMembers, member.state); }

Tone toneOfState(std::string_view word) { return toneIn(kStates, word); }

Tone toneOfVerdict(Verdict::Level level) {
    constexpr Tone kTones[] = {Tone::kGood, Tone::kWarn, Tone::kBad, Tone::kUnknown};
    return kTones[level];
}

Tone toneOfSeverity(int severity) {
    if (severity == kEventError) return Tone::kBad;
    if (severity == kEventWarning) return Tone::kWarn;
    return severity == kEventTask ? Tone::kTask : Tone::kIdle;
}

std::string driveStateWords(const DriveState& drive) {
    return drive.predicted ? drive.state + ", foretells its failure" : drive.state;
}

std::string iconPath(Tone tone) { return std::string("#i-") + toneWord(tone); }

void addIcon(Html& html, Tone tone) {
    html.open("svg", {{"class", "icon"}, {"viewBox", "0 0 16 16"}, {"aria-hidden", "true"}});
    html.empty("use", {{"href", iconPath(tone)}}).close();
}

void addIconShapes(Html& html) {
    html.open("svg",
              {{"class", "shapes"}, {"aria-hidden", "true"}, {"width", "0"}, {"height", "0"}});
    for (const Shape& shape : kShapes) {
        const std::string word = toneWord(shape.tone);
        html.open("symbol", {{"id", "i-" + word}, {"viewBox", "0 0 16 16"}});
        html.empty("path", {{"class", "f-" + word}, {"d", shape.solid}});
        html.empty("path", {{"class", "sign"}, {"d", shape.sign}}).close();
    }
    html.close();
}

std::string clockText(std::int64_t when, std::int64_t now) {
    const std::string full = localTimeText(when);  // "2026-11-21 05:30:12"
    const bool today = localTimeText(now).compare(0, 10, full, 0, 10) == 0;
    return full.substr(today ? 11 : 5, today ? 5 : 11);
}

void addClock(Html& html, std::int64_t when, std::int64_t now) {
    html.element("time", {{"datetime", rfc3339(when)}, {"title", localTimeText(when)}},
                 clockText(when, now));
}

void addAge(Html& html, std::int64_t when, std::int64_t now) {
    html.element("time",
                 {{"datetime", rfc3339(when)},
                  {"title", localTimeText(when)},
                  {"data-at", std::to_string(when)}},
                 durationText(now - when));
}

void addObjectLink(Html& html, bool known, std::string_view key, std::string_view name) {
    if (!known) {
        html.text(name);
        return;
    }
    html.element("a", {{"href", Page::objectPath(key)}}, name);
}

std::string sizeWords(std::int64_t megabytes) {
    return megabytes <= 0 ? "" : sizeText(static_cast<unsigned long long>(megabytes));
}

std::string degreesWords(int celsius) {
    return celsius < 0 ? "" : std::to_string(celsius) + " \u00b0C";
}
