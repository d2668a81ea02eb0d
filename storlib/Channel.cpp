#include "storlib/Channel.h"

#include "storlib/Adapter.h"
#include "storlib/Attributes.h"

Channel::Channel(Adapter* owner) : adapter(owner) {
    if (owner != nullptr) addr.controllerID = owner->addr.controllerID;
}

bool Channel::isInstanceOf(char const* name) const {
    return isNamed(name, "Channel") || RaidObject::isInstanceOf(name);
}

char const* Channel::typeName() const { return "Channel"; }

char const* Channel::serializedName() const { return "Channel"; }

void Channel::writeTo(Writer* writer) const {
    RaidObject::writeTo(writer);
    AttributeWriter{writer}.integer("channelType", channelType);
}

void Channel::readFrom(Reader* reader) {
    RaidObject::readFrom(reader);
    AttributeReader{reader}.integer("channelType", channelType);
}
