// One text out of the message catalogue, whose file is read at every look-up.
#include <fstream>
#include <string>

#include "benchmarks/Contests.h"
#include "benchmarks/DiskFile.h"
#include "nls/NLSParser.h"

namespace {

constexpr int kKeys = 300;

std::string keyAt(int number) {
    return "agentEventWrnLogicalDriveSomething" + std::to_string(number);
}

std::string catalogueText() {
    std::string text;
    for (int i = 0; i < kKeys; ++i) {
        text += keyAt(i) +
                "=Logical drive {0} of controller {1} has a state which is of interest " +
                std::to_string(i) + "\n";
    }
    return text;
}

bool isEntry(const std::string& line, const std::string& key) {
    if (line.size() <= key.size() || line.compare(0, key.size(), key) != 0) return false;
    const char next = line[key.size()];
    return next == '=' || next == ' ' || next == '\t';
}

std::string scan(std::ifstream& file, const std::string& key) {
    file.clear();
    file.seekg(0);
    std::string line;
    while (std::getline(file, line)) {
        if (!line.empty() && line[0] != '#' && isEntry(line, key)) {
            return line.substr(line.find('=') + 1);
        }
    }
    return "";
}

std::unique_ptr<Contest> makeLookUp(const std::string& key) {
    auto contest = std::make_unique<Contest>();
    auto catalogue = std::make_shared<DiskFile>("catalogue", catalogueText());
    auto parser = std::make_shared<NLSParser>(catalogue->name());
    contest->add("ours", loop([catalogue, parser, key] { keep(parser->get(key).data()); }));
    auto file = std::make_shared<std::ifstream>(catalogue->name());
    contest->add("ifstream", loop([=] { keep(scan(*file, key).data()); }));
    return contest;
}

}  // namespace

void addCatalogueContests(Contests& contests) {
    contests.push_back({"catalogue/last", [] { return makeLookUp(keyAt(kKeys - 1)); }});
    contests.push_back({"catalogue/missing", [] { return makeLookUp("missing"); }});
}
