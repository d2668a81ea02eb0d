// The real sink and the real verb with a real server: streams that are made, accounts that may do
// little, TLS, two machines with one identity.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include <nlohmann/json.hpp>

#include "agent/fleet/FleetModule.h"
#include "agent/sinks/NatsSink.h"
#include "agent/sinks/SinkFactory.h"
#include "agent/state/StateJson.h"
#include "tests/agent/CommandRun.h"
#include "tests/agent/SinkFixture.h"
#include "tests/agent/support/NatsServer.h"
#include "tests/agent/support/NetFixture.h"
#include "tests/support/TempDir.h"

namespace {

using Json = nlohmann::ordered_json;
using Kind = Answer::Kind;

// A machine: a state folder, and the sink that the daemon would make for it.
class Machine {
public:
    Machine(const std::string& host, const std::string& url) : spool(dir.file("spool.db")) {
        settings.lists["urls"] = {url};
        settings.timeout = 10;
        settings.numbers["heartbeat"] = 5;
        MachineState state;
        state.host = host;
        state.polledAt = std::time(nullptr);
        ArrayState array;
        array.name = "md0";
        array.level = "RAID 5";
        array.state = "degraded";
        array.devices = 4;
        array.working = 3;
        array.survives = 0;
        array.fullSurvives = 1;
        array.exposedSince = state.polledAt - 3600;
        state.arrays.push_back(array);
        (void)dir.write("state.json", stateJson(state).dump());
    }
    void takeIdOf(const Machine& other) {
        (void)dir.write("machine-id", other.spool.machineId() + "\n");
    }
    Sink& sink() {
        if (!made) made = makeSink(settings, {dir.file("state.json"), dir.folder()});
        return *made;
    }
    Answer send(Record record) {
        record.sequence = commitOne(spool, record);
        // The id as the spool of the next start would give it.
        const std::string id = Spool(dir.file("spool.db")).idOf(record.sequence);
        return sink().deliver(record, id);
    }

    TempDir dir;
    Spool spool;
    SinkSettings settings = sinkSettings("fleet", "nats");
    std::unique_ptr<Sink> made;
};

class FleetServerTest : public testing::Test {
protected:
    void SetUp() override {
        if (!NatsServer::isInstalled()) GTEST_SKIP() << NatsServer::whyNot();
    }
    CommandRun fleet(std::vector<std::string> words) {
        words.insert(words.begin(), "fleet");
        words.insert(words.end(), {"--server", server.url()});
        words.insert(words.end(), login.begin(), login.end());
        return runCommand(words);
    }

    TempDir dir;
    NatsServer server{dir.folder()};
    std::vector<std::string> login;
};

TEST_F(FleetServerTest, GivenAFreshServerThenTheSinkMakesAllAndTheVerbReadsIt) {
    ASSERT_TRUE(server.start()) << server.log();
    Machine machine("stor7", server.url());
    const Answer answer = machine.send(driveEvent());
    EXPECT_EQ(Kind::kDelivered, answer.kind) << answer.text;
    EXPECT_EQ("stored as RAIDWATCH 1", answer.text);
    EXPECT_EQ("", machine.sink().problem());

    const CommandRun status = fleet({"status"});
    EXPECT_EQ(2, status.exit);
    EXPECT_EQ("", status.failure);
    EXPECT_EQ(0u, status.out.find("CRITICAL: 1 machine: 1 critical\n")) << status.out;
    EXPECT_NE(std::string::npos, status.out.find("stor7")) << status.out;

    const CommandRun events = fleet({"events"});
    EXPECT_EQ(0, events.exit);
    EXPECT_NE(std::string::npos, events.out.find("stor7: Drive failed: slot 3.")) << events.out;

    const CommandRun top = fleet({"top"});
    EXPECT_EQ(0, top.exit);
    EXPECT_NE(std::string::npos, top.out.find("stor7    md0    RAID 5  0         1 h")) << top.out;

    const CommandRun silent = fleet({"silent"});
    EXPECT_EQ("No machine is silent.\n", silent.out);

    const Json document = Json::parse(fleet({"status", "--json"}).out);
    EXPECT_EQ("CRITICAL", document["verdict"]);
    EXPECT_EQ(machine.spool.machineId(), document["machines"][0]["machine"]);
    const Json line = Json::parse(fleet({"events", "--json"}).out);
    EXPECT_EQ(machine.spool.machineId() + ":1", line["id"]);
}

TEST_F(FleetServerTest, EventsCanBeChosen) {
    ASSERT_TRUE(server.start()) << server.log();
    Machine one("one", server.url());
    Machine two("two", server.url());
    EXPECT_EQ(Kind::kDelivered, one.send(driveEvent(401, kEventError)).kind);
    EXPECT_EQ(Kind::kDelivered, one.send(driveEvent(402, kEventWarning)).kind);
    EXPECT_EQ(Kind::kDelivered, two.send(driveEvent(403, kEventInformation)).kind);
    EXPECT_EQ(Kind::kDelivered, two.send(arrayNotice()).kind);
    const auto codes = [&](const std::vector<std::string>& words) {
        std::vector<std::string> all{"events", "--json"};
        all.insert(all.end(), words.begin(), words.end());
        std::vector<int> list;
        for (const auto& json : net::jsonLines(fleet(all).out)) {
            list.push_back(json["data"].contains("event") ? json["data"]["event"]["code"].get<int>()
                                                          : 0);
        }
        return list;
    };
    using Codes = std::vector<int>;
    EXPECT_EQ(Codes({401, 402, 403}), codes({}));
    EXPECT_EQ(Codes({401}), codes({"--severity", "error"}));
    EXPECT_EQ(Codes({401, 402}), codes({"--severity", "warning"}));
    EXPECT_EQ(Codes({403}), codes({"--machine", "two"}));
    EXPECT_EQ(Codes({401, 402}), codes({"--machine", one.spool.machineId()}));
    EXPECT_EQ(Codes({0}), codes({"--notices"}));
    EXPECT_EQ(Codes(), codes({"--machine", "7f1a2b3c-0000-4000-8000-1234567890ab"}));
    EXPECT_EQ(2, fleet({"events", "--machine", "three"}).exit);
    EXPECT_EQ(2, fleet({"events", "--severity", "bad"}).exit);
}

TEST_F(FleetServerTest, GivenNoServerOrNothingOnItThenTheExitCodesSaySo) {
    ASSERT_TRUE(server.start()) << server.log();
    EXPECT_EQ(3, fleet({"status"}).exit);
    const CommandRun top = fleet({"top"});
    EXPECT_EQ(1, top.exit);
    EXPECT_EQ("cannot read how the machines stand: there is no stream KV_RAIDWATCH_STATE",
              top.failure);
    server.kill();
    EXPECT_EQ(3, fleet({"status"}).exit);
    EXPECT_EQ(1, fleet({"events"}).exit);
    EXPECT_EQ(
        2, runCommand({"fleet", "silent", "--server", "nats://h:1", "--creds", dir.file("nowhere")})
               .exit);
}

TEST_F(FleetServerTest, GivenAnAcknowledgedRecordThenAKilledServerStillHasIt) {
    ASSERT_TRUE(server.start()) << server.log();
    Machine machine("stor7", server.url());
    EXPECT_EQ(Kind::kDelivered, machine.send(driveEvent()).kind);
    server.kill();
    EXPECT_EQ(Kind::kRetry, machine.send(driveEvent(402)).kind);
    ASSERT_TRUE(server.start()) << server.log();
    const Record second = machine.spool.read(1, 1).front();
    EXPECT_EQ(Kind::kDelivered, machine.sink().deliver(second, machine.spool.idOf(2)).kind);
    // And it still knows the id.
    const Answer again = machine.sink().deliver(second, machine.spool.idOf(2));
    EXPECT_NE(Kind::kRetry, again.kind) << again.text;
    EXPECT_EQ(2u, net::jsonLines(fleet({"events", "--json"}).out).size());
}

// Whatever the server counts after a kill: a reader ends behind the last message that fits, and
// not before, and does not wait for more.
TEST_F(FleetServerTest, GivenAKilledServerThenAReaderGetsAllThatASubjectFits) {
    constexpr int kRounds = 4;
    constexpr int kEach = 60;
    ASSERT_TRUE(server.start()) << server.log();
    FleetLink::Settings settings;
    settings.urls = {server.url()};
    FleetLink::Plan plan;
    plan.stream = "RAIDWATCH";
    plan.subjects = {"raidwatch.v1.>"};
    int sent = 0;
    for (int round = 0; round < kRounds; ++round) {
        const auto link = openFleetLink(settings);
        ASSERT_EQ("", link->makeStream(plan));
        std::vector<FleetLink::Message> messages;
        for (int i = 0; i < kEach; ++i, ++sent) {
            const std::string number = std::to_string(sent % 3);
            messages.push_back(
                {"raidwatch.v1.m" + number + ".event.error", std::to_string(sent), {}, "{}"});
        }
        for (const FleetLink::Answer& answer : link->publish(messages)) {
            ASSERT_EQ(FleetLink::Answer::Kind::kStored, answer.kind) << answer.text;
        }
        server.kill();
        ASSERT_TRUE(server.start()) << server.log();
    }
    const struct {
        const char* subject;
        int messages;
        std::uint64_t last;
    } rows[] = {
        {"raidwatch.v1.>", kRounds * kEach, kRounds * kEach},
        {"raidwatch.v1.m2.>", kRounds * kEach / 3, kRounds * kEach},
        {"raidwatch.v1.m0.>", kRounds * kEach / 3, kRounds * kEach - 2},  // others come behind it
        {"raidwatch.v1.m9.>", 0, 0},
    };
    settings.timeoutMs = 30000;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.subject);
        const auto link = openFleetLink(settings);
        int count = 0;
        std::uint64_t last = 0;
        EXPECT_EQ("", link->readStream("RAIDWATCH", row.subject, 0, false,
                                       [&](const FleetLink::StreamMessage* message) {
                                           if (message == nullptr) return true;
                                           ++count;
                                           last = message->position;
                                           return true;
                                       }));
        EXPECT_EQ(row.messages, count);
        EXPECT_EQ(row.last, last);
    }
}

TEST_F(FleetServerTest, GivenTwoMachinesWithOneIdentityThenTheyAreFoundAndNotMerged) {
    ASSERT_TRUE(server.start()) << server.log();
    Machine original("original", server.url());
    EXPECT_EQ(Kind::kDelivered, original.send(driveEvent(401)).kind);
    Machine copy("copy", server.url());
    copy.takeIdOf(original);
    const Answer answer = copy.send(driveEvent(404));
    EXPECT_EQ(Kind::kRetry, answer.kind);
    EXPECT_NE(std::string::npos, answer.text.find(": original (agent ")) << answer.text;
    EXPECT_NE(std::string::npos, copy.sink().problem().find("two machines share the id"));
    EXPECT_NE(std::string::npos, original.sink().problem().find("two machines share the id"));
    const CommandRun status = fleet({"status"});
    EXPECT_NE(std::string::npos, status.out.find("1 id used twice")) << status.out;
    const Json document = Json::parse(fleet({"status", "--json"}).out);
    const std::string told = document["machines"][0]["conflict"];
    EXPECT_EQ(0u, told.find("two machines share the id " + original.spool.machineId() + ": copy "))
        << told;
    EXPECT_EQ(1u, net::jsonLines(fleet({"events", "--json"}).out).size());
}

// --- accounts ---

std::string accounts(const std::string& machine, const std::string& otherMachine) {
    const auto host = [](const std::string& id, const std::string& user) {
        return "  { user: " + user +
               ", password: pw, permissions: {\n    publish: [\"raidwatch.v1." + id +
               ".>\", \"$KV.RAIDWATCH_STATE." + id + "\", \"$KV.RAIDWATCH_ALIVE." + id +
               ".>\", \"$JS.API.DIRECT.GET.KV_RAIDWATCH_ALIVE.$KV.RAIDWATCH_ALIVE." + id +
               ".>\"],\n    subscribe: [\"_INBOX_" + id + ".>\"] } }\n";
    };
    return "authorization {\n users: [\n  { user: admin, password: pw }\n" + host(machine, "one") +
           host(otherMachine, "two") +
           "  { user: reader, password: pw, permissions: {\n    publish: "
           "[\"$JS.API.STREAM.INFO.*\", \"$JS.API.CONSUMER.*.>\", \"$JS.FC.>\"],\n    subscribe: "
           "[\"_INBOX.>\"] } }\n ]\n}\n";
}

TEST_F(FleetServerTest, GivenAccountsThatMayDoLittleThenItIsEnough) {
    Machine admin("admin", "");
    Machine one("one", "");
    Machine two("two", "");
    ASSERT_TRUE(server.start("", accounts(one.spool.machineId(), two.spool.machineId())))
        << server.log();
    const std::string password = dir.write("pw", "pw\n");
    (void)chmod(password.c_str(), 0600);
    const auto use = [&](Machine& machine, const std::string& user) {
        machine.settings.lists["urls"] = {server.url()};
        machine.settings.texts["user"] = user;
        machine.settings.texts["password"] = "pw";
        machine.settings.timeout = 1;
        machine.made.reset();
    };
    // There is nothing yet, and a host may not make it.
    use(one, "one");
    const Answer none = one.send(driveEvent());
    EXPECT_EQ(Kind::kRetry, none.kind);
    EXPECT_NE(std::string::npos, none.text.find("nats stream add RAIDWATCH ")) << none.text;

    use(admin, "admin");
    EXPECT_EQ(Kind::kDelivered, admin.send(driveEvent()).kind);
    const Answer stored = one.send(driveEvent(402));
    EXPECT_EQ(Kind::kDelivered, stored.kind) << stored.text;
    EXPECT_EQ("stored as RAIDWATCH 2", stored.text) << "and its state was written, too";
    EXPECT_EQ("", one.sink().problem());

    // Under the name of another machine it may not.
    use(two, "one");
    const Answer refused = two.send(driveEvent());
    EXPECT_EQ(Kind::kRetry, refused.kind);
    EXPECT_NE(std::string::npos, refused.text.find("ermissions")) << refused.text;

    login = {"--user", "reader", "--password-file", password};
    const CommandRun status = fleet({"status"});
    EXPECT_EQ("", status.failure);
    EXPECT_EQ(0u, status.out.find("CRITICAL: 2 machines: 2 critical\n")) << status.out;

    login = {"--user", "reader", "--password-file", dir.write("wrong", "pw\n")};
    const CommandRun open = fleet({"status"});
    EXPECT_EQ(3, open.exit);
    EXPECT_NE(std::string::npos, open.failure.find("can be read by others")) << open.failure;
    use(one, "nobody");
    EXPECT_NE(std::string::npos, one.sink().problem().find("uthorization")) << one.sink().problem();
}

TEST_F(FleetServerTest, GivenAKeyOrCredentialsThenTheMachineLogsInWithThem) {
    const std::string made = "/usr/bin/python3 " + net::supportFile("nats_logins.py") + " " +
                             dir.folder() + " 2>/dev/null && echo made";
    if (net::outputOf(made) != "made\n") GTEST_SKIP() << "NOT TESTED: there is no openssl";
    const auto with = [&](const std::map<std::string, std::string>& keys) {
        Machine machine("stor7", server.url());
        machine.settings.timeout = 5;
        machine.settings.texts = keys;
        return machine.send(driveEvent());
    };
    const std::string key = dir.read("nkey.pub");
    ASSERT_TRUE(server.start("", "authorization { users: [ { nkey: " + key + " } ] }\n"))
        << server.log();
    const Answer byKey = with({{"nkey", key}, {"nkey_seed_file", dir.file("nkey.seed")}});
    EXPECT_EQ(Kind::kDelivered, byKey.kind) << byKey.text;
    EXPECT_EQ(Kind::kRetry, with({}).kind);

    ASSERT_TRUE(server.start("", dir.read("operator.conf"))) << server.log();
    const Answer byCredentials = with({{"credentials_file", dir.file("user.creds")}});
    EXPECT_EQ(Kind::kDelivered, byCredentials.kind) << byCredentials.text;
    EXPECT_EQ(Kind::kRetry, with({}).kind);
}

// --- TLS ---

TEST_F(FleetServerTest, GivenTlsThenBothSidesMustProveThemselves) {
    if (!net::makeCertificate(dir, "server") || !net::makeCertificate(dir, "client") ||
        !net::makeCertificate(dir, "other")) {
        GTEST_SKIP() << "NOT TESTED: there is no openssl";
    }
    ASSERT_TRUE(server.start("", "tls {\n cert_file: \"" + dir.file("server.pem") +
                                     "\"\n key_file: \"" + dir.file("server.key") +
                                     "\"\n ca_file: \"" + dir.file("client.pem") +
                                     "\"\n verify: true\n}\n"))
        << server.log();
    for (const char* key : {"client.key", "other.key"}) (void)chmod(dir.file(key).c_str(), 0600);
    const std::string port = server.url().substr(server.url().rfind(':'));
    const auto with = [&](const char* ca, const char* own, const std::string& host) {
        Machine machine("stor7", "tls://" + host + port);
        machine.settings.timeout = 5;
        machine.settings.texts["ca_file"] = dir.file(std::string(ca) + ".pem");
        if (*own != 0) {
            machine.settings.texts["cert_file"] = dir.file(std::string(own) + ".pem");
            machine.settings.texts["key_file"] = dir.file(std::string(own) + ".key");
        }
        return machine.send(driveEvent());
    };
    const Answer good = with("server", "client", "localhost");
    EXPECT_EQ(Kind::kDelivered, good.kind) << good.text;
    EXPECT_EQ(Kind::kRetry, with("other", "client", "localhost").kind) << "an unknown issuer";
    EXPECT_EQ(Kind::kRetry, with("server", "other", "localhost").kind) << "not our certificate";
    EXPECT_EQ(Kind::kRetry, with("server", "", "localhost").kind) << "no certificate";
    // The certificate is for localhost and 127.0.0.1 only.
    EXPECT_EQ(Kind::kRetry, with("server", "client", "127.0.0.2").kind) << "of another host";
}

TEST_F(FleetServerTest, GivenAServerWithoutTlsThenTlsIsNotLeftOut) {
    ASSERT_TRUE(server.start()) << server.log();
    Machine machine("stor7", server.url("tls"));
    machine.settings.timeout = 5;
    EXPECT_EQ(Kind::kRetry, machine.send(driveEvent()).kind);
}

}  // namespace
