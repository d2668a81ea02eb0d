// Fuzzes the Linux source over trees of real machines that are bent before and while they are read.
//
// Input: a byte that chooses the machine and the way of following links, then bends:
//   kind (BentTree::Kind)  when: 0 to 63 before the first reading, 64 to 127 before the second,
//                          128 to 255 in the middle of a reading, at the (2 bytes)th thing it asks
//   place (2 bytes, the number of one of the things that a reading asks for)
//   number (2 bytes)       text (length, then so many bytes; an even length for kLink: the
//                          place with that number, else the text itself)
// Parsed code: storlib/sources/Linux storlib/sources/MdArrays.cpp storlib/sources/MdStat.cpp
// Parsed code: storlib/sources/BlockDrives.cpp storlib/sources/Ses storlib/sources/SasPhys.cpp
// Parsed code: storlib/sources/SysfsReader.cpp storlib/sources/CleanText.cpp

#include <sys/fsuid.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <set>

#include "events/VantEventCollection.h"
#include "fuzz/support/BentTree.h"
#include "fuzz/support/Fuzz.h"
#include "snapshot/QELConfigBuilder.h"
#include "storlib/ProgressCollection.h"
#include "storlib/RefSystem.h"
#include "storlib/System.h"
#include "storlib/sources/LinuxSource.h"
#include "tests/support/LinuxMachine.h"
#include "tests/support/SysTree.h"
#include "tests/support/UnpackedRecording.h"

namespace {

using Bend = BentTree::Bend;
using Kind = BentTree::Kind;

constexpr std::size_t kMostBends = 24;
constexpr unsigned kNobody = 65534;

// Root reads everything; as nobody a file may be closed to us.
class AsNobody {
public:
    AsNobody() : before(static_cast<uid_t>(setfsuid(kNobody))) {}
    ~AsNobody() { (void)setfsuid(before); }
    AsNobody(const AsNobody&) = delete;
    AsNobody& operator=(const AsNobody&) = delete;

private:
    uid_t before;
};

// Everything that a reading asks for.
class Places : public SysfsReader::Recorder {
public:
    void file(const std::string& path, const std::string&) override { found.insert(path); }
    void link(const std::string& path, const std::string&) override { found.insert(path); }
    void entry(const std::string& path) override { found.insert(path); }
    std::set<std::string> found;
};

struct Machine {
    explicit Machine(const std::string& folderIN) : folder(folderIN), tree(folderIN) {
        Places seen;
        LinuxSource source(folder);
        source.getReader().setRecorder(&seen);
        for (int round = 0; round < 2; ++round) {
            const RefSystem system(new System);
            fuzz::must(source.fill(*system.get()).status == Ret::kOk, "the tree is readable");
            std::string listing;
            for (unsigned number = 0; number < 3; ++number) source.events(number, 0, listing);
        }
        places.assign(seen.found.begin(), seen.found.end());
    }

    const std::string& placeAt(unsigned number) const { return places[number % places.size()]; }

    std::string folder;
    BentTree tree;
    std::vector<std::string> places;
};

std::vector<std::unique_ptr<Machine>> makeMachines() {
    (void)fuzz::room();  // before other temporary folders: it says where they lie
    static const UnpackedRecording sas("sas-raid10", {"03-psu-out-hot"});
    static const UnpackedRecording md("raid5-pull", {"03-degraded"});
    static const SysTree small(LinuxMachine::drives() +
                               LinuxMachine::wholeArray("md5", "raid5", 4) +
                               "f /proc/mounts /dev/md5 / ext4 rw 0 0\n");
    std::vector<std::unique_ptr<Machine>> machines;
    for (const std::string& folder :
         {small.folder(), sas.step("03-psu-out-hot"), md.step("03-degraded")}) {
        machines.push_back(std::make_unique<Machine>(folder));
    }
    // Nobody must reach the trees.
    for (const std::string& folder :
         {fuzz::room().folder(), small.folder(), sas.folder(), md.folder()}) {
        fuzz::must(chmod(folder.c_str(), 0755) == 0, "the tree can be opened to others");
    }
    return machines;
}

struct Plan {
    std::vector<Bend> first;
    std::vector<Bend> second;
    std::vector<std::pair<unsigned, Bend>> midway;  // at the so manieth thing that is asked for
};

Plan planOf(const Machine& machine, fuzz::Knife& knife) {
    Plan plan;
    for (std::size_t i = 0; i < kMostBends && !knife.empty(); ++i) {
        Bend bend;
        bend.kind = static_cast<Kind>(knife.byte() % BentTree::kKinds);
        const unsigned when = knife.byte();
        const unsigned moment = when >= 128 ? knife.two() : 0;
        bend.place = machine.placeAt(knife.two());
        bend.number = knife.two();
        bend.text = knife.shortText();
        if (bend.kind == Kind::kLink && bend.text.size() % 2 == 0) {
            bend.text = machine.placeAt(bend.number);
        }
        if (when < 64) {
            plan.first.push_back(bend);
        } else if (when < 128) {
            plan.second.push_back(bend);
        } else {
            plan.midway.emplace_back(moment % 2048, bend);
        }
    }
    return plan;
}

// Bends the tree between two questions of the reader.
class Meddler : public SysfsReader::Recorder {
public:
    Meddler(BentTree& treeIN, const std::vector<std::pair<unsigned, Bend>>& bendsIN)
        : tree(treeIN), bends(bendsIN) {}

    void file(const std::string&, const std::string&) override { step(); }
    void link(const std::string&, const std::string&) override { step(); }
    void entry(const std::string&) override { step(); }

private:
    void step() {
        for (const auto& [moment, bend] : bends) {
            if (moment != count) continue;
            const uid_t reader = static_cast<uid_t>(setfsuid(geteuid()));
            tree.bend(bend);
            (void)setfsuid(reader);
        }
        ++count;
    }

    BentTree& tree;
    const std::vector<std::pair<unsigned, Bend>>& bends;
    unsigned count = 0;
};

void readListing(LinuxSource& source, unsigned number) {
    std::string listing;
    fuzz::must(source.events(number, 0, listing).status == Ret::kOk, "a listing is always there");
    (void)VantEventCollection(listing.c_str()).getNumberOfEvents();  // throws for a malformed one
}

void readAll(LinuxSource& source) {
    RefSystem system(new System);
    {
        const AsNobody nobody;
        if (source.fill(*system.get()).status != Ret::kOk) {
            fuzz::must(!source.lastError().empty(), "a failure has its reason");
            return;
        }
        for (unsigned number = 0; number < 3; ++number) readListing(source, number);
        std::vector<RaidObject*> drives;
        system.get()->getChildren(drives, "LogicalDrive", true, true);
        for (const RaidObject* drive : drives) {
            ProgressCollection tasks;
            (void)source.tasks(drive->addr, tasks);
        }
    }
    QELConfigBuilder snapshot(fuzz::inRoom("QELConfig.xml"));
    snapshot.build(system.get(), nullptr);
    snapshot.writeXML();
    snapshot.readXML();  // what a machine calls itself never makes a malformed snapshot
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::vector<std::unique_ptr<Machine>> machines = makeMachines();
    fuzz::Knife knife(data, size);
    const unsigned choice = knife.byte();
    Machine& machine = *machines[choice % 4 < 2 ? 0 : choice % 4 - 1];
    const Plan plan = planOf(machine, knife);

    Meddler meddler(machine.tree, plan.midway);
    {
        LinuxSource source(machine.folder);
        source.getReader().setRecorder(&meddler);
        if ((choice & 0x80) != 0) source.getReader().followLinksHere();
        for (const Bend& bend : plan.first) machine.tree.bend(bend);
        readAll(source);
        for (const Bend& bend : plan.second) machine.tree.bend(bend);
        readAll(source);
    }
    machine.tree.straighten();
    return 0;
}
