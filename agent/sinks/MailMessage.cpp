#include "agent/sinks/MailMessage.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <ctime>

#include "agent/EventNames.h"
#include "agent/SafeText.h"

namespace {

constexpr const char* kLineEnd = "\r\n";
constexpr std::size_t kWidth = 76;        // of a line, without its end
constexpr std::size_t kLongestWord = 60;  // in a header that is not encoded
constexpr const char* kHex = "0123456789ABCDEF";

bool isAlphanumeric(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool isPrintable(char c) { return c >= ' ' && c <= '~'; }

std::string encodedByte(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return std::string("=") + kHex[byte >> 4] + kHex[byte & 15];
}

bool continuesCharacter(char c) { return (static_cast<unsigned char>(c) & 0xc0U) == 0x80; }

// The characters that RFC 2047 lets stand everywhere, a display name included.
std::string encodedCharacter(const std::string& character) {
    const char c = character.front();
    if (character.size() == 1 && (isAlphanumeric(c) || c == '-' || c == '/')) return character;
    if (character == " ") return "_";
    std::string encoded;
    for (const char byte : character) encoded += encodedByte(byte);
    return encoded;
}

// As encoded words, each on a line of its own; no character is torn apart.
std::string encodedWords(const std::string& text, std::size_t column) {
    const std::string begin = "=?UTF-8?Q?";
    const std::string end = "?=";
    std::string lines = begin;
    column += begin.size();
    for (std::size_t at = 0; at < text.size();) {
        std::size_t next = at + 1;
        while (next < text.size() && continuesCharacter(text[next])) ++next;
        const std::string piece = encodedCharacter(text.substr(at, next - at));
        if (column + piece.size() + end.size() > kWidth) {
            lines += end + kLineEnd + " " + begin;
            column = 1 + begin.size();
        }
        lines += piece;
        column += piece.size();
        at = next;
    }
    return lines + end;
}

// Whether it can stand in a header as it is.
bool isPlain(const std::string& text) {
    std::size_t word = 0;
    for (const char c : text) {
        if (!isPrintable(c)) return false;
        word = c == ' ' ? 0 : word + 1;
        if (word > kLongestWord) return false;
    }
    return text.find("=?") == std::string::npos;
}

// Broken before words, never so that a line holds nothing but blanks.
std::string folded(const std::string& text, std::size_t column) {
    std::string lines;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = text.find_first_not_of(' ', at);
        end = text.find(' ', end);
        if (end == std::string::npos) end = text.size();
        const bool blankBefore = text[at] == ' ' && !lines.empty();
        if (blankBefore && column + (end - at) > kWidth) {
            lines += kLineEnd;
            column = 0;
        }
        lines += text.substr(at, end - at);
        column += end - at;
        at = end;
    }
    return lines;
}

// "Name <address>", the name encoded unless it is of plain words.
std::string mailbox(const std::string& configured) {
    const std::string address = MailMessage::address(configured);
    const std::size_t bracket = configured.rfind('<');
    if (bracket == std::string::npos) return address;
    std::string name = safeText(configured.substr(0, bracket));
    const std::size_t first = name.find_first_not_of(" \"");
    if (first == std::string::npos) return address;
    name = name.substr(first, name.find_last_not_of(" \"") - first + 1);
    const bool plain = std::all_of(
        name.begin(), name.end(), [](char c) { return isAlphanumeric(c) || c == ' ' || c == '-'; });
    return (plain ? name : encodedWords(name, 8)) + " <" + address + ">";
}

std::string mailboxes(const std::vector<std::string>& all) {
    std::string list;
    for (const std::string& one : all) {
        list += (list.empty() ? "" : std::string(",") + kLineEnd + " ") + mailbox(one);
    }
    return list;
}

// "Sat, 21 Nov 2026 05:30:12 +0100", in English whatever the locale.
std::string date(std::int64_t seconds) {
    constexpr const char* kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const auto when = static_cast<std::time_t>(seconds);
    std::tm parts{};
    if (localtime_r(&when, &parts) == nullptr) return "Thu, 1 Jan 1970 00:00:00 +0000";
    char rest[48];
    const std::size_t size = std::strftime(rest, sizeof rest, "%Y %H:%M:%S %z", &parts);
    return std::string(kDays[parts.tm_wday]) + ", " + std::to_string(parts.tm_mday) + " " +
           kMonths[parts.tm_mon] + " " + std::string(rest, size);
}

// Fit for the left side of a Message-ID.
std::string idPart(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return !isAlphanumeric(c) && c != '-'; }, '.');
    return text;
}

std::string machineOf(const std::string& id) { return idPart(id.substr(0, id.rfind(':'))); }

bool isRehearsal(const Record& record) {
    return record.origin == Origin::kTest || record.origin == Origin::kDrill;
}

// The Message-ID of the incident's first notice. A drill counts its incidents anew each time.
std::string threadId(const Record& record, const std::string& id, const std::string& host) {
    const Incident& incident = record.notice.incident;
    std::string own = "incident-" + std::to_string(incident.id);
    if (isRehearsal(record)) {
        own = std::string(originWord(record.origin)) + "-" + own + "-" +
              std::to_string(incident.openedAt);
    }
    return "<" + own + "." + machineOf(id) + "@" + host + ">";
}

// These lines are for programs: neither folded nor encoded, and of our own letters only.
std::string threading(const Record& record, const std::string& id, const std::string& host) {
    const bool single = record.notice.kind == Notice::Kind::kTest || record.notice.incident.id == 0;
    const std::string thread = threadId(record, id, host);
    if (!single && record.notice.kind == Notice::Kind::kOpened) {
        return "Message-ID: " + thread + kLineEnd;
    }
    const std::string own = "Message-ID: <" + idPart(id) + "@" + host + ">" + kLineEnd;
    if (single) return own;
    return own + "In-Reply-To: " + thread + kLineEnd + "References: " + thread + kLineEnd;
}

std::string ownHeaders(const Record& record, const std::string& id, const std::string& host) {
    const Incident& incident = record.notice.incident;
    struct Own {
        const char* name;
        std::string value;
    };
    std::string lines;
    for (const Own& own :
         {Own{"Id", id}, Own{"Host", host}, Own{"Notice", noticeWord(record.notice.kind)},
          Own{"Origin", originWord(record.origin)},
          Own{"Severity", severityWord(record.severity())},
          Own{"Incident", incident.id == 0 ? "" : std::to_string(incident.id)},
          Own{"Object", incident.object}, Own{"Condition", incident.condition},
          Own{"Value", incident.value}}) {
        if (own.value.empty()) continue;
        lines += MailMessage::header(std::string("X-Raidwatch-") + own.name, own.value);
    }
    return lines;
}

// One line of quoted-printable text, broken where it is too long.
std::string encodedLine(const std::string& line) {
    std::string encoded;
    std::size_t column = 0;
    for (std::size_t at = 0; at < line.size(); ++at) {
        const char c = line[at];
        const bool last = at + 1 == line.size();
        // A blank at the end would be lost, a dot or "From " at the beginning misread.
        const bool plain = isPrintable(c) && c != '=' && !(c == ' ' && last) &&
                           !(column == 0 && (c == '.' || line.compare(at, 5, "From ") == 0));
        const std::string piece = plain ? std::string(1, c) : encodedByte(c);
        if (column + piece.size() + (last ? 0 : 1) > kWidth) {
            encoded += std::string("=") + kLineEnd;
            column = 0;
            --at;  // again, at the beginning of a line
            continue;
        }
        encoded += piece;
        column += piece.size();
    }
    return encoded;
}

}  // namespace

MailMessage::MailMessage(const Head& head, const Record& record, const std::string& id) {
    const std::string gap =
        head.subjectPrefix.empty() || head.subjectPrefix.back() == ' ' ? "" : " ";
    whole = "Date: " + date(record.at / 1000) + kLineEnd;
    whole += "From: " + mailbox(head.from) + kLineEnd;
    whole += "To: " + mailboxes(head.to) + kLineEnd;
    whole += header("Subject", head.subjectPrefix + gap + record.notice.subject);
    whole += threading(record, id, head.host);
    whole += header("Auto-Submitted", "auto-generated");
    whole += ownHeaders(record, id, head.host);
    whole += header("MIME-Version", "1.0");
    whole += header("Content-Type", "text/plain; charset=UTF-8");
    whole += header("Content-Transfer-Encoding", "quoted-printable");
    whole += kLineEnd;
    whole += quotedPrintable(record.notice.body);
}

std::string MailMessage::address(const std::string& configured) {
    const bool controls = std::any_of(configured.begin(), configured.end(), [](char c) {
        return static_cast<unsigned char>(c) < ' ' || c == '\x7f';
    });
    if (controls) return std::string();
    const std::size_t open = configured.rfind('<');
    std::string bare = configured;
    if (open != std::string::npos) {
        if (configured.back() != '>') return std::string();
        bare = configured.substr(open + 1, configured.size() - open - 2);
    }
    const bool good =
        !bare.empty() && bare.front() != '-' && std::all_of(bare.begin(), bare.end(), [](char c) {
            return c > ' ' && c <= '~' && std::string("<>()[],;:\\\"").find(c) == std::string::npos;
        });
    return good ? bare : std::string();
}

std::string MailMessage::header(const std::string& name, const std::string& value) {
    const std::string safe = safeText(value);
    const std::size_t column = name.size() + 2;
    return name + ": " + (isPlain(safe) ? folded(safe, column) : encodedWords(safe, column)) +
           kLineEnd;
}

std::string MailMessage::quotedPrintable(const std::string& text) {
    std::string encoded;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        encoded += encodedLine(safeText(text.substr(at, end - at))) + kLineEnd;
        at = end + 1;
    }
    return encoded;
}
