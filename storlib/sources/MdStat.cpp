#include "storlib/sources/MdStat.h"

#include <cstdint>

#include "storlib/sources/SysfsReader.h"

namespace {

std::vector<std::string> words(const std::string& line) {
    std::vector<std::string> found;
    std::size_t begin = line.find_first_not_of(" \t\r");
    while (begin != std::string::npos) {
        const std::size_t end = line.find_first_of(" \t\r", begin);
        found.push_back(line.substr(begin, end - begin));
        begin = end == std::string::npos ? end : line.find_first_not_of(" \t\r", end);
    }
    return found;
}

int number(const std::string& text, int unknown) {
    std::int64_t value = 0;
    if (!SysfsReader::parse(text, value) || value < 0 || value > INT32_MAX) return unknown;
    return static_cast<int>(value);
}

// "sdb[1](F)"
bool parseMember(const std::string& word, MdStat::Member& member) {
    const std::size_t open = word.find('[');
    const std::size_t close = word.find(']');
    if (open == std::string::npos || close == std::string::npos || close < open || open == 0) {
        return false;
    }
    member.name = word.substr(0, open);
    member.number = number(word.substr(open + 1, close - open - 1), -1);
    member.faulty = word.find("(F)", close) != std::string::npos;
    member.spare = word.find("(S)", close) != std::string::npos;
    return true;
}

// "md0 : active (auto-read-only) raid1 sdb[1] sda[0]"
bool parseHeading(const std::vector<std::string>& parts, MdStat::Array& array) {
    if (parts.size() < 3 || parts[1] != ":" || parts[0].compare(0, 2, "md") != 0) return false;
    array.name = parts[0];
    array.active = parts[2] != "inactive";
    for (std::size_t i = 3; i < parts.size(); ++i) {
        MdStat::Member member;
        if (parseMember(parts[i], member)) {
            array.members.push_back(member);
        } else if (parts[i][0] != '(' && array.members.empty()) {
            array.level = parts[i];
        }
    }
    return true;
}

// "[4/3]"
void parseCounts(const std::string& word, MdStat::Array& array) {
    const std::size_t slash = word.find('/');
    if (word.size() < 5 || word.front() != '[' || word.back() != ']') return;
    if (slash == std::string::npos) return;
    const int disks = number(word.substr(1, slash - 1), -1);
    const int working = number(word.substr(slash + 1, word.size() - slash - 2), -1);
    if (disks < 0 || working < 0) return;
    array.disks = disks;
    array.working = working;
}

bool isOperation(const std::string& word) {
    return word == "recovery" || word == "resync" || word == "reshape" || word == "check" ||
           word == "repair";
}

// "recovery = 37.6% (36992/97280)", "resync=DELAYED", "resync=PENDING"
bool parseOperation(const std::vector<std::string>& parts, MdStat::Array& array) {
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const std::size_t equals = parts[i].find('=');
        const std::string name = parts[i].substr(0, equals);
        if (!isOperation(name)) continue;
        if (equals != std::string::npos && equals + 1 < parts[i].size()) {
            array.operation = name;
            array.waiting = parts[i].substr(equals + 1);
            return true;
        }
        const bool apart =
            equals == std::string::npos && i + 1 < parts.size() && parts[i + 1] == "=";
        const std::size_t figure = apart ? i + 2 : i + 1;
        if (figure >= parts.size()) continue;
        array.operation = name;
        const std::size_t end = parts[figure].find_first_not_of("0123456789");
        const int percent = number(parts[figure].substr(0, end), 0);
        array.percent = percent > 100 ? 100 : percent;
        return true;
    }
    return false;
}

}  // namespace

MdStat MdStat::parse(const std::string& table) {
    MdStat result;
    Array* current = nullptr;
    std::size_t begin = 0;
    while (begin < table.size()) {
        std::size_t end = table.find('\n', begin);
        if (end == std::string::npos) end = table.size();
        const std::string line = table.substr(begin, end - begin);
        begin = end + 1;
        const std::vector<std::string> parts = words(line);
        if (parts.empty()) continue;
        Array heading;
        if (line[0] != ' ' && line[0] != '\t') {
            current = nullptr;
            if (parseHeading(parts, heading)) {
                result.arrays.push_back(heading);
                current = &result.arrays.back();
            }
        } else if (parts[0] == "bitmap:") {
            continue;
        } else if (current != nullptr && parseOperation(parts, *current)) {
            result.standing += "  " + current->operation + " " + current->waiting + "\n";
            continue;
        } else if (current != nullptr) {
            for (const std::string& word : parts) parseCounts(word, *current);
        }
        result.standing += line + "\n";
    }
    return result;
}

const MdStat::Array* MdStat::find(const std::string& name) const {
    for (const Array& array : arrays) {
        if (array.name == name) return &array;
    }
    return nullptr;
}
