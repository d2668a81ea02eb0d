// Channel: one bus of a controller, or the place where its drives hang; children are drives and
// enclosures.
#ifndef STORLIB_CHANNEL_H
#define STORLIB_CHANNEL_H

#include "storlib/RaidObject.h"
#include "storlib/StorEnums.h"

class Adapter;

class Channel : public RaidObject {
public:
    explicit Channel(Adapter* adapter);  // borrowed, may be null; its number is inherited

    bool isInstanceOf(char const* name) const override;
    char const* typeName() const override;
    char const* serializedName() const override;  // "Channel", for derived kinds too
    void writeTo(Writer* writer) const override;
    void readFrom(Reader* reader) override;

    virtual int getChannelType() const { return channelType; }
    virtual Adapter* getAdapter() const { return adapter; }

    int channelType = kChannelScsi;  // EnumChannelType

private:
    Adapter* adapter;
};

#endif  // STORLIB_CHANNEL_H
