// MdStat: what /proc/mdstat says. It names the arrays in one read, gives each member its number in
// the array, and is the only place that shows a resynchronisation which waits for its turn.
//
//   md0 : active raid10 sdc[4] sdd[3] sdb[1](F) sda[0]
//         194560 blocks super 1.2 128K chunks 2 near-copies [4/3] [UU_U]
//         [=======>.............]  recovery = 37.6% (36992/97280) finish=0.1min speed=7398K/sec
//
// A table that is cut, empty or garbage yields the arrays that could be understood.
#ifndef STORLIB_SOURCES_MDSTAT_H
#define STORLIB_SOURCES_MDSTAT_H

#include <string>
#include <vector>

class MdStat {
public:
    struct Member {
        std::string name;  // kernel name, of a partition too: "sda1"
        int number = -1;   // in the array's own counting, which is not the slot
        bool faulty = false;
        bool spare = false;
    };

    struct Array {
        std::string name;  // "md127"
        bool active = false;
        std::string level;  // "raid5"; empty for an inactive array
        std::vector<Member> members;
        int disks = -1;         // [4/3]: wanted, -1 when not said
        int working = -1;       // and in use
        std::string operation;  // "recovery", "resync", "reshape", "check"; empty when none
        std::string waiting;    // "DELAYED", "PENDING", "REMOTE"; empty when it runs
        int percent = 0;
    };

    static MdStat parse(const std::string& table);

    const Array* find(const std::string& name) const;  // null when it is not listed

    std::vector<Array> arrays;
    // The table without what moves by itself: progress figures and bitmap pages. Two readings
    // with equal texts show the same arrays in the same condition.
    std::string standing;
};

#endif  // STORLIB_SOURCES_MDSTAT_H
