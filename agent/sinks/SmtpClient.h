// SmtpClient: hands one mail to a mail server.
//
//   const SmtpClient smtp(access);
//   const Answer answer = smtp.send({"raid@example.com", {"ops@example.com"}, text});
//   answer.text == "250 2.0.0 Ok: queued as 4F1A"
//
// Certificates are always verified. A server that says 5xx about the sender, a recipient or the
// mail refuses it. All else is tried again: 4xx, no connection, a wrong password or certificate,
// because mail that waits for a corrected setting is better than mail that is gone. One recipient
// that is refused does not keep the mail from the others; the answer names the refusal.
//
// Threads  Any number at once; nothing is shared.
// Errors   An Answer; nothing is thrown. The password appears in none.
#ifndef AGENT_SINKS_SMTPCLIENT_H
#define AGENT_SINKS_SMTPCLIENT_H

#include <atomic>
#include <chrono>
#include <string>
#include <vector>

#include "agent/sinks/Sink.h"

class SmtpClient {
public:
    enum class Tls { kRequired, kOptional, kNever };  // of smtp://; smtps:// is always encrypted

    struct Access {
        std::string url;  // smtp://host:port or smtps://host:port
        Tls tls = Tls::kRequired;
        std::string user;  // "" logs in nowhere
        std::string password;
        std::string caFile;                         // "" for the issuers of the system
        std::chrono::milliseconds timeout{30000};   // of the whole conversation
        const std::atomic<bool>* cancel = nullptr;  // true: give up; borrowed
    };

    struct Mail {
        std::string sender;  // bare addresses
        std::vector<std::string> recipients;
        std::string text;  // with CRLF line ends
    };

    explicit SmtpClient(Access accessIN) : access(std::move(accessIN)) {}

    Answer send(const Mail& mail) const;
    // Connects, encrypts and logs in, and sends nothing: "" or what is wrong.
    std::string reach() const;

private:
    Access access;
};

#endif  // AGENT_SINKS_SMTPCLIENT_H
