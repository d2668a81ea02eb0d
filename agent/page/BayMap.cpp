#include "agent/page/BayMap.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "agent/SafeText.h"
#include "agent/Wording.h"
#include "agent/page/Page.h"
#include "agent/page/StateLook.h"

namespace {

using Mark = PageModel::Mark;

constexpr int kWidth = 640;
constexpr int kGap = 4;
constexpr std::size_t kMostBays = 480;  // on one page, over all drawings
constexpr std::size_t kMostDrawings = 40;
constexpr std::size_t kMostOfOne = 1200;    // of an enclosure on its own page
constexpr std::size_t kMostElements = 16;   // of one drawing
constexpr std::size_t kMostSummaries = 40;  // of enclosures that are not drawn
constexpr int kElementsInRow = 8;
constexpr int kElementHeight = 26;
constexpr int kMeasuredHeight = 36;  // with what it measures below its name

// One place of a drawing.
struct Bay {
    int slot = -1;  // -1: it has no number
    const DriveState* drive = nullptr;
};

// What is drawn as one: an enclosure, or the drives of a controller that sit in none.
struct Shelf {
    const EnclosureState* enclosure = nullptr;
    const ControllerState* controller = nullptr;  // of drives in no enclosure
    std::string title;
    std::vector<Bay> bays;

    bool isLoose() const { return enclosure == nullptr; }
};

struct Grid {
    int columns;
    int height;  // of a bay
};

constexpr int kUsualColumns = 6;
constexpr int kUsualHeight = 47;

// Boxes of one size for most machines; smaller ones where there are many.
Grid gridFor(std::size_t bays, bool loose) {
    if (bays <= kUsualColumns && loose) return {static_cast<int>(bays), kUsualHeight};
    if (bays <= 24 && loose) return {kUsualColumns, kUsualHeight};
    if (bays <= 16) return {4, kUsualHeight};
    if (bays <= 24) return {kUsualColumns, kUsualHeight};
    if (bays <= 48) return {8, kUsualHeight};
    if (bays <= 120) return {12, 36};
    return {20, 22};
}

// A few drives in no enclosure take the width of as many bays.
bool isNarrow(const Shelf& shelf) {
    return shelf.isLoose() && shelf.bays.size() < static_cast<std::size_t>(kUsualColumns);
}

int widthOf(const Shelf& shelf) {
    if (!isNarrow(shelf)) return kWidth;
    const int bays = static_cast<int>(shelf.bays.size());
    return bays * (kWidth + kGap) / kUsualColumns - kGap;
}

bool measures(const Shelf& shelf) {
    if (shelf.enclosure == nullptr) return false;
    const std::vector<ElementState>& all = shelf.enclosure->elements;
    return std::any_of(all.begin(), all.end(),
                       [](const ElementState& each) { return each.value >= 0; });
}

std::string number(int value) { return std::to_string(value); }

std::string cutTo(const std::string& raw, std::size_t width) {
    const std::string safe = safeText(raw);
    return textWidth(safe) <= width ? safe : cutText(safe, width - 1) + "\u2026";
}

// The end of a serial number tells drives of one make apart.
std::string tailOf(const std::string& raw, std::size_t width) {
    const std::string safe = safeText(raw);
    if (textWidth(safe) <= width) return safe;
    std::size_t from = safe.size() - width + 1;
    while (from < safe.size() && (static_cast<unsigned char>(safe[from]) & 0xC0) == 0x80) ++from;
    return "\u2026" + safe.substr(from);
}

std::string placeOf(const DriveState& drive) { return drive.name.substr(drive.name.find(' ') + 1); }

// What tells it apart: the name that it has now, or its serial number.
std::string nameOf(const DriveState& drive) {
    if (!drive.osName.empty()) return drive.osName;
    return drive.serial.empty() ? placeOf(drive) : drive.serial;
}

std::string detailOf(const DriveState& drive) {
    return drive.osName.empty() || drive.serial.empty() ? sizeWords(drive.sizeMB) : drive.serial;
}

const char* markWords(Mark mark) {
    switch (mark) {
        case Mark::kPull:
            return "pull this one";
        case Mark::kReplace:
            return "replace soon";
        case Mark::kKeep:
            return "do not pull";
        case Mark::kNone:
            break;
    }
    return "";
}

const char* markClass(Mark mark) {
    switch (mark) {
        case Mark::kPull:
            return " pull";
        case Mark::kReplace:
            return " replace";
        case Mark::kKeep:
            return " keep";
        case Mark::kNone:
            break;
    }
    return "";
}

// All of it, for a tooltip and for who cannot see the drawing.
std::string bayWords(const PageModel& model, const Bay& bay) {
    std::string words = bay.slot >= 0 ? "bay " + number(bay.slot) : "";
    if (bay.drive == nullptr) return joined(words, ": ", "empty");
    const DriveState& drive = *bay.drive;
    words = joined(words, ": ", joined(drive.name, ", ", drive.osName));
    words += ", " + driveStateWords(drive);
    const Mark mark = model.markOf(drive);
    if (mark != Mark::kNone) words += std::string(", ") + markWords(mark);
    const ArrayState* array = model.array(drive.array);
    if (array != nullptr) words += ", of " + array->name;
    if (!drive.serial.empty()) words += ", serial " + drive.serial;
    words = joined(words, ", ", joined(drive.vendor, " ", drive.model));
    words = joined(words, ", ", sizeWords(drive.sizeMB));
    return joined(words, ", ", degreesWords(drive.temperature));
}

class Drawing {
public:
    Drawing(Html& htmlIN, const PageModel& modelIN, const Shelf& shelfIN)
        : html(htmlIN),
          model(modelIN),
          shelf(shelfIN),
          grid(gridFor(shelf.bays.size(), shelf.isLoose())),
          width(widthOf(shelf)),
          bayWidth((width - (grid.columns - 1) * kGap) / grid.columns),
          unitHeight(measures(shelf) ? kMeasuredHeight : kElementHeight) {}

    void draw() {
        const int rows = (static_cast<int>(shelf.bays.size()) + grid.columns - 1) / grid.columns;
        const int bottom = std::max(0, rows * (grid.height + kGap) - kGap);
        const std::size_t units = shownElements().size();
        const int unitRows = (static_cast<int>(units) + kElementsInRow - 1) / kElementsInRow;
        const int height = bottom + unitRows * (unitHeight + kGap) + (unitRows > 0 ? 4 : 0);
        html.open("svg", {{"class", "bays"},
                          // One more at each side: a line lies half outside of what it frames.
                          {"viewBox", "-1 -1 " + number(width + 2) + " " + number(height + 2)},
                          {"role", "group"},
                          {"aria-label", shelf.title + ", " + summaryOf(shelf.bays)}});
        for (std::size_t i = 0; i < shelf.bays.size(); ++i) {
            const int index = static_cast<int>(i);
            addBay(shelf.bays[i], index % grid.columns * (bayWidth + kGap),
                   index / grid.columns * (grid.height + kGap));
        }
        addElements(bottom + (bottom > 0 ? kGap + 4 : 0));
        html.close();
    }

    // "24 bays: 22 normal, 1 failed, 1 spare"
    static std::string summaryOf(const std::vector<Bay>& bays) {
        std::map<std::string, std::size_t> counts;
        for (const Bay& bay : bays) {
            ++counts[bay.drive == nullptr ? "empty" : bay.drive->state];
        }
        std::string words;
        for (const auto& [state, count] : counts) {
            words = joined(words, ", ", std::to_string(count) + " " + state);
        }
        return joined(counted(bays.size(), "bay"), ": ", words);
    }

private:
    void addText(const char* look, int x, int y, std::string_view words) {
        html.element("text", {{"class", look}, {"x", number(x)}, {"y", number(y)}}, words);
    }

    void addUse(Tone tone, int x, int y, int size) {
        html.empty("use", {{"href", iconPath(tone)},
                           {"x", number(x)},
                           {"y", number(y)},
                           {"width", number(size)},
                           {"height", number(size)}});
    }

    void addBox(int x, int y, int boxWidth, int height, const char* look) {
        html.empty("rect", {{"class", look},
                            {"x", number(x)},
                            {"y", number(y)},
                            {"width", number(boxWidth)},
                            {"height", number(height)},
                            {"rx", "4"}});
    }

    void addBay(const Bay& bay, int x, int y) {
        const std::string words = bayWords(model, bay);
        if (bay.drive == nullptr) {
            html.open("g", {{"class", "bay vacant"}, {"role", "img"}, {"aria-label", words}});
            addBox(x, y, bayWidth, grid.height, "box");
            addText("slot", x + 6, y + 15, bay.slot >= 0 ? number(bay.slot) : "");
            html.close();
            return;
        }
        const DriveState& drive = *bay.drive;
        const Mark mark = model.markOf(drive);
        const Tone tone = toneOfDrive(drive);
        html.open("a", {{"class", std::string("bay t-") + toneWord(tone) + markClass(mark)},
                        {"href", Page::objectPath(drive.key)},
                        {"aria-label", words}});
        html.element("title", {}, words);
        addBox(x, y, bayWidth, grid.height, "box");
        fill(bay, drive, mark, tone, x, y);
        html.close();
    }

    void fill(const Bay& bay, const DriveState& drive, Mark mark, Tone tone, int x, int y) {
        const std::string label = bay.slot >= 0 ? number(bay.slot) : placeOf(drive);
        if (grid.height < 36) {  // room for a number and a shape
            addText("slot", x + 3, y + 15, cutTo(label, 3));
            if (tone != Tone::kGood) addUse(tone, x + bayWidth - 13, y + 5, 11);
            return;
        }
        const std::size_t letters = static_cast<std::size_t>(std::max(4, (bayWidth - 12) / 8));
        addText("slot", x + 6, y + 14, cutTo(label, letters));
        addUse(tone, x + bayWidth - 18, y + 4, 13);
        if (grid.height < kUsualHeight) {
            addText("name", x + 6, y + 29,
                    mark == Mark::kPull ? "pull" : cutTo(nameOf(drive), letters));
            return;
        }
        addText("name", x + 6, y + 28, tailOf(nameOf(drive), letters));
        if (mark == Mark::kNone) {
            addText("third", x + 6, y + 41, tailOf(detailOf(drive), letters));
        } else {
            addMark(mark, x, y);
        }
    }

    // In full, and in short for small screens.
    void addMark(Mark mark, int x, int y) {
        if (mark == Mark::kPull) addBox(x, y + 32, bayWidth, 15, "flag");
        const bool roomy = bayWidth >= 90;
        if (roomy) addText("mark long", x + 6, y + 42, markWords(mark));
        const char* const brief = mark == Mark::kKeep   ? "keep"
                                  : mark == Mark::kPull ? "pull"
                                                        : "soon";
        addText(roomy ? "mark brief" : "mark", x + 6, y + 42, brief);
    }

    // Trouble first when they do not all fit.
    std::vector<const ElementState*> shownElements() const {
        std::vector<const ElementState*> list;
        if (shelf.enclosure == nullptr) return list;
        for (const ElementState& element : shelf.enclosure->elements) list.push_back(&element);
        if (list.size() <= kMostElements) return list;
        std::stable_partition(list.begin(), list.end(), [](const ElementState* each) {
            return toneOfState(each->state) != Tone::kGood;
        });
        list.resize(kMostElements);
        return list;
    }

    void addElements(int top) {
        const std::vector<const ElementState*> list = shownElements();
        const int unitWidth = (kWidth - (kElementsInRow - 1) * kGap) / kElementsInRow;
        for (std::size_t i = 0; i < list.size(); ++i) {
            const int index = static_cast<int>(i);
            addElement(*list[i], index % kElementsInRow * (unitWidth + kGap),
                       top + index / kElementsInRow * (unitHeight + kGap), unitWidth);
        }
    }

    void addElement(const ElementState& element, int x, int y, int unitWidth) {
        const Tone tone = toneOfState(element.state);
        std::string value;
        if (element.kind == "temperature") {
            value = degreesWords(element.value);
        } else if (element.value >= 0) {
            value = number(element.value) + " rpm";
        }
        const std::string words = joined(element.name + " " + element.state, ", ", value);
        html.open("g", {{"class", std::string(value.empty() ? "unit t-" : "unit measured t-") +
                                      toneWord(tone)},
                        {"role", "img"},
                        {"aria-label", words}});
        html.element("title", {}, words);
        addBox(x, y, unitWidth, unitHeight, "box");
        addSymbol(element.kind, x + 5, y + unitHeight / 2 - 7);
        const std::string unit =
            element.kind == "temperature"
                ? "temp" + element.name.substr(std::min(element.name.size(), element.kind.size()))
                : element.name;
        const int middle = y + unitHeight / 2;
        addText("unit-name", x + 23, value.empty() ? middle + 4 : middle - 3, cutTo(unit, 8));
        if (!value.empty()) addText("unit-value", x + 23, middle + 11, value);
        if (tone != Tone::kGood) addUse(tone, x + unitWidth - 16, y + 7, 12);
        html.close();
    }

    void addSymbol(const std::string& kind, int x, int y) {
        const char* path = "M3 1.5h8v11H3zM5 4.5h4M5 7h4";
        if (kind == "fan") {
            path =
                "M7 7c-3-1-3-5 0-5.5c2 1 2 3.5 0 5.5M7 7c1-3 5-3 5.5 0c-1 2-3.5 2-5.5 0"
                "M7 7c3 1 3 5 0 5.5c-2-1-2-3.5 0-5.5M7 7c-1 3-5 3-5.5 0c1-2 3.5-2 5.5 0";
        } else if (kind == "supply") {
            path = "M8 .5L3 8h3.5L6 13.5 11 6H7.5z";
        } else if (kind == "temperature") {
            path = "M5.5 8.5V2.5a1.5 1.5 0 0 1 3 0v6a3 3 0 1 1-3 0zM7 5v6";
        }
        html.empty("path", {{"class", "symbol"},
                            {"d", path},
                            {"transform", "translate(" + number(x) + " " + number(y) + ")"}});
    }

    Html& html;
    const PageModel& model;
    const Shelf& shelf;
    const Grid grid;
    const int width;
    const int bayWidth;
    const int unitHeight;
};

// The bays of an enclosure; a drive whose slot is taken or not counted stands at the end.
Shelf shelfOf(const PageModel& model, const EnclosureState& enclosure) {
    Shelf shelf;
    shelf.enclosure = &enclosure;
    shelf.title = enclosure.name;
    const std::vector<const DriveState*>& drives = model.drivesIn(enclosure.key);
    const int slots = std::min(enclosure.slots, static_cast<int>(kMostOfOne));
    for (int slot = 0; slot < slots; ++slot) shelf.bays.push_back({slot, nullptr});
    for (const DriveState* drive : drives) {
        const bool fits = drive->slot >= 0 && drive->slot < slots;
        if (fits && shelf.bays[static_cast<std::size_t>(drive->slot)].drive == nullptr) {
            shelf.bays[static_cast<std::size_t>(drive->slot)].drive = drive;
        } else if (shelf.bays.size() < kMostOfOne) {
            shelf.bays.push_back({drive->slot, drive});
        }
    }
    return shelf;
}

// Drives in no enclosure, by controller.
std::vector<Shelf> looseShelves(const PageModel& model) {
    std::map<int, Shelf> byAdapter;
    std::vector<const DriveState*> drives = model.drivesIn("");
    std::stable_sort(drives.begin(), drives.end(), [](const DriveState* a, const DriveState* b) {
        return std::tie(a->adapter, a->channel, a->device) <
               std::tie(b->adapter, b->channel, b->device);
    });
    for (const DriveState* drive : drives) byAdapter[drive->adapter].bays.push_back({-1, drive});
    std::vector<Shelf> shelves;
    for (auto& [adapter, shelf] : byAdapter) {
        shelf.title = "controller " + std::to_string(adapter);
        for (const ControllerState& each : model.in().state.controllers) {
            if (each.number == adapter) shelf.controller = &each;
        }
        shelves.push_back(std::move(shelf));
    }
    return shelves;
}

bool isTroubled(const Shelf& shelf) {
    if (shelf.enclosure != nullptr && shelf.enclosure->state != "normal") return true;
    return std::any_of(shelf.bays.begin(), shelf.bays.end(), [](const Bay& bay) {
        if (bay.drive == nullptr) return false;
        const Tone tone = toneOfDrive(*bay.drive);
        return tone == Tone::kBad || tone == Tone::kWarn;
    });
}

void addHeading(Html& html, const Shelf& shelf, bool asLink) {
    html.open("h3");
    std::string make;
    if (shelf.enclosure != nullptr) {
        addObjectLink(html, asLink, shelf.enclosure->key, shelf.title);
        make = joined(shelf.enclosure->vendor, " ", shelf.enclosure->model);
    } else if (shelf.controller != nullptr) {
        addObjectLink(html, asLink, shelf.controller->key, shelf.title);
        make = joined(shelf.controller->vendor, " ", shelf.controller->name);
    } else {
        html.text(shelf.title);
    }
    if (!make.empty()) html.element("span", {{"class", "label"}}, make);
    if (shelf.enclosure != nullptr && shelf.enclosure->state != "normal") {
        const Tone tone = toneOfState(shelf.enclosure->state);
        html.open("span", {{"class", std::string("state t-") + toneWord(tone)}});
        addIcon(html, tone);
        html.text(shelf.enclosure->state).close();
    }
    html.close();
}

void addShelf(Html& html, const PageModel& model, const Shelf& shelf, bool asLink) {
    html.open("div", {{"class",
                       isNarrow(shelf) ? "shelf w" + std::to_string(shelf.bays.size()) : "shelf"}});
    addHeading(html, shelf, asLink);
    const bool isEmpty =
        shelf.bays.empty() && (shelf.enclosure == nullptr || shelf.enclosure->elements.empty());
    if (isEmpty) {
        html.element("p", {{"class", "quiet"}}, "It tells of no bays and no units.");
    } else {
        Drawing(html, model, shelf).draw();
    }
    const std::size_t units = shelf.enclosure == nullptr ? 0 : shelf.enclosure->elements.size();
    if (units > kMostElements) {
        html.element(
            "p", {{"class", "quiet"}},
            "and " + std::to_string(units - kMostElements) + " more fans, supplies and sensors");
    }
    html.close();
}

// What does not fit into the page: a line each, without a drawing.
void addSummaries(Html& html, const std::vector<const Shelf*>& shelves) {
    if (shelves.empty()) return;
    html.open("ul", {{"class", "summaries"}});
    for (std::size_t i = 0; i < std::min(shelves.size(), kMostSummaries); ++i) {
        const Shelf& shelf = *shelves[i];
        html.open("li");
        addObjectLink(html, shelf.enclosure != nullptr,
                      shelf.enclosure == nullptr ? "" : shelf.enclosure->key, shelf.title);
        html.text(": " + Drawing::summaryOf(shelf.bays)).close();
    }
    if (shelves.size() > kMostSummaries) {
        html.element("li", {},
                     "and " + std::to_string(shelves.size() - kMostSummaries) +
                         " more; raidwatch list drives shows them all");
    }
    html.close();
}

void addLegend(Html& html, const PageModel& model) {
    html.open("p", {{"class", "legend"}});
    constexpr struct {
        Tone tone;
        const char* words;
    } kRows[] = {{Tone::kGood, "in order"},
                 {Tone::kIdle, "spare or unused"},
                 {Tone::kTask, "rebuilding"},
                 {Tone::kWarn, "foretells failure"},
                 {Tone::kBad, "failed"}};
    for (const auto& row : kRows) {
        html.open("span");
        addIcon(html, row.tone);
        html.text(row.words).close();
    }
    if (model.isStale()) html.element("strong", {}, "Pull nothing: this picture is out of date.");
    html.close();
}

}  // namespace

void addBayMap(Html& html, const PageModel& model, const EnclosureState& enclosure) {
    addShelf(html, model, shelfOf(model, enclosure), false);
}

void addBayMaps(Html& html, const PageModel& model) {
    std::vector<Shelf> shelves;
    for (const EnclosureState& enclosure : model.in().state.enclosures) {
        shelves.push_back(shelfOf(model, enclosure));
    }
    for (Shelf& shelf : looseShelves(model)) shelves.push_back(std::move(shelf));
    std::stable_partition(shelves.begin(), shelves.end(), isTroubled);

    html.open("section", {{"id", "bays"}, {"data-part", "bays"}, {"aria-labelledby", "h-bays"}});
    html.open("div", {{"class", "head"}}).element("h2", {{"id", "h-bays"}}, "Bays");
    if (!shelves.empty()) addLegend(html, model);
    html.close();
    if (shelves.empty()) {
        html.element("p", {{"class", "quiet"}}, "No drives and no enclosures were found.");
    }
    html.open("div", {{"class", "shelves"}});
    std::size_t room = kMostBays;
    std::size_t drawings = 0;
    std::vector<const Shelf*> rest;
    for (const Shelf& shelf : shelves) {
        if (shelf.bays.size() > room || drawings == kMostDrawings) {
            rest.push_back(&shelf);
            continue;
        }
        room -= shelf.bays.size();
        ++drawings;
        addShelf(html, model, shelf, true);
    }
    html.close();
    addSummaries(html, rest);
    html.close();
}
