// EnumAdapterType: kind of adapter that a machine-wide lock is named after.
#ifndef STORLIB_ENUMADAPTERTYPE_H
#define STORLIB_ENUMADAPTERTYPE_H

enum EnumAdapterType : int {
    kAdapterGeneric = 0,  // any adapter; what the event queue uses
    kAdapterVant = 1,
    kAdapterZor = 2,
};

#endif  // STORLIB_ENUMADAPTERTYPE_H
