#include "agent/sinks/SmtpClient.h"

#include <algorithm>
#include <cstring>
#include <exception>

#include "agent/SafeText.h"
#include "agent/sinks/CurlHandle.h"
#include "agent/sinks/UrlParts.h"

namespace {

constexpr std::size_t kMostLines = 1000;
constexpr std::size_t kShownColumns = 160;

// What the server said, line by line; and how far its turn had come.
struct Conversation {
    explicit Conversation(const std::string& textIN) : text(textIN) {}

    const std::string& text;  // of the mail
    std::size_t sent = 0;     // bytes of it
    std::vector<std::string> lines;
};

std::size_t readMail(char* into, std::size_t one, std::size_t count, void* from) {
    auto& talk = *static_cast<Conversation*>(from);
    const std::size_t size = std::min(one * count, talk.text.size() - talk.sent);
    std::memcpy(into, talk.text.data() + talk.sent, size);
    talk.sent += size;
    return size;
}

int codeOf(const std::string& line) {
    if (line.size() < 3) return 0;
    int code = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        if (line[i] < '0' || line[i] > '9') return 0;
        code = code * 10 + (line[i] - '0');
    }
    return code;
}

std::size_t keepLine(char* bytes, std::size_t one, std::size_t count, void* into) {
    auto& talk = *static_cast<Conversation*>(into);
    const std::size_t size = one * count;
    std::string line(bytes, size);
    // 221 answers the QUIT with which a failed conversation ends.
    if (talk.lines.size() < kMostLines && codeOf(line) != 221) {
        line.erase(line.find_last_not_of("\r\n") + 1);
        talk.lines.push_back(cutText(safeText(line), kShownColumns));
    }
    return size;
}

// The refusals of single recipients, of a mail that was taken for others.
std::string refusals(const Conversation& talk) {
    std::string all;
    for (const std::string& line : talk.lines) {
        if (codeOf(line) >= 400) all += "; a recipient was refused: " + line;
    }
    return all;
}

// Whether one of the recipients may be had later.
bool isPutOff(const Conversation& talk) {
    return std::any_of(talk.lines.begin(), talk.lines.end(), [](const std::string& line) {
        return codeOf(line) >= 400 && codeOf(line) < 500;
    });
}

// Codes that speak of our login and not of the mail (RFC 4954).
bool isAboutLogin(int code) {
    constexpr int kCodes[] = {530, 534, 535, 538};
    return std::find(std::begin(kCodes), std::end(kCodes), code) != std::end(kCodes);
}

// Whether the code came in answer to MAIL, RCPT, DATA or the mail itself, and not to a greeting.
bool isAboutMail(CURLcode result, const Conversation& talk) {
    return result == CURLE_SEND_ERROR || talk.sent > 0;
}

const char* cure(CURLcode result, int code) {
    if (result == CURLE_USE_SSL_FAILED) {
        return "; the server offers no encryption: use smtps://, or tls = \"never\" if the way to "
               "it is safe";
    }
    if (result == CURLE_LOGIN_DENIED || isAboutLogin(code)) {
        return "; check user and password_file";
    }
    return "";
}

class Session {
public:
    Session(const SmtpClient::Access& access, const std::string& text) : talk(text) {
        transfer.set(CURLOPT_URL, access.url.c_str());
        transfer.set(CURLOPT_PROTOCOLS_STR, "smtp,smtps");
        transfer.setTimeout(access.timeout);
        transfer.setTrust(access.caFile);
        transfer.setCancel(access.cancel);
        transfer.set(CURLOPT_USE_SSL, levelOf(access.tls));
        transfer.set(CURLOPT_PROXY, "");
        if (!access.user.empty()) {
            transfer.set(CURLOPT_USERNAME, access.user.c_str());
            transfer.set(CURLOPT_PASSWORD, access.password.c_str());
        }
        transfer.set(CURLOPT_HEADERFUNCTION, keepLine);
        transfer.set(CURLOPT_HEADERDATA, &talk);
    }

    Answer send(const SmtpClient::Mail& mail) {
        transfer.set(CURLOPT_MAIL_FROM, ("<" + mail.sender + ">").c_str());
        for (const std::string& to : mail.recipients) {
            transfer.addTo(CURLOPT_MAIL_RCPT, "<" + to + ">");
        }
        transfer.set(CURLOPT_MAIL_RCPT_ALLLOWFAILS, 1L);
        transfer.set(CURLOPT_UPLOAD, 1L);
        transfer.set(CURLOPT_READFUNCTION, readMail);
        transfer.set(CURLOPT_READDATA, &talk);
        return verdict(transfer.perform());
    }

    std::string reach() {
        transfer.set(CURLOPT_CONNECT_ONLY, 1L);
        const CURLcode result = transfer.perform();
        return result == CURLE_OK ? std::string() : verdict(result).text;
    }

private:
    static long levelOf(SmtpClient::Tls tls) {
        if (tls == SmtpClient::Tls::kNever) return CURLUSESSL_NONE;
        return tls == SmtpClient::Tls::kOptional ? CURLUSESSL_TRY : CURLUSESSL_ALL;
    }

    Answer verdict(CURLcode result) const {
        const std::string last = talk.lines.empty() ? std::string() : talk.lines.back();
        if (result == CURLE_OK) return {Answer::Kind::kDelivered, last + refusals(talk)};

        const int code = codeOf(last);
        Answer answer;
        const bool refused =
            code >= 500 && isAboutMail(result, talk) && !isAboutLogin(code) && !isPutOff(talk);
        answer.kind = refused ? Answer::Kind::kRefused : Answer::Kind::kRetry;
        answer.text = code >= 400 ? last : transfer.failure(result);
        answer.text += cure(result, code);
        return answer;
    }

    Conversation talk;
    CurlHandle transfer;  // goes first: it may still call back
};

}  // namespace

Answer SmtpClient::send(const Mail& mail) const {
    const std::string place = UrlParts(access.url).place() + ": ";
    try {
        Answer answer = Session(access, mail.text).send(mail);
        if (answer.kind != Answer::Kind::kDelivered) answer.text = place + answer.text;
        return answer;
    } catch (const std::exception& e) {
        return {Answer::Kind::kRetry, place + safeText(e.what())};
    }
}

std::string SmtpClient::reach() const {
    const std::string place = UrlParts(access.url).place() + ": ";
    try {
        const std::string none;
        const std::string wrong = Session(access, none).reach();
        return wrong.empty() ? wrong : place + wrong;
    } catch (const std::exception& e) {
        return place + safeText(e.what());
    }
}
