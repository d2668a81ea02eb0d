// Fuzzes what clients ask the daemon: each line is a request to a real spool. What stands behind an
// empty line is the daemon's state file.
// Parsed code: agent/daemon/Door.cpp agent/daemon/Requests.cpp
// Parsed code: agent/daemon/ChangeRequests.cpp agent/JsonFields.cpp

#include <unistd.h>

#include <memory>
#include <sstream>

#include <nlohmann/json.hpp>

#include "agent/daemon/ChangeRequests.h"
#include "agent/daemon/Door.h"
#include "fuzz/support/Fuzz.h"
#include "fuzz/support/SampleSpool.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr std::int64_t kNow = 1763700500;
constexpr int kMostRequests = 8;

// Takes each change apart as the daemon does, and leaves it at that.
class Understands : public Requests::Changes {
public:
    Json change(const Json& request) override {
        const std::string word = ChangeRequests::wordOf(request);
        if (word == "ack") {
            const AckRequest ack = ChangeRequests::ackOf(request);
            return {{"id", ack.id}, {"by", ack.by}, {"until", ack.until}};
        }
        if (word == "unack" || word == "silence-rm") return ChangeRequests::idOf(request);
        if (word == "silence-add") {
            const Silence silence = ChangeRequests::silenceOf(request, kNow);
            fuzz::must(silence.until > kNow, "a silence ends in the future");
            return silence.object;
        }
        if (word == "test") return ChangeRequests::sinksOf(request);
        if (word == "drill") return ChangeRequests::eventsOf(request).size();
        return nullptr;
    }
};

const std::string& spoolFile() {
    static const std::string name = fuzz::inRoom("spool.db");
    static const std::unique_ptr<Spool> opened = [] {
        auto made = std::make_unique<Spool>(name);
        fillSample(*made);
        return made;
    }();
    return name;
}

void examine(const std::string& answer) {
    fuzz::must(answer.find('\n') == std::string::npos, "an answer is one line");
    const Json json = Json::parse(answer, nullptr, false);
    fuzz::must(json.is_object() && json.contains("ok") && json["ok"].is_boolean(),
               "an answer is an object that says whether it is one: " + answer);
    if (json["ok"] == true) {
        fuzz::must(json.contains("result"), "an answer has a result");
        return;
    }
    fuzz::must(json["error"].is_string() && !json["error"].get<std::string>().empty(),
               "an error says what is wrong");
    fuzz::must(json["exit"] == 1 || json["exit"] == 2, "an error has an exit code");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzz::textOf(data, size);
    const std::size_t cut = text.find("\n\n");
    const std::string state = fuzz::inRoom("state.json");
    (void)unlink(state.c_str());
    if (cut != std::string::npos) fuzz::put(state, text.substr(cut + 2));

    static Understands understands;
    static Door controlDoor({spoolFile(), state, &understands});
    static Door readDoor({spoolFile(), state, nullptr});
    std::istringstream lines(text.substr(0, cut));
    std::string line;
    for (int i = 0; i < kMostRequests && std::getline(lines, line); ++i) {
        examine(controlDoor.answer(line, getuid()));
        examine(readDoor.answer(line, getuid()));
    }
    return 0;
}
