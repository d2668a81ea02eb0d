// EnclosureSlots: the slots of the enclosures that the kernel knows, what sits in them, and their
// lights (/sys/class/enclosure/ENCLOSURE/SLOT/locate).
//
//   const EnclosureSlots slots("/");
//   const std::vector<EnclosureSlots::Slot> found = slots.find("/dev/sdb");
//   EnclosureSlots::setLocate(found.front(), true);
//
// A slot can be named "ENCLOSURE/SLOT" (the names or the number of the slot), by the slot alone, or
// by the drive in it: sdb, /dev/sdb, its serial number, its WWN. Capitals do not matter. An
// enclosure that is reached on two ways has each slot twice; such a pair counts once.
//
// Everything is read anew at each call. Texts are raw: make them safe when shown.
//
// Threads  Any. Errors: Failure for a light that cannot be switched; what cannot be read is
//          not known.
#ifndef AGENT_STATE_ENCLOSURESLOTS_H
#define AGENT_STATE_ENCLOSURESLOTS_H

#include <string>
#include <vector>

class EnclosureSlots {
public:
    struct Slot {
        std::string enclosure;    // "0:0:8:0", as the kernel names it
        std::string enclosureId;  // its own identity; "" not known
        std::string name;         // "Slot 04"
        int number = -1;
        std::string folder;               // of its attributes
        std::vector<std::string> drives;  // "sdb"; several for one drive on several ways
        std::string serial;
        std::string wwn;  // hexadecimal digits only

        bool isEmpty() const { return drives.empty() && serial.empty() && wwn.empty(); }
        std::string path() const { return enclosure + "/" + name; }
    };

    enum class Light { kOff, kOn, kUnknown };

    // `root` holds sys.
    explicit EnclosureSlots(const std::string& rootIN = "/");

    std::vector<Slot> all() const;  // by enclosure, then by number
    std::vector<Slot> find(const std::string& wanted) const;
    bool hasEnclosure() const;
    // Whether the kernel knows a drive of that name: "sdb" or "/dev/sdb".
    bool hasDrive(const std::string& name) const;

    static Light locate(const Slot& slot);
    static Light fault(const Slot& slot);
    static std::string status(const Slot& slot);  // "OK", "Unknown", ...; "" not known
    // Returns when the enclosure shows it.
    static void setLocate(const Slot& slot, bool on);

private:
    std::string root;  // without a final "/"
};

#endif  // AGENT_STATE_ENCLOSURESLOTS_H
