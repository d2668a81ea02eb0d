// PrometheusServer: the real Prometheus server of Debian, on a port of the kernel's, with the
// shipped rules made impatient, for the time of a test.
//
//   PrometheusServer server({agentPort, otherPort});
//   const std::string why = whyWithout(kPrometheus);
//   if (!why.empty()) GTEST_SKIP() << why;
//   ASSERT_TRUE(server.start()) << server.log();
//   for (const auto& sample : server.query("up")) ...
#ifndef TESTS_AGENT_SUPPORT_PROMETHEUSSERVER_H
#define TESTS_AGENT_SUPPORT_PROMETHEUSSERVER_H

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "tests/support/TempDir.h"

constexpr char kPrometheus[] = "/usr/bin/prometheus";
constexpr char kPromtool[] = "/usr/bin/promtool";

// What these programs find does not depend on how we were built: the plain build is enough.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kPlainBuild = false;
#else
constexpr bool kPlainBuild = true;
#endif

// Why a test that needs the program is skipped; "" when it can run.
inline std::string whyWithout(const char* program) {
    if (!kPlainBuild) return "the build without sanitizers asks Prometheus";
    if (access(program, X_OK) == 0) return std::string();
    return std::string("there is no ") + program + " (Debian package prometheus)";
}

// The answer's body to a GET on the loopback; "" when nobody answers.
inline std::string httpGet(const std::string& port, const std::string& path) {
    const int peer = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval limit{10, 0};
    (void)setsockopt(peer, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(std::stoi(port)));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::string all;
    const std::string request = "GET " + path + " HTTP/1.0\r\nHost: 127.0.0.1:" + port + "\r\n\r\n";
    if (connect(peer, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        send(peer, request.data(), request.size(), MSG_NOSIGNAL) ==
            static_cast<ssize_t>(request.size())) {
        char bytes[8192];
        for (ssize_t n = 0; (n = recv(peer, bytes, sizeof bytes, 0)) > 0;) {
            all.append(bytes, static_cast<std::size_t>(n));
        }
    }
    close(peer);
    const std::size_t body = all.find("\r\n\r\n");
    return body == std::string::npos ? std::string() : all.substr(body + 4);
}

inline std::string percentEncoded(const std::string& text) {
    std::string made;
    for (const char c : text) {
        char form[4];
        std::snprintf(form, sizeof form, "%%%02X", static_cast<unsigned>(c) & 0xffU);
        made += form;
    }
    return made;
}

class PrometheusServer {
public:
    using Json = nlohmann::json;

    // `ports`: of agents, on the loopback.
    explicit PrometheusServer(const std::vector<std::string>& ports)
        : PrometheusServer("250ms", "static_configs: [{targets: [" + listed(ports) + "]}]\n", "") {}
    // `interval`: between two looks, and two evaluations of the rules; `job`: who is looked at;
    // `more`: of the configuration.
    PrometheusServer(const std::string& interval, const std::string& job, const std::string& more) {
        dir.write("impatient.rules.yml", impatientRules());
        dir.write("prometheus.yml", "global: {scrape_interval: " + interval + ", scrape_timeout: " +
                                        interval + ", evaluation_interval: " + interval +
                                        "}\nrule_files: [\"impatient.rules.yml\"]\n" + more +
                                        "scrape_configs:\n  - job_name: raidwatch\n    " + job);
    }
    ~PrometheusServer() {
        if (pid <= 0) return;
        (void)kill(pid, SIGKILL);
        while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    PrometheusServer(const PrometheusServer&) = delete;
    PrometheusServer& operator=(const PrometheusServer&) = delete;

    // False when it does not listen; log() says why.
    bool start() {
        std::vector<std::string> words = {
            kPrometheus, "--config.file=" + dir.file("prometheus.yml"),
            "--storage.tsdb.path=" + dir.file("data"), "--web.listen-address=127.0.0.1:0"};
        std::vector<char*> argv;
        for (std::string& word : words) argv.push_back(word.data());
        argv.push_back(nullptr);
        const std::string name = dir.file("log");
        pid = fork();
        if (pid == 0) {
            (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
            const int out = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            (void)dup2(out, STDOUT_FILENO);
            (void)dup2(out, STDERR_FILENO);
            (void)execv(argv[0], argv.data());
            _exit(127);
        }
        static const std::string kMark = "msg=\"Listening on\" address=127.0.0.1:";
        return waitFor([this] {
            const std::string said = log();
            const std::size_t at = said.find(kMark);
            const std::size_t end = at == std::string::npos ? at : said.find('\n', at);
            if (end == std::string::npos) return false;
            port = said.substr(at + kMark.size(), end - at - kMark.size());
            return true;
        });
    }

    std::string log() const { return dir.read("log"); }

    // "data" of an answer; null when the server is not ready, {"error": ...} when it refuses.
    Json ask(const std::string& path) const {
        const Json answer = Json::parse(httpGet(port, path), nullptr, false);
        if (!answer.is_object()) return {};
        if (answer.value("status", "") != "success") return {{"error", answer.value("error", "?")}};
        return answer.at("data");
    }

    // The samples of an instant query: objects with "metric" and "value".
    std::vector<Json> query(const std::string& expression) const {
        const Json data = ask("/api/v1/query?query=" + percentEncoded(expression));
        if (!data.is_object() || !data.contains("result")) return {};
        return data.at("result").get<std::vector<Json>>();
    }

    // Whether the server understands the expression; "" or what it says.
    std::string refusal(const std::string& expression) const {
        const Json data = ask("/api/v1/query?query=" + percentEncoded(expression));
        return data.is_object() && data.contains("result") ? "" : data.dump();
    }

    // The alerts that fire now, each with what it is about: "RaidDriveFailed drive:S1".
    std::set<std::string> firing() const {
        std::set<std::string> alerts;
        for (const Json& sample : query("ALERTS{alertstate=\"firing\"}")) {
            const Json& metric = sample.at("metric");
            auto alert = metric.at("alertname").get<std::string>();
            for (const char* label : {"array", "drive", "controller", "fan", "sensor"}) {
                if (metric.contains(label)) alert += " " + metric.at(label).get<std::string>();
            }
            alerts.insert(alert);
        }
        return alerts;
    }

    // What went wrong with reading the agents, line by line.
    std::string complaints() const {
        std::string found;
        std::ifstream in(dir.file("log"));
        for (std::string line; std::getline(in, line);) {
            const bool bad = line.find("level=warn") != std::string::npos ||
                             line.find("level=error") != std::string::npos;
            if (bad) found += line + "\n";
        }
        return found;
    }

    static bool waitFor(const std::function<bool()>& done) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!done()) {
            if (std::chrono::steady_clock::now() > end) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return true;
    }

    pid_t process() const { return pid; }

private:
    static std::string listed(const std::vector<std::string>& ports) {
        std::string targets;
        for (const std::string& each : ports) {
            targets += (targets.empty() ? "\"127.0.0.1:" : ", \"127.0.0.1:") + each + "\"";
        }
        return targets;
    }
    // As shipped, but an alert waits for no more than a second. The one for what has no alert of
    // its own would come before those: it keeps its time.
    static std::string impatientRules() {
        std::ifstream in(std::string(QEL_SOURCE_DIR) + "/packaging/prometheus/raidwatch.rules.yml");
        std::string made;
        std::string alert;
        for (std::string line; std::getline(in, line);) {
            if (line.find("- alert: ") != std::string::npos) alert = line;
            const std::size_t wait = line.find("        for: ");
            const bool patient = alert.find("RaidIncidentOpen") != std::string::npos;
            made += wait == 0 && !patient ? "        for: 1s\n" : line + "\n";
        }
        return made;
    }

    TempDir dir;
    std::string port;
    pid_t pid = -1;
};

#endif  // TESTS_AGENT_SUPPORT_PROMETHEUSSERVER_H
