// ControlServer: a Unix socket on which other verbs ask the daemon. One line of JSON in, one line
// out, as often as the client likes; what is asked is for the handler to know (Requests).
//
//   ControlServer server(run + "/read.sock", {0666, ""}, handler, {});
//
// Whatever clients do delays other clients at most, never the daemon: the server has a thread of
// its own, never waits for a client, and knows limits. A client that sends no whole line, or does
// not read its answer, is dropped when its time is over; one that sends a longer line gets an
// answer that says so and is dropped; one user can take only a part of the places, and gets no more
// answers while too much of earlier ones waits to be read. Many users together can take all places,
// but never those of root.
//
// A socket that was left behind is replaced; the caller has the lock of the run folder (PidLock).
//
// Threads    The handler is called on the server's thread, one request at a time.
// Ownership  What the handler uses outlives the server. The socket goes with stop().
// Errors     Failure from the constructor; note() has one line for people where the socket is up
//            but not as asked for.
#ifndef AGENT_DAEMON_CONTROLSERVER_H
#define AGENT_DAEMON_CONTROLSERVER_H

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <thread>
#include <vector>

class ControlServer {
public:
    struct Access {
        mode_t mode = 0600;
        std::string group;  // "" leaves it to our own
    };
    struct Limits {
        std::size_t clients = 64;
        std::size_t perUser = 16;
        std::size_t request = 64 * 1024;        // bytes of a line
        std::size_t unread = 32 * 1024 * 1024;  // bytes of answers that a user has yet to read
        std::size_t unreadOfAll = 128 * 1024 * 1024;  // the same, of all users together
        std::chrono::milliseconds patience{10000};    // for a whole line, and for taking the answer
    };
    // Neither line has its line end.
    using Handler = std::function<std::string(const std::string& line, uid_t peer)>;

    ControlServer(const std::string& fileIN, const Access& access, Handler handlerIN,
                  const Limits& limitsIN);
    ~ControlServer();  // stop()
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

    // Waits for the request under way. Then nobody is connected, and the socket is gone: who comes
    // now finds no daemon, instead of one that never answers.
    void stop();
    const std::string& note() const { return remark; }

private:
    struct Client;

    void listenOn(const Access& access);
    void serve();
    void acceptClients();
    void readFrom(Client& client);
    void answer(Client& client);
    bool hasPlaceFor(uid_t user) const;
    bool mayAnswer(const Client& asking) const;
    void writeTo(Client& client);
    void dropFinished();
    int millisecondsToWait() const;
    std::size_t clientsOf(uid_t user) const;

    const std::string file;
    const Handler handler;
    const Limits limits;
    std::string remark;

    int listener = -1;
    int wakeUp = -1;  // an event descriptor: stop() writes to it
    std::vector<Client> clients;
    std::thread thread;
};

#endif  // AGENT_DAEMON_CONTROLSERVER_H
