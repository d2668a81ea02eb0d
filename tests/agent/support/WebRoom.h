// WebRoom: a web server over a spool and a state.json of its own, on a port that the kernel chose
// and on a Unix socket, and clients for it: a polite one (cpp-httplib) and a bare socket.
//
//   WebRoom room;
//   room.poll();                                   // state.json, as after a poll
//   room.record(401, "drive:A");                   // an event in the spool
//   EXPECT_EQ(200, room.get("/api/v1/status")->status);
#ifndef TESTS_AGENT_SUPPORT_WEBROOM_H
#define TESTS_AGENT_SUPPORT_WEBROOM_H

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/spool/Spool.h"
#include "agent/state/StateJson.h"
#include "agent/web/AgentSite.h"
#include "agent/web/WebServer.h"
#include "events/EnumEventType.h"
#include "tests/support/TempDir.h"
#include "util/Clock.h"

namespace web {

using Json = nlohmann::ordered_json;

inline bool waitFor(const std::function<bool()>& done,
                    std::chrono::seconds limit = std::chrono::seconds(30)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// A connection that says what it likes.
class Bare {
public:
    // `from`: it comes from 127.0.0.FROM.
    explicit Bare(int port, int from = 1) : fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK - 1 + static_cast<std::uint32_t>(from));
        if (from != 1) {
            (void)bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        }
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        up = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    ~Bare() { (void)close(fd); }
    Bare(const Bare&) = delete;
    Bare& operator=(const Bare&) = delete;

    bool isUp() const { return up; }
    void say(const std::string& bytes) const {
        (void)!send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
    // What has come until `enough` of all that came, the end, or the limit.
    std::string hear(const std::function<bool(const std::string&)>& enough,
                     std::chrono::seconds limit = std::chrono::seconds(30)) {
        const auto end = std::chrono::steady_clock::now() + limit;
        while (!enough(heard) && !over && std::chrono::steady_clock::now() < end) {
            pollfd state{fd, POLLIN, 0};
            if (::poll(&state, 1, 100) <= 0) continue;
            char bytes[16 * 1024];
            const ssize_t count = recv(fd, bytes, sizeof bytes, 0);
            over = count <= 0;
            if (count > 0) heard.append(bytes, static_cast<std::size_t>(count));
        }
        return heard;
    }
    std::string hearUntil(const std::string& part) {
        return hear(
            [&part](const std::string& all) { return all.find(part) != std::string::npos; });
    }
    std::string hearAll() {
        return hear([](const std::string&) { return false; });
    }
    bool isOver() const { return over; }  // the other side has hung up, as far as was heard

private:
    int fd;
    bool up = false;
    bool over = false;
    std::string heard;
};

inline std::string getLines(const std::string& path, const std::string& more = "") {
    return "GET " + path + " HTTP/1.1\r\nHost: localhost\r\n" + more + "\r\n";
}

class Room {
public:
    Room() : spool(dir.file("spool.db")) {}
    ~Room() {
        if (server) server->stop();
    }
    Room(const Room&) = delete;
    Room& operator=(const Room&) = delete;

    static MachineState machine() {
        MachineState state;
        state.host = "stor7";
        state.source = "linux";
        state.polledAt = Clock::current().now();
        state.polls = 3;
        DriveState drive;
        drive.key = "drive:S0";
        drive.name = "drive 0:0:1";
        drive.state = "normal";
        drive.array = "array:0:0";
        state.drives.push_back(drive);
        ArrayState array;
        array.key = "array:0:0";
        array.name = "md0";
        array.level = "RAID 1";
        array.state = "normal";
        array.survives = 1;
        array.fullSurvives = 1;
        array.members.push_back({drive.key, "sda", 0, "active"});
        state.arrays.push_back(array);
        return state;
    }

    void poll(const MachineState& state = machine()) {
        Json json = stateJson(state);
        json["daemon"] = {{"pid", 1}, {"unspooled", 0}, {"problems", Json::object()}};
        // A new file, as the daemon makes it.
        const std::string fresh =
            dir.write("state.json.new", json.dump(-1, ' ', false, Json::error_handler_t::replace));
        (void)std::rename(fresh.c_str(), dir.file("state.json").c_str());
        if (server) server->notify();
    }
    std::int64_t record(int code, const std::string& object, int severity = kEventError) {
        Record record;
        record.object = object;
        record.objectName = object;
        record.event = QELEvent(code, severity, "text of " + std::to_string(code), "ID");
        Spool::Batch batch;
        batch.records = {record};
        const std::int64_t last = spool.commit(batch);
        if (server) server->notify();
        return last;
    }

    WebKnowledge::Parts files() const {
        return {dir.file("spool.db"), dir.file("state.json"), 300, dir.file("temperatures.json")};
    }
    void start() {
        site = std::make_unique<AgentSite>(files(), rules);
        start(*site);
    }
    void start(WebSite& other) {
        server = std::make_unique<WebServer>(other, limits, [this](const std::string& line) {
            const std::lock_guard<std::mutex> guard(mutex);
            notes.push_back(line);
        });
        WebAddress port;
        EXPECT_EQ("", WebAddress::parse("127.0.0.1:0", "", port));
        WebAddress file;
        EXPECT_EQ("", WebAddress::parse("unix:" + socketFile(), "", file));
        server->listenOn({port, file});
    }
    std::string socketFile() const { return dir.file("http.sock"); }
    int port() const { return portOf(server->addresses().at(0)); }
    // Of "http://127.0.0.1:8627/".
    static int portOf(const std::string& address) {
        return std::atoi(address.substr(address.rfind(':') + 1).c_str());
    }

    httplib::Result get(const std::string& path, const httplib::Headers& headers = {}) const {
        httplib::Client client("127.0.0.1", port());
        client.set_read_timeout(30);
        return client.Get(path, headers);
    }
    Json json(const std::string& path) const {
        const httplib::Result result = get(path);
        if (!result) return "no answer: " + httplib::to_string(result.error());
        return Json::parse(result->body, nullptr, false);
    }
    std::vector<std::string> told() {
        const std::lock_guard<std::mutex> guard(mutex);
        return notes;
    }

    const TempDir dir;
    Spool spool;
    WebGuard::Rules rules{"", {}, "stor7"};
    WebServer::Limits limits;
    std::unique_ptr<AgentSite> site;
    std::unique_ptr<WebServer> server;

private:
    std::mutex mutex;
    std::vector<std::string> notes;  // guarded by `mutex`
};

}  // namespace web

#endif  // TESTS_AGENT_SUPPORT_WEBROOM_H
