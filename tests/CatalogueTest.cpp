// The shipped message catalogues against the code that looks their keys up.
//
// catalogue/keys.txt is the written list of keys and argument counts that scripts/check-catalogue
// works from. Here it is compared with the rows of the code, and every text of every language goes
// through the real parser.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "monitor/EventRows.h"
#include "monitor/PhraseKeys.h"
#include "nls/NLSParser.h"

namespace {

using Strings = std::vector<std::string>;

const std::string kFolder = std::string(QEL_SOURCE_DIR) + "/catalogue/";
const Strings kLanguages = {"", "de", "es", "fr", "ja", "zh_CN"};  // "" is English

std::string catalogueOf(const std::string& language) {
    return kFolder + "RaidNLS." + (language.empty() ? "" : language + ".") + "properties";
}

std::string contentsOf(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + file);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

struct ArgumentCount {
    std::size_t always;
    std::size_t most;
};

// "key 2 meaning; meaning" or "key 1-4 ..."
std::map<std::string, ArgumentCount> keyTable() {
    std::map<std::string, ArgumentCount> table;
    std::istringstream in(contentsOf(kFolder + "keys.txt"));
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream words(line);
        std::string key;
        std::string counts;
        words >> key >> counts;
        const std::size_t always = std::stoul(counts.substr(0, 1));
        const std::size_t most = counts.size() > 2 ? std::stoul(counts.substr(2)) : always;
        table[key] = {always, most};
    }
    return table;
}

// The entries of a catalogue, read without the parser under test.
std::map<std::string, std::string> entriesOf(const std::string& language) {
    std::map<std::string, std::string> entries;
    std::istringstream in(contentsOf(catalogueOf(language)));
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        const std::size_t equals = line.find('=');
        entries.emplace(line.substr(0, equals), line.substr(equals + 1));
    }
    return entries;
}

template <typename Value>
std::set<std::string> keysOf(const std::map<std::string, Value>& entries) {
    std::set<std::string> keys;
    for (const auto& entry : entries) keys.insert(entry.first);
    return keys;
}

// "<0>", "<1>", ...: unlike anything in a text, and without what the parser would expand.
Strings markers(std::size_t count) {
    Strings args;
    for (std::size_t i = 0; i < count; ++i) args.push_back("<" + std::to_string(i) + ">");
    return args;
}

std::string filled(std::string text, const Strings& args) {
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string placeholder = "{" + std::to_string(i) + "}";
        for (std::size_t at = text.find(placeholder); at != std::string::npos;
             at = text.find(placeholder, at + args[i].size()))
            text.replace(at, placeholder.size(), args[i]);
    }
    return text;
}

// The objects of the examples: controller 1 in slot 3, a drive in an enclosure, a logical drive.
struct Phrases {
    explicit Phrases(NLSParser& nls) {
        const std::string description =
            nls.get("eventArgController2", Strings{"1", " Acme RX-800 #SN0042", "3"});
        controller = nls.get("eventArgController", Strings{description});
        drive = nls.get("eventArgControllerSASDeviceEnclosure", Strings{description, "5", "7"});
        logicalDrive = nls.get("eventArgControllerLogicalDrive", Strings{description, "0"});
        channel = nls.get("eventArgControllerChannel", Strings{description, "2"});
        replacement = nls.get("deviceArgFRU", Strings{"39R7342"});
    }
    std::string controller, drive, logicalDrive, channel, replacement;
};

}  // namespace

TEST(Catalogue, TheKeyTableHasTheKeysOfTheCode) {
    std::set<std::string> inCode;
    for (const EventRow* row : rows::kAllEventRows)
        if (*row->key != '\0') inCode.insert(row->key);  // the overload notice has a fixed text
    for (const PhraseKey* phrase : phrases::kAllPhraseKeys) inCode.insert(phrase->key);

    EXPECT_EQ(inCode, keysOf(keyTable()));
    EXPECT_EQ(92u, inCode.size());
}

TEST(Catalogue, TheKeyTableHasTheArgumentCountsOfTheCode) {
    const auto table = keyTable();
    for (const EventRow* row : rows::kAllEventRows) {
        if (*row->key == '\0') continue;
        ASSERT_EQ(1u, table.count(row->key)) << row->key;
        EXPECT_EQ(static_cast<std::size_t>(row->argumentCount), table.at(row->key).most)
            << row->key << " " << row->code;
    }
    for (const PhraseKey* phrase : phrases::kAllPhraseKeys) {
        ASSERT_EQ(1u, table.count(phrase->key)) << phrase->key;
        EXPECT_EQ(static_cast<std::size_t>(phrase->argumentCount), table.at(phrase->key).most)
            << phrase->key;
        EXPECT_EQ(table.at(phrase->key).always, table.at(phrase->key).most) << phrase->key;
    }
}

TEST(Catalogue, OnlyTheseKeysGetSomeArgumentsSometimes) {
    std::set<std::string> varying;
    for (const auto& [key, count] : keyTable())
        if (count.always != count.most) varying.insert(key);

    EXPECT_EQ((std::set<std::string>{"agentEventWrnBadStripes", "agentEventWrnControllerOvertemp",
                                     "agentEventInfInitDetected", "agentEventInfSyncDetected",
                                     "agentEventInfRebuildDetected"}),
              varying);
}

TEST(Catalogue, TheseLanguagesAreShipped) {
    Strings found;
    for (const auto& entry : std::filesystem::directory_iterator(kFolder))
        if (entry.path().extension() == ".properties") found.push_back(entry.path().string());
    Strings expected;
    for (const std::string& language : kLanguages) expected.push_back(catalogueOf(language));

    EXPECT_THAT(found, testing::UnorderedElementsAreArray(expected));
}

TEST(Catalogue, EachLanguageHasExactlyTheKeysOfTheTable) {
    for (const std::string& language : kLanguages)
        EXPECT_EQ(keysOf(keyTable()), keysOf(entriesOf(language))) << language;
}

TEST(Catalogue, EachLookupGivesItsTextWithAllPlaceholdersFilled) {
    const auto table = keyTable();
    for (const std::string& language : kLanguages) {
        NLSParser nls(catalogueOf(language));
        for (const auto& [key, text] : entriesOf(language)) {
            SCOPED_TRACE(language + " " + key);
            ASSERT_EQ(1u, table.count(key));
            EXPECT_NE("", text);
            EXPECT_EQ(text, nls.get(key));

            // With all arguments, and with those alone that always come: nothing may go missing.
            for (const std::size_t count : {table.at(key).most, table.at(key).always}) {
                const Strings args = markers(count);
                const std::string result = nls.get(key, args);
                EXPECT_EQ(filled(text, args), result);
                EXPECT_EQ(std::string::npos, result.find('{')) << result;
                EXPECT_EQ(std::string::npos, result.find('}')) << result;
            }
        }
    }
}

TEST(Catalogue, EachTextWithoutArgumentsIsReadyForTheLookupThatFillsNothing) {
    for (const std::string& language : kLanguages) {
        NLSParser nls(catalogueOf(language));
        for (const auto& [key, count] : keyTable()) {
            if (count.most != 0) continue;
            EXPECT_THAT(nls.get(key), testing::Not(testing::ContainsRegex("[{}%]")))
                << language << " " << key;
        }
    }
}

TEST(Catalogue, GivenAFolderOfLanguagesWhenTheParserChangesOverThenItSpeaksTheOther) {
    NLSParser nls(catalogueOf(""));
    EXPECT_EQ("Fan 2 installed: enclosure on X.",
              nls.get("agentEventInfFanInstalled", Strings{"2", "X"}));
    nls.resetParser(catalogueOf("de"));
    EXPECT_EQ(
        "L\xC3\xBC"
        "fter 2 eingebaut: Geh\xC3\xA4use an X.",
        nls.get("agentEventInfFanInstalled", Strings{"2", "X"}));
}

TEST(Catalogue, WorkedExamplesInEnglish) {
    NLSParser nls(catalogueOf(""));
    const Phrases p(nls);
    const std::string controller = "controller 1 Acme RX-800 #SN0042 (slot 3)";
    EXPECT_EQ(controller, p.controller);

    const struct {
        const char* key;
        Strings args;
        std::string text;
    } examples[] = {
        {"agentEventErrController",
         {p.controller},
         "Controller failed or no longer responding: " + controller +
             ". Check its seating and power; replace the controller if the fault remains."},
        {"agentEventErrDefunctDriveRepl",
         {p.drive, p.replacement},
         "Drive failed: " + controller +
             ", enclosure 5, slot 7. Replace it with part number 39R7342."},
        {"agentEventInfAddLogDrive",
         {p.logicalDrive, "136.50 GB", "5", ", Method = " + nls.get("LD_SUB_QUICK_INIT")},
         "Logical drive added: " + controller +
             ", logical drive 0. Size = 136.50 GB, RAID level = 5, Method = Quick initialization."},
        {"agentEventInfAddLogDrive",
         {p.logicalDrive, "0.0 GB", "", ""},
         "Logical drive added: " + controller + ", logical drive 0. Size = 0.0 GB, RAID level = ."},
        {"agentEventErrFanFail",
         {"2", p.channel},
         "Fan 2 failed: enclosure on " + controller + ", channel 2. Replace the fan."},
        {"agentEventInfRebuildPercentComplete",
         {p.logicalDrive, "55"},
         "Rebuild 55% complete: " + controller + ", logical drive 0."},
        {"agentEventErrRebuild",
         {p.logicalDrive, "12"},
         "Rebuild failed: " + controller +
             ", logical drive 0 (controller event 12). Check its drives, replace the faulty one "
             "and start the rebuild again."},
        {"agentEventWrnMismatchedVersions",
         {p.controller, "5.2-0", "5.2-1", "1.1-5"},
         "Controller versions do not match: " + controller +
             " has BIOS 5.2-0, firmware 5.2-1 and driver 1.1-5. Install a matching set."},
        {"agentEventInfDriveMap",
         {"1", "2", "5", p.drive, p.replacement},
         "SAS drive map: controller 1, channel 2, device 5 is " + controller +
             ", enclosure 5, slot 7. Replacement: part number 39R7342"},
        {"agentEventInfDriveMap",
         {"1", "2", "5", p.drive, ""},
         "SAS drive map: controller 1, channel 2, device 5 is " + controller +
             ", enclosure 5, slot 7. Replacement: "},
        {"agentEventWrnBadBlock",
         {p.controller, p.drive},
         "Bad block found on drive: " + controller +
             ", enclosure 5, slot 7. Replace the drive if this is reported repeatedly."},
        {"eventArgController2", {"1", "", "Unknown"}, "controller 1 (slot Unknown)"},
        {"eventArgControllerScsiDevice",
         {"2147483647", "2147483647", "4"},
         "2147483647, channel 2147483647, device 4"},
        {"eventArgControllerLogicalDrive",
         {p.controller, nls.get("eventArgControllerLogicalDrive2", Strings{"data", "3"})},
         controller + ", logical drive data (number 3)"},
        {"deviceArgVendorModel", {"Acme", "D-1"}, "Acme D-1"},
    };
    for (const auto& example : examples)
        EXPECT_EQ(example.text, nls.get(example.key, example.args)) << example.key;
}

// Before "%" stands nothing, or a blank that is none to the parser: an ordinary one would make it
// look for a phrase.
TEST(Catalogue, WorkedExamplesOfAPercentageInEachLanguage) {
    const struct {
        const char* language;
        const char* text;
    } examples[] = {
        {"", "Rebuild 55% complete: X."},
        {"de", "Wiederaufbau zu 55\u00a0% abgeschlossen: X."},
        {"es", "Reconstrucción completada al 55\u00a0%: X."},
        {"fr", "Reconstruction effectuée à 55\u202f%\u00a0: X."},
        {"ja", "再構築 55% 完了: X。"},
        {"zh_CN", "重建已完成 55%：X。"},
    };
    for (const auto& example : examples) {
        NLSParser nls(catalogueOf(example.language));
        EXPECT_EQ(example.text, nls.get("agentEventInfRebuildPercentComplete", Strings{"X", "55"}));
    }
}

TEST(Catalogue, WorkedExamplesOfANestedPhraseInEachLanguage) {
    const struct {
        const char* language;
        const char* text;
    } examples[] = {
        {"", "controller 1 Acme RX-800 #SN0042 (slot 3), enclosure 5, slot 7"},
        {"de", "Controller 1 Acme RX-800 #SN0042 (Steckplatz 3), Gehäuse 5, Einschub 7"},
        {"es", "controladora 1 Acme RX-800 #SN0042 (ranura 3), gabinete 5, bahía 7"},
        {"fr", "contrôleur 1 Acme RX-800 #SN0042 (emplacement 3), boîtier 5, emplacement 7"},
        {"ja", "コントローラー 1 Acme RX-800 #SN0042 (スロット 3)、エンクロージャー 5、スロット 7"},
        {"zh_CN", "控制器 1 Acme RX-800 #SN0042（插槽 3），机箱 5，槽位 7"},
    };
    for (const auto& example : examples) {
        NLSParser nls(catalogueOf(example.language));
        EXPECT_EQ(example.text, Phrases(nls).drive);
    }
}

// The controller description brings its own leading blank, or is empty.
TEST(Catalogue, GivenAnyDescriptionThenTheControllerPhraseHasNoTwoBlanks) {
    for (const std::string& language : kLanguages) {
        NLSParser nls(catalogueOf(language));
        for (const char* description : {" Acme RX-800 #SN0042", ""}) {
            const std::string phrase =
                nls.get("eventArgController2", Strings{"1", description, "Unknown"});
            EXPECT_EQ(std::string::npos, phrase.find("  ")) << phrase;
            EXPECT_NE(std::string::npos, phrase.find(std::string("1") + description)) << phrase;
            EXPECT_NE(std::string::npos, phrase.find("Unknown")) << phrase;
        }
    }
}

TEST(Catalogue, EachEventTextIsTranslated) {
    const auto english = entriesOf("");
    for (const std::string& language : kLanguages) {
        if (language.empty()) continue;
        for (const auto& [key, text] : entriesOf(language)) {
            if (key.rfind("agentEvent", 0) != 0) continue;
            EXPECT_NE(english.at(key), text) << language << " " << key;
        }
    }
}

TEST(Catalogue, EachEventIsExplainedOnce) {
    std::set<std::string> expected;
    for (const EventRow* row : rows::kAllEventRows)
        expected.insert("\"key\": \"" + std::string(row->key) + "\", \"code\": " +
                        std::to_string(row->code) + ", \"eventId\": \"" + row->eventId + "\",");

    std::set<std::string> found;
    std::istringstream in(contentsOf(kFolder + "meanings.json"));
    for (std::string line; std::getline(in, line);) {
        const std::size_t at = line.find("\"key\": ");
        if (at == std::string::npos) continue;
        EXPECT_TRUE(found.insert(line.substr(at)).second) << line;
    }
    EXPECT_EQ(expected, found);
}
