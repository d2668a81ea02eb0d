// HttpExchange on cpp-httplib: a server without sockets, which reads from and writes to memory.
#include <httplib.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <exception>
#include <string>
#include <utility>

#include "agent/web/HttpExchange.h"

namespace {

constexpr int kIdleSeconds = 30;  // that an open connection may wait for its next request

std::string small(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) {
        return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    });
    return text;
}

class Memory : public httplib::Stream {
public:
    explicit Memory(const std::string& inIN) : in(inIN) {}

    bool is_readable() const override { return position < in.size(); }
    bool is_writable() const override { return true; }
    ssize_t read(char* to, std::size_t size) override {
        const std::size_t count = std::min(size, in.size() - position);
        std::memcpy(to, in.data() + position, count);
        position += count;
        return static_cast<ssize_t>(count);
    }
    ssize_t write(const char* from, std::size_t size) override {
        out.append(from, size);
        return static_cast<ssize_t>(size);
    }
    void get_remote_ip_and_port(std::string&, int&) const override {}
    void get_local_ip_and_port(std::string&, int&) const override {}
    socket_t socket() const override { return 0; }

    std::string out;

private:
    const std::string& in;
    std::size_t position = 0;
};

class HttplibExchange : public HttpExchange, private httplib::Server {
public:
    HttplibExchange() {
        set_keep_alive_timeout(kIdleSeconds);
        // Before anything of a body is read, and instead of any routing.
        set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& to) {
            answer(request, to);
            return HandlerResponse::Handled;
        });
    }

    Result exchange(const std::string& head, const HttpExchange::Handler& handlerIN,
                    bool closing) override {
        Memory memory(head);
        handler = &handlerIN;
        result = Result();
        beginning.clear();
        bool ended = false;
        bool last = closing;
        const bool whole = process_request(memory, closing, ended, [&](httplib::Request& request) {
            // Nothing is packed or sent in part, and nobody is asked to go on.
            for (const char* name : {"Accept-Encoding", "Range", "Expect", "If-Range"}) {
                request.headers.erase(name);
            }
            request.ranges.clear();
            // What follows the head would be taken for the next request.
            const auto [from, end] = request.headers.equal_range("Content-Length");
            last = last || request.has_header("Transfer-Encoding") ||
                   std::any_of(from, end, [](const auto& one) { return one.second != "0"; });
            if (last) request.set_header("Connection", "close");
        });
        result.bytes = std::move(memory.out) + beginning;
        result.keepOpen = whole && !ended && !last && !memory.is_readable();
        return std::move(result);
    }

private:
    static WebRequest taken(const httplib::Request& request) {
        WebRequest mine;
        mine.method = request.method;
        mine.path = request.path;
        for (const auto& [name, value] : request.headers) {
            mine.headers.emplace_back(small(name), value);
        }
        for (const auto& [name, value] : request.params) mine.parameters.emplace_back(name, value);
        return mine;
    }

    void answer(const httplib::Request& request, httplib::Response& to) {
        WebAnswer given;
        try {
            given = (*handler)(taken(request));
        } catch (const std::exception&) {
            given.status = 500;
            given.type = "text/plain; charset=utf-8";
            given.body = "something went wrong; the journal of raidwatch may say more\n";
        }
        to.status = given.status;
        for (const auto& [name, value] : given.headers) to.set_header(name, value);
        result.streamAfter = request.method == "HEAD" ? WebAnswer::kNoStream : given.streamAfter;
        if (result.streamAfter == WebAnswer::kNoStream) {
            to.set_content(given.body, given.type);
            return;
        }
        // A head without a length; what follows it is the server's business.
        beginning = given.body;
        to.set_content_provider(given.type, [](std::size_t, httplib::DataSink& sink) {
            sink.done();
            return true;
        });
    }

    const HttpExchange::Handler* handler = nullptr;  // of the exchange under way
    Result result;
    std::string beginning;  // of a stream
};

}  // namespace

extern "C" __attribute__((visibility("default"))) HttpExchange* makeHttpExchange() {
    return new HttplibExchange;
}
