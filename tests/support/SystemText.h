// SystemText: a configuration tree as lines of text, to be compared as a whole.
//
//   SystemText seen(source);            // reads it
//   EXPECT_EQ(Lines({"md0: raid 5, state 3, 189 MB"}), seen.arrays());
#ifndef TESTS_SUPPORT_SYSTEMTEXT_H
#define TESTS_SUPPORT_SYSTEMTEXT_H

#include <string>
#include <vector>

#include "storlib/Channel.h"
#include "storlib/ConfigSource.h"
#include "storlib/HardDrive.h"
#include "storlib/LDPathUtils.h"
#include "storlib/LogicalDrive.h"
#include "storlib/ProgressCollection.h"
#include "storlib/RefSystem.h"
#include "storlib/SASPhy.h"
#include "storlib/SES2EnclosureDevice.h"
#include "storlib/SESElement.h"
#include "storlib/System.h"
#include "storlib/VantAdapter.h"

class SystemText {
public:
    using Lines = std::vector<std::string>;

    explicit SystemText(ConfigSource& from) : source(from), system(new System) {
        result = source.fill(*system.get());
    }

    Ret result;

    // "md0: raid 5, state 6, 189 MB, task 6 at 37 %"
    Lines arrays() const {
        Lines lines;
        for (const RaidObject* object : all("LogicalDrive")) {
            const auto* drive = static_cast<const LogicalDrive*>(object);
            std::string line = drive->logicalName + ": raid " + text(drive->raidLevel) +
                               ", state " + text(drive->state) + ", " +
                               std::to_string(drive->dataSpace) + " MB";
            ProgressCollection tasks;
            (void)source.tasks(drive->addr, tasks);
            for (int i = 0; i < tasks.getProgressCount(); ++i) {
                const Progress& task = *tasks.getProgress(i);
                line += ", task " + text(task.getType()) + " at " + text(task.getPercent()) + " %";
                if (task.getStatus() != kTaskRunning) line += " waiting";
                if (!task.getDeviceAddr().IsEqual(drive->addr)) line += " ELSEWHERE";
            }
            lines.push_back(line);
        }
        return lines;
    }

    // "KL7A200 1" in tree order: serial number and state
    Lines drives() const {
        Lines lines;
        for (const RaidObject* object : all("HardDrive")) {
            const auto* drive = static_cast<const HardDrive*>(object);
            lines.push_back(std::string(drive->serialNumber) + " " + text(drive->state));
        }
        return lines;
    }

    // "Fan 1 2": descriptor and status, of elements of one type
    Lines elements(int type) const {
        Lines lines;
        for (const RaidObject* object : all("SESElement")) {
            const auto* element = static_cast<const SESElement*>(object);
            if (element->getType() != type) continue;
            lines.push_back(element->getDescriptor() + " " + text(element->getStatus()));
        }
        return lines;
    }

    // Every object with everything that it says.
    std::string whole() const {
        std::string lines;
        append(system.get(), 0, lines);
        return lines;
    }

    std::vector<RaidObject*> all(const char* type) const {
        std::vector<RaidObject*> found;
        system->getChildren(found, type, true, true);
        return found;
    }

    const HardDrive* drive(const std::string& serial) const {
        for (const RaidObject* object : all("HardDrive")) {
            const auto* found = static_cast<const HardDrive*>(object);
            if (serial == found->serialNumber) return found;
        }
        return nullptr;
    }

    const Adapter* adapter(unsigned int number) const {
        for (const RaidObject* object : all("Adapter")) {
            if (object->addr.controllerID == number) return static_cast<const Adapter*>(object);
        }
        return nullptr;
    }

    System& tree() const { return *system.get(); }

private:
    template <class Number>
    static std::string text(Number value) {
        return std::to_string(static_cast<long long>(value));
    }

    static std::string join(std::initializer_list<std::string> parts) {
        std::string line;
        for (const std::string& part : parts) line += "|" + part;
        return line;
    }

    static std::string describe(const RaidObject& object) {
        if (const auto* a = dynamic_cast<const Adapter*>(&object)) {
            return join({a->deviceVendor, a->deviceName, a->controllerSerial, text(a->pciBus),
                         text(a->pciDevice), text(a->pciFunction), a->biosVersion,
                         a->firmwareVersion, a->deviceDriverVersion});
        }
        if (const auto* c = dynamic_cast<const Channel*>(&object)) return text(c->channelType);
        if (const auto* d = dynamic_cast<const PhysicalDevice*>(&object)) {
            std::string line = join({d->vendor, d->model, d->serialNumber, d->firmwareLevel, d->wwn,
                                     text(d->state), text(d->interfaceType), text(d->wwn0),
                                     text(d->wwn1), text(d->sataPort)});
            const auto* h = dynamic_cast<const HardDrive*>(d);
            if (h != nullptr) line += join({text(h->size), text(h->OSPartition)});
            return line;
        }
        if (const auto* l = dynamic_cast<const LogicalDrive*>(&object)) {
            return join({l->logicalName, text(l->state), text(l->raidLevel), text(l->dataSpace),
                         text(l->badBlockCount), text(l->uniqueID), text(l->OSPartition)});
        }
        if (const auto* p = dynamic_cast<const SASPhy*>(&object)) {
            return join({text(p->addr.phyID), p->SASaddress, p->attachedSASaddress,
                         text(p->attachedPhyID), text(p->attachedDeviceType),
                         text(p->negPhyLinkRate)});
        }
        if (const auto* e = dynamic_cast<const SESElement*>(&object)) {
            return join({text(e->getType()), text(e->getStatus()), e->getDescriptor()});
        }
        return std::string();
    }

    static void append(const RaidObject* object, int depth, std::string& lines) {
        lines += std::string(static_cast<std::size_t>(depth) * 2, ' ') + object->typeName() + " " +
                 LDPathUtils::textOf(object->addr) + " " + describe(*object) + "\n";
        for (const RaidObject* child : object->getChildren()) append(child, depth + 1, lines);
    }

    ConfigSource& source;
    RefSystem system;
};

#endif  // TESTS_SUPPORT_SYSTEMTEXT_H
