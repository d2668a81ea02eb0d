#include "agent/daemon/Requests.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <limits>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/EventJson.h"
#include "agent/Failure.h"
#include "agent/JsonFields.h"
#include "agent/SafeFile.h"
#include "agent/SafeText.h"
#include "agent/incidents/IncidentJson.h"
#include "agent/spool/RecordJson.h"
#include "agent/spool/Spool.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr std::int64_t kMostRecords = 10000;  // in one answer; who wants more asks again
constexpr std::size_t kMostShown = 40;        // of a word that we do not know

[[noreturn]] void refuse(const std::string& line) { throw Failure(Failure::kBadUse, line); }

const Json* memberOf(const Json& request, const char* name) {
    const auto found = request.find(name);
    return found == request.end() || found->is_null() ? nullptr : &*found;
}

std::string quoted(const char* name) { return std::string("\"") + name + "\""; }

std::int64_t numberIn(const Json& request, const char* name, std::int64_t otherwise) {
    const Json* const member = memberOf(request, name);
    if (member == nullptr) return otherwise;
    const bool fits = member->is_number_integer() &&
                      !(member->is_number_unsigned() &&
                        member->get<std::uint64_t>() >
                            static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()));
    if (!fits || member->get<std::int64_t>() < 0) {
        refuse(quoted(name) + " must be a whole number from 0");
    }
    return member->get<std::int64_t>();
}

bool truthIn(const Json& request, const char* name, bool otherwise) {
    const Json* const member = memberOf(request, name);
    if (member == nullptr) return otherwise;
    if (!member->is_boolean()) refuse(quoted(name) + " must be true or false");
    return member->get<bool>();
}

std::vector<int> numbersIn(const Json& request, const char* name) {
    std::vector<int> numbers;
    const Json* const member = memberOf(request, name);
    if (member == nullptr) return numbers;
    if (!member->is_array()) refuse(quoted(name) + " must be a list of whole numbers");
    for (const Json& element : *member) {
        const Json wrapped{{"n", element}};
        const std::int64_t number = numberOf(wrapped, "n", -1);
        if (number < 0 || number > std::numeric_limits<int>::max()) {
            refuse(quoted(name) + " must be a list of whole numbers");
        }
        numbers.push_back(static_cast<int>(number));
    }
    return numbers;
}

std::string textIn(const Json& request, const char* name) {
    const Json* const member = memberOf(request, name);
    if (member == nullptr) return std::string();
    if (!member->is_string()) refuse(quoted(name) + " must be a text");
    return member->get<std::string>();
}

RecordFilter filterIn(const Json& request) {
    RecordFilter filter;
    filter.after = numberIn(request, "after", 0);
    filter.since = numberIn(request, "since", 0);
    filter.until = numberIn(request, "until", 0);
    filter.severities = numbersIn(request, "severities");
    filter.object = textIn(request, "object");
    filter.codes = numbersIn(request, "codes");
    filter.undelivered = truthIn(request, "undelivered", false);
    filter.events = truthIn(request, "events", true);
    filter.notices = truthIn(request, "notices", true);
    filter.newest = truthIn(request, "newest", false);
    const std::int64_t limit = numberIn(request, "limit", kMostRecords);
    filter.limit = static_cast<int>(limit == 0 ? kMostRecords : std::min(limit, kMostRecords));
    return filter;
}

Json recordsOf(Spool& spool, const Json& request) {
    Json list = Json::array();
    for (const Record& record : spool.query(filterIn(request))) {
        list.push_back(recordObject(record, spool.idOf(record.sequence)));
    }
    return list;
}

Json recordWithReceipts(Spool& spool, const Json& request) {
    const std::int64_t sequence = numberIn(request, "sequence", 0);
    const std::vector<Record> found =
        sequence < 1 ? std::vector<Record>() : spool.read(sequence - 1, 1);
    if (found.empty() || found[0].sequence != sequence) {
        refuse("there is no record " + std::to_string(sequence) + "; the spool holds " +
               std::to_string(spool.firstSequence()) + " to " +
               std::to_string(spool.lastSequence()));
    }
    Json receipts = Json::array();
    for (const Receipt& receipt : spool.receipts(sequence)) {
        receipts.push_back(receiptJson(receipt));
    }
    return {{"record", recordObject(found[0], spool.idOf(sequence))}, {"receipts", receipts}};
}

Json incidentsOf(Spool& spool, const Json& request) {
    const bool all = truthIn(request, "all", false);
    const std::int64_t since = numberIn(request, "since", 0);
    Json list = Json::array();
    for (const Incident& incident : all ? spool.incidentsSince(since) : spool.openIncidents()) {
        list.push_back(incidentJson(incident));
    }
    return list;
}

Json silencesOf(Spool& spool, const Json&) {
    Json list = Json::array();
    for (const Silence& silence : spool.silences()) list.push_back(silenceJson(silence));
    return list;
}

Json sinksOf(Spool& spool, const Json&) {
    Json list = Json::array();
    for (const SinkStatus& status : spool.sinkStatus()) list.push_back(sinkStatusJson(status));
    return list;
}

Json spansOf(Spool& spool, const Json& request) {
    Json list = Json::array();
    for (const WatchSpan& span : spool.watchSpans(numberIn(request, "since", 0))) {
        list.push_back({{"began", timeOrNull(span.began)},
                        {"lastPoll", timeOrNull(span.lastPoll)},
                        {"ended", timeOrNull(span.ended)},
                        {"bootId", span.bootId},
                        {"firstSequence", span.firstSequence}});
    }
    return list;
}

Json positionOf(Spool& spool, const Json&) {
    return {{"machineId", spool.machineId()},
            {"first", spool.firstSequence()},
            {"last", spool.lastSequence()}};
}

struct Question {
    const char* word;
    Json (*answer)(Spool&, const Json&);
};

// What the spool alone can answer. "state" is a file.
constexpr Question kQuestions[] = {
    {"events", recordsOf},      {"record", recordWithReceipts},
    {"incidents", incidentsOf}, {"silences", silencesOf},
    {"sinks", sinksOf},         {"spans", spansOf},
    {"position", positionOf},
};

Json stateIn(const std::string& file) {
    std::string text;
    if (!readSafely(file, text)) {
        if (errno == ENOENT) {
            throw Failure(Failure::kFailed,
                          "nothing is known of this machine yet: the daemon is not running, or has "
                          "not finished its first look; see systemctl status raidwatch");
        }
        throw Failure(Failure::kFailed, "cannot read " + file + "; see that this user may read it");
    }
    Json state = Json::parse(text, nullptr, false);
    if (!state.is_object()) {
        throw Failure(Failure::kFailed,
                      file + " is damaged; the daemon writes it again after its next look");
    }
    return state;
}

Json failed(int exitCode, const std::string& line) {
    return {{"ok", false}, {"error", line}, {"exit", exitCode}};
}

}  // namespace

Requests::Requests(Spool& spoolIN, Changes* changesIN, std::string stateFileIN)
    : spool(spoolIN), changes(changesIN), stateFile(std::move(stateFileIN)) {}

std::string Requests::answer(const std::string& request) {
    try {
        const Json json = Json::parse(request, nullptr, false);
        return jsonLine({{"ok", true}, {"result", result(json)}});
    } catch (const Failure& e) {
        return jsonLine(failed(e.exitCode, e.what()));
    } catch (const std::exception& e) {
        return jsonLine(failed(Failure::kFailed, e.what()));
    }
}

Json Requests::result(const Json& request) {
    if (!request.is_object()) refuse("a request is one JSON object on one line");
    const std::string word = textIn(request, "do");
    if (word.empty()) refuse("a request needs \"do\", for example {\"do\":\"incidents\"}");
    if (word == "state") return stateIn(stateFile);
    for (const Question& question : kQuestions) {
        if (word == question.word) return question.answer(spool, request);
    }
    if (changes == nullptr) {
        refuse("\"" + cutText(safeText(word), kMostShown) +
               "\" is no question; what changes something goes through the control socket");
    }
    return changes->change(request);
}
