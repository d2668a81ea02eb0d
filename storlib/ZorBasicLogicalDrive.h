// ZorBasicLogicalDrive: a logical drive of the Zor family that carries a name of its own.
#ifndef STORLIB_ZORBASICLOGICALDRIVE_H
#define STORLIB_ZORBASICLOGICALDRIVE_H

#include "storlib/LogicalDrive.h"

class ZorBasicLogicalDrive : public LogicalDrive {
public:
    explicit ZorBasicLogicalDrive(Adapter* owner) : LogicalDrive(owner) {}

    bool isInstanceOf(char const* name) const override;
    char const* typeName() const override;
};

#endif  // STORLIB_ZORBASICLOGICALDRIVE_H
