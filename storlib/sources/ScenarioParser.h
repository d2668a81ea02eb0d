// ScenarioParser: from the text of a scenario file to a Scenario, with every complaint naming
// file, line, the place inside the file, what is wrong, and what to do.
//
//   std::unique_ptr<Scenario> scenario = ScenarioParser("fan-fails.json").read(text, error);
//
// One parser reads one file. Objects and their fields are read in ScenarioParser.cpp, steps and
// changes in ScenarioParserSteps.cpp.
#ifndef STORLIB_SOURCES_SCENARIOPARSER_H
#define STORLIB_SOURCES_SCENARIOPARSER_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "storlib/sources/Scenario.h"

struct JsonNode;

struct ScenarioRecord;

class ScenarioParser {
public:
    static constexpr std::size_t kMostObjects = 100000;

    explicit ScenarioParser(std::string nameOfFile) : fileName(std::move(nameOfFile)) {}

    // Null with one line in `error`. Whether everything that is named is there at its step is not
    // checked here: see Scenario::parse().
    std::unique_ptr<Scenario> read(const std::string& text, std::string& error);

private:
    struct Complaint;
    using Names = std::vector<std::string>;
    using Objects = std::vector<std::unique_ptr<ScenarioObject>>;
    using Fields = std::map<std::string, ScenarioValue>;

    std::unique_ptr<Scenario> readScenario(const JsonNode& file);

    // --- objects: ScenarioParser.cpp ---
    // The object that stands there, as often as its "copies" say.
    Objects readObjects(const JsonNode& node, const ScenarioKind& kind, const std::string& where);
    std::unique_ptr<ScenarioObject> readObject(const JsonNode& node, const ScenarioKind& kind,
                                               const std::string& where);
    void readList(const JsonNode& node, const ScenarioKind::Holds& holds, ScenarioObject& into,
                  const std::string& where);
    std::string readId(const JsonNode& node, const ScenarioKind& kind, const std::string& where);
    ScenarioValue readValue(const JsonNode& node, const ScenarioField& field,
                            const std::string& where);
    std::vector<int> readNumbers(const JsonNode& node, const ScenarioField& field,
                                 const std::string& where);
    int readWord(const JsonNode& node, const ScenarioField& field, const std::string& where);
    std::string readWwn(const JsonNode& node, const std::string& where);

    // --- steps: ScenarioParserSteps.cpp ---
    void readSteps(const JsonNode& node, std::vector<ScenarioStep>& steps);
    ScenarioStep readStep(const JsonNode& node, const std::string& where);
    int readDuration(const JsonNode& node, const std::string& where);
    ScenarioChange readChange(const JsonNode& node, const std::string& where);
    void readSet(const JsonNode& node, ScenarioChange& change);
    void readAdd(const JsonNode& node, ScenarioChange& change);
    void readRecord(const JsonNode& node, ScenarioChange& change);
    void readRecordCodes(const JsonNode& node, ScenarioChange& change, const std::string& where);
    void readAbout(const JsonNode& node, const ScenarioRecord* named, ScenarioChange& change,
                   const std::string& where);
    void readFailure(const JsonNode& node, const char* verb, ScenarioChange& change);
    // The kind of the object with that id; complains when no object in the file has it.
    const ScenarioKind& kindOf(const JsonNode& node, const std::string& where);

    // --- both ---
    const JsonNode& need(const JsonNode& object, const char* name, const std::string& where);
    std::string textOf(const JsonNode& node, const std::string& where,
                       std::size_t longest = kLongestText);
    std::int64_t integerOf(const JsonNode& node, const std::string& where, std::int64_t least,
                           std::int64_t most);
    int smallOf(const JsonNode& node, const std::string& where, int least, int most);
    bool flagOf(const JsonNode& node, const std::string& where);
    const JsonNode& listOf(const JsonNode& node, const std::string& where);
    void allowOnly(const JsonNode& object, const Names& known, const std::string& where);
    [[noreturn]] void complain(const JsonNode& node, const std::string& where,
                               const std::string& what);

    static constexpr std::size_t kLongestText = 4096;

    std::string fileName;
    // Kind of each object that has an id, at whatever step it appears.
    std::map<std::string, const ScenarioKind*> kinds;
    std::size_t objectsMade = 0;
};

#endif  // STORLIB_SOURCES_SCENARIOPARSER_H
