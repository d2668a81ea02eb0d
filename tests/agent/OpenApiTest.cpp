// docs/formats/openapi.json against what the server answers, in both directions.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/agent/DaemonRoom.h"
#include "tests/agent/support/NetFixture.h"
#include "tests/agent/support/WebRoom.h"

namespace {

using web::Json;

constexpr char kDocument[] = QEL_SOURCE_DIR "/docs/formats/openapi.json";

class OpenApiTest : public testing::Test {
protected:
    void SetUp() override {
        const std::string probe = std::string(net::kPython) + " -c 'import jsonschema' 2>&1";
        if (std::system(probe.c_str()) != 0) {  // NOLINT(concurrency-mt-unsafe)
            GTEST_SKIP() << "NOT TESTED: python3-jsonschema is not installed";
        }
        std::filesystem::create_directories(folder.file("answers"));
    }

    void keep(const std::string& path, int status, const std::string& type, const std::string& body,
              const Json& headers = Json::array()) {
        const Json answer = {{"path", path},
                             {"status", status},
                             {"type", type.substr(0, type.find(';'))},
                             {"headers", headers},
                             {"body", body}};
        folder.write("answers/" + std::to_string(1000 + ++kept) + ".json", answer.dump());
    }
    // Asks for `path`, which is one of `pattern`.
    void ask(int port, const std::string& pattern, const std::string& path, int expected,
             const httplib::Headers& headers = {}) {
        httplib::Client client("127.0.0.1", port);
        const httplib::Result result = client.Get(path, headers);
        ASSERT_TRUE(result) << path;
        EXPECT_EQ(expected, result->status) << path << ": " << result->body;
        keep(pattern, result->status, result->get_header_value("Content-Type"), result->body,
             result->has_header("Link") ? Json::array({"Link"}) : Json::array());
    }
    void expectFit(const std::string& more) const {
        const std::string command = std::string(net::kPython) + " " +
                                    net::supportFile("check_openapi.py") + more + " " + kDocument +
                                    " " + folder.file("answers") + " 2>&1 || echo FAILED";
        const std::string said = net::outputOf(command);
        EXPECT_NE(std::string::npos, said.find("answers are as the document says")) << said;
    }

    TempDir folder;
    int kept = 0;
};

MachineState fullMachine() {
    MachineState state = web::Room::machine();
    state.arrays[0].task.kind = "rebuild";
    state.arrays[0].task.percent = 41.5;
    EnclosureState enclosure;
    enclosure.key = "enclosure:E1";
    enclosure.state = "normal";
    enclosure.elements.push_back({"fan", "fan 1", "normal", 2400});
    state.enclosures.push_back(enclosure);
    ControllerState controller;
    controller.key = "controller:C1";
    controller.state = "normal";
    state.controllers.push_back(controller);
    state.phys.push_back({"phy 0:0:1 0", "6.0 Gbit", "drive:S0"});
    return state;
}

void fillSpool(web::Room& room) {
    room.record(401, "drive:S0");
    room.record(402, "");
    Record record;
    record.kind = Record::Kind::kNotice;
    record.object = "drive:S0";
    record.incident = 1;
    record.notice.subject = "drive S0 has failed";
    record.notice.incident.id = 1;
    record.notice.incident.severity = kEventError;
    Spool::Batch batch;
    batch.records = {record};
    room.spool.commit(batch);
    Incident incident;
    incident.id = 1;
    incident.object = "drive:S0";
    incident.openedAt = 1000;
    incident.severity = kEventError;
    room.spool.putIncident(incident);
    Receipt receipt;
    receipt.sink = "ops";
    receipt.sequence = 1;
    receipt.at = 1000;
    (void)room.spool.cursor("ops");
    room.spool.deliver("ops", 1, receipt);
}

constexpr const char* kPaths[] = {
    "/api/v1/status",      "/api/v1/arrays",    "/api/v1/drives", "/api/v1/enclosures",
    "/api/v1/controllers", "/api/v1/incidents", "/api/v1/events", "/api/v1/stream",
};

struct OnePath {
    const char* pattern;
    const char* path;
    const char* none;  // 404
};

constexpr OnePath kOnePaths[] = {
    {"/api/v1/arrays/{key}", "/api/v1/arrays/array:0:0", "/api/v1/arrays/x"},
    {"/api/v1/drives/{key}", "/api/v1/drives/drive%3AS0", "/api/v1/drives/x"},
    {"/api/v1/enclosures/{key}", "/api/v1/enclosures/enclosure:E1", "/api/v1/enclosures/x"},
    {"/api/v1/controllers/{key}", "/api/v1/controllers/controller:C1", "/api/v1/controllers/x"},
    {"/api/v1/incidents/{id}", "/api/v1/incidents/1", "/api/v1/incidents/9"},
    {"/api/v1/events/{sequence}", "/api/v1/events/1", "/api/v1/events/9"},
};

TEST_F(OpenApiTest, TheDocumentThatIsServedIsTheOneInTheBook) {
    web::Room room;
    room.start();
    std::ifstream file(kDocument);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}),
              room.get("/api/v1/openapi.json")->body);
}

TEST_F(OpenApiTest, EveryAnswerIsInTheDocumentAndAllOfTheDocumentIsAnswered) {
    web::Room room;
    room.start();
    const int port = room.port();
    // Nothing is known yet; the records cannot be read.
    const auto away = room.dir.file("spool.db");
    std::filesystem::rename(away, away + ".away");
    for (const char* path : kPaths) ask(port, path, path, 503);
    for (const OnePath& one : kOnePaths) ask(port, one.pattern, one.path, 503);
    std::filesystem::rename(away + ".away", away);

    room.poll(fullMachine());
    fillSpool(room);
    for (const char* path : kPaths) {
        if (std::string(path) != "/api/v1/stream") ask(port, path, path, 200);
        ask(port, path, std::string(path) + "?x=1", 400);
        ask(port, path, path, 421, {{"Host", "evil.example.com"}});
    }
    for (const OnePath& one : kOnePaths) {
        ask(port, one.pattern, one.path, 200);
        ask(port, one.pattern, one.none, 404);
        ask(port, one.pattern, std::string(one.path) + "?x=1", 400);
        ask(port, one.pattern, one.path, 403, {{"Origin", "http://evil.example.com"}});
    }
    ask(port, "/api/v1/events", "/api/v1/events?after=0&limit=1", 200);
    ask(port, "/api/v1/openapi.json", "/api/v1/openapi.json", 200);
    ask(port, "/api/v1/openapi.json", "/api/v1/openapi.json?x=1", 400);
    ask(port, "/api/v1/openapi.json", "/api/v1/openapi.json", 421, {{"Host", "evil"}});

    web::Bare stream(port);
    stream.say(web::getLines("/api/v1/stream?after=0"));
    const std::string heard = stream.hearUntil("event: state\n");
    (void)stream.hearUntil("\"polls\"");
    keep("/api/v1/stream", 200, "text/event-stream", stream.hearUntil("}\n\n"));
    EXPECT_NE(std::string::npos, heard.find("200 OK"));
    web::Bare gap(port);
    gap.say(web::getLines("/api/v1/stream?after=99"));
    keep("/api/v1/stream", 200, "text/event-stream", gap.hearUntil("\"polls\":3}\n\n"));
    expectFit("");
}

TEST_F(OpenApiTest, WhatARealDaemonAnswersIsInTheDocument) {
    DaemonRoom room;
    room.settings.source = "scenario:" QEL_SOURCE_DIR "/storlib/sources/scenarios/whole-story.json";
    room.listen = "[\"127.0.0.1:0\"]";
    room.configure("");
    room.start();
    const auto pages = [&] {
        const Json state = room.state();
        return state.is_object() ? state["daemon"].value("pages", std::vector<std::string>())
                                 : std::vector<std::string>();
    };
    ASSERT_TRUE(room.waitFor([&] { return !pages().empty() && room.told().size() > 20; }))
        << room.log();
    const int port = web::Room::portOf(pages().at(0));
    for (const char* path : kPaths) {
        if (std::string(path) != "/api/v1/stream") ask(port, path, path, 200);
    }
    ask(port, "/api/v1/events", "/api/v1/events?after=0&limit=1000", 200);
    ask(port, "/api/v1/events/{sequence}", "/api/v1/events/1", 200);
    ask(port, "/api/v1/incidents", "/api/v1/incidents?all=true", 200);
    expectFit(" --partial");
    EXPECT_EQ(0, room.stop(SIGTERM));
}

}  // namespace
