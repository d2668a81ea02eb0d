#include "agent/metrics/MetricsReader.h"

#include <filesystem>
#include <utility>

#include <nlohmann/json.hpp>

#include "agent/daemon/StateFile.h"
#include "agent/spool/Spool.h"
#include "agent/state/StateJson.h"
#include "util/Clock.h"

namespace {

using Json = nlohmann::ordered_json;

std::int64_t sizeOf(const std::string& file) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file, error);
    return error ? 0 : static_cast<std::int64_t>(size);
}

}  // namespace

MetricsReader::MetricsReader(Parts partsIN) : parts(std::move(partsIN)) {}

MetricsReader::~MetricsReader() = default;

MetricsInput MetricsReader::read() {
    MetricsInput input;
    input.version = QEL_VERSION;
    input.now = Clock::current().now();
    input.staleAfter = parts.staleAfter;
    readState(input);
    readSpool(input);
    return input;
}

void MetricsReader::forget() { spool.reset(); }

void MetricsReader::readState(MetricsInput& input) const {
    try {
        const Json json = Json::parse(StateFile(parts.stateFile).read(), nullptr, false);
        if (!json.is_object()) return;
        input.machine = stateFromJson(json);
        const auto daemon = json.find("daemon");
        if (daemon == json.end() || !daemon->is_object()) return;
        input.unspooled = daemon->value("unspooled", std::int64_t{0});
        input.pollSeconds = daemon->value("pollSeconds", -1.0);
        const Json problems = daemon->value("problems", Json::object());
        for (const auto& [topic, line] : problems.items()) {
            input.problems[topic] = line.is_string() ? line.get<std::string>() : std::string();
        }
    } catch (const std::exception&) {
        input.machine = MachineState();  // half of a picture is none
    }
}

// Opened again after an error, and when the daemon has begun a new one.
void MetricsReader::readSpool(MetricsInput& input) {
    try {
        if (spool && !spool->isCurrent()) spool.reset();
        if (!spool) spool = std::make_unique<Spool>(parts.spoolFile, Spool::Access::kReadOnly);
        input.openIncidents = spool->openIncidents();
        input.events = spool->eventTotals();
        input.badBlocks = spool->badBlocks();
        input.sinks = spool->sinkStatus();
        input.firstSequence = spool->firstSequence();
        input.lastSequence = spool->lastSequence();
        for (const char* side : {"", "-wal", "-shm"}) {
            input.spoolBytes += sizeOf(parts.spoolFile + side);
        }
    } catch (const SpoolError&) {
        spool.reset();
        input.spoolReadable = false;
        input.openIncidents.clear();
        input.events.clear();
        input.badBlocks.clear();
        input.sinks.clear();
    }
}
