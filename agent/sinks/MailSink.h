// MailSink: each notice as one mail, through a mail server or a program such as sendmail;
// docs/formats/sinks-network.md has the keys and examples.
//
//   std::unique_ptr<Sink> sink = makeMailSink(settings);   // of type "mail"
//
// Threads, ownership and errors as in Sink.h.
#ifndef AGENT_SINKS_MAILSINK_H
#define AGENT_SINKS_MAILSINK_H

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/settings/AgentSettings.h"
#include "agent/sinks/MailMessage.h"
#include "agent/sinks/MailProgram.h"
#include "agent/sinks/Sink.h"
#include "agent/sinks/SmtpClient.h"

class MailSink : public Sink {
public:
    // Throws BadSinkSetting.
    explicit MailSink(const SinkSettings& settings);

    bool wants(const Record& record) const override;
    Answer deliver(const Record& record, const std::string& id) override;
    void cancel() override;
    // A server is connected to and logged in at; no mail is sent.
    std::string problem() override;

private:
    void readAddresses(const SinkSettings& settings);

    std::atomic<bool> cancelled{false};
    MailMessage::Head head;
    std::string sender;  // bare
    std::vector<std::string> recipients;
    std::optional<SmtpClient> server;  // one of the two
    std::optional<MailProgram> program;
};

std::unique_ptr<Sink> makeMailSink(const SinkSettings& settings);

#endif  // AGENT_SINKS_MAILSINK_H
