#include "agent/sinks/MailMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/agent/support/NetFixture.h"

namespace {

using testing::HasSubstr;
using testing::Not;

MailMessage::Head head() {
    return {
        "Storage <raid@box.example>", {"ops@example.com", "Night <night@example.com>"}, "", "box"};
}

std::string textOf(const Record& record, const MailMessage::Head& head_ = head()) {
    return MailMessage(head_, record, net::kId).text();
}

TEST(MailMessage, WholeText) {
    EXPECT_EQ(
        "Date: Sat, 21 Nov 2026 05:20:12 +0000\r\n"
        "From: Storage <raid@box.example>\r\n"
        "To: ops@example.com,\r\n"
        " Night <night@example.com>\r\n"
        "Subject: FAILED drive 1:0:3 on box\r\n"
        "Message-ID: <incident-7.6f1a2b3c-0000-4000-8000-1234567890ab@box>\r\n"
        "Auto-Submitted: auto-generated\r\n"
        "X-Raidwatch-Id: 6f1a2b3c-0000-4000-8000-1234567890ab:42\r\n"
        "X-Raidwatch-Host: box\r\n"
        "X-Raidwatch-Notice: opened\r\n"
        "X-Raidwatch-Origin: live\r\n"
        "X-Raidwatch-Severity: ERROR\r\n"
        "X-Raidwatch-Incident: 7\r\n"
        "X-Raidwatch-Object: drive:S7K2M9Q0\r\n"
        "X-Raidwatch-Condition: drive\r\n"
        "X-Raidwatch-Value: failed\r\n"
        "MIME-Version: 1.0\r\n"
        "Content-Type: text/plain; charset=UTF-8\r\n"
        "Content-Transfer-Encoding: quoted-printable\r\n"
        "\r\n"
        "Drive 1:0:3 has failed.\r\n"
        "Replace it.\r\n",
        textOf(net::noticeRecord(Notice::Kind::kOpened)));
}

TEST(MailMessage, LaterNoticesReferToTheFirst) {
    const std::string thread = "<incident-7.6f1a2b3c-0000-4000-8000-1234567890ab@box>";
    for (const Notice::Kind kind :
         {Notice::Kind::kUpdated, Notice::Kind::kWorse, Notice::Kind::kResolved,
          Notice::Kind::kReminder, Notice::Kind::kFlapping}) {
        const std::string text = textOf(net::noticeRecord(kind));
        EXPECT_THAT(text, HasSubstr("\r\nMessage-ID: "
                                    "<6f1a2b3c-0000-4000-8000-1234567890ab.42@box>\r\n"));
        EXPECT_THAT(text, HasSubstr("\r\nIn-Reply-To: " + thread + "\r\n"));
        EXPECT_THAT(text, HasSubstr("\r\nReferences: " + thread + "\r\n"));
    }
}

TEST(MailMessage, TestsStandAloneAndDrillsHaveThreadsOfTheirOwn) {
    Record test = net::noticeRecord(Notice::Kind::kTest);
    EXPECT_THAT(textOf(test), Not(HasSubstr("References")));
    EXPECT_THAT(textOf(test), HasSubstr("Message-ID: <6f1a2b3c-0000-4000-8000-1234567890ab.42@"));
    Record drill = net::noticeRecord(Notice::Kind::kWorse);
    drill.origin = Origin::kDrill;
    EXPECT_THAT(textOf(drill), HasSubstr("References: <drill-incident-7-1795238400.6f1a2b3c"));
}

TEST(MailMessage, GivenHostileTextsThenNoHeaderIsAdded) {
    Record record = net::noticeRecord(Notice::Kind::kOpened);
    record.notice.subject = "disk\r\nBcc: all@example.com\r\n\r\nbody";
    record.notice.incident.object = "drive:\r\nX-Injected: 1";
    record.notice.body = "a\r\n.\r\nFrom here\r\n\x1b[2J\n";
    const std::string text = textOf(record);
    EXPECT_THAT(text, HasSubstr("Subject: disk\\r\\nBcc: all@example.com\\r\\n\\r\\nbody\r\n"));
    EXPECT_THAT(text, Not(HasSubstr("\nBcc")));
    EXPECT_THAT(text, Not(HasSubstr("\nX-Injected")));
    EXPECT_EQ("a\\r\r\n=2E\\r\r\n=46rom here\\r\r\n\\x1b[2J\r\n",
              text.substr(text.find("\r\n\r\n") + 4));
}

TEST(MailMessage, Headers) {
    struct Row {
        std::string value;
        const char* line;
    };
    const std::string e = "\xc3\xa9";
    for (const Row& row : {
             Row{"plain", "S: plain\r\n"},
             Row{"", "S: \r\n"},
             Row{"caf" + e + " = 1", "S: =?UTF-8?Q?caf=C3=A9_=3D_1?=\r\n"},
             Row{"=?x?=", "S: =?UTF-8?Q?=3D=3Fx=3F=3D?=\r\n"},
             Row{"a\tb", "S: a\\tb\r\n"},
         }) {
        EXPECT_EQ(row.line, MailMessage::header("S", row.value));
    }
    const std::string longest =
        MailMessage::header("Subject", std::string(40, 'a') + "  " + std::string(40, 'b') + " c");
    EXPECT_EQ("Subject: " + std::string(40, 'a') + "\r\n  " + std::string(40, 'b') + " c\r\n",
              longest);
}

TEST(MailMessage, EncodedWordsKeepCharactersWholeAndLinesShort) {
    std::string text;
    for (int i = 0; i < 60; ++i) text += "\xe2\x82\xac ";
    const std::string line = MailMessage::header("Subject", text);
    std::istringstream lines(line);
    for (std::string part; std::getline(lines, part);) {
        EXPECT_LE(part.size(), 77u);  // with its CR
        const std::size_t begin = part.find("=?UTF-8?Q?") + 10;
        const std::string inside = part.substr(begin, part.find("?=", begin) - begin);
        std::string rest = inside;
        for (const std::string piece : {"=E2=82=AC", "_"}) {
            for (std::size_t at = 0; (at = rest.find(piece)) != std::string::npos;) {
                rest.erase(at, piece.size());
            }
        }
        EXPECT_EQ("", rest) << "a character was torn: " << inside;
    }
}

TEST(MailMessage, QuotedPrintable) {
    struct Row {
        std::string text;
        std::string encoded;
    };
    for (const Row& row : {
             Row{"", ""},
             Row{"a\n", "a\r\n"},
             Row{"no line end", "no line end\r\n"},
             Row{"a = b \n\n", "a =3D b=20\r\n\r\n"},
             Row{"\xc3\xbc\n", "=C3=BC\r\n"},
             Row{std::string(76, 'x') + "\n", std::string(76, 'x') + "\r\n"},
             Row{std::string(77, 'x') + "\n", std::string(75, 'x') + "=\r\nxx\r\n"},
             Row{std::string(75, 'x') + ".y\n", std::string(75, 'x') + "=\r\n=2Ey\r\n"},
         }) {
        EXPECT_EQ(row.encoded, MailMessage::quotedPrintable(row.text));
    }
}

TEST(MailMessage, Addresses) {
    for (const auto& [configured, bare] :
         std::vector<std::pair<std::string, std::string>>{{"a@b.example", "a@b.example"},
                                                          {"root", "root"},
                                                          {"Some One <a@b>", "a@b"},
                                                          {"<a+b@c>", "a+b@c"},
                                                          {"", ""},
                                                          {"a b@c", ""},
                                                          {"a@b\r\nRCPT TO:<x@y>", ""},
                                                          {"a@b>, <c@d", ""},
                                                          {"a@b,c@d", ""},
                                                          {"Name <a@b> tail", ""},
                                                          {"j\xc3\xbcrgen@b", ""},
                                                          {"-oQ/tmp", ""}}) {
        EXPECT_EQ(bare, MailMessage::address(configured)) << configured;
    }
    MailMessage::Head named = head();
    named.from = "J\xc3\xbcrgen \"R\" <a@b>";
    EXPECT_THAT(textOf(net::noticeRecord(Notice::Kind::kOpened), named),
                HasSubstr("From: =?UTF-8?Q?J=C3=BCrgen_=22R?= <a@b>\r\n"));
}

TEST(MailMessage, SubjectBeginsWithThePrefix) {
    MailMessage::Head prefixed = head();
    prefixed.subjectPrefix = "[raid]";
    EXPECT_THAT(textOf(net::noticeRecord(Notice::Kind::kOpened), prefixed),
                HasSubstr("Subject: [raid] FAILED drive"));
}

}  // namespace
