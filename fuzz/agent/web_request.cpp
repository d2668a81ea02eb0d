// Fuzzes what web clients send: a request's head, taken apart by the module and answered by the
// real site over a real spool; behind the head, one a line, what the hardware of this machine is
// called.
// Parsed code: agent/web/module/ agent/web/WebGuard.cpp agent/web/WebToken.cpp
// Parsed code: agent/web/WebQuery.cpp agent/web/WebProblem.cpp agent/web/RestApi.cpp
// Parsed code: agent/web/AgentSite.cpp agent/web/PageRoutes.cpp agent/page/
// Parsed code: agent/metrics/MetricsWriter.cpp agent/metrics/MetricsFamilies.cpp

#include <algorithm>
#include <cctype>
#include <iterator>
#include <memory>
#include <sstream>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/state/StateJson.h"
#include "agent/web/AgentSite.h"
#include "agent/web/HttpExchange.h"
#include "fuzz/support/Fuzz.h"
#include "fuzz/support/SampleSpool.h"
#include "tests/agent/HtmlReader.h"
#include "util/Clock.h"

extern "C" HttpExchange* makeHttpExchange();

namespace {

using Json = nlohmann::ordered_json;

constexpr char kEndOfHead[] = "\r\n\r\n";
// Every header that an answer may have; no other can be smuggled in.
constexpr const char* kHeaders[] = {"accept-ranges",
                                    "allow",
                                    "cache-control",
                                    "connection",
                                    "content-length",
                                    "content-security-policy",
                                    "content-type",
                                    "cross-origin-opener-policy",
                                    "cross-origin-resource-policy",
                                    "keep-alive",
                                    "link",
                                    "referrer-policy",
                                    "retry-after",
                                    "www-authenticate",
                                    "x-accel-buffering",
                                    "x-content-type-options",
                                    "x-frame-options"};

struct Answer {
    int status = 0;
    std::string head;
    std::string type;
    std::string body;
};

// The texts of the hardware, taken from the input until there are no more.
class Names {
public:
    explicit Names(const std::string& text) : lines(text) {}
    std::string next() {
        std::string line;
        (void)std::getline(lines, line);
        return line;
    }

private:
    std::istringstream lines;
};

MachineState machineCalled(const std::string& text) {
    Names names(text);
    MachineState state;
    state.host = names.next();
    state.source = names.next();
    state.polledAt = Clock::current().now();
    state.polls = 3;
    DriveState drive;
    drive.key = "drive:S0";
    for (std::string* each :
         {&drive.model, &drive.serial, &drive.vendor, &drive.firmware, &drive.wwn, &drive.name,
          &drive.osName, &drive.slotName, &drive.partNumber, &drive.state, &drive.key}) {
        const std::string name = names.next();
        if (!name.empty()) *each = name;
    }
    drive.array = "array:0:0";
    drive.enclosure = "enclosure:1";
    drive.slot = 1;
    state.drives.push_back(drive);
    ArrayState array;
    array.key = "array:0:0";
    array.name = names.next();
    array.label = names.next();
    array.level = names.next();
    array.state = names.next();
    array.members.push_back({drive.key, drive.osName, 0, "active"});
    array.members.push_back({"", "", 1, "missing"});
    array.task.kind = names.next();
    array.exposedSince = state.polledAt - 60;
    state.arrays.push_back(array);
    EnclosureState enclosure;
    enclosure.key = "enclosure:1";
    enclosure.name = names.next();
    enclosure.vendor = names.next();
    enclosure.model = names.next();
    enclosure.serial = names.next();
    enclosure.slots = 4;
    enclosure.elements.push_back({"fan", names.next(), names.next(), 3000});
    state.enclosures.push_back(enclosure);
    ControllerState controller;
    controller.key = "controller:1";
    controller.name = names.next();
    controller.firmware = names.next();
    controller.battery = names.next();
    controller.pci = names.next();
    state.controllers.push_back(controller);
    return state;
}

class Daemon {
public:
    Daemon()
        : open(files(), {"", {"raid.example.net"}, "stor7"}),
          locked(files(), {hash(), {}, "stor7"}),
          http(makeHttpExchange()) {}

    Answer ask(AgentSite& site, const std::string& head) const {
        const HttpExchange::Result result = http->exchange(
            head, [&](const WebRequest& asked) { return site.answer(asked); }, false);
        return taken(result);
    }

    static WebKnowledge::Parts files() {
        static const std::string spool = [] {
            const std::string name = fuzz::inRoom("spool.db");
            Spool filled(name);
            fillSample(filled);
            return name;
        }();
        return {spool, fuzz::inRoom("state.json"), 300, ""};
    }
    // Of a token that no input can know.
    static std::string hash() {
        static const std::string made = WebToken::hash(WebToken::make());
        return made;
    }

    AgentSite open;
    AgentSite locked;

private:
    static Answer taken(const HttpExchange::Result& result) {
        const std::string& bytes = result.bytes;
        fuzz::must(bytes.compare(0, 9, "HTTP/1.1 ") == 0, "an answer is one of HTTP/1.1");
        const std::size_t end = bytes.find(kEndOfHead);
        fuzz::must(end != std::string::npos, "an answer has a head");
        Answer answer;
        answer.status = std::atoi(bytes.c_str() + 9);
        answer.head = bytes.substr(0, end);
        answer.body = bytes.substr(end + 4);
        fuzz::must(answer.status >= 200 && answer.status < 600, "an answer has a status");
        const std::size_t length = readHead(answer);
        if (result.streamAfter == WebAnswer::kNoStream) {
            fuzz::must(answer.body.empty() || answer.body.size() == length,
                       "a body is as long as the head says");
        }
        return answer;
    }

    static std::size_t readHead(Answer& answer) {
        std::istringstream lines(answer.head);
        std::string line;
        (void)std::getline(lines, line);
        std::size_t length = 0;
        while (std::getline(lines, line)) {
            fuzz::must(!line.empty() && line.back() == '\r' ? true : lines.eof(),
                       "lines end in CRLF");
            const std::size_t colon = line.find(':');
            fuzz::must(colon != std::string::npos, "a header has a name");
            std::string name = line.substr(0, colon);
            std::transform(name.begin(), name.end(), name.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
            fuzz::must(std::any_of(std::begin(kHeaders), std::end(kHeaders),
                                   [&](const char* known) { return name == known; }),
                       "a header is one of ours: " + name);
            if (name == "content-length") length = std::strtoull(&line[colon + 1], nullptr, 10);
            if (name == "content-type") answer.type = line.substr(colon + 2);
        }
        return length;
    }

    const std::unique_ptr<HttpExchange> http;
};

void examine(const Answer& answer) {
    if (answer.body.empty()) return;
    if (answer.type.find("json") != std::string::npos) {
        fuzz::must(!Json::parse(answer.body, nullptr, false).is_discarded(), "JSON is JSON");
    } else if (answer.type.find("text/html") != std::string::npos) {
        const HtmlReader page(answer.body);
        fuzz::must(page.fault().empty(), "no name becomes a part of the page: " + page.fault());
        fuzz::must(page.countTags("script") == 1, "the page has its own script only");
    } else if (answer.type.find("text/event-stream") == std::string::npos) {
        fuzz::must(answer.body.find('\x1b') == std::string::npos, "a text holds no escapes");
    }
}

// The same request from somebody else's page.
std::string fromElsewhere(std::string head) {
    const std::size_t end = head.find("\r\n");
    return head.insert(end + 2, "Origin: http://evil.example.com\r\n");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Daemon daemon;
    const std::string input = fuzz::textOf(data, size);
    const std::size_t end = input.find(kEndOfHead);
    const std::string head =
        end == std::string::npos ? input + kEndOfHead : input.substr(0, end + 4);
    const std::string names = end == std::string::npos ? "" : input.substr(end + 4);
    // Another size or time is another state.
    static int turn = 0;
    const std::string fresh = fuzz::inRoom("state.json." + std::to_string(++turn % 2));
    fuzz::put(fresh,
              stateJson(machineCalled(names)).dump(-1, ' ', false, Json::error_handler_t::replace));
    fuzz::must(std::rename(fresh.c_str(), fuzz::inRoom("state.json").c_str()) == 0, "renamed");

    examine(daemon.ask(daemon.open, head));
    const Answer stranger = daemon.ask(daemon.open, fromElsewhere(head));
    fuzz::must(stranger.status != 200, "a page of another site gets nothing");
    const Answer locked = daemon.ask(daemon.locked, head);
    fuzz::must(locked.status != 200, "who does not show the token gets nothing");
    return 0;
}
