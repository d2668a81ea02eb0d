#include "agent/settings/SettingsReader.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/TempDir.h"

namespace {

using Texts = std::vector<std::string>;

constexpr char kMain[] = "raidwatch.toml";

// "DIR/" in texts stands for the folder of the test.
std::string withFolder(std::string text, const TempDir& dir) {
    for (std::size_t at = 0; (at = text.find("DIR/", at)) != std::string::npos;) {
        text.replace(at, 4, dir.folder());
    }
    return text;
}

AgentSettings readText(const TempDir& dir, const std::string& text) {
    return SettingsReader(dir.write(kMain, withFolder(text, dir)), true).read();
}

Texts problemsOf(const TempDir& dir) {
    try {
        (void)SettingsReader(dir.file(kMain), true).read();
    } catch (const SettingsError& e) {
        return e.problems;
    }
    return {};
}

Texts problemsOf(const TempDir& dir, const std::string& text) {
    dir.write(kMain, withFolder(text, dir));
    return problemsOf(dir);
}

std::string secretFile(const TempDir& dir, const std::string& name, const std::string& text,
                       mode_t mode = 0600) {
    const std::string file = dir.write(name, text);
    EXPECT_EQ(0, chmod(file.c_str(), mode));
    return file;
}

TEST(SettingsReader, GivenNoFileThenTheDefaultsHoldAndTheJournalIsTold) {
    const TempDir dir;
    SettingsReader reader(dir.file(kMain));
    const AgentSettings settings = reader.read();
    EXPECT_EQ("linux", settings.source);
    EXPECT_EQ("/var/lib/raidwatch", settings.stateFolder);
    EXPECT_EQ(90 * 86400, settings.keep);
    EXPECT_EQ((std::vector<std::int64_t>{86400, 172800, 345600, 604800}), settings.reminders);
    ASSERT_EQ(1u, settings.sinks.size());
    EXPECT_EQ("journal", settings.sinks.at("journal").type);
    EXPECT_EQ("journal", settings.sinks.at("journal").name);
    EXPECT_EQ(Texts(), reader.files());
    EXPECT_EQ("default", reader.origins().at("monitor.source"));
}

TEST(SettingsReader, GivenThePageForOthersThenATokenIsNeeded) {
    const TempDir dir;
    const std::string hash = "token_hash = \"$5$salt$" + std::string(43, 'x') + "\"\n";
    struct Case {
        std::string text;
        const char* problem;  // "" for none
    };
    const Case cases[] = {
        {"listen = []", ""},
        {"listen = [\"unix\", \"127.0.0.1:80\", \"[::1]:80\"]", ""},
        {hash + "listen = [\"0.0.0.0:80\"]", ""},
        {"listen = [\"127.0.0.1:80\",\n  \"0.0.0.0:80\"]",
         "DIR/raidwatch.toml:3: listen: others than this machine can reach \"0.0.0.0:80\", so a "
         "token is needed; raidwatch config token makes one, for token_hash in [http]"},
        {"listen = [\"[::]:80\"]",
         "DIR/raidwatch.toml:2: listen: others than this machine can reach \"[::]:80\", so a token "
         "is needed; raidwatch config token makes one, for token_hash in [http]"},
        {"listen = [\"8627\"]",
         "DIR/raidwatch.toml:2: listen: \"8627\" is no address with a port; write \"unix\", "
         "\"unix:/PATH\" or an address with a port, as \"127.0.0.1:8627\" or \"[::1]:8627\""},
        {"listen = \"unix\"",
         "DIR/raidwatch.toml:2: listen is a text; it must be a list of texts, as [\"...\"]"},
        {"token_hash = \"secret\"",
         "DIR/raidwatch.toml:2: token_hash is no hash of a token; raidwatch config token makes "
         "one"},
        {"hosts = [\"\"]",
         "DIR/raidwatch.toml:2: hosts holds an empty text; remove it or fill it in"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        const Texts expected = *c.problem == 0 ? Texts() : Texts{withFolder(c.problem, dir)};
        EXPECT_EQ(expected, problemsOf(dir, "[http]\n" + c.text + "\n"));
    }
    const AgentSettings settings =
        readText(dir, "[http]\n" + hash + "hosts = [\"a\", \"b\"]\nlisten = [\"unix:/w\"]\n");
    EXPECT_EQ(Texts({"a", "b"}), settings.httpHosts);
    EXPECT_EQ(Texts({"unix:/w"}), settings.httpListen);
    EXPECT_EQ(0u, settings.httpTokenHash.find("$5$salt$"));
}

TEST(SettingsReader, GivenEveryTableThenEveryValueArrives) {
    const TempDir dir;
    const AgentSettings settings = readText(dir, R"([monitor]
source = "replay:/srv/recording"
language = "de"
[paths]
state = "/srv/state"
run = "/srv/run"
engine = "/srv/engine"
[access]
control_group = "storage"
[spool]
keep = "30d"
[incidents]
flap_window = "2h"
flap_changes = 6
reminders = ["1d", 172800]
stale_after = "10m"
)");
    EXPECT_EQ("replay:/srv/recording", settings.source);
    EXPECT_EQ("de", settings.language);
    EXPECT_EQ("/srv/state", settings.stateFolder);
    EXPECT_EQ("/srv/run", settings.runFolder);
    EXPECT_EQ("/srv/engine", settings.engineFolder);
    EXPECT_EQ("storage", settings.controlGroup);
    EXPECT_EQ(30 * 86400, settings.keep);
    EXPECT_EQ(7200, settings.flapWindow);
    EXPECT_EQ(6, settings.flapChanges);
    EXPECT_EQ((std::vector<std::int64_t>{86400, 172800}), settings.reminders);
    EXPECT_EQ(600, settings.staleAfter);
}

TEST(SettingsReader, GivenSinksOfEveryTypeThenTheirKeysArrive) {
    const TempDir dir;
    secretFile(dir, "mail.password", "geheim\n");
    secretFile(dir, "token", "t0ken", 0400);
    const AgentSettings settings = readText(dir, R"([sink.ops]
type = "mail"
url = "smtps://mx.example.net:465"
from = "raid@example.net"
to = ["ops@example.net", "night@example.net"]
user = "raid"
password_file = "DIR/mail.password"
tls = "required"
min_severity = "warning"
objects = ["md*"]
codes = [401, 402]
timeout = "10s"
first_retry = 1
longest_retry = "1m"
give_up_after = 0
[sink.hook]
type = "exec"
command = ["/usr/local/bin/tell", "now"]
jobs = 2
style = "mdadm"
send = "both"
[sink.web]
type = "webhook"
url = "http://localhost/x?y=a@b"
token_file = "DIR/token"
[sink.web.headers]
X-Site = "home"
Authorization = "Key {{token}}"
[sink.prom]
type = "alertmanager"
urls = ["http://127.0.0.1:9093"]
labels = { site = "home" }
[sink.lines]
type = "file"
path = "/var/log/raidwatch/events.jsonl"
max_size = "64K"
keep = 3
[sink.old]
type = "syslog"
facility = "local3"
)");
    const SinkSettings& mail = settings.sinks.at("ops");
    EXPECT_EQ("ops", mail.name);
    EXPECT_EQ("mail", mail.type);
    EXPECT_EQ(dir.file("raidwatch.toml:1"), mail.where);
    EXPECT_EQ("geheim", mail.text("password"));
    EXPECT_EQ("", mail.text("ca_file"));
    EXPECT_EQ((Texts{"ops@example.net", "night@example.net"}), mail.lists.at("to"));
    EXPECT_EQ(2, mail.filter.leastSeverity);
    EXPECT_EQ(Texts{"md*"}, mail.filter.objects);
    EXPECT_EQ((std::vector<int>{401, 402}), mail.filter.codes);
    EXPECT_EQ(10, mail.timeout);
    EXPECT_EQ(1, mail.firstRetry);
    EXPECT_EQ(60, mail.longestRetry);
    EXPECT_EQ(0, mail.giveUpAfter);
    const SinkSettings& hook = settings.sinks.at("hook");
    EXPECT_EQ((Texts{"/usr/local/bin/tell", "now"}), hook.lists.at("command"));
    EXPECT_EQ(2, hook.number("jobs", 4));
    EXPECT_EQ("mdadm", hook.text("style"));
    EXPECT_EQ(3, hook.filter.leastSeverity);
    EXPECT_EQ(7 * 86400, hook.giveUpAfter);
    const SinkSettings& web = settings.sinks.at("web");
    EXPECT_EQ("t0ken", web.text("token"));
    EXPECT_EQ("home", web.tables.at("headers").at("X-Site"));
    EXPECT_EQ("home", settings.sinks.at("prom").tables.at("labels").at("site"));
    EXPECT_EQ(65536, settings.sinks.at("lines").number("max_size", 0));
    EXPECT_EQ("local3", settings.sinks.at("old").text("facility"));
    EXPECT_EQ(7u, settings.sinks.size()) << "and the journal";
}

TEST(SettingsReader, GivenFilesInConfDThenTheyWinKeyByKeyInNameOrder) {
    const TempDir dir;
    dir.write("conf.d/20-site.toml", "[sink.ops]\nto = [\"b@x\"]\n[spool]\nkeep = \"20d\"\n");
    dir.write("conf.d/10-base.toml", "[spool]\nkeep = \"10d\"\n[sink.ops]\nsubject_prefix = \"p\"");
    dir.write("conf.d/.hidden.toml", "nonsense");
    dir.write("conf.d/30-old.toml.dpkg-old", "nonsense");
    const std::string main = dir.write(
        kMain, "[sink.ops]\ntype = \"mail\"\nurl = \"smtp://mx\"\nto = [\"a@x\", \"c@x\"]\n");
    SettingsReader reader(main, true);
    const AgentSettings settings = reader.read();
    EXPECT_EQ(20 * 86400, settings.keep);
    EXPECT_EQ(Texts{"b@x"}, settings.sinks.at("ops").lists.at("to"));
    EXPECT_EQ("smtp://mx", settings.sinks.at("ops").text("url"));
    EXPECT_EQ("p", settings.sinks.at("ops").text("subject_prefix"));
    EXPECT_EQ((Texts{main, dir.file("conf.d/10-base.toml"), dir.file("conf.d/20-site.toml")}),
              reader.files());
    EXPECT_EQ(main + ":3", reader.origins().at("sink.ops.url"));
    EXPECT_EQ(dir.file("conf.d/20-site.toml:2"), reader.origins().at("sink.ops.to"));
    EXPECT_EQ(dir.file("conf.d/20-site.toml:4"), reader.origins().at("spool.keep"));
    EXPECT_EQ("default", reader.origins().at("sink.ops.timeout"));
    EXPECT_EQ("default", reader.origins().at("sink.journal.type"));
}

TEST(SettingsReader, GivenASinkSwitchedOffThenItIsNotThereAndNeedsNothing) {
    const TempDir dir;
    const AgentSettings settings = readText(dir,
                                            "[sink.journal]\nenabled = false\n"
                                            "[sink.ops]\ntype = \"mail\"\nenabled = false\n"
                                            "password_file = \"/nowhere\"\n");
    EXPECT_TRUE(settings.sinks.empty());
}

TEST(SettingsReader, GivenTheJournalConfiguredThenItKeepsItsTypeAndTakesTheKeys) {
    const TempDir dir;
    const AgentSettings settings = readText(dir, "[sink.journal]\nmin_severity = \"error\"\n");
    EXPECT_EQ("journal", settings.sinks.at("journal").type);
    EXPECT_EQ(1, settings.sinks.at("journal").filter.leastSeverity);
}

TEST(SettingsReader, GivenEachSeverityWordThenItsNumber) {
    constexpr const char* kWords[] = {"error", "warning", "info", "task", "progress"};
    for (int level = 1; level <= 5; ++level) {
        const TempDir dir;
        const AgentSettings settings = readText(
            dir, std::string("[sink.journal]\nmin_severity = \"") + kWords[level - 1] + "\"\n");
        EXPECT_EQ(level, settings.sinks.at("journal").filter.leastSeverity) << kWords[level - 1];
    }
}

// One wrong line each, at line 2 of the file; the message follows "FILE:2: ".
TEST(SettingsReader, RejectsInMonitorAndTheOtherTables) {
    const std::vector<std::pair<const char*, const char*>> rejects = {
        {"[monitor]\nsorce = \"linux\"", "[monitor] has no key sorce; did you mean source?"},
        {"[monitor]\ncolour = 1", "[monitor] has no key colour; it has source, language"},
        {"[monitor]\nsource = 5", "source is a number; it must be a text, in quotes"},
        {"[monitor]\nsource = \"windows\"",
         "source is \"windows\"; begin it with linux, replay, scenario"},
        {"\n[moniter]\n", "there is no table [moniter]; did you mean monitor?"},
        {"\nzzz = 1", "there is no table [zzz]; raidwatch config schema lists them all"},
        {"\nmonitor = \"linux\"", "monitor is a text; write it as a table, [monitor]"},
        {"[paths]\nstate = \"var\"", "state is \"var\"; give a path that begins with /"},
        {"[paths]\nrun = \"\"", "run is empty; remove the line to get the default"},
        {"[spool]\nkeep = \"soon\"",
         "keep is \"soon\"; give a time as \"30s\", \"5m\", \"2h\" or \"7d\""},
        {"[spool]\nkeep = -1", "keep is -1s; give 1h to 36600d"},
        {"[spool]\nkeep = 1.5",
         "keep is a fraction; give a time as \"30s\", \"5m\", \"2h\" or \"7d\""},
        {"[spool]\nkeep = 2026-01-01",
         "keep is a date or time; give a time as \"30s\", \"5m\", \"2h\" or \"7d\""},
        {"[incidents]\nflap_changes = 1", "flap_changes is 1; give 2 to 1000"},
        {"[incidents]\nflap_changes = \"4\"",
         "flap_changes is \"4\"; give a number, without quotes"},
        {"[incidents]\nreminders = \"1d\"",
         "reminders is a text; it must be a list of times, as [\"1d\", \"7d\"]"},
        {"[incidents]\nreminders = [\"1d\", \"x\"]",
         "reminders is \"x\"; give a time as \"30s\", \"5m\", \"2h\" or \"7d\""},
        {"[spool]\nkeep = ",
         "this is no TOML (Error while parsing key-value pair: encountered "
         "end-of-file); correct the line"},
    };
    for (const auto& [text, message] : rejects) {
        const TempDir dir;
        EXPECT_EQ(Texts{dir.file("raidwatch.toml:2: ") + message}, problemsOf(dir, text)) << text;
    }
}

// The same for sinks: each begins with "[sink.x]"; `line` says where it is found.
TEST(SettingsReader, GivenNoTomlWithControlCharactersThenTheProblemIsStillOneLine) {
    const TempDir dir;
    const Texts problems = problemsOf(dir, "r = i\n\x1b[2Jn\n");
    ASSERT_EQ(1u, problems.size());
    EXPECT_EQ(dir.file(kMain) +
                  ":1: this is no TOML (Error while parsing floating-point: expected 'inf', "
                  "saw 'i\\n'); correct the line",
              problems[0]);
}

TEST(SettingsReader, GivenAFileNameWithControlCharactersThenTheProblemIsStillOneLine) {
    const TempDir dir;
    dir.write("conf.d/a\x1b[2J.toml", "x = 1\n");
    const Texts problems = problemsOf(dir, "");
    ASSERT_EQ(1u, problems.size());
    EXPECT_EQ(0u, problems[0].find(dir.file("conf.d/a\\x1b[2J.toml:1: "))) << problems[0];
}

TEST(SettingsReader, RejectsInSinks) {
    struct Row {
        int line;
        const char* text;
        const char* message;
    };
    const std::vector<Row> rejects = {
        {1, "to = [\"a\"]",
         "[sink.x] has no type; add type = \"mail\" or another of journal, syslog, mail, exec, "
         "webhook, alertmanager, nats, file"},
        {2, "type = \"webhok\"", "there is no sink of type \"webhok\"; did you mean webhook?"},
        {2, "type = \"pager\"",
         "there is no sink of type \"pager\"; use journal, syslog, mail, exec, webhook, "
         "alertmanager, nats, file"},
        {2, "type = 1", "type is a number; it must be a text, in quotes"},
        {3, "type = \"journal\"\nmin_severty = \"error\"",
         "a sink of type journal has no key min_severty; did you mean min_severity?"},
        {3, "type = \"journal\"\nmin_severity = \"fatal\"",
         "min_severity is \"fatal\"; use error, warning, info, task, progress"},
        {3, "type = \"journal\"\ntimeout = 0", "timeout is 0s; give 1s to 1h"},
        {3, "type = \"journal\"\nenabled = \"no\"",
         "enabled is a text; it must be true or false, without quotes"},
        {3, "type = \"journal\"\ncodes = [\"0401\"]",
         "codes is \"0401\"; give a number, without quotes"},
        {3, "type = \"journal\"\nobjects = [\"md0\", 1]",
         "objects holds a number; write each element as a text, in quotes"},
        {1, "type = \"journal\"\nfirst_retry = \"2m\"\nlongest_retry = \"1m\"",
         "[sink.x] has a first_retry of 2m, which is longer than its longest_retry of 1m; shorten "
         "it"},
        {1, "type = \"mail\"\nurl = \"smtp://mx\"",
         "[sink.x] has no key \"to\"; add it: the addresses that get the mail"},
        {1, "type = \"mail\"\nto = [\"a\"]",
         "[sink.x] has neither url nor sendmail; add one of them"},
        {4, "type = \"mail\"\nurl = \"smtp://mx\"\nto = []",
         "to is an empty list; give at least one"},
        {4, "type = \"mail\"\nto = [\"a\"]\nurl = \"http://mx\"",
         "url is \"http://mx\"; begin it with smtp:// or smtps://"},
        {4, "type = \"mail\"\nto = [\"a\"]\nurl = \"smtp://u:secret@mx\"",
         "url holds a user or password; take it out and use user and password_file, or "
         "token_file"},
        {4, "type = \"mail\"\nto = [\"a\"]\nurl = \"smpt://u:secret@mx\"",
         "url holds a user or password; take it out and use user and password_file, or "
         "token_file"},
        {4, "type = \"mail\"\nto = [\"a\"]\nurl = \"u:secret@mx\"",
         "url holds a user or password; take it out and use user and password_file, or "
         "token_file"},
        {5, "type = \"mail\"\nto = [\"a\"]\nurl = \"smtp://mx\"\npassword = \"geheim\"",
         "a secret does not belong into this file; write it into a file of its own, chmod 600 it, "
         "and set password_file"},
        {1, "type = \"exec\"\ncommand = [\"/a\"]\ndir = \"/b\"",
         "[sink.x] has both command and dir; remove one of them"},
        {4, "type = \"webhook\"\nurl = \"https://h\"\nheaders = { Authorization = \"Bearer x\" }",
         "headers.Authorization would hold a secret; write the token into a file, chmod 600 it, "
         "and set token_file"},
        {4, "type = \"webhook\"\nurl = \"https://h\"\nheaders = { a = 1 }",
         "headers.a is a number; write it as a text, in quotes"},
        {3, "type = \"alertmanager\"\nurls = [\"127.0.0.1:9093\"]",
         "urls is \"127.0.0.1:9093\"; begin it with http:// or https://"},
        {4, "type = \"file\"\npath = \"/x\"\nmax_size = \"big\"",
         "max_size is \"big\"; give a size as \"10M\", or a number of bytes"},
        {4, "type = \"file\"\npath = \"/x\"\nmax_size = 10", "max_size is 10; give 4K to 1T"},
        {4, "type = \"syslog\"\ntag = \"a\"\nfacility = \"loca1\"",
         "facility is \"loca1\"; use daemon, user, local0, local1, local2, local3, local4, local5, "
         "local6, local7"},
        {5, "type = \"mail\"\nto = [\"a\"]\nurl = \"smtp://mx\"\npassword_file = \"x\"",
         "password_file x is no path that begins with /; give one"},
    };
    for (const Row& row : rejects) {
        const TempDir dir;
        EXPECT_EQ(
            Texts{dir.file("raidwatch.toml:") + std::to_string(row.line) + ": " + row.message},
            problemsOf(dir, "[sink.x]\n" + std::string(row.text)))
            << row.text;
    }
}

TEST(SettingsReader, RejectsNamesOfSinksThatCannotBeUsed) {
    const TempDir dir;
    EXPECT_EQ((Texts{dir.file("raidwatch.toml:1: a sink cannot be called \"a b\\x1b\"; use up to "
                              "40 letters, digits, - and _")}),
              problemsOf(dir, "[sink.\"a b\\u001B\"]\ntype = \"journal\"\n"));
    EXPECT_EQ(Texts{dir.file("raidwatch.toml:2: sink.x is a number; write each sink as a table, "
                             "[sink.NAME]")},
              problemsOf(dir, "[sink]\nx = 1\n"));
    EXPECT_EQ(Texts{dir.file("raidwatch.toml:1: sink is a list; write each sink as a table, "
                             "[sink.NAME]")},
              problemsOf(dir, "[[sink]]\nx = 1\n"));
}

TEST(SettingsReader, RejectsSecretFilesThatCannotBeUsed) {
    struct Row {
        const char* text;
        mode_t mode;
        const char* message;
    };
    const std::vector<Row> rejects = {
        {"s", 0644, "can be read by others than its owner; chmod 600 it"},
        {"s", 0640, "can be read by others than its owner; chmod 600 it"},
        {"", 0600, "is empty; write the secret into it"},
        {"\n\n", 0600, "is empty; write the secret into it"},
        {"a\nb\n", 0600, "has several lines; leave only the secret in it"},
    };
    for (const Row& row : rejects) {
        const TempDir dir;
        const std::string file = secretFile(dir, "token", row.text, row.mode);
        EXPECT_EQ(Texts{dir.file("raidwatch.toml:4: token_file ") + file + " " + row.message},
                  problemsOf(dir,
                             "[sink.x]\ntype = \"webhook\"\nurl = \"http://h\"\n"
                             "token_file = \"DIR/token\"\n"))
            << row.message;
    }
    const TempDir dir;
    EXPECT_EQ(Texts{dir.file("raidwatch.toml:4: token_file ") + dir.file("none") +
                    " cannot be read (No such file or directory); make the file, with nothing but "
                    "the secret in it"},
              problemsOf(dir,
                         "[sink.x]\ntype = \"webhook\"\nurl = \"http://h\"\n"
                         "token_file = \"DIR/none\"\n"));
    EXPECT_EQ(Texts{dir.file("raidwatch.toml:4: token_file /tmp cannot be read; it must be a plain "
                             "file")},
              problemsOf(dir,
                         "[sink.x]\ntype = \"webhook\"\nurl = \"http://h\"\n"
                         "token_file = \"/tmp\"\n"));
}

TEST(SettingsReader, FindsEveryProblemAtOnceInTheOrderOfFilesAndLines) {
    const TempDir dir;
    dir.write("conf.d/50.toml", "[spool]\nkep = 1\n");
    dir.write("conf.d/40.toml", "[spool\n");
    const std::string main = dir.write(kMain,
                                       "[sink.b]\ntype = \"mail\"\ntimeout = 0\n"
                                       "[sink.a]\nurl = \"x\"\ntype = \"webhook\"\n"
                                       "[monitor]\nsource = 1\n");
    const Texts problems = problemsOf(dir);
    ASSERT_EQ(5u, problems.size());
    EXPECT_EQ(main + ":3: timeout is 0s; give 1s to 1h", problems[0]);
    EXPECT_EQ(main + ":5: url is \"x\"; begin it with http:// or https://", problems[1]);
    EXPECT_EQ(main + ":8: source is a number; it must be a text, in quotes", problems[2]);
    EXPECT_EQ(0u, problems[3].find(dir.file("conf.d/40.toml:1: this is no TOML ("))) << problems[3];
    EXPECT_EQ(dir.file("conf.d/50.toml:2: [spool] has no key kep; did you mean keep?"),
              problems[4]);
}

TEST(SettingsReader, GivenANamedFileThatIsMissingOrNoFileThenSaysSo) {
    const TempDir dir;
    EXPECT_EQ(Texts{dir.file(kMain) + ": cannot read it (No such file or directory); name a file "
                                      "that exists"},
              problemsOf(dir));
    std::filesystem::create_directory(dir.file(kMain));
    EXPECT_EQ(Texts{dir.file(kMain) + ": cannot read it (it is no file); put a TOML file there"},
              problemsOf(dir));
}

TEST(SettingsReader, GivenAFileThatOthersMayWriteThenRootRefusesIt) {
    if (geteuid() != 0) GTEST_SKIP() << "NOT TESTED: only root refuses such files";
    const TempDir dir;
    const std::string file = dir.write(kMain, "");
    const Texts refused = {file +
                           ": others than root may write it, and raidwatch runs as root; "
                           "chown root:root and chmod 644 it"};
    ASSERT_EQ(0, chmod(file.c_str(), 0646));
    EXPECT_EQ(refused, problemsOf(dir));
    ASSERT_EQ(0, chmod(file.c_str(), 0664));
    EXPECT_EQ(Texts(), problemsOf(dir)) << "the group is root's";
    ASSERT_EQ(0, chown(file.c_str(), 0, 65534));
    EXPECT_EQ(refused, problemsOf(dir));
    ASSERT_EQ(0, chmod(file.c_str(), 0644));
    ASSERT_EQ(0, chown(file.c_str(), 65534, 0));
    EXPECT_EQ(refused, problemsOf(dir));
}

}  // namespace
