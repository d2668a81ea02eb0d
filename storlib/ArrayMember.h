// ArrayMember: one drive's part in a logical drive, for hosts that explain what is at risk. It is
// what the source knows now; snapshots do not keep it.
#ifndef STORLIB_ARRAYMEMBER_H
#define STORLIB_ARRAYMEMBER_H

#include <string>

#include "storlib/Addr.h"

struct ArrayMember {
    enum Role : int {
        kActive = 0,      // holds its share of the data
        kRebuilding = 1,  // is being filled
        kFailed = 2,
        kSpare = 3,    // waits to help
        kMissing = 4,  // a place without a drive
    };

    Addr drive;          // its address; all kNotSet when the drive is not known
    std::string osName;  // the system's present name for it, "sdb"; "" when not known
    int slot = -1;       // its place in the array, from 0; -1 for none
    Role role = kActive;
};

#endif  // STORLIB_ARRAYMEMBER_H
