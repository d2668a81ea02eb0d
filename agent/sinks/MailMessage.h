// MailMessage: a notice as the text of a mail, headers and body, with CRLF at every line end.
//
//   const MailMessage message(head, record, id);
//   smtp.send(head.sender, head.recipients, message.text());
//
// One thread per incident: the first notice carries the incident's own Message-ID, every later one
// refers to it. The same record gives the same Message-ID at every try. Whatever a device calls
// itself can neither add a header nor end the message: headers are one line each, words beyond
// ASCII are encoded (RFC 2047), the body is UTF-8 in quoted-printable.
//
// Pure; any thread.
#ifndef AGENT_SINKS_MAILMESSAGE_H
#define AGENT_SINKS_MAILMESSAGE_H

#include <string>
#include <vector>

#include "agent/spool/Record.h"

class MailMessage {
public:
    struct Head {
        std::string from;             // as in the configuration: "Storage <raid@example.com>"
        std::vector<std::string> to;  // likewise
        std::string subjectPrefix;    // "" for none
        std::string host;             // behind the "@" of a Message-ID
    };

    MailMessage(const Head& head, const Record& record, const std::string& id);

    const std::string& text() const { return whole; }

    // The bare address in "Name <address>" or "address"; "" for what cannot be one: not ASCII, or
    // with blanks or control characters in it.
    static std::string address(const std::string& configured);
    // One header, folded, with its line end.
    static std::string header(const std::string& name, const std::string& value);
    // Lines of any length and with any bytes, as lines of at most 76 characters of ASCII.
    static std::string quotedPrintable(const std::string& text);

private:
    std::string whole;
};

#endif  // AGENT_SINKS_MAILMESSAGE_H
