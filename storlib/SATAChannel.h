// SATAChannel: a channel of type 1 whose drives sit on numbered ports.
#ifndef STORLIB_SATACHANNEL_H
#define STORLIB_SATACHANNEL_H

#include "storlib/Channel.h"

class SATAChannel : public Channel {
public:
    explicit SATAChannel(Adapter* adapter);

    bool isInstanceOf(char const* name) const override;
    char const* typeName() const override;

    virtual int getPortCount() const { return portCount; }

    int portCount = 0;
};

#endif  // STORLIB_SATACHANNEL_H
