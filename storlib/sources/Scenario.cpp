#include "storlib/sources/Scenario.h"

#include <algorithm>
#include <fstream>
#include <utility>

#include "storlib/LDPathUtils.h"
#include "storlib/sources/ScenarioParser.h"

namespace {

constexpr int kTaskRecord = 1;  // sense key of the records that tell of a task

unsigned int numberOf(const ScenarioObject& controller) {
    return static_cast<unsigned int>(controller.number("number", 0));
}

// "FILE:LINE: PLACE: WHAT"
std::string complaint(const std::string& file, int line, const std::string& where,
                      const std::string& what) {
    return file + ":" + std::to_string(line) + ": " + where + ": " + what;
}

// A complaint repeats keys and texts of the file, and those may hold any character.
std::string oneLine(std::string text) {
    const auto isControl = [](char c) { return (c >= 0 && c < 0x20) || c == 0x7f; };
    std::replace_if(text.begin(), text.end(), isControl, '_');
    return text;
}

}  // namespace

std::unique_ptr<Scenario> Scenario::load(const std::string& path, std::string& error) {
    constexpr std::size_t kLargest = std::size_t{4} << 20;
    std::ifstream file(path, std::ios::binary);
    std::string text(kLargest + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    if (file.bad() || !file.eof()) {
        error = path + (text.size() > kLargest
                            ? ": is larger than 4 MiB; use \"copies\" for what repeats itself"
                            : ": cannot be read; check the name and that it is a file that you "
                              "may read");
        return nullptr;
    }
    return parse(text, path, error);
}

std::unique_ptr<Scenario> Scenario::parse(const std::string& text, const std::string& name,
                                          std::string& error) {
    const std::unique_ptr<Scenario> rehearsal = ScenarioParser(name).read(text, error);
    if (!rehearsal || !rehearsal->rehearse(error)) {
        error = oneLine(std::move(error));
        return nullptr;
    }
    return ScenarioParser(name).read(text, error);
}

bool Scenario::rehearse(std::string& error) {
    if (!checkFirstMoment(error)) return false;
    for (std::size_t step = 0; step < timeline.size(); ++step) {
        if (!apply(step, error)) return false;
        const auto conflict = model->conflict();
        if (!conflict) continue;
        error = complaint(fileName, timeline[step].line, timeline[step].where,
                          "after this step " + conflict->object->where + " " + conflict->what);
        return false;
    }
    return true;
}

bool Scenario::checkFirstMoment(std::string& error) const {
    const auto conflict = model->conflict();
    if (!conflict) return true;
    error = complaint(fileName, conflict->object->line, conflict->object->where, conflict->what);
    return false;
}

bool Scenario::apply(std::size_t step, std::string& error) {
    const ScenarioStep& played = timeline[step];
    // Those that go away in this step have still the time to say so.
    std::set<unsigned int> announcing = presentLogs();
    for (const ScenarioChange& change : played.changes) {
        std::string why;
        if (applyChange(change, why)) continue;
        error = complaint(fileName, change.line, change.where, why);
        return false;
    }
    noteLogs();
    if (!played.announce) return true;
    announcing.merge(presentLogs());
    for (const unsigned int log : announcing) {
        ControllerEvent changed;  // sense key 0, code 0: announces and says nothing
        changed.description = played.name.empty() ? "configuration changed" : played.name;
        records.emplace_back(log, changed);
    }
    return true;
}

bool Scenario::applyChange(const ScenarioChange& change, std::string& why) {
    using What = ScenarioChange::What;
    switch (change.what) {
        case What::kSet:
            return model->set(change.id, change.fields, why);
        case What::kAdd:
            for (const auto& object : change.objects) {
                if (!model->add(change.id, change.list, *object, why)) return false;
            }
            return true;
        case What::kRemove:
            return model->remove(change.id, why);
        case What::kRestore:
            return model->restore(change.id, why);
        case What::kRecord:
            return addRecord(change, why);
        case What::kFail:
        case What::kRecover:
            return applyFailure(change, why);
        case What::kSlow:
            slowness = change.milliseconds;
            return true;
    }
    return true;
}

bool Scenario::applyFailure(const ScenarioChange& change, std::string& why) {
    ScenarioModel::Place place;
    if (!change.id.empty() && (!model->find(change.id, place) || place.list != "controllers")) {
        why = "no controller is called \"" + change.id + "\" at this step; name one that is " +
              "there, or leave out \"of\" for all";
        return false;
    }
    std::string what;
    if (change.reading == ScenarioChange::Reading::kTasks) what = "tasks:" + change.id;
    if (change.reading == ScenarioChange::Reading::kEvents) what = "events:" + change.id;
    if (change.what == ScenarioChange::What::kFail) {
        failing.insert(what);
    } else if (failing.erase(what) == 0) {
        why = "this does not fail at this step; recover exactly what a step before made fail";
        return false;
    }
    return true;
}

bool Scenario::addRecord(const ScenarioChange& change, std::string& why) {
    ScenarioModel::Place from;
    ScenarioModel::Place about;
    const bool isAbout = !change.about.empty();
    if (isAbout && !model->find(change.about, about)) {
        why = "nothing is called \"" + change.about + "\" at this step; give an object that id, " +
              "or use one that is there";
        return false;
    }
    if (!change.id.empty() && (!model->find(change.id, from) || from.list != "controllers")) {
        why = "no controller is called \"" + change.id + "\" at this step; name one that is there";
        return false;
    }
    const unsigned int log = change.id.empty() ? about.controllerSerial : from.object->serial;
    ControllerEvent record = change.record;
    if (isAbout) {
        if (about.controllerSerial != log) {
            why = "\"" + change.about + "\" hangs on another controller than \"" + change.id +
                  "\"; leave out \"from\"";
            return false;
        }
        // Task records name the drive below their controller, all others the whole way.
        record.ldPath = record.senseKey == kTaskRecord
                            ? LDPathUtils::textBelowController(about.address)
                            : LDPathUtils::textOf(about.address);
    }
    records.emplace_back(log, record);
    return true;
}

bool Scenario::isFailing(char const* what, unsigned int controllerID) const {
    if (failing.count(what) != 0) return true;
    for (const auto& controller : model->controllers()) {
        if (numberOf(*controller) != controllerID || controller->id.empty()) continue;
        if (failing.count(what + controller->id) != 0) return true;
    }
    return false;
}

// --- logs ---

unsigned int Scenario::logOf(unsigned int controllerID) const {
    const auto log = logs.find(controllerID);
    return log == logs.end() ? 0 : log->second;
}

void Scenario::noteLogs() {
    for (const auto& controller : model->controllers()) {
        logs[numberOf(*controller)] = controller->serial;
    }
}

std::set<unsigned int> Scenario::presentLogs() const {
    std::set<unsigned int> present;
    for (const auto& controller : model->controllers()) present.insert(controller->serial);
    return present;
}

std::vector<Scenario::Record> Scenario::takeRecords() {
    std::vector<Record> taken;
    taken.swap(records);
    return taken;
}
