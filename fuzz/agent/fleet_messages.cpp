// Fuzzes what a fleet's server hands on, each message one line behind a letter: b a beat, r a
// rival's, s how a machine stands, e an event, n a notice, a the answer to what we sent ourselves.
// Parsed code: agent/fleet/FleetBeat.cpp agent/fleet/FleetSummary.cpp agent/fleet/FleetView.cpp
// Parsed code: agent/fleet/FleetText.cpp agent/nats/PublishAnswer.cpp agent/spool/RecordJson.cpp
// Parsed code: agent/JsonFields.cpp agent/EventText.cpp

#include <memory>
#include <sstream>
#include <string>

#include <nlohmann/json.hpp>

#include "agent/EventJson.h"
#include "agent/EventText.h"
#include "agent/JsonFields.h"
#include "agent/SafeText.h"
#include "agent/fleet/FleetBeat.h"
#include "agent/fleet/FleetPresence.h"
#include "agent/fleet/FleetSummary.h"
#include "agent/fleet/FleetText.h"
#include "agent/fleet/FleetView.h"
#include "agent/nats/PublishAnswer.h"
#include "agent/spool/RecordJson.h"
#include "fuzz/support/Fuzz.h"

namespace {

constexpr std::int64_t kNow = 1763700500;
constexpr int kMostMessages = 64;
constexpr char kMachine[] = "0b1e0d6e-0000-4000-8000-000000000001";

void isShown(const std::string& text) {
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        fuzz::must(safeText(line) == line, "what is shown is safe: " + safeText(line));
    }
}

void takeBeat(const std::string& text, bool isRival, FleetView& view) {
    FleetBeat beat = FleetBeat::of(text);
    fuzz::must(beat.every >= 1 && beat.every <= 86400, "a beat comes within a day");
    const std::string written = beat.json();
    fuzz::must(FleetBeat::of(written).json() == written, "a beat that was read can be sent");
    beat.machine = kMachine;
    beat.at = kNow * 1000;
    isShown(FleetPresence::conflictText(beat, kMachine));
    isRival ? view.addRival(beat) : view.addBeat(beat);
}

void takeSummary(const std::string& text, FleetView& view) {
    const FleetSummary summary = FleetSummary::of(text);
    fuzz::must(summary.arrays.size() <= FleetSummary::kMostArrays &&
                   summary.models.size() <= FleetSummary::kMostModels &&
                   summary.troubles.size() <= FleetSummary::kMostTroubles,
               "a summary is bounded");
    const std::string written = summary.json();
    fuzz::must(FleetSummary::of(written).json() == written, "a summary that was read can be sent");
    view.addSummary(kMachine, summary);
}

void takeEvent(const std::string& text, const char* kind, FleetView& view) {
    FleetLink::StreamMessage message;
    message.subject = std::string("raidwatch.v1.") + kMachine + "." + kind + ".error";
    message.body = text;
    if (view.addMessage(message) == FleetView::Arrival::kNothing) return;
    const nlohmann::ordered_json json = shallowJson(text);
    fuzz::must(json.is_object(), "a record is an object");
    fuzz::must(jsonLine(json).find('\n') == std::string::npos, "JSON is one line");
    fuzz::must(textOf(json, "id").compare(0, sizeof kMachine - 1, kMachine) == 0,
               "nobody speaks for another machine");
    const Record record = recordFromObject(json);
    isShown(EventText({80, false}).lines(record.event));
}

void takeAnswer(const std::string& text) {
    const FleetLink::Answer answer = publishAnswer(text);
    const bool isKept = answer.kind == FleetLink::Answer::Kind::kStored ||
                        answer.kind == FleetLink::Answer::Kind::kDuplicate;
    fuzz::must(!isKept || answer.position > 0, "what is kept has a place");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::istringstream lines(fuzz::textOf(data, size));
    FleetView view;
    std::string line;
    for (int i = 0; i < kMostMessages && std::getline(lines, line); ++i) {
        if (line.empty()) continue;
        const std::string text = line.substr(1);
        switch (line.front()) {
            case 'b':
            case 'r':
                takeBeat(text, line.front() == 'r', view);
                break;
            case 's':
                takeSummary(text, view);
                break;
            case 'e':
                takeEvent(text, "event", view);
                break;
            case 'n':
                takeEvent(text, "notice", view);
                break;
            default:
                takeAnswer(text);
        }
    }
    const FleetText text({80, false});
    const auto machines = view.machines(kNow, 300);
    const auto failures = view.failures(0, 1);
    isShown(text.status(machines, failures, 20, kNow));
    isShown(text.silent(machines, kNow));
    isShown(text.top(view.exposures(), 20, kNow));
    return 0;
}
