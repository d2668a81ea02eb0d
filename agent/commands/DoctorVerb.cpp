#include "agent/commands/DoctorVerb.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/SafeText.h"
#include "agent/commands/CommandSettings.h"
#include "agent/doctor/Doctor.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kStateWidth = 9;  // "problem  "
constexpr std::size_t kTopicWidth = 17;

const char* wordOf(Finding::Kind kind) {
    switch (kind) {
        case Finding::Kind::kOk:
            return "ok";
        case Finding::Kind::kAdvice:
            return "advice";
        case Finding::Kind::kProblem:
            break;
    }
    return "problem";
}

std::string padded(const std::string& text, std::size_t width) {
    const std::size_t own = textWidth(text);
    return text + std::string(own < width ? width - own : 1, ' ');
}

std::size_t countOf(const std::vector<Finding>& findings, Finding::Kind kind) {
    return static_cast<std::size_t>(
        std::count_if(findings.begin(), findings.end(),
                      [kind](const Finding& finding) { return finding.kind == kind; }));
}

std::string verdict(const std::vector<Finding>& findings) {
    const std::size_t problems = countOf(findings, Finding::Kind::kProblem);
    const std::size_t advices = countOf(findings, Finding::Kind::kAdvice);
    std::string text = "all is well";
    if (problems > 0) {
        text =
            std::to_string(problems) + (problems == 1 ? " thing needs" : " things need") + " work";
    }
    if (advices > 0) {
        text += ", " + std::to_string(advices) + (advices == 1 ? " advice" : " pieces of advice");
    }
    return text;
}

std::string textOf(const Finding& finding, std::size_t columns) {
    const std::size_t indent = kStateWidth + kTopicWidth;
    const std::size_t width = columns > indent + 20 ? columns - indent : 0;
    std::string lead =
        padded(wordOf(finding.kind), kStateWidth) + padded(safeText(finding.topic), kTopicWidth);
    std::vector<std::string> lines = wrapText(safeText(finding.text), width);
    if (!finding.cure.empty()) {
        const std::vector<std::string> cure = wrapText("-> " + safeText(finding.cure), width);
        lines.insert(lines.end(), cure.begin(), cure.end());
    }
    std::string text;
    for (const std::string& line : lines) {
        text += lead + line + "\n";
        lead.assign(indent, ' ');
    }
    return text;
}

Json jsonOf(const std::vector<Finding>& findings, const std::vector<std::string>& done) {
    Json list = Json::array();
    for (const Finding& finding : findings) {
        list.push_back({{"topic", finding.topic},
                        {"state", wordOf(finding.kind)},
                        {"text", finding.text},
                        {"cure", finding.cure}});
    }
    return {{"ok", countOf(findings, Finding::Kind::kProblem) == 0},
            {"done", done},
            {"findings", list}};
}

}  // namespace

void DoctorVerb::declare(Flags& flags) {
    flags.flag("--fix", fix,
               "do what is safe: make missing folders and, while no daemon runs, free a stuck "
               "lock and clear away what a daemon left");
    flags.flag("--json", json, "one JSON document");
}

int DoctorVerb::run(const Context& context) {
    Doctor doctor(checkConfig(settingsReader(context)));
    const std::vector<std::string> done = fix ? doctor.repair() : std::vector<std::string>();
    const std::vector<Finding> findings = doctor.examine();
    if (json) {
        context.out.line(
            jsonOf(findings, done).dump(-1, ' ', false, Json::error_handler_t::replace));
    } else {
        for (const std::string& line : done) context.out.line("did: " + safeText(line));
        if (fix && done.empty()) context.out.line("did: nothing, there was nothing to repair");
        context.out.line(verdict(findings));
        for (const Finding& finding : findings) {
            context.out.write(textOf(finding, context.style.pageWidth()));
        }
    }
    return countOf(findings, Finding::Kind::kProblem) == 0 ? Failure::kDone : Failure::kFailed;
}
