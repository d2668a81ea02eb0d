#include "agent/sinks/MailSink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>

#include "agent/sinks/HostName.h"
#include "tests/agent/support/NetFixture.h"

namespace {

using Kind = Answer::Kind;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

class MailSinkTest : public testing::Test {
protected:
    void SetUp() override {
        if (std::system("/usr/bin/python3 -c 'import aiosmtpd' 2>/dev/null") != 0) {
            GTEST_SKIP() << "NOT TESTED: no aiosmtpd; install python3-aiosmtpd";
        }
    }

    // The server with these options; the settings point to it.
    void serve(const std::vector<std::string>& options) {
        std::vector<std::string> command = {net::kPython, net::supportFile("smtp_server.py"),
                                            dir.file("mail")};
        command.insert(command.end(), options.begin(), options.end());
        server = std::make_unique<ServerProcess>(command, "ready ");
        ASSERT_TRUE(server->up()) << server->whyNot();
        settings.texts["url"] = "smtp://127.0.0.1:" + server->word();
        settings.texts["from"] = "raid@box.example";
        settings.lists["to"] = {"ops@example.com"};
    }
    void serveTls(const std::string& how, std::vector<std::string> options = {}) {
        ASSERT_TRUE(net::makeCertificate(dir, "server"));
        options.insert(options.end(), {how, dir.file("server.pem"), dir.file("server.key")});
        serve(options);
        settings.texts["tls"] = "required";
        settings.texts["ca_file"] = dir.file("server.pem");
    }

    Answer deliver(const Record& record, const std::string& id = net::kId) {
        return makeMailSink(settings)->deliver(record, id);
    }
    Answer deliver() { return deliver(net::noticeRecord(Notice::Kind::kOpened)); }
    std::string place() const { return "smtp://127.0.0.1:" + server->word() + ": "; }
    std::vector<json> log() const { return net::jsonLines(dir.read("mail/log.jsonl")); }

    // The mails as another program understands them.
    json parsed() const {
        return json::parse(net::outputOf(std::string(net::kPython) + " " +
                                         net::supportFile("read_mail.py") + " " +
                                         dir.file("mail/new")));
    }

    TempDir dir;
    std::unique_ptr<ServerProcess> server;
    SinkSettings settings = net::settingsOf("mail");
};

TEST_F(MailSinkTest, DeliversAndKeepsWhatTheServerSaid) {
    serve({});
    const Answer answer = deliver();
    EXPECT_EQ(Kind::kDelivered, answer.kind);
    EXPECT_EQ("250 2.0.0 Ok: queued as TEST1", answer.text);
    ASSERT_EQ(1u, log().size());
    EXPECT_EQ("raid@box.example", log()[0]["from"]);
    EXPECT_EQ(json({"ops@example.com"}), log()[0]["to"]);
    EXPECT_EQ(MailMessage({"raid@box.example", {"ops@example.com"}, "", hostName()},
                          net::noticeRecord(Notice::Kind::kOpened), net::kId)
                  .text(),
              dir.read("mail/new/1.eml"));
}

TEST_F(MailSinkTest, OtherProgramsReadSubjectBodyAndThread) {
    serve({});
    Record opened = net::noticeRecord(Notice::Kind::kOpened, 42);
    opened.notice.subject = "Ger\xc3\xa4t \xe2\x82\xac \"x\" ausgefallen: " + std::string(90, 'y');
    opened.notice.body =
        ".\nFrom a = b \nGr\xc3\xbc\xc3\x9f"
        "e " +
        std::string(100, 'z') + "\n";
    const std::string machine = "6f1a2b3c:";
    deliver(opened, machine + "42");
    deliver(net::noticeRecord(Notice::Kind::kWorse, 43), machine + "43");
    deliver(net::noticeRecord(Notice::Kind::kResolved, 44), machine + "44");
    deliver(net::noticeRecord(Notice::Kind::kResolved, 44), machine + "44");  // once more

    const json mails = parsed();
    ASSERT_EQ(4u, mails.size());
    EXPECT_EQ(json::array(), mails[0]["defects"]);
    EXPECT_EQ(opened.notice.subject, mails[0]["subject"]);
    EXPECT_EQ(opened.notice.body, mails[0]["body"]);
    EXPECT_EQ("auto-generated", mails[0]["auto-submitted"]);
    EXPECT_EQ(1795238412, mails[0]["date"]);
    for (int i = 1; i < 4; ++i) {
        EXPECT_EQ(mails[0]["message-id"], mails[i]["references"]);
        EXPECT_EQ(mails[0]["message-id"], mails[i]["in-reply-to"]);
        EXPECT_NE(mails[0]["message-id"], mails[i]["message-id"]);
    }
    EXPECT_NE(mails[1]["message-id"], mails[2]["message-id"]);
    EXPECT_EQ(mails[2]["message-id"], mails[3]["message-id"]);
}

TEST_F(MailSinkTest, GivenStartTlsAndALoginThenUsesBoth) {
    serveTls("--tls", {"--need-tls", "--auth", "raid", "hunter2"});
    settings.texts["user"] = "raid";
    settings.texts["password"] = "hunter2";
    const Answer answer = deliver();
    EXPECT_EQ(Kind::kDelivered, answer.kind) << answer.text;
    ASSERT_EQ(1u, log().size());
    EXPECT_EQ(true, log()[0]["encrypted"]);
    EXPECT_EQ(true, log()[0]["login"]);
    EXPECT_EQ("", makeMailSink(settings)->problem());

    settings.texts["password"] = "hunter3";
    const Answer wrong = deliver();
    EXPECT_EQ(Kind::kRetry, wrong.kind);
    EXPECT_THAT(wrong.text, HasSubstr("535"));
    EXPECT_THAT(wrong.text, HasSubstr("check user and password_file"));
    EXPECT_THAT(wrong.text, Not(HasSubstr("hunter3")));
    EXPECT_THAT(makeMailSink(settings)->problem(), HasSubstr("check user and password_file"));

    settings.texts.erase("user");
    settings.texts.erase("password");
    const Answer none = deliver();
    EXPECT_EQ(Kind::kRetry, none.kind) << none.text;
    EXPECT_THAT(none.text, HasSubstr("530"));
    EXPECT_EQ(1u, log().size());
}

TEST_F(MailSinkTest, GivenTlsFromTheStartThenUsesIt) {
    serveTls("--smtps");
    settings.texts["url"] = "smtps://127.0.0.1:" + server->word();
    const Answer answer = deliver();
    EXPECT_EQ(Kind::kDelivered, answer.kind) << answer.text;
    ASSERT_EQ(1u, log().size());
    EXPECT_EQ(true, log()[0]["encrypted"]);
}

TEST_F(MailSinkTest, GivenAnUnknownCertificateThenKeepsTheMailAndNamesTheCure) {
    serveTls("--tls");
    settings.texts.erase("ca_file");
    const Answer answer = deliver();
    EXPECT_EQ(Kind::kRetry, answer.kind);
    EXPECT_THAT(answer.text, HasSubstr("ca_file"));
    EXPECT_EQ(0u, log().size());
}

TEST_F(MailSinkTest, GivenAServerWithoutTlsThenDependsOnTheSetting) {
    serve({});
    settings.texts["tls"] = "required";
    const Answer answer = deliver();
    EXPECT_EQ(Kind::kRetry, answer.kind);
    EXPECT_THAT(answer.text, HasSubstr("offers no encryption"));
    EXPECT_EQ(0u, log().size());
    settings.texts["tls"] = "optional";
    EXPECT_EQ(Kind::kDelivered, deliver().kind);
    settings.texts["tls"] = "never";
    EXPECT_EQ(Kind::kDelivered, deliver().kind);
}

TEST_F(MailSinkTest, GivenRefusedOrBusyRecipientsThenSaysSo) {
    serve({});
    settings.lists["to"] = {"no-such@example.com"};
    const Answer refused = deliver();
    EXPECT_EQ(Kind::kRefused, refused.kind);
    EXPECT_EQ(place() + "550 5.1.1 no such user", refused.text);

    settings.lists["to"] = {"busy@example.com"};
    const Answer busy = deliver();
    EXPECT_EQ(Kind::kRetry, busy.kind);
    EXPECT_EQ(place() + "451 4.2.1 come back later", busy.text);

    settings.lists["to"] = {"busy@example.com", "no-such@example.com"};
    EXPECT_EQ(Kind::kRetry, deliver().kind);

    settings.lists["to"] = {"no-such@example.com", "ops@example.com"};
    const Answer half = deliver();
    EXPECT_EQ(Kind::kDelivered, half.kind);
    EXPECT_EQ("250 2.0.0 Ok: queued as TEST1; a recipient was refused: 550 5.1.1 no such user",
              half.text);
    ASSERT_EQ(1u, log().size());
    EXPECT_EQ(json({"ops@example.com"}), log()[0]["to"]);
}

TEST_F(MailSinkTest, GivenAMailThatIsRefusedAfterDataThenGivesItUp) {
    serve({});
    Record record = net::noticeRecord(Notice::Kind::kOpened);
    record.notice.subject = "X-REFUSE";
    const Answer answer = deliver(record);
    EXPECT_EQ(Kind::kRefused, answer.kind);
    EXPECT_EQ(place() + "554 5.7.1 we do not like this mail", answer.text);
}

TEST_F(MailSinkTest, GivenAServerThatIsClosedForAllThenTriesAgain) {
    for (const char* greeting : {"554 5.3.2 no service", "421 4.3.2 shutting down"}) {
        serve({"--greeting", greeting});
        const Answer answer = deliver();
        EXPECT_EQ(Kind::kRetry, answer.kind) << greeting;
        EXPECT_EQ(place() + greeting, answer.text);
    }
}

TEST_F(MailSinkTest, GivenAServerThatHangsThenReturnsWithinTheTimeLimit) {
    serve({"--hang"});
    settings.timeout = 1;
    const auto begin = std::chrono::steady_clock::now();
    const Answer answer = deliver();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    EXPECT_EQ(Kind::kRetry, answer.kind);
    EXPECT_THAT(answer.text, HasSubstr("timed out"));
}

TEST_F(MailSinkTest, GivenTheAgentStopsThenComesBackSoon) {
    serve({"--hang"});
    const std::unique_ptr<Sink> sink = makeMailSink(settings);
    sink->cancel();
    const Answer answer = sink->deliver(net::noticeRecord(Notice::Kind::kOpened), net::kId);
    EXPECT_EQ(Kind::kRetry, answer.kind);
    EXPECT_EQ(place() + "given up, because the agent stops", answer.text);
}

TEST_F(MailSinkTest, GivenAServerThatGoesAwayInTheMiddleThenTriesAgain) {
    serve({"--drop"});
    const Answer answer = deliver();
    EXPECT_EQ(Kind::kRetry, answer.kind) << answer.text;
    EXPECT_EQ(0u, answer.text.find(place())) << answer.text;
    const std::string before = place();
    server->end();
    const Answer away = deliver();
    EXPECT_EQ(Kind::kRetry, away.kind);
    EXPECT_THAT(away.text, HasSubstr("onnect"));
    EXPECT_EQ(0u, makeMailSink(settings)->problem().find(before));
}

TEST_F(MailSinkTest, ProblemSendsNothing) {
    serve({});
    EXPECT_EQ("", makeMailSink(settings)->problem());
    EXPECT_EQ(0u, log().size());
}

// A stand-in for sendmail, which shows what such a program is given.
class MailSinkWithProgram : public testing::Test {
protected:
    void program(const std::string& script) {
        const std::string file = dir.write("sendmail", "#!/bin/sh\n" + script);
        chmod(file.c_str(), 0755);
        settings.lists["sendmail"] = {file, "-t", "-i", "$(touch x); *"};
        settings.lists["to"] = {"root"};
        settings.texts["from"] = "raid@box.example";
    }
    Answer deliver() {
        return makeMailSink(settings)->deliver(net::noticeRecord(Notice::Kind::kOpened), net::kId);
    }

    TempDir dir;
    SinkSettings settings = net::settingsOf("mail");
};

TEST_F(MailSinkWithProgram, GetsItsArgumentsAsTheyAreAndTheMailOnItsInput) {
    program("for a in \"$@\"; do echo \"$a\" >>" + dir.file("args") + "; done; cat >" +
            dir.file("mail") + "; echo queued >&2\n");
    const Answer answer = deliver();
    EXPECT_EQ(Kind::kDelivered, answer.kind);
    EXPECT_EQ(dir.file("sendmail") + ": exit code 0: queued", answer.text);
    EXPECT_EQ("-t\n-i\n$(touch x); *\n", dir.read("args"));
    const std::string mail = dir.read("mail");
    EXPECT_THAT(mail, HasSubstr("\nTo: root\n"));
    EXPECT_THAT(mail, HasSubstr("\n\nDrive 1:0:3 has failed.\nReplace it.\n"));
    EXPECT_EQ(std::string::npos, mail.find('\r'));
}

TEST_F(MailSinkWithProgram, AnswersByExitCode) {
    for (const auto& [code, kind] : std::vector<std::pair<int, Kind>>{{0, Kind::kDelivered},
                                                                      {1, Kind::kRetry},
                                                                      {65, Kind::kRefused},
                                                                      {67, Kind::kRefused},
                                                                      {68, Kind::kRefused},
                                                                      {75, Kind::kRetry},
                                                                      {78, Kind::kRetry}}) {
        program("echo first; echo why >&2; exit " + std::to_string(code) + "\n");
        const Answer answer = deliver();
        EXPECT_EQ(kind, answer.kind) << code;
        EXPECT_EQ(dir.file("sendmail") + ": exit code " + std::to_string(code) + ": why",
                  answer.text);
    }
    program("kill -9 $$\n");
    EXPECT_EQ(Kind::kRetry, deliver().kind);
}

TEST_F(MailSinkWithProgram, GivenAProgramThatHangsThenKillsItWithItsChildren) {
    program("sleep 1000 & echo $! >" + dir.file("child") + "; wait\n");
    settings.timeout = 1;
    const Answer answer = deliver();
    EXPECT_EQ(Kind::kRetry, answer.kind);
    EXPECT_EQ(dir.file("sendmail") + ": took longer than 1 s and was ended", answer.text);
    const int child = std::atoi(dir.read("child").c_str());
    ASSERT_GT(child, 1);
    // Whoever inherits the child collects it soon; until then it is a dead entry in the table.
    const std::string state = net::outputOf("ps -o state= -p " + std::to_string(child));
    EXPECT_TRUE(state.empty() || state[0] == 'Z' || state[0] == 'X') << state;
}

TEST_F(MailSinkWithProgram, GivenTheAgentStopsThenComesBackSoon) {
    program("sleep 1000\n");
    const std::unique_ptr<Sink> sink = makeMailSink(settings);
    sink->cancel();
    const Answer answer = sink->deliver(net::noticeRecord(Notice::Kind::kOpened), net::kId);
    EXPECT_EQ(Kind::kRetry, answer.kind);
    EXPECT_EQ(dir.file("sendmail") + ": ended, because the agent stops", answer.text);
}

TEST_F(MailSinkWithProgram, GivenAChildThatLivesOnThenDoesNotWaitForIt) {
    program("sleep 30 & echo $! >" + dir.file("child") + "; echo queued\n");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Kind::kDelivered, deliver().kind);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(15));
    const int child = std::atoi(dir.read("child").c_str());
    ASSERT_GT(child, 1);
    kill(child, SIGKILL);
}

TEST_F(MailSinkWithProgram, GivenAProgramThatOthersMayChangeThenItIsNotRun) {
    program("touch " + dir.file("ran") + "\n");
    chmod(dir.file("sendmail").c_str(), 0777);
    const std::string trouble =
        dir.file("sendmail") + " is writable by everybody; run: chmod go-w " + dir.file("sendmail");
    const Answer answer = deliver();
    EXPECT_EQ(Kind::kRetry, answer.kind);
    EXPECT_EQ(trouble, answer.text);
    EXPECT_EQ(trouble, makeMailSink(settings)->problem());
    EXPECT_FALSE(dir.exists("ran"));
}

TEST_F(MailSinkWithProgram, GivenNoSuchProgramThenSaysSo) {
    program("");
    settings.lists["sendmail"] = {"/no/such/sendmail", "-t"};
    const Answer answer = deliver();
    EXPECT_EQ(Kind::kRetry, answer.kind);
    EXPECT_EQ("/no/such/sendmail: cannot run /no/such/sendmail: No such file or directory",
              answer.text);
    EXPECT_EQ("/no/such/sendmail: No such file or directory; install it or correct sendmail",
              makeMailSink(settings)->problem());
}

TEST(MailSink, WantsNotices) {
    SinkSettings settings = net::settingsOf("mail");
    settings.texts["url"] = "smtp://localhost";
    settings.lists["to"] = {"root"};
    const MailSink sink(settings);
    EXPECT_TRUE(sink.wants(net::noticeRecord(Notice::Kind::kOpened)));
    EXPECT_FALSE(sink.wants(net::eventRecord()));
}

TEST(MailSink, GivenABadSettingThenNamesPlaceAndCure) {
    struct Row {
        std::map<std::string, std::string> texts;
        std::vector<std::string> to;
        std::vector<std::string> sendmail;
        const char* says;
    };
    const std::map<std::string, std::string> good = {{"url", "smtp://host"}};
    for (const Row& row : std::vector<Row>{
             {good, {}, {}, "to is missing"},
             {good, {"a b"}, {}, "to \"a b\" is no mail address"},
             {good, {"a@b\nc"}, {}, "to \"a@b\\nc\" is no mail address"},
             {{}, {"root"}, {}, "url is missing"},
             {good, {"root"}, {"/usr/sbin/sendmail"}, "both set; keep one"},
             {{}, {"root"}, {"sendmail"}, "sendmail is no full path"},
             {{{"url", "http://host"}}, {"root"}, {}, "no address of a mail server"},
             {{{"url", "smtp://u:p@host"}}, {"root"}, {}, "use user and password_file"},
             {{{"url", "smtp://h"}, {"tls", "maybe"}}, {"root"}, {}, "tls is none of"},
             {{{"url", "smtp://h"}, {"user", "u"}}, {"root"}, {}, "belong together"},
             {{{"url", "smtp://h"}, {"user", "u"}, {"password", "p"}, {"tls", "optional"}},
              {"root"},
              {},
              "could be read on its way"},
             {{{"url", "smtp://h"}, {"ca_file", "/no/such"}}, {"root"}, {}, "cannot read ca_file"},
             {{{"url", "smtp://h"}, {"from", "a@b\r\nX: y"}}, {"root"}, {}, "is no mail address"},
         }) {
        SinkSettings settings = net::settingsOf("mail");
        settings.texts = row.texts;
        settings.lists["to"] = row.to;
        settings.lists["sendmail"] = row.sendmail;
        const std::string line = net::failureOf([&] { makeMailSink(settings); });
        EXPECT_THAT(line, testing::StartsWith("/etc/raidwatch/raidwatch.toml:12: sink \"ops\": "));
        EXPECT_THAT(line, HasSubstr(row.says));
    }
}

}  // namespace
