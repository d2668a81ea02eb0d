#include "agent/commands/ConfigVerb.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/settings/SettingsReader.h"
#include "agent/web/WebToken.h"
#include "tests/agent/CommandRun.h"
#include "tests/support/TempDir.h"

namespace {

TEST(ConfigVerb, CheckSaysThatAllIsInOrderAndNamesTheFiles) {
    const TempDir dir;
    const std::string file = dir.write("raidwatch.toml", "[monitor]\nsource = \"linux\"\n");
    const std::string more = dir.write("conf.d/a.toml", "");
    const CommandRun ran = runCommand({"config", "check", "--config", file});
    EXPECT_EQ(0, ran.exit);
    EXPECT_EQ("in order: " + file + ", " + more + "\n", ran.out);
}

TEST(ConfigVerb, CheckNamesEveryProblemAndFails) {
    const TempDir dir;
    const std::string file = dir.write("raidwatch.toml", "[monitor]\na = 1\n[spool]\nkeep = 0\n");
    const CommandRun ran = runCommand({"config", "check", "--config", file});
    EXPECT_EQ(2, ran.exit);
    EXPECT_EQ(file + ":2: [monitor] has no key a; it has source, language\n" + file +
                  ":4: keep is 0s; give 1h to 36600d\n",
              ran.out);
    const CommandRun json = runCommand({"config", "check", "--json", "--config", file});
    EXPECT_EQ(2, json.exit);
    const auto document = nlohmann::json::parse(json.out);
    EXPECT_FALSE(document["ok"].get<bool>());
    EXPECT_EQ(2u, document["problems"].size());
}

// Only the sink itself knows all that it needs.
TEST(ConfigVerb, CheckMakesEachSinkAndNamesWhatItRefuses) {
    const TempDir dir;
    const std::string file = dir.write("raidwatch.toml",
                                       "[sink.a]\ntype = \"exec\"\ncommand = [\"true\"]\n"
                                       "[sink.b]\ntype = \"mail\"\nurl = \"smtp://h\"\n"
                                       "to = [\"a b\"]\n");
    const CommandRun ran = runCommand({"config", "check", "--config", file});
    EXPECT_EQ(2, ran.exit);
    EXPECT_EQ(0u, ran.out.find(file + ":1: sink \"a\": command: \"true\"")) << ran.out;
    EXPECT_NE(std::string::npos, ran.out.find("\n" + file + ":4: sink \"b\": to \"a b\""))
        << ran.out;
}

TEST(ConfigVerb, CheckRefusesALanguageThatIsNotInstalled) {
    const TempDir dir;
    const std::string file = dir.write("raidwatch.toml", "[monitor]\nlanguage = \"xx\"\n");
    const CommandRun ran = runCommand({"config", "check", "--config", file});
    EXPECT_EQ(2, ran.exit);
    EXPECT_EQ(0u, ran.out.find(file + ":2: ")) << ran.out;
    EXPECT_NE(std::string::npos, ran.out.find("de, en, es")) << ran.out;
}

TEST(ConfigVerb, ShowSaysWhereEachValueComesFromAndHidesSecrets) {
    const TempDir dir;
    const std::string token = dir.write("token", "geheim");
    ASSERT_EQ(0, chmod(token.c_str(), 0600));
    dir.write("engine/QELConfig.conf", "qel.eventQueueSize=3000\n");
    const std::string file =
        dir.write("raidwatch.toml", "[paths]\nengine = \"" + dir.file("engine") +
                                        "\"\n[sink.web]\ntype = \"webhook\"\nurl = \"http://h\"\n"
                                        "token_file = \"" +
                                        token +
                                        "\"\nheaders = { X-Api-Key = \"abc\", X-Site = \"home\" }\n"
                                        "[sink.journal]\nenabled = true\n");
    const CommandRun ran = runCommand({"config", "show", "--config", file});
    EXPECT_EQ(0, ran.exit);
    const auto has = [&](const std::string& text) {
        EXPECT_NE(std::string::npos, ran.out.find(text)) << text << "\n" << ran.out;
    };
    has("[access]\ncontrol_group = \"raidwatch\"                  # default\n");
    has("\n[sink.web]\n");
    has("url = \"http://h\"                             # " + file + ":5\n");
    has("headers = { X-Api-Key = \"********\", X-Site = \"home\" }  # " + file + ":7\n");
    has("token_file = \"" + token + "\"");
    has("# qel.eventQueueSize=3000");
    has("# qel.debugMask=0                            # default\n");
    EXPECT_EQ(std::string::npos, ran.out.find("geheim"));
    EXPECT_EQ(std::string::npos, ran.out.find("abc"));

    const auto json =
        nlohmann::json::parse(runCommand({"config", "show", "--json", "--config", file}).out);
    EXPECT_EQ(nlohmann::json(std::vector<std::string>{file}), json["files"]);
    bool found = false;
    for (const auto& value : json["values"]) {
        if (value["key"] != "sink.web.timeout") continue;
        found = true;
        EXPECT_EQ("30s", value["value"]);
        EXPECT_EQ("default", value["origin"]);
    }
    EXPECT_TRUE(found);
    EXPECT_EQ("3000", json["engine"]["values"][0]["value"]);
}

TEST(ConfigVerb, ShowOfAWrongConfigurationNamesTheProblems) {
    const TempDir dir;
    const CommandRun ran =
        runCommand({"config", "show", "--config", dir.write("raidwatch.toml", "a = 1\n")});
    EXPECT_EQ(2, ran.exit);
    EXPECT_EQ("the configuration is not in order; correct it, then try again", ran.failure);
    ASSERT_EQ(1u, ran.notes.size());
    EXPECT_EQ(0u, ran.notes[0].find(dir.file("raidwatch.toml:1: "))) << ran.notes[0];
}

TEST(ConfigVerb, TokenMakesATokenAndTheLinesForItsHash) {
    const CommandRun ran = runCommand({"config", "token"});
    EXPECT_EQ(0, ran.exit);
    const std::string lead = "# For those who may look; it is shown only now:\n# ";
    ASSERT_EQ(0u, ran.out.find(lead)) << ran.out;
    const std::string token =
        ran.out.substr(lead.size(), ran.out.find('\n', lead.size()) - lead.size());
    const TempDir dir;
    const AgentSettings settings =
        SettingsReader(dir.write("raidwatch.toml", ran.out + "listen = [\"0.0.0.0:80\"]\n")).read();
    EXPECT_EQ(WebToken::Answer::kRight, WebToken(settings.httpTokenHash).check(token));

    const auto json = nlohmann::json::parse(runCommand({"config", "token", "--json"}).out);
    EXPECT_EQ(
        WebToken::Answer::kRight,
        WebToken(json["token_hash"].get<std::string>()).check(json["token"].get<std::string>()));
}

TEST(ConfigVerb, ShowHidesTheHashOfTheToken) {
    const TempDir dir;
    const std::string hash = WebToken::hash("secret");
    const std::string file = dir.write("raidwatch.toml", "[http]\ntoken_hash = \"" + hash + "\"\n");
    const CommandRun ran = runCommand({"config", "show", "--config", file});
    EXPECT_EQ(std::string::npos, ran.out.find(hash));
    EXPECT_NE(std::string::npos, ran.out.find("token_hash = \"********\""));
}

TEST(ConfigVerb, GivenAHashThatOthersCanReadThenCheckAdvisesAndPasses) {
    const TempDir dir;
    const std::string hash = "$5$salt$" + std::string(43, 'x');
    const std::string file = dir.write("raidwatch.toml", "[http]\ntoken_hash = \"" + hash + "\"\n");
    ASSERT_EQ(0, chmod(file.c_str(), 0644));
    CommandRun ran = runCommand({"config", "check", "--config", file});
    EXPECT_EQ(0, ran.exit);
    ASSERT_EQ(1u, ran.notes.size());
    EXPECT_EQ(file +
                  ":2: others can read token_hash, and guess from it a token that raidwatch config "
                  "token has not made; put [http] into a file of conf.d, chmod 600 it",
              ran.notes[0]);
    ASSERT_EQ(0, chmod(file.c_str(), 0600));
    ran = runCommand({"config", "check", "--config", file});
    EXPECT_EQ(0, ran.exit);
    EXPECT_TRUE(ran.notes.empty());
}

TEST(ConfigVerb, GivenAWordThatItDoesNotHaveThenBadUse) {
    EXPECT_EQ(2, runCommand({"config"}).exit);
    EXPECT_EQ(
        "config needs one of its commands: check, show, schema, token; see raidwatch config "
        "--help",
        runCommand({"config"}).failure);
    EXPECT_EQ(2, runCommand({"config", "edit"}).exit);
    EXPECT_EQ(2, runCommand({"config", "show", "--xml"}).exit);
}

TEST(ConfigVerb, SchemaIsTextOrJsonSchema) {
    EXPECT_EQ(0u, runCommand({"config", "schema"}).out.find("[monitor]  what is watched\n"));
    const auto schema = nlohmann::json::parse(runCommand({"config", "schema", "--json"}).out);
    EXPECT_EQ("https://json-schema.org/draft/2020-12/schema", schema["$schema"]);
}

}  // namespace
