#include "agent/sinks/MailSink.h"

#include <chrono>

#include "agent/SafeText.h"
#include "agent/sinks/BadSinkSetting.h"
#include "agent/sinks/HostName.h"
#include "agent/sinks/SinkHttp.h"
#include "agent/sinks/UrlParts.h"

namespace {

const std::vector<std::string>& listOf(const SinkSettings& settings, const std::string& key) {
    static const std::vector<std::string> none;
    const auto found = settings.lists.find(key);
    return found == settings.lists.end() ? none : found->second;
}

std::string usableAddress(const SinkSettings& settings, const std::string& key,
                          const std::string& configured) {
    const std::string bare = MailMessage::address(configured);
    if (!bare.empty()) return bare;
    throw BadSinkSetting(settings, key + " \"" + safeText(configured) +
                                       "\" is no mail address; write name@host or "
                                       "\"Some Name <name@host>\"");
}

// Inside this machine nothing is to be hidden; anywhere else it must be said.
SmtpClient::Tls tlsOf(const SinkSettings& settings, const UrlParts& url) {
    const std::string& word = settings.text("tls");
    if (word == "required") return SmtpClient::Tls::kRequired;
    if (word == "optional") return SmtpClient::Tls::kOptional;
    if (word == "never") return SmtpClient::Tls::kNever;
    if (!word.empty()) throw BadSinkSetting(settings, "tls is none of required, optional, never");
    return url.loopback() ? SmtpClient::Tls::kNever : SmtpClient::Tls::kRequired;
}

SmtpClient::Access accessOf(const SinkSettings& settings) {
    const UrlParts url(settings.text("url"));
    if (!url.ok || (url.scheme != "smtp" && url.scheme != "smtps")) {
        throw BadSinkSetting(settings,
                             "url is no address of a mail server; write "
                             "smtp://host:587 or smtps://host");
    }
    if (!url.user.empty() || !url.password.empty()) {
        throw BadSinkSetting(settings, "url holds a user or password; use user and password_file");
    }
    SmtpClient::Access access;
    access.url = settings.text("url");
    access.tls = tlsOf(settings, url);
    access.user = settings.text("user");
    access.password = settings.text("password");
    checkReadable(settings, "ca_file");
    access.caFile = settings.text("ca_file");
    access.timeout = std::chrono::seconds(settings.timeout);
    if (access.user.empty() != access.password.empty()) {
        throw BadSinkSetting(settings, "user and password_file belong together; give both");
    }
    const bool readable = url.scheme == "smtp" && access.tls != SmtpClient::Tls::kRequired;
    if (!access.password.empty() && readable && !url.loopback()) {
        throw BadSinkSetting(settings,
                             "the password could be read on its way; say "
                             "tls = \"required\"");
    }
    return access;
}

}  // namespace

MailSink::MailSink(const SinkSettings& settings) {
    readAddresses(settings);
    const std::vector<std::string>& command = listOf(settings, "sendmail");
    if (command.empty() == settings.text("url").empty()) {
        throw BadSinkSetting(settings, command.empty()
                                           ? "url is missing; write smtp://host:587, or sendmail = "
                                             "[\"/usr/sbin/sendmail\", \"-t\", \"-i\"]"
                                           : "url and sendmail are both set; keep one");
    }
    if (command.empty()) {
        SmtpClient::Access access = accessOf(settings);
        access.cancel = &cancelled;
        server.emplace(access);
        return;
    }
    if (command.front().empty() || command.front().front() != '/') {
        throw BadSinkSetting(settings, "sendmail is no full path; write \"/usr/sbin/sendmail\"");
    }
    program.emplace(command, std::chrono::seconds(settings.timeout));
}

void MailSink::readAddresses(const SinkSettings& settings) {
    head.host = hostName();
    head.from = settings.text("from");
    if (head.from.empty()) head.from = "raidwatch@" + head.host;
    sender = usableAddress(settings, "from", head.from);
    head.to = listOf(settings, "to");
    if (head.to.empty()) throw BadSinkSetting(settings, "to is missing; write to = [\"root\"]");
    for (const std::string& one : head.to) {
        recipients.push_back(usableAddress(settings, "to", one));
    }
    head.subjectPrefix = settings.text("subject_prefix");
}

bool MailSink::wants(const Record& record) const { return record.kind == Record::Kind::kNotice; }

Answer MailSink::deliver(const Record& record, const std::string& id) {
    const MailMessage message(head, record, id);
    if (program) return program->send(message.text());
    return server->send({sender, recipients, message.text()});
}

void MailSink::cancel() {
    cancelled = true;
    if (program) program->cancel();
}

std::string MailSink::problem() { return program ? program->problem() : server->reach(); }

std::unique_ptr<Sink> makeMailSink(const SinkSettings& settings) {
    return std::make_unique<MailSink>(settings);
}
