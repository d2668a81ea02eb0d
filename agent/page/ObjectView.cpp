#include "agent/page/ObjectView.h"

#include <algorithm>
#include <cctype>
#include <ctime>

#include "agent/Duration.h"
#include "agent/Wording.h"
#include "agent/page/ArrayCards.h"
#include "agent/page/BayMap.h"
#include "agent/page/Chart.h"
#include "agent/page/EventList.h"
#include "agent/page/IncidentCards.h"
#include "agent/page/Page.h"
#include "agent/page/StateLook.h"

namespace {

constexpr std::size_t kMostEvents = 200;
constexpr std::size_t kMostDrives = 400;
constexpr std::size_t kMostPhys = 64;
constexpr std::size_t kMostDays = 31;

// Events that say how far a task is, and those that begin or end one.
constexpr int kProgressCodes[] = {372, 373, 384};
constexpr int kFoundBad = 418;
constexpr int kRepaired = 422;

template <class Table>
bool isIn(const Table& table, int code) {
    return std::find(std::begin(table), std::end(table), code) != std::end(table);
}

// A list of names and values; what is not known is left out.
class Properties {
public:
    explicit Properties(Html& htmlIN) : html(htmlIN) { html.open("dl", {{"class", "properties"}}); }

    void add(const char* name, const std::string& value) {
        if (value.empty()) return;
        html.open("div").element("dt", {}, name).element("dd", {}, value).close();
    }
    void link(const char* name, bool known, const std::string& key, const std::string& value) {
        if (value.empty()) return;
        html.open("div").element("dt", {}, name).open("dd");
        addObjectLink(html, known, key, value);
        html.close().close();
    }
    void data(const char* kind, const std::string& key) {
        add("key", key);
        html.open("div").element("dt", {}, "for programs").open("dd");
        html.element("a", {{"href", Page::dataPath(kind, key)}}, "JSON").close().close();
    }
    void state(Tone tone, const std::string& words) {
        html.open("div").element("dt", {}, "state").open("dd");
        html.open("span", {{"class", std::string("state t-") + toneWord(tone)}});
        addIcon(html, tone);
        html.text(words).close().close().close();
    }
    void close() { html.close(); }

private:
    Html& html;
};

const ControllerState* controllerOf(const PageModel& model, int adapter) {
    for (const ControllerState& each : model.in().state.controllers) {
        if (each.number == adapter) return &each;
    }
    return nullptr;
}

void addController(Properties& list, const PageModel& model, int adapter) {
    const ControllerState* controller = controllerOf(model, adapter);
    if (controller == nullptr) return;
    list.link(
        "controller", true, controller->key,
        joined(std::to_string(adapter), ", ", joined(controller->vendor, " ", controller->name)));
}

std::string markSentence(PageModel::Mark mark) {
    switch (mark) {
        case PageModel::Mark::kPull:
            return "Pull this one: it has failed.";
        case PageModel::Mark::kReplace:
            return "Replace it soon: it foretells its failure.";
        case PageModel::Mark::kKeep:
            return "Do not pull it: its array lacks redundancy.";
        case PageModel::Mark::kNone:
            break;
    }
    return "";
}

void beginSection(Html& html, const char* id, const std::string& title) {
    html.open("section",
              {{"id", id}, {"data-part", id}, {"aria-labelledby", std::string("h-") + id}});
    html.element("h2", {{"id", std::string("h-") + id}}, title);
}

void addPhys(Html& html, const PageModel& model, const std::string& owner) {
    std::size_t count = 0;
    for (const PhyState& phy : model.in().state.phys) {
        if (phy.owner != owner || count++ >= kMostPhys) continue;
        html.open("div").element("dt", {}, phy.place).element("dd", {}, phy.rate).close();
    }
}

void addArray(Html& html, const PageModel& model, const ArrayState& array) {
    beginSection(html, "facts", "State");
    addArrayFacts(html, model, array);
    Properties list(html);
    list.add("called", array.label);
    list.add("level", array.level);
    list.add("size", sizeWords(array.sizeMB));
    if (array.fullSurvives >= 0) {
        list.add("when whole", "survives " + counted(static_cast<std::size_t>(array.fullSurvives),
                                                     "drive failure"));
    }
    if (!array.task.kind.empty() && array.task.startedAt > 0) {
        list.add("task runs for", durationText(model.in().now - array.task.startedAt));
    }
    addController(list, model, array.adapter);
    list.data("arrays", array.key);
    list.close();
    html.close();
}

void addDrive(Html& html, const PageModel& model, const DriveState& drive) {
    beginSection(html, "facts", "Properties");
    const PageModel::Mark mark = model.markOf(drive);
    if (mark != PageModel::Mark::kNone) {
        const char* const look =
            mark == PageModel::Mark::kPull ? "verdict-mark pull" : "verdict-mark keep";
        html.element("p", {{"class", look}}, markSentence(mark));
    }
    Properties list(html);
    list.state(toneOfDrive(drive), driveStateWords(drive));
    const ArrayState* array = model.array(drive.array);
    list.link("belongs to", array != nullptr, drive.array,
              array == nullptr ? drive.array : array->name);
    list.add("temperature", degreesWords(drive.temperature));
    list.add("model", joined(drive.vendor, " ", drive.model));
    list.add("serial number", drive.serial);
    list.add("WWN", drive.wwn);
    list.add("part number", drive.partNumber);
    list.add("firmware", drive.firmware);
    list.add("size", sizeWords(drive.sizeMB));
    list.add("place", drive.name.substr(drive.name.find(' ') + 1));
    const EnclosureState* enclosure = model.enclosure(drive.enclosure);
    list.add("slot", drive.slotName.empty() && drive.slot >= 0 ? std::to_string(drive.slot)
                                                               : drive.slotName);
    if (enclosure != nullptr) list.link("enclosure", true, enclosure->key, enclosure->name);
    addController(list, model, drive.adapter);
    list.add("device now", drive.osName.empty() ? "" : "/dev/" + drive.osName);
    addPhys(html, model, drive.key);
    list.data("drives", drive.key);
    list.close();
    html.close();
}

void addEnclosure(Html& html, const PageModel& model, const EnclosureState& enclosure) {
    beginSection(html, "bays", "Bays");
    addBayMap(html, model, enclosure);
    html.close();
    beginSection(html, "facts", "Properties");
    Properties list(html);
    list.state(toneOfState(enclosure.state), enclosure.state);
    list.add("model", joined(enclosure.vendor, " ", enclosure.model));
    list.add("serial number", enclosure.serial);
    list.add("part number", enclosure.partNumber);
    list.add("place", enclosure.name.substr(enclosure.name.find(' ') + 1));
    if (enclosure.slots > 0) list.add("slots", std::to_string(enclosure.slots));
    addController(list, model, enclosure.adapter);
    list.data("enclosures", enclosure.key);
    list.close();
    html.close();
}

void addDrivesOf(Html& html, const PageModel& model, int adapter) {
    std::size_t count = 0;
    html.open("ul", {{"class", "chips"}});
    for (const DriveState& drive : model.in().state.drives) {
        if (drive.adapter != adapter || count++ >= kMostDrives) continue;
        const Tone tone = toneOfDrive(drive);
        html.open("li").open("span", {{"class", std::string("chip t-") + toneWord(tone)},
                                      {"title", driveStateWords(drive)}});
        if (tone != Tone::kGood) addIcon(html, tone);
        addObjectLink(
            html, true, drive.key,
            drive.osName.empty() ? drive.name.substr(drive.name.find(' ') + 1) : drive.osName);
        html.element("span", {{"class", "sr"}}, ", " + driveStateWords(drive)).close().close();
    }
    html.close();
    if (count > kMostDrives) {
        html.element("p", {{"class", "quiet"}},
                     "and " + std::to_string(count - kMostDrives) + " more");
    }
    if (count == 0) html.element("p", {{"class", "quiet"}}, "It has no drives.");
}

void addControllerView(Html& html, const PageModel& model, const ControllerState& controller) {
    beginSection(html, "facts", "Properties");
    Properties list(html);
    list.state(toneOfState(controller.state), controller.state);
    list.add("number", std::to_string(controller.number));
    list.add("serial number", controller.serial);
    list.add("PCI place", controller.pci);
    list.add("driver", controller.driver);
    list.add("firmware", controller.firmware);
    list.add("battery", controller.battery);
    list.add("temperature", degreesWords(controller.temperature));
    for (const ArrayState& array : model.in().state.arrays) {
        if (array.adapter == controller.number) {
            list.link("array", true, array.key, array.name + ", " + array.state);
        }
    }
    addPhys(html, model, controller.name);
    list.data("controllers", controller.key);
    list.close();
    html.close();
    beginSection(html, "drives", "Drives");
    addDrivesOf(html, model, controller.number);
    html.close();
}

// "Rebuild 30% complete: ..." gives 30, in any language; -1 for a text without a percentage.
int percentIn(const std::string& text) {
    for (std::size_t at = text.find('%'); at != std::string::npos; at = text.find('%', at + 1)) {
        std::size_t end = at;
        while (end > 0 && text[end - 1] == ' ') --end;
        std::size_t begin = end;
        while (begin > 0 && std::isdigit(static_cast<unsigned char>(text[begin - 1])) != 0) --begin;
        if (end - begin < 1 || end - begin > 3) continue;
        const int percent = std::stoi(text.substr(begin, end - begin));
        if (percent <= 100) return percent;
    }
    return -1;
}

// Of the last task: from its first percentage on, which never goes back.
std::vector<ChartPoint> progressOf(const PageModel& model, std::string_view key) {
    std::vector<ChartPoint> points;
    for (const Record& record : model.in().history) {
        if (record.kind != Record::Kind::kEvent) continue;
        if (!isIn(kProgressCodes, record.event.eventCode)) continue;
        const int percent = percentIn(record.event.text);
        if (percent < 0) continue;
        if (!points.empty() && percent < points.back().value) points.clear();
        points.push_back({record.event.timeStamp, static_cast<double>(percent)});
    }
    const ArrayState* array = model.array(key);
    const bool goesOn = array != nullptr && !array->task.kind.empty() && !points.empty() &&
                        array->task.percent >= points.back().value &&
                        model.in().state.polledAt > points.back().at;
    if (goesOn) points.push_back({model.in().state.polledAt, array->task.percent});
    return points;
}

std::vector<ChartPoint> blocksOf(const PageModel& model) {
    std::vector<ChartPoint> points;
    double count = 0;
    for (const Record& record : model.in().history) {
        if (record.kind != Record::Kind::kEvent) continue;
        const int code = record.event.eventCode;
        if (code != kFoundBad && code != kRepaired) continue;
        if (points.empty()) points.push_back({record.event.timeStamp, 0});
        count = std::max(0.0, count + (code == kFoundBad ? 1 : -1));
        points.push_back({record.event.timeStamp, count});
    }
    if (!points.empty() && model.in().now > points.back().at) {
        points.push_back({model.in().now, count});
    }
    return points;
}

// When a temperature was out of range: 211 and 213 of a controller, 508 of an enclosure.
std::vector<ChartPoint> heatOf(const PageModel& model) {
    constexpr int kHot[] = {211, 213, 508};
    constexpr int kCool[] = {216, 507};
    std::vector<ChartPoint> points;
    for (const Record& record : model.in().history) {
        if (record.kind != Record::Kind::kEvent) continue;
        const bool hot = isIn(kHot, record.event.eventCode);
        if (!hot && !isIn(kCool, record.event.eventCode)) continue;
        if (points.empty()) points.push_back({record.event.timeStamp, hot ? 0.0 : 1.0});
        points.push_back({record.event.timeStamp, hot ? 1.0 : 0.0});
    }
    if (!points.empty() && model.in().now > points.back().at) {
        points.push_back({model.in().now, points.back().value});
    }
    return points;
}

// A scale of whole tens, so that one degree more does not change the picture.
void addTemperatureChart(Html& html, const PageModel& model) {
    constexpr int kStep = 10;
    std::vector<ChartPoint> points;
    int warmest = 0;
    for (const TemperatureLog::Sample& sample : model.in().temperatures) {
        points.push_back({sample.at, static_cast<double>(sample.degrees)});
        warmest = std::max(warmest, sample.degrees);
    }
    const int top = (warmest / kStep + 1) * kStep;
    addLineChart(html, {"Temperature", " \u00b0C", static_cast<double>(top), false}, points,
                 model.in().now);
}

std::int64_t dayOf(std::int64_t when) {
    const auto seconds = static_cast<std::time_t>(when);
    std::tm parts{};
    (void)localtime_r(&seconds, &parts);
    parts.tm_hour = 12;
    parts.tm_min = parts.tm_sec = 0;
    parts.tm_isdst = -1;
    return std::mktime(&parts) / 86400;
}

std::vector<ChartDay> daysOf(const PageModel& model) {
    std::vector<ChartDay> days;
    const std::int64_t today = dayOf(model.in().now);
    for (const Record& record : model.in().history) {
        const int severity = record.severity();
        if (!isTelling(record) || (severity != kEventError && severity != kEventWarning)) continue;
        const std::int64_t day = dayOf(record.event.timeStamp);
        const std::int64_t ago = today - day;
        if (ago < 0 || ago >= static_cast<std::int64_t>(kMostDays)) continue;
        if (days.empty()) {
            // At least a week, so that one bad day looks like one.
            const std::int64_t span = std::max<std::int64_t>(6, ago);
            for (std::int64_t back = span; back >= 0; --back) {
                days.push_back({model.in().now - back * 86400, 0, 0});
            }
        }
        if (ago >= static_cast<std::int64_t>(days.size())) continue;
        ChartDay& one = days[days.size() - 1 - static_cast<std::size_t>(ago)];
        ++(severity == kEventError ? one.errors : one.warnings);
    }
    return days;
}

void addCharts(Html& html, const PageModel& model, std::string_view key) {
    const std::int64_t now = model.in().now;
    Html charts;
    addLineChart(charts, {"Progress of the last task", " %", 100, false}, progressOf(model, key),
                 now);
    addLineChart(charts, {"Bad blocks found and not yet repaired", "", 0, true}, blocksOf(model),
                 now);
    addTemperatureChart(charts, model);
    addLineChart(charts, {"Temperature out of range", "", 1, true}, heatOf(model), now);
    addDayChart(charts, "Errors and warnings per day", daysOf(model), now);
    // Its place is always there: a part that comes later must not make the script load all anew.
    if (charts.str().empty()) {
        html.open("div", {{"data-part", "charts"}, {"hidden", ""}}).close();
        return;
    }
    beginSection(html, "charts", "Over time");
    html.open("div", {{"class", "charts"}}).append(charts).close().close();
}

}  // namespace

std::string objectTitle(const PageModel& model, std::string_view key) {
    if (const ArrayState* array = model.array(key)) return array->name;
    if (const DriveState* drive = model.drive(key)) {
        return joined(drive->name, ", ", drive->osName);
    }
    if (const EnclosureState* enclosure = model.enclosure(key)) return enclosure->name;
    if (const ControllerState* controller = model.controller(key)) {
        return joined("controller " + std::to_string(controller->number), ", ",
                      joined(controller->vendor, " ", controller->name));
    }
    return "";
}

void addObjectView(Html& html, const PageModel& model, std::string_view key) {
    if (const ArrayState* array = model.array(key)) {
        addArray(html, model, *array);
    } else if (const DriveState* drive = model.drive(key)) {
        addDrive(html, model, *drive);
    } else if (const EnclosureState* enclosure = model.enclosure(key)) {
        addEnclosure(html, model, *enclosure);
    } else if (const ControllerState* controller = model.controller(key)) {
        addControllerView(html, model, *controller);
    }
    addIncidentCards(html, model, key);
    addCharts(html, model, key);
    beginSection(html, "events", "Events");
    html.element("p", {{"class", "quiet"}}, eventCounts(model.in().history));
    addEventList(html, model, model.in().history, kMostEvents, false);
    html.close();
}
