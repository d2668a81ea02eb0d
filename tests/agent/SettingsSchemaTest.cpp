#include "agent/settings/SettingsSchema.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>

#include <nlohmann/json.hpp>

#include "agent/SafeText.h"
#include "agent/settings/SectionKeys.h"
#include "agent/settings/SettingsReader.h"
#include "agent/settings/SinkKeys.h"
#include "tests/support/TempDir.h"

namespace {

const std::string kDocument = QEL_SOURCE_DIR "/docs/formats/raidwatch-toml.md";

std::string contentsOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

TEST(SettingsSchema, TheDocumentIsWhatTheProgramKnows) {
    if (std::getenv("QEL_APPROVE") != nullptr) {
        std::ofstream(kDocument, std::ios::binary) << SettingsSchema::markdown();
    }
    EXPECT_EQ(SettingsSchema::markdown(), contentsOf(kDocument))
        << "./test --approve rewrites docs/formats/raidwatch-toml.md";
}

TEST(SettingsSchema, TheExampleOfTheDocumentIsInOrder) {
    const std::string page = SettingsSchema::markdown();
    const std::size_t begin = page.find("```toml\n") + 8;
    std::string example = page.substr(begin, page.find("```", begin) - begin);
    const TempDir dir;
    const std::string secret = dir.write("mail.password", "x\n");
    ASSERT_EQ(0, system(("chmod 600 " + secret).c_str()));
    const std::string named = "/etc/raidwatch/mail.password";
    example.replace(example.find(named), named.size(), secret);
    const AgentSettings settings = SettingsReader(dir.write("raidwatch.toml", example)).read();
    EXPECT_EQ(3u, settings.sinks.size());
}

TEST(SettingsSchema, FitsIntoEightyColumns) {
    std::istringstream lines(SettingsSchema::text(80));
    for (std::string line; std::getline(lines, line);) EXPECT_LE(textWidth(line), 80u) << line;
}

TEST(SettingsSchema, TheJsonSchemaHasEveryKey) {
    const nlohmann::ordered_json schema = SettingsSchema::json();
    for (const SectionKey& key : sectionKeys()) {
        EXPECT_TRUE(schema["properties"][key.row.type]["properties"].contains(key.row.key))
            << key.row.key;
    }
    for (const auto& kind : schema["properties"]["sink"]["additionalProperties"]["oneOf"]) {
        const std::string type = kind["properties"]["type"]["const"];
        std::set<std::string> keys;
        for (const auto& [key, unused] : kind["properties"].items()) keys.insert(key);
        std::set<std::string> wanted;
        for (const SinkKey* row : sinkKeysOf(type)) wanted.insert(row->written());
        EXPECT_EQ(wanted, keys) << type;
    }
}

// The defaults are shown to people; each must be a value that could be written.
TEST(SettingsSchema, EveryDefaultIsAccepted) {
    for (const SectionKey& key : sectionKeys()) {
        const TempDir dir;
        const std::string text = std::string("[") + key.row.type + "]\n" + key.row.key + " = " +
                                 writtenText(memberValue(key, AgentSettings())) + "\n";
        EXPECT_NO_THROW((void)SettingsReader(dir.write("raidwatch.toml", text)).read()) << text;
    }
    for (const SinkType& type : sinkTypeList()) {
        const TempDir dir;
        std::string text = std::string("[sink.x]\ntype = \"") + type.type + "\"\n";
        for (const SinkKey* row : sinkKeysOf(type.type)) {
            const SettingValue value = defaultValue(*row);
            if (value.kind == SettingValue::Kind::kOther) continue;
            text += row->written() + " = " + writtenText(value) + "\n";
        }
        if (type.type == std::string("mail")) text += "to = [\"a\"]\nurl = \"smtp://mx\"\n";
        if (type.type == std::string("exec")) text += "dir = \"/etc\"\n";
        if (type.type == std::string("webhook")) text += "url = \"http://h\"\n";
        if (type.type == std::string("alertmanager")) text += "urls = [\"http://h\"]\n";
        if (type.type == std::string("nats")) text += "urls = [\"nats://h\"]\n";
        if (type.type == std::string("file")) text += "path = \"/tmp/x\"\n";
        EXPECT_NO_THROW((void)SettingsReader(dir.write("raidwatch.toml", text)).read()) << text;
    }
}

}  // namespace
