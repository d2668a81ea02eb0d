// HardDrive: a whole disk, spinning or not. Children are its SAS phys.
#ifndef STORLIB_HARDDRIVE_H
#define STORLIB_HARDDRIVE_H

#include "storlib/PhysicalDevice.h"

class SimpleXmlParser;

class HardDrive : public PhysicalDevice {
public:
    HardDrive(Adapter* adapter, Channel* channel);

    bool isInstanceOf(char const* name) const override;
    char const* typeName() const override;
    char const* serializedName() const override;  // "HardDrive"
    void writeTo(Writer* writer) const override;
    void readFrom(Reader* reader) override;

    virtual void build(SimpleXmlParser& parser);  // see Adapter::build
    virtual bool getPfaSupported() const { return pfaSupported; }
    virtual bool getPfaError() const { return pfaError; }

    long long size = 0;         // MB; reads back from a snapshot as 2147483647 at most
    bool pfaError = false;      // a failure is predicted
    bool pfaSupported = false;  // the drive's own prediction can be read
    bool OSPartition = false;   // holds a mounted file system, swap or a partition of the system
    bool taskInProgress = false;
    int temperature = 0x7fffffff;  // degrees Celsius; 0x7fffffff: not known. No snapshot keeps it
};

#endif  // STORLIB_HARDDRIVE_H
