// MetricsText: a text of metrics taken apart, strictly: whatever a Prometheus server would refuse
// is found here as well, and what it would only wonder about too.
//
//   const MetricsText text(render(input));
//   EXPECT_EQ("", text.fault);
//   EXPECT_EQ(1, text.value("raidwatch_array_state", {{"array", "array:0:0"}, {"state",
//   "normal"}}));
#ifndef TESTS_AGENT_SUPPORT_METRICSTEXT_H
#define TESTS_AGENT_SUPPORT_METRICSTEXT_H

#include <cmath>
#include <cstdlib>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

class MetricsText {
public:
    using Labels = std::map<std::string, std::string>;
    struct Sample {
        std::string name;
        Labels labels;
        double value = 0;
    };

    explicit MetricsText(const std::string& text) {
        if (text.empty() || text.back() != '\n') fault = "the last line has no end";
        std::istringstream lines(text);
        for (std::string line; fault.empty() && std::getline(lines, line);) take(line);
    }

    // Not a number where there is no such sample.
    double value(const std::string& name, const Labels& labels = {}) const {
        for (const Sample& sample : samples) {
            if (sample.name == name && sample.labels == labels) return sample.value;
        }
        return std::nan("");
    }
    std::size_t count(const std::string& name) const {
        std::size_t found = 0;
        for (const Sample& sample : samples) found += sample.name == name ? 1 : 0;
        return found;
    }

    std::vector<Sample> samples;
    std::map<std::string, std::string> types;  // by family
    std::string fault;                         // "" or what is wrong with which line

private:
    void take(const std::string& line) {
        if (!isUtf8(line)) {
            fault = "no UTF-8: " + line;
        } else if (line.rfind("# HELP ", 0) == 0) {
            family = line.substr(7, line.find(' ', 7) - 7);
            if (!families.insert(family).second) fault = "told twice: " + family;
        } else if (line.rfind("# TYPE ", 0) == 0) {
            const std::size_t blank = line.find(' ', 7);
            types[family] = blank == std::string::npos ? "" : line.substr(blank + 1);
            if (line.substr(7, blank - 7) != family) fault = "a type of something else: " + line;
            if (types[family] != "gauge" && types[family] != "counter") fault = "type: " + line;
        } else {
            takeSample(line);
        }
    }

    void takeSample(const std::string& line) {
        Sample sample;
        std::size_t at = line.find_first_of("{ ");
        sample.name = line.substr(0, at);
        if (sample.name != family || types.count(family) == 0)
            fault = "outside of its family: " + line;
        if (at != std::string::npos && line[at] == '{') {
            do {
                at = takeLabel(line, at + 1, sample);
            } while (fault.empty() && line[at] == ',');
            if (fault.empty() && line[at] != '}') fault = "no end of labels: " + line;
            if (fault.empty()) ++at;
        }
        if (!fault.empty()) return;
        char* end = nullptr;
        sample.value = std::strtod(line.c_str() + at, &end);
        if (line[at] != ' ' || end == line.c_str() + at || *end != '\0' ||
            !std::isfinite(sample.value)) {
            fault = "no number: " + line;
        }
        if (!known.insert({sample.name, sample.labels}).second) fault = "twice: " + line;
        samples.push_back(sample);
    }

    // Returns where the value has ended.
    std::size_t takeLabel(const std::string& line, std::size_t at, Sample& sample) {
        const std::size_t equals = line.find("=\"", at);
        if (equals == std::string::npos) {
            fault = "no label: " + line;
            return at;
        }
        const std::string name = line.substr(at, equals - at);
        std::string text;
        for (at = equals + 2; at < line.size() && line[at] != '"'; ++at) {
            if (line[at] == '\\') {
                ++at;
                if (at == line.size() || (line[at] != '\\' && line[at] != '"')) {
                    fault = "a strange escape: " + line;
                    return at;
                }
            }
            text += line[at];
        }
        if (at == line.size()) fault = "no end of the value: " + line;
        if (name.find_first_not_of("abcdefghijklmnopqrstuvwxyz_") != std::string::npos) {
            fault = "no name of a label: " + line;
        }
        if (text.empty()) fault = "an empty label: " + line;
        if (!sample.labels.emplace(name, text).second) fault = "a label twice: " + line;
        return at + 1;
    }

    // The JSON library is strict about it.
    static bool isUtf8(const std::string& line) {
        try {
            (void)nlohmann::json(line).dump();
            return true;
        } catch (const nlohmann::json::exception&) {
            return false;
        }
    }

    std::string family;
    std::set<std::string> families;
    std::set<std::pair<std::string, Labels>> known;
};

#endif  // TESTS_AGENT_SUPPORT_METRICSTEXT_H
