#include "storlib/SATAChannel.h"

#include "storlib/Attributes.h"

SATAChannel::SATAChannel(Adapter* owner) : Channel(owner) { channelType = kChannelSata; }

bool SATAChannel::isInstanceOf(char const* name) const {
    return isNamed(name, "SATAChannel") || Channel::isInstanceOf(name);
}

char const* SATAChannel::typeName() const { return "SATAChannel"; }
